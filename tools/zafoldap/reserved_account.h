// SPDX-License-Identifier: Apache-2.0
//
// Names, numbers and paths that are part of a system, not a person's in a directory. Anyone who can
// write to the directory chooses all of them: copied to a machine, a group called "docker" makes
// its members root there as soon as the package looks for it.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <string_view>

#include "tools/zafoldap/account_directory.h"

namespace zafo::cli {

// What makes a name a system's own ("its members become root"); empty: nothing.
std::string RoleOfName(const AccountKind &kind, std::string_view name);

// The limits of this system.
struct SystemBounds {
    std::uint32_t first_uid = 1000;  // UID_MIN and GID_MIN of login.defs(5), at least 1000
    std::uint32_t first_gid = 1000;
    std::set<std::string, std::less<>> shells = {};  // of shells(5); empty: any
};
SystemBounds ReadSystemBounds();

// Why a directory account must not have this number; empty: it may.
std::string FaultOfNumber(const AccountKind &kind, std::uint32_t number,
                          const SystemBounds &bounds);

// The same for a home folder and a login shell, either possibly empty.
std::string FaultOfHome(std::string_view home);
std::string FaultOfShell(std::string_view shell, const SystemBounds &bounds);

}  // namespace zafo::cli
