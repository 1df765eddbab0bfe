// SPDX-License-Identifier: Apache-2.0
//
// Checks on the names, numbers, texts and dates of accounts, made before anything runs.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/zafoldap/account_directory.h"

namespace zafo::cli {

// The shadow value for "never", otherwise in days since 1 January 1970.
constexpr long kNeverExpires = -1;

// Checks a new name: lower-case letters, digits, "_", "." and "-", starting with a letter or "_",
// at most 32 characters. `any`: every possible name. Throws Failure ("account_name").
void CheckNewName(const std::string &name, bool any);

// Checks a new name as the command line requires: subject to --any-name, and, for users, not a
// local account's (--any-name accepts those too). Throws Failure ("account_name", "name_local").
void CheckNewName(const Session &session, const AccountKind &kind, const std::string &name);

// A new account from the command line: NAME, --container, --uid or --gid.
NewAccount ReadNewAccount(const Session &session, const AccountKind &kind);

// The value of --uid or --gid.
std::optional<std::uint32_t> ReadNumber(const Session &session, const AccountKind &kind);

// Checks a name to be looked up. Throws Failure ("account_name") for an impossible one.
void CheckName(const std::string &name);

// Checks the name of an account to be changed: the library puts it into filters unescaped. Throws
// Failure ("unusual_name").
void CheckChangeableName(const std::string &name);

// The values of a repeatable argument, checked, each once.
std::vector<std::string> NamesGiven(const Session &session, std::string_view argument,
                                    void (*check)(const std::string &));
// "2027-12-31" or "never" as days; throws Failure ("bad_date"). DateOf is the inverse: nothing for
// never.
long ParseDate(const std::string &text);
std::optional<std::string> DateOf(long days);

// Checks that a text is UTF-8 without line breaks, tabs and other control characters. Throws
// Failure ("bad_text"), as do those below.
void CheckOneLine(std::string_view option, const std::string &text);
// Checks a text for passwd(5): one line without ":".
void CheckText(std::string_view option, const std::string &text);
void CheckPath(std::string_view option, const std::string &text);
void CheckMail(std::string_view option, const std::string &text);

// Parses and checks "attr=value" of --set. Throws Failure ("usage").
std::pair<std::string, std::string> ParseSetting(const Session &session, const std::string &text);

// Splits the "a,b" of an option that may be given several times.
std::vector<std::string> SplitNames(const std::vector<std::string> &lists);

}  // namespace zafo::cli
