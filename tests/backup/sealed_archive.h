// SPDX-License-Identifier: Apache-2.0
//
// Valid and invalid backup files, made with libarchive and a seal, independently of the code under
// test.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/unique_fd.h"
#include "tools/backup/manifest.h"

namespace zafo::test {

struct Member {
    std::string name;
    std::string bytes;
    bool is_link = false;  // to "/etc/passwd"
};

// The members as a tar in zstd, without a seal.
std::string Packed(const std::vector<Member> &members, int level = 3);

// Any bytes compressed with zstd, as those of a tar would be.
std::string Compressed(std::string_view bytes);

// The same bytes followed by a valid seal.
std::string Sealed(std::string bytes);

// The members of a small valid backup, in order.
std::vector<Member> GoodMembers();

// The manifest of those members, and the members with another manifest.
backup::Manifest GoodManifest();
std::vector<Member> WithManifest(const backup::Manifest &manifest);
Member &Named(std::vector<Member> &members, std::string_view name);

// A regular file in memory.
UniqueFd InMemory(std::string_view bytes);

}  // namespace zafo::test
