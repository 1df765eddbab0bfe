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
    std::optional<Failure> cut = {};  // a size limit cut off what `wanted` relies on
};

// Prints the accounts that match PATTERN of the command line, up to --limit. Returns the exit code;
// throws only after printing what arrived.
int ListAccounts(const AccountDirectory &directory, const ListRequest &request);

// The number given by --limit; without it, no limit. Throws Failure ("usage") for 0.
int LimitOf(const Session &session);

// With --raw or --format ldif: prints the whole entry and returns true.
bool ShowRaw(const AccountDirectory &directory, const AccountKind &kind, const std::string &dn);

}  // namespace zafo::cli
