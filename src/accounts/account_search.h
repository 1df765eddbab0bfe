// SPDX-License-Identifier: Apache-2.0
//
// How accounts are looked for in a directory and read from entries.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/szlist.h"
#include "src/accounts/account_kind.h"
#include "src/core/dn_length.h"
#include "src/core/open_search.h"
#include "zafoldap/browser.h"
#include "zafoldap/host.h"

namespace zafo {

// Longest filter that account functions make: what fits their buffers.
inline constexpr size_t kMaxFilter = 2047;

// "(&(CONDITION)(ATTR=VALUE))", all three as they are; nothing, with platform error
// 0x0E00, when it is too long.
std::optional<std::string> AccountFilter(std::string_view condition, std::string_view attr,
                                         std::string_view value);

// How to recognise a user: as the options say, else the usual way.
inline ZAFOLDAP_BROWSER_OPTIONS UserRule(const ZAFOLDAP_BROWSER_OPTIONS *options) {
    ZAFOLDAP_BROWSER_OPTIONS rule = options != nullptr ? *options : ZAFOLDAP_BROWSER_OPTIONS{};
    if (rule.szFilter == nullptr) rule.szFilter = kUsers.filter;
    if (rule.szNameAttr == nullptr) rule.szNameAttr = kUsers.name_attribute;
    return rule;
}

// What a listing of accounts takes from each entry. Lists that are NULL are not filled.
struct AccountListing {
    const char *name_attribute;  // entries without it are passed over; NULL: the DN is enough
    QLIBSZLIST **dns;
    QLIBSZLIST **names;
};

// Appends DN and name of every entry below the base DN that matches; their number, or
// -1, what was appended staying in the lists.
int ListAccounts(const ZAFOLDAP_HOST *host, const char *filter, const AccountListing &listing);

// The same for the DNs of the accounts that carry a number. A list that is not there, the
// address or the list itself, is not filled.
int ListAccountsByNumber(const ZAFOLDAP_HOST *host, const AccountKind &kind, unsigned int number,
                         QLIBSZLIST **dns);

// Opens a search at a whole DN and reads its first entry. 1; 0 there is none; -1.
int FirstEntryAt(const ZAFOLDAP_HOST *host, const char *dn, OpenSearch *search);

// The login name of the user at a DN. 1; 0, with platform error 0x1D00, there is no such user;
// -1, also for a name that is too long (0x0E00).
int UserNameAt(const ZAFOLDAP_HOST *host, const char *user_dn, FoundText &name);

// A uid or gid as an attribute's text gives it, decimal; all ones, which means none, without a
// text and for what 32 bits cannot hold.
uint32_t AccountNumber(const char *text);

}  // namespace zafo
