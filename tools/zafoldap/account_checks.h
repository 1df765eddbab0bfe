// SPDX-License-Identifier: Apache-2.0
//
// What may be the name, number, text or date of an account, decided before anything runs.
#pragma once

#include "tools/zafoldap/account_directory.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zafo::cli {

// Shadow's days since 1 January 1970 for "never".
constexpr long kNeverExpires = -1;

// A new name: small letters, digits, "_", "." and "-", the first a letter or "_", at most 32.
// `any`: everything that can be a name at all. Throws Failure ("account_name").
void CheckNewName(const std::string &name, bool any);

// A name that is to be looked up. Throws Failure ("account_name") for what can be none.
void CheckName(const std::string &name);

// A name of an account that is to be changed: the library puts it into filters as it is.
// Throws Failure ("unusual_name").
void CheckChangeableName(const std::string &name);

// The number in a text; throws Failure ("account_number") for one that no account may have: 0,
// 65534 and 65535 (nobody, and -1 in 16 bits), 4294967295 (-1).
std::uint32_t ParseAccountNumber(std::string_view option, const std::string &text);
bool IsReservedNumber(std::uint64_t number);

// The local account of this system (its "/etc/passwd" or "/etc/group") with a number; nothing:
// none. And whether there is an account of a name.
std::optional<std::string> LocalAccount(const AccountKind &kind, std::uint32_t number);
bool IsLocalUser(const std::string &name);
bool IsLocalGroup(const std::string &name);
// All of them, with their numbers.
std::map<std::string, std::uint64_t, std::less<>> LocalAccounts(const AccountKind &kind);

// Throws Failure ("number_local", "number_outside_pool", the kind's number_taken) for a number
// that a new account must not get.
void CheckNumberIsFree(const AccountDirectory &directory, const AccountKind &kind,
                       std::uint32_t number);

// The primary group that --gid names or numbers, as name and number; one of "/etc/group" will do
// when the directory has none of that number. Throws Failure ("group_missing").
std::pair<std::string, std::uint32_t> RequirePrimaryGroup(const AccountDirectory &directory,
                                                          const std::string &given);

// The number of a group of the directory.
std::uint32_t GidOf(const AccountDirectory &directory, const std::string &name,
                    const std::string &dn);

// Throws Failure ("class_missing") when an option is given that needs a class which the schema,
// or the entry whose classes are `entry_classes`, lacks.
void RequireClassFor(const AccountDirectory &directory, const Invocation &invocation,
                     std::string_view option, unsigned int bit, unsigned int entry_classes);

// "2027-12-31" or "never" as days; throws Failure ("bad_date"). And back; nothing for never.
long ParseDate(const std::string &text);
std::optional<std::string> DateOf(long days);

// A text for passwd(5): one line without ":". Throws Failure ("bad_text").
void CheckText(std::string_view option, const std::string &text);
void CheckPath(std::string_view option, const std::string &text);
void CheckMail(const std::string &text);

// "attr=value" of --set, checked. Throws Failure ("usage").
std::pair<std::string, std::string> ParseSetting(const Session &session, const std::string &text);

// "a,b" of an option that may be given several times.
std::vector<std::string> SplitNames(const std::vector<std::string> &lists);

}  // namespace zafo::cli
