// SPDX-License-Identifier: Apache-2.0
//
// Searching a directory for accounts and reading them from entries.
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

// The longest filter that the account functions build, limited by their buffers.
inline constexpr size_t kMaxFilter = 2047;

// "(&(CONDITION)(ATTR=VALUE))", with all three inserted verbatim; nothing, with platform error
// 0x0E00, when it is too long.
std::optional<std::string> AccountFilter(std::string_view condition, std::string_view attr,
                                         std::string_view value);

// How to recognise a user: according to the options, or the default.
inline ZAFOLDAP_BROWSER_OPTIONS UserRule(const ZAFOLDAP_BROWSER_OPTIONS *options) {
    ZAFOLDAP_BROWSER_OPTIONS rule = options != nullptr ? *options : ZAFOLDAP_BROWSER_OPTIONS{};
    if (rule.szFilter == nullptr) rule.szFilter = kUsers.filter;
    if (rule.szNameAttr == nullptr) rule.szNameAttr = kUsers.name_attribute;
    return rule;
}

// What a listing of accounts collects from each entry. Lists that are NULL are not filled.
struct AccountListing {
    const char *name_attribute;  // entries without it are skipped; NULL: only the DN is needed
    QLIBSZLIST **dns;
    QLIBSZLIST **names;
};

// Appends DN and name of every matching entry below the base DN. Returns their number, or -1;
// entries appended before a failure stay in the lists.
int ListAccounts(const ZAFOLDAP_HOST *host, const char *filter, const AccountListing &listing);

// The same for the DNs of the accounts with this number. `dns` or the list itself may be NULL; the
// DNs are then not returned.
int ListAccountsByNumber(const ZAFOLDAP_HOST *host, const AccountKind &kind, unsigned int number,
                         QLIBSZLIST **dns);

// Whether a name or number is taken. Any answer except "no such entry" counts as taken, including a
// failed lookup; the kind's library error is then set.
bool IsNameTaken(const ZAFOLDAP_HOST *host, const AccountKind &kind, const char *name);
bool IsNumberTaken(const ZAFOLDAP_HOST *host, const AccountKind &kind, unsigned int number);

// Searches at a complete DN and reads the first entry. 1; 0 if there is none; -1.
int FirstEntryAt(const ZAFOLDAP_HOST *host, const char *dn, OpenSearch *search);

// The login name of the user at a DN. 1; 0, with platform error 0x1D00, if there is no such user;
// -1, also for a name that is too long (0x0E00).
int UserNameAt(const ZAFOLDAP_HOST *host, const char *user_dn, FoundText &name);

// A uid or gid from an attribute's decimal text; all ones, which means none, if `text` is NULL or
// does not fit into 32 bits.
uint32_t AccountNumber(const char *text);

}  // namespace zafo
