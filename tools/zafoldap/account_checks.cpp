// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldap/account_checks.h"

#include "tools/cli/display_text.h"
#include "tools/cli/ldap_dn.h"

#include <grp.h>
#include <pwd.h>
#include <strings.h>

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <memory>

namespace zafo::cli {

namespace {

constexpr size_t kLongestName = 32;
constexpr size_t kLongestAnyName = 255;  // a folder's name

[[noreturn]] void RefuseName(const std::string &name, const char *reason) {
    throw OwnFailure("account_name",
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

bool OneLineOfText(const std::string &text) {
    return IsText(text) && text.find_first_of("\r\n\t") == std::string::npos;
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
           : !std::ranges::all_of(name, IsUsual) ? "it contains another character"
                                                 : nullptr;
}

struct CloseFile {
    void operator()(FILE *file) const { fclose(file); }
};

// The first entry of "/etc/passwd" or "/etc/group" that `wanted` takes. The files themselves are
// read: the name service of this system may know the directory's accounts as well.
template <typename Row, typename Wanted>
std::optional<std::string> LocalName(const char *path, Row *(*next)(FILE *), Wanted wanted) {
    const std::unique_ptr<FILE, CloseFile> file(fopen(path, "re"));
    if (file == nullptr) return std::nullopt;
    while (const Row *row = next(file.get())) {
        if (wanted(*row)) {
            if constexpr (std::is_same_v<Row, passwd>) return row->pw_name;
            if constexpr (std::is_same_v<Row, group>) return row->gr_name;
        }
    }
    return std::nullopt;
}

// Attributes that an option of their own sets, and those that are secrets.
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

}  // namespace

void CheckName(const std::string &name) {
    if (name.empty()) RefuseName(name, "it is empty");
    if (!OneLineOfText(name)) RefuseName(name, "it contains control characters or is not UTF-8");
    if (name.size() > kLongestAnyName) RefuseName(name, "it is too long");
}

void CheckNewName(const std::string &name, bool any) {
    CheckName(name);
    if (const char *fault = any ? FaultOfAnyName(name) : FaultOfUsualName(name)) {
        RefuseName(name, fault);
    }
}

void CheckChangeableName(const std::string &name) {
    CheckName(name);
    if (name.find_first_of("*()\\") != std::string::npos) {
        throw OwnFailure("unusual_name", {.subject = fmt::format("\"{}\"", name)});
    }
}

bool IsReservedNumber(std::uint64_t number) {
    return number == 0 || number == 65534 || number == 65535 || number >= UID_ERR;
}

std::uint32_t ParseAccountNumber(std::string_view option, const std::string &text) {
    std::uint64_t number = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool whole = parsed.ec == std::errc() && parsed.ptr == text.data() + text.size();
    const char *reason = !whole                     ? "it is not a number in that range"
                         : IsReservedNumber(number) ? "it is reserved"
                                                    : nullptr;
    if (reason != nullptr) {
        throw OwnFailure("account_number", {.subject = fmt::format("{} {}", option, OneLine(text)),
                                            .reason = reason});
    }
    return static_cast<std::uint32_t>(number);
}

std::optional<std::string> LocalAccount(const AccountKind &kind, std::uint32_t number) {
    if (&kind == &kUserKind) {
        return LocalName<passwd>("/etc/passwd", fgetpwent,
                                 [&](const passwd &row) { return row.pw_uid == number; });
    }
    return LocalName<group>("/etc/group", fgetgrent,
                            [&](const group &row) { return row.gr_gid == number; });
}

bool IsLocalUser(const std::string &name) {
    return LocalName<passwd>("/etc/passwd", fgetpwent,
                             [&](const passwd &row) { return row.pw_name == name; })
        .has_value();
}

bool IsLocalGroup(const std::string &name) {
    return LocalName<group>("/etc/group", fgetgrent,
                            [&](const group &row) { return row.gr_name == name; })
        .has_value();
}

std::map<std::string, std::uint64_t, std::less<>> LocalAccounts(const AccountKind &kind) {
    std::map<std::string, std::uint64_t, std::less<>> accounts;
    if (&kind == &kUserKind) {
        LocalName<passwd>("/etc/passwd", fgetpwent, [&](const passwd &row) {
            accounts.emplace(row.pw_name, row.pw_uid);
            return false;
        });
    } else {
        LocalName<group>("/etc/group", fgetgrent, [&](const group &row) {
            accounts.emplace(row.gr_name, row.gr_gid);
            return false;
        });
    }
    return accounts;
}

void CheckNumberIsFree(const AccountDirectory &directory, const AccountKind &kind,
                       std::uint32_t number) {
    const std::string text = std::to_string(number);
    if (const auto local = LocalAccount(kind, number)) {
        throw OwnFailure("number_local", {.subject = text, .reason = *local});
    }
    const std::optional<Pool> pool = directory.PoolOf(kind);
    if (pool && (number < pool->lowest || number > pool->highest)) {
        throw OwnFailure(
            "number_outside_pool",
            {.subject = text, .reason = fmt::format("{} to {}", pool->lowest, pool->highest)});
    }
    if (!directory.WithNumber(kind, number).empty())
        throw LibraryRefusal(kind.number_taken, {.subject = text});
}

std::uint32_t GidOf(const AccountDirectory &directory, const std::string &name,
                    const std::string &dn) {
    return ParseAccountNumber(
        fmt::format("the number of the group {}:", name),
        directory.ValueOf(dn, std::string(kGroupKind.filter), std::string(kGroupKind.number_attr)));
}

std::pair<std::string, std::uint32_t> NeedPrimaryGroup(const AccountDirectory &directory,
                                                       const std::string &given) {
    CheckName(given);
    if (!OnlyDigits(given)) {
        return {given, GidOf(directory, given, directory.Need(kGroupKind, given))};
    }
    const std::uint32_t gid = ParseAccountNumber("--gid", given);
    const std::vector<std::string> dns = directory.WithNumber(kGroupKind, gid);
    if (!dns.empty()) return {directory.NameOf(kGroupKind, dns.front()), gid};
    if (const auto local = LocalAccount(kGroupKind, gid)) return {*local, gid};
    throw OwnFailure("group_missing", directory.Known("with the number " + given));
}

void NeedClassFor(const AccountDirectory &directory, const Invocation &invocation,
                  std::string_view option, unsigned int bit, unsigned int entry_classes) {
    if (!invocation.Has(option) || (directory.HasClass(bit) && (entry_classes & bit) != 0)) return;
    Facts facts = directory.Known(fmt::format("--{}", option));
    facts.reason = bit == ZAFOLDAP_CLASS_INET_ORG_PERSON ? "inetOrgPerson" : "shadowAccount";
    throw OwnFailure("class_missing", facts);
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
        throw OwnFailure("bad_date", {.subject = OneLine(text)});
    }
    return std::chrono::sys_days(date).time_since_epoch().count();
}

std::optional<std::string> DateOf(long days) {
    constexpr long kLast = 2932896;  // of the year 9999
    if (days <= 0 || days > kLast) return std::nullopt;
    const std::chrono::year_month_day date{std::chrono::sys_days(std::chrono::days(days))};
    return fmt::format("{:04}-{:02}-{:02}", static_cast<int>(date.year()),
                       static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
}

void CheckText(std::string_view option, const std::string &text) {
    const char *reason = !OneLineOfText(text) ? "it contains control characters or is not UTF-8"
                         : text.find(':') != std::string::npos ? "it contains \":\""
                         : text.size() > 1023                  ? "it is longer than 1023 bytes"
                                                               : nullptr;
    if (reason != nullptr)
        throw OwnFailure("bad_text", {.subject = std::string(option), .reason = reason});
}

void CheckPath(std::string_view option, const std::string &text) {
    CheckText(option, text);
    if (!text.starts_with('/')) {
        throw OwnFailure(
            "bad_text", {.subject = std::string(option), .reason = "it does not start with \"/\""});
    }
}

void CheckMail(const std::string &text) {
    const bool good = IsPlainAscii(text) && text.find(' ') == std::string::npos &&
                      text.find('@') != std::string::npos && text.front() != '@' &&
                      text.back() != '@';
    if (!good)
        throw OwnFailure("bad_text", {.subject = "--mail", .reason = "it is not an address"});
}

std::pair<std::string, std::string> ParseSetting(const Session &session, const std::string &text) {
    const size_t equals = text.find('=');
    const std::string attribute = text.substr(0, equals);
    if (equals == std::string::npos || !IsAttributeSelector(attribute) || attribute == "*" ||
        attribute == "+" || attribute == "1.1") {
        RefuseUsage(session, fmt::format("--set {} is not ATTRIBUTE=VALUE", OneLine(text)));
    }
    for (const auto &[own, option] : kOwnOptions) {
        if (strcasecmp(attribute.c_str(), std::string(own).c_str()) == 0) {
            RefuseUsage(session, fmt::format("--set cannot change {}: use {}", own, option));
        }
    }
    std::string value = text.substr(equals + 1);
    if (!OneLineOfText(value)) {
        throw OwnFailure("bad_text", {.subject = fmt::format("--set {}", attribute),
                                      .reason = "it contains control characters or is not UTF-8"});
    }
    return {attribute, std::move(value)};
}

std::vector<std::string> SplitNames(const std::vector<std::string> &lists) {
    std::vector<std::string> names;
    for (const std::string &list : lists) {
        for (size_t begin = 0; begin <= list.size();) {
            const size_t end = std::min(list.find(',', begin), list.size());
            std::string name = list.substr(begin, end - begin);
            if (!name.empty() && std::ranges::count(names, name) == 0)
                names.push_back(std::move(name));
            begin = end + 1;
        }
    }
    return names;
}

}  // namespace zafo::cli
