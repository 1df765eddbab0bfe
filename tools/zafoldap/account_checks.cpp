// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldap/account_checks.h"

#include <algorithm>
#include <charconv>
#include <chrono>

#include <fmt/format.h>

#include "base/ascii.h"
#include "tools/cli/display_text.h"
#include "tools/cli/ldap_dn.h"
#include "tools/zafoldap/local_accounts.h"

namespace zafo::cli {

namespace {

constexpr size_t kLongestName = 32;
constexpr size_t kLongestAnyName = 255;  // a folder's name

[[noreturn]] void RefuseName(const std::string &name, const char *reason) {
    throw OwnFailure(Message::kAccountName,
                     {.subject = fmt::format("\"{}\"", OneLine(name)), .reason = reason});
}

bool OnlyDigits(std::string_view text) {
    return std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

bool IsBeginning(char c) {
    return (c >= 'a' && c <= 'z') || c == '_';
}

bool IsUsual(char c) {
    return IsBeginning(c) || (c >= '0' && c <= '9') || c == '.' || c == '-';
}

constexpr const char *kNotOneLine = "it contains control characters or is not UTF-8";

bool IsOneLine(const std::string &text) {
    return IsText(text) && text.find_first_of("\r\n\t") == std::string::npos;
}

[[noreturn]] void RefuseText(std::string_view option, const char *reason) {
    throw OwnFailure(Message::kBadText, {.subject = std::string(option), .reason = reason});
}

const char *FaultOfAnyName(const std::string &name) {
    return OnlyDigits(name)                                   ? "it has only digits"
           : name.size() > kLongestAnyName                    ? "it is too long"
           : name == "." || name == ".."                      ? "it is a special folder name"
           : name.front() == '-'                              ? "it starts with \"-\""
           : name.front() == ' ' || name.back() == ' '        ? "it starts or ends with a blank"
           : name.find_first_of("*()\\") != std::string::npos ? "it contains one of * ( ) \\"
           : name.find_first_of(":/") != std::string::npos    ? "it contains \":\" or \"/\""
                                                              : nullptr;
}

const char *FaultOfUsualName(const std::string &name) {
    return OnlyDigits(name)                      ? "it has only digits"
           : name.size() > kLongestName          ? "it is longer than 32 characters"
           : !IsBeginning(name.front())          ? "it does not start with a letter or \"_\""
           : !std::ranges::all_of(name, IsUsual) ? "it contains a character that is not allowed"
                                                 : nullptr;
}

// Attributes that have an option of their own, and secret ones.
constexpr std::pair<std::string_view, std::string_view> kOwnOptions[] = {
    {"uid", "the name"},
    {"uidNumber", "--uid"},
    {"gidNumber", "--gid"},
    {"gecos", "--full-name"},
    {"homeDirectory", "--home"},
    {"loginShell", "--shell"},
    {"mail", "--mail"},
    {"shadowExpire", "--expires"},
    {"shadowMin", "--no-password-change"},
    {"userPassword", "zafoldap user passwd"},
    {"sambaNTPassword", "zafoldap user passwd"},
    {"sambaLMPassword", "zafoldap user passwd"},
    {"memberUid", "zafoldap member"},
    {"member", "zafoldap member"},
    {"dn", "zafoldap user rename"},
};

std::string ReadContainer(const Session &session, const AccountKind &kind) {
    const std::string *given = session.invocation.Find("container");
    if (given == nullptr) return std::string(kind.container);
    CheckDn(*given);
    return *given;
}

}  // namespace

void CheckName(const std::string &name) {
    if (name.empty()) RefuseName(name, "it is empty");
    if (!IsOneLine(name)) RefuseName(name, kNotOneLine);
    if (name.size() > kLongestAnyName) RefuseName(name, "it is too long");
}

void CheckNewName(const std::string &name, bool any) {
    CheckName(name);
    if (const char *fault = any ? FaultOfAnyName(name) : FaultOfUsualName(name)) {
        RefuseName(name, fault);
    }
}

void CheckNewName(const Session &session, const AccountKind &kind, const std::string &name) {
    const bool any = session.invocation.Has("any-name");
    CheckNewName(name, any);
    if (&kind == &kUserKind && !any && IsLocalUser(name))
        throw OwnFailure(Message::kNameLocal, {.subject = name});
}

std::optional<std::uint32_t> ReadNumber(const Session &session, const AccountKind &kind) {
    const std::string *given = session.invocation.Find(kind.number);
    if (given == nullptr) return std::nullopt;
    return ParseAccountNumber(fmt::format("--{}", kind.number), *given);
}

NewAccount ReadNewAccount(const Session &session, const AccountKind &kind) {
    const std::string &name = session.Argument("NAME");
    CheckNewName(session, kind, name);
    return {name, ReadContainer(session, kind), ReadNumber(session, kind)};
}

void CheckChangeableName(const std::string &name) {
    CheckName(name);
    if (name.find_first_of("*()\\") != std::string::npos) {
        throw OwnFailure(Message::kUnusualName, {.subject = fmt::format("\"{}\"", name)});
    }
}

std::vector<std::string> NamesGiven(const Session &session, std::string_view argument,
                                    void (*check)(const std::string &)) {
    std::vector<std::string> names;
    for (const std::string &name : session.invocation.All(argument)) {
        check(name);
        if (std::ranges::count(names, name) == 0) names.push_back(name);
    }
    return names;
}

long ParseDate(const std::string &text) {
    if (text == "never") return kNeverExpires;
    const bool shaped = text.size() == 10 && text[4] == '-' && text[7] == '-' &&
                        OnlyDigits(text.substr(0, 4) + text.substr(5, 2) + text.substr(8));
    int parts[3] = {};
    if (shaped) {
        std::from_chars(&text[0], &text[4], parts[0]);
        std::from_chars(&text[5], &text[7], parts[1]);
        std::from_chars(&text[8], text.data() + 10, parts[2]);
    }
    const std::chrono::year_month_day date{std::chrono::year(parts[0]),
                                           std::chrono::month(static_cast<unsigned>(parts[1])),
                                           std::chrono::day(static_cast<unsigned>(parts[2]))};
    if (!shaped || !date.ok() || parts[0] <= 1970) {
        throw OwnFailure(Message::kBadDate, {.subject = OneLine(text)});
    }
    return std::chrono::sys_days(date).time_since_epoch().count();
}

std::optional<std::string> DateOf(long days) {
    constexpr long kLast = 2932896;  // in the year 9999
    if (days <= 0 || days > kLast) return std::nullopt;
    const std::chrono::year_month_day date{std::chrono::sys_days(std::chrono::days(days))};
    return fmt::format("{:04}-{:02}-{:02}", static_cast<int>(date.year()),
                       static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
}

void CheckOneLine(std::string_view option, const std::string &text) {
    if (!IsOneLine(text)) RefuseText(option, kNotOneLine);
}

void CheckText(std::string_view option, const std::string &text) {
    CheckOneLine(option, text);
    if (text.find(':') != std::string::npos) RefuseText(option, "it contains \":\"");
    if (text.size() > 1023) RefuseText(option, "it is longer than 1023 bytes");
}

void CheckPath(std::string_view option, const std::string &text) {
    CheckText(option, text);
    if (!text.starts_with('/')) RefuseText(option, "it does not start with \"/\"");
}

void CheckMail(std::string_view option, const std::string &text) {
    const bool good = IsPlainAscii(text) && text.find(' ') == std::string::npos &&
                      text.find('@') != std::string::npos && text.front() != '@' &&
                      text.back() != '@';
    if (!good) RefuseText(option, "it is not an address");
}

std::pair<std::string, std::string> ParseSetting(const Session &session, const std::string &text) {
    const size_t equals = text.find('=');
    const std::string attribute = text.substr(0, equals);
    if (equals == std::string::npos || !IsAttributeSelector(attribute) || attribute == "*" ||
        attribute == "+" || attribute == "1.1") {
        RefuseUsage(session, fmt::format("--set {} is not ATTRIBUTE=VALUE", OneLine(text)));
    }
    for (const auto &[own, option] : kOwnOptions) {
        if (EqualIgnoringCase(attribute, own)) {
            RefuseUsage(session, fmt::format("--set cannot change {}: use {}", own, option));
        }
    }
    std::string value = text.substr(equals + 1);
    CheckOneLine(fmt::format("--set {}", attribute), value);
    return {attribute, std::move(value)};
}

std::vector<std::string> SplitNames(const std::vector<std::string> &lists) {
    std::vector<std::string> names;
    for (const std::string &list : lists) {
        for (std::string &name : SplitAtCommas(list)) {
            if (std::ranges::count(names, name) == 0) names.push_back(std::move(name));
        }
    }
    return names;
}

}  // namespace zafo::cli
