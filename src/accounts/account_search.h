// SPDX-License-Identifier: Apache-2.0
//
// How accounts are looked for in a directory.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "accounts/account_kind.h"
#include "platform/szlist.h"
#include "zafoldap/host.h"

namespace zafo {

// Longest filter that account functions make: what fits their buffers.
inline constexpr size_t kMaxFilter = 2047;

// "(&(CONDITION)(ATTR=VALUE))", all three as they are; nothing, with platform error
// 0x0E00, when it is too long.
std::optional<std::string> AccountFilter(std::string_view condition, std::string_view attr,
                                         std::string_view value);

// What a listing of accounts takes from each entry. Lists that are NULL are not filled.
struct ACCOUNT_LISTING {
    const char *szNameAttr;  // entries without it are passed over; NULL: the DN is enough
    QLIBSZLIST **ppDNList;
    QLIBSZLIST **ppNameList;
};

// Appends DN and name of every entry below the base DN that matches; their number, or
// -1, what was appended staying in the lists.
int ListAccounts(const ZAFOLDAP_HOST *pHost, const char *szFilter, const ACCOUNT_LISTING &listing);

// The same for the DNs of the accounts that carry a number. A list that is not there, the
// address or the list itself, is not filled.
int ListAccountsByNumber(const ZAFOLDAP_HOST *pHost, const ACCOUNT_KIND &kind, unsigned int nNumber,
                         QLIBSZLIST **ppDNList);

}  // namespace zafo
