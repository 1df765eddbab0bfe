// SPDX-License-Identifier: Apache-2.0
//
// What may be the name, number, text or date of an account, decided before anything runs.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/zafoldap/account_directory.h"

namespace zafo::cli {

// Shadow's days since 1 January 1970 for "never".
constexpr long kNeverExpires = -1;

// A new name: small letters, digits, "_", "." and "-", the first a letter or "_", at most 32.
// `any`: everything that can be a name at all. Throws Failure ("account_name").
void CheckNewName(const std::string &name, bool any);

// A new name by the rules of the command line: --any-name, and no local account's (user names;
// --any-name accepts them all the same). Throws Failure ("account_name", "name_local").
void CheckNewName(const Session &session, const AccountKind &kind, const std::string &name);

// What the command line says of a new account: NAME, --container, --uid or --gid.
NewAccount ReadNewAccount(const Session &session, const AccountKind &kind);

// The number of --uid or --gid.
std::optional<std::uint32_t> ReadNumber(const Session &session, const AccountKind &kind);

// A name that is to be looked up. Throws Failure ("account_name") for what can be none.
void CheckName(const std::string &name);

// A name of an account that is to be changed: the library puts it into filters as it is.
// Throws Failure ("unusual_name").
void CheckChangeableName(const std::string &name);

// "2027-12-31" or "never" as days; throws Failure ("bad_date"). And back; nothing for never.
long ParseDate(const std::string &text);
std::optional<std::string> DateOf(long days);

// A text for passwd(5): one line without ":". Throws Failure ("bad_text").
void CheckText(std::string_view option, const std::string &text);
void CheckPath(std::string_view option, const std::string &text);
void CheckMail(std::string_view option, const std::string &text);

// "attr=value" of --set, checked. Throws Failure ("usage").
std::pair<std::string, std::string> ParseSetting(const Session &session, const std::string &text);

// "a,b" of an option that may be given several times.
std::vector<std::string> SplitNames(const std::vector<std::string> &lists);

}  // namespace zafo::cli
