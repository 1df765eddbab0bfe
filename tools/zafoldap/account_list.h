// SPDX-License-Identifier: Apache-2.0
//
// Lists of users and groups, printed as they arrive.
#pragma once

#include <functional>
#include <optional>
#include <string_view>

#include "tools/zafoldap/account_directory.h"
#include "tools/zafoldap/account_record.h"

namespace zafo::cli {

struct ListRequest {
    const AccountKind &kind;
    const std::vector<AccountField> &fields;
    std::function<bool(std::string_view)> wanted = {};  // by name; empty: all
    std::optional<Failure> cut = {};  // what `wanted` stands on was cut off at a size limit
};

// Prints the accounts that PATTERN of the command line matches, up to --limit. Returns the exit
// code; throws after what came is printed.
int ListAccounts(const AccountDirectory &directory, const ListRequest &request);

// With --raw or --format ldif: prints the entry with all that it holds; whether it did.
bool ShowRaw(const AccountDirectory &directory, const AccountKind &kind, const std::string &dn);

// A size limit ended an answer: what came is valid, and there is more.
bool IsCutOff(const Failure &failure);

}  // namespace zafo::cli
