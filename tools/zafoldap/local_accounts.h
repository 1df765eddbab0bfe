// SPDX-License-Identifier: Apache-2.0
//
// This system's accounts, from "/etc/passwd" and "/etc/group".
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "tools/zafoldap/account_kind.h"

namespace zafo::cli {

// The account with this number, if any; and whether a user of this name exists.
std::optional<std::string> LocalAccount(const AccountKind &kind, std::uint32_t number);
bool IsLocalUser(const std::string &name);
bool IsLocalGroup(const std::string &name);
// All of them, with their numbers.
std::map<std::string, std::uint64_t, std::less<>> LocalAccounts(const AccountKind &kind);

}  // namespace zafo::cli
