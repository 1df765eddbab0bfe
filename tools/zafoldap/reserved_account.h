// SPDX-License-Identifier: Apache-2.0
//
// Names, numbers and places that belong to a system rather than to a person of a directory. Whoever may
// write to the directory chooses all of them: a group called "docker" that is copied to a machine makes
// its members root there, once the package looks for it.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "tools/zafoldap/account_directory.h"

namespace zafo::cli {

// Why a name is a system's own ("its members become root"); empty: it is not.
std::string RoleOfName(const AccountKind &kind, std::string_view name);

// What this system has to say to it.
struct SystemBounds {
    std::uint32_t first_uid = 1000;  // UID_MIN and GID_MIN of login.defs(5), at least 1000
    std::uint32_t first_gid = 1000;
    std::set<std::string, std::less<>> shells = {};  // of shells(5); none: any will do
};
SystemBounds ReadSystemBounds();

// Why a number is nobody's of a directory; empty: it may be.
std::string FaultOfNumber(const AccountKind &kind, std::uint32_t number,
                          const SystemBounds &bounds);

// The same for a home folder and a login shell, which may be empty.
std::string FaultOfHome(std::string_view home);
std::string FaultOfShell(std::string_view shell, const SystemBounds &bounds);

}  // namespace zafo::cli
