// SPDX-License-Identifier: Apache-2.0
//
// A backup file's description of itself, its last member "manifest.json".
#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

namespace zafo::backup {

// The format that this program writes, and the highest that it reads.
inline constexpr int kFormat = 1;

struct ConfigDigest {
    std::string name;    // the member: "config/slapd.conf"
    std::string sha256;  // 64 hexadecimal digits

    bool operator==(const ConfigDigest &) const = default;
};

struct Manifest {
    int format = kFormat;
    std::string product_version = {};
    std::string task = {};
    std::uint64_t number = 0;        // the file's number, as in its name
    std::string created = {};        // "2027-02-28T14:03:00Z"
    std::string suffix = {};         // as in slapd.conf
    std::string slapd_version = {};  // "2.5.13+dfsg-5"; empty when unknown
    std::uint64_t entries = 0;
    std::uint64_t ldif_bytes = 0;
    std::string sha256 = {};  // of the whole LDIF, 64 hexadecimal digits
    std::vector<ConfigDigest> config = {};

    bool operator==(const Manifest &) const = default;
};

// As in Manifest::created.
std::string UtcText(std::time_t when);

std::string ToJson(const Manifest &manifest);

// Throws JobError: kDamaged with the reason, kNewerFormat for a format above kFormat.
Manifest ManifestFrom(std::string_view json);

}  // namespace zafo::backup
