// SPDX-License-Identifier: Apache-2.0
#include "host/accounts/login_defs.h"

#include "base/blanks.h"
#include "base/whole_file.h"
#include "host/accounts/account_file.h"

namespace zafo {

namespace {

constexpr const char *kLoginDefs = "/etc/login.defs";
constexpr const char *kUserDefaults = "/etc/default/useradd";
constexpr uint32_t kFirst = 1000;
constexpr uint32_t kLast = 60000;

// The last value of a key in a file of lines "KEY VALUE", or "KEY=VALUE" where the separators say
// so.
std::string ValueIn(const char *path, std::string_view key, std::string_view separators) {
    std::string text;
    std::string value;
    if (ReadWhole(path, &text) != ReadResult::kDone) return value;
    FindLine(text, [&](std::string_view line) {
        line = Trim(line);
        const size_t end = line.find_first_of(separators);
        if (line.substr(0, end) == key && end != std::string_view::npos) {
            value = Trim(line.substr(end + 1));
        }
        return false;
    });
    return value;
}

std::string LoginDef(std::string_view key) {
    return ValueIn(kLoginDefs, key, kBlanks);
}

uint32_t NumberOr(const std::string &value, uint32_t fallback) {
    const auto number = NumberIn(value);
    return number && *number <= UINT32_MAX ? static_cast<uint32_t>(*number) : fallback;
}

// Days for shadow(5), where "never" is the empty field.
std::string Days(const std::string &value) {
    return NumberIn(value) ? value : "";
}

std::string PathOr(std::string value, const char *fallback) {
    return value.starts_with('/') ? std::move(value) : fallback;
}

}  // namespace

OrdinaryNumbers::OrdinaryNumbers(const char *first, const char *last)
    : local_{NumberOr(LoginDef(first), kFirst), NumberOr(LoginDef(last), kLast)} {}

NewUserDefaults ReadNewUserDefaults() {
    return {.home = PathOr(ValueIn(kUserDefaults, "HOME", "="), "/home"),
            .shell = PathOr(ValueIn(kUserDefaults, "SHELL", "="), "/bin/sh"),
            .most_days = Days(LoginDef("PASS_MAX_DAYS")),
            .warn_days = Days(LoginDef("PASS_WARN_AGE"))};
}

}  // namespace zafo
