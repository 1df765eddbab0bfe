// SPDX-License-Identifier: Apache-2.0
//
// A backup file is a tar in zstd, so that `zstd -dc FILE | tar x` unpacks it by hand. Members, in
// this order:
//
//   format                    "zafoldap-backup 1\n"; a reader that knows no such number stops here
//   config/slapd.conf         the server's configuration, if there was one
//   config/slapd-acls.conf    its access rules
//   config/ldapbrowser.conf   the saved connection "root", its password encrypted as stored
//   data/000001.ldif, …       the entries as slapcat gave them, in pieces cut between records
//   manifest.json             counts and digests: manifest.h
//
// The zstd frame is followed by a seal: a skippable frame (RFC 8878 section 3.1.2), ignored by
// zstd, with the SHA-256 of everything before it. It reveals any changed, missing or added byte,
// even in padding and checksums.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "tools/backup/sha256.h"

namespace zafo::backup {

inline constexpr std::string_view kFormatMember = "format";
inline constexpr std::string_view kFormatWord = "zafoldap-backup ";
inline constexpr std::string_view kConfigFolder = "config/";
inline constexpr std::string_view kDataFolder = "data/";
inline constexpr std::string_view kManifestMember = "manifest.json";

inline constexpr std::string_view kSlapdConfMember = "config/slapd.conf";
inline constexpr std::string_view kAccessRulesMember = "config/slapd-acls.conf";
inline constexpr std::string_view kConnectionMember = "config/ldapbrowser.conf";

// The most that goes into a piece; a longer record is split.
inline constexpr std::size_t kPieceBytes = 4U << 20;
inline constexpr std::size_t kLargestConfig = 1U << 20;
inline constexpr std::size_t kLargestManifest = 64U << 10;
inline constexpr std::size_t kMostConfigFiles = 3;

// The seal: magic number, size of the rest, digest.
inline constexpr std::array<std::uint8_t, 8> kSealHead = {
    0x50, 0x2A, 0x4D, 0x18, SHA256_DIGEST_SIZE, 0, 0, 0};
inline constexpr std::size_t kSealBytes = kSealHead.size() + SHA256_DIGEST_SIZE;

// zstd's own default level; its window is at most this (level 3 needs 2 MiB).
inline constexpr const char *kCompressionLevel = "3";
inline constexpr std::uint64_t kLargestWindow = 8U << 20;

}  // namespace zafo::backup
