// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldapserver/server_names.h"

#include "tools/cli/display_text.h"
#include "tools/cli/failure.h"
#include "tools/cli/ldap_dn.h"
#include "tools/cli/secret.h"

#include <strings.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <vector>

namespace zafo::cli {

namespace {

// The database keeps a name twice in a record of 511 bytes.
constexpr size_t kLongestSuffix = 240;
constexpr size_t kLongestComponent = 63;  // RFC 1035 section 2.3.4
constexpr size_t kLongestDn = 1023;       // the library's buffers
constexpr size_t kShortestPassword = 8;

// Those whose short name is the one that the schema, and so slapd, writes.
constexpr std::array<std::string_view, 7> kSuffixAttributes = {"dc", "o",  "ou", "c",
                                                               "l",  "st", "cn"};

struct Rdn {
    std::string attribute;
    std::string value;
};

std::string_view Trimmed(std::string_view text) {
    while (text.starts_with(' '))
        text.remove_prefix(1);
    while (text.ends_with(' '))
        text.remove_suffix(1);
    return text;
}

// Of a DN without faults and without escapes.
std::vector<Rdn> Split(std::string_view dn) {
    std::vector<Rdn> rdns;
    while (!dn.empty()) {
        const std::string_view one = dn.substr(0, dn.find(','));
        dn.remove_prefix(std::min(one.size() + 1, dn.size()));
        const size_t equals = one.find('=');
        Rdn rdn{std::string(Trimmed(one.substr(0, equals))),
                std::string(Trimmed(one.substr(equals + 1)))};
        std::ranges::transform(rdn.attribute, rdn.attribute.begin(),
                               [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        rdns.push_back(std::move(rdn));
    }
    return rdns;
}

std::string Joined(const std::vector<Rdn> &rdns) {
    std::string dn;
    for (const Rdn &rdn : rdns)
        dn += fmt::format("{}{}={}", dn.empty() ? "" : ",", rdn.attribute, rdn.value);
    return dn;
}

// Why a text that is a DN is not plain enough; nullptr: it is.
const char *CharacterFault(std::string_view dn) {
    if (dn.find_first_of("\"\\()*[];+#<>") != std::string_view::npos)
        return "it contains one of the characters \" \\ ( ) * [ ] ; + # < >";
    if (std::ranges::any_of(dn, [](unsigned char c) { return c < 0x20 || c == 0x7F; }))
        return "it contains control characters";
    return nullptr;
}

const char *ValueFault(const std::vector<Rdn> &rdns) {
    const bool empty = std::ranges::any_of(rdns, [](const Rdn &rdn) { return rdn.value.empty(); });
    return empty ? "one of its parts has no value" : nullptr;
}

const char *SuffixFault(const std::vector<Rdn> &rdns) {
    const Rdn &first = rdns.front();
    if (first.attribute != "dc") return "it does not start with \"dc=\"";
    if (const char *fault = ValueFault(rdns)) return fault;
    if (!std::ranges::all_of(first.value, [](unsigned char c) { return c < 0x80; }))
        return "a domain component may have only ASCII characters";
    if (first.value.size() > kLongestComponent)
        return "a domain component has at most 63 characters";
    for (const Rdn &rdn : rdns) {
        if (std::ranges::count(kSuffixAttributes, rdn.attribute) == 0)
            return "its parts must be dc, o, ou, c, l, st or cn";
    }
    return Joined(rdns).size() > kLongestSuffix ? "it is longer than 240 bytes" : nullptr;
}

[[noreturn]] void Refuse(std::string_view key, const std::string &dn, const char *reason,
                         const std::string &suffix = {}) {
    throw OwnFailure(key, {.subject = OneLine(dn), .reason = reason, .finish = suffix});
}

}  // namespace

std::string CheckedSuffix(const std::string &text) {
    if (text.empty()) Refuse("suffix_bad", "\"\"", "it is empty");
    if (const char *fault = CharacterFault(text)) Refuse("suffix_bad", text, fault);
    CheckDn(text);
    const std::vector<Rdn> rdns = Split(text);
    if (const char *fault = SuffixFault(rdns)) Refuse("suffix_bad", text, fault);
    return Joined(rdns);
}

std::string CheckedAdminDn(const std::string &text, const std::string &suffix) {
    const auto refuse = [&](const char *reason) { Refuse("admin_dn_bad", text, reason, suffix); };
    if (const char *fault = CharacterFault(text)) refuse(fault);
    CheckDn(text);
    const std::vector<Rdn> rdns = Split(text);
    if (const char *fault = ValueFault(rdns)) refuse(fault);
    const std::string dn = Joined(rdns);
    if (dn.size() > kLongestDn) refuse("it is longer than 1023 bytes");
    const std::string below = "," + suffix;
    if (dn.size() <= below.size() || !SameDn(dn.substr(dn.size() - below.size()), below))
        refuse("it is not below the suffix");
    for (const char *accounts : {"cn=users,", "cn=groups,"}) {
        const std::string container = "," + (accounts + suffix);
        if (dn.size() > container.size() &&
            SameDn(dn.substr(dn.size() - container.size()), container))
            refuse("operators add accounts there, and none may have the administrator's DN");
    }
    return dn.substr(0, dn.size() - below.size()) + below;
}

bool SameDn(std::string_view a, std::string_view b) {
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

void CheckServerPassword(const std::string &password) {
    if (CharactersOf(password) < kShortestPassword)
        throw OwnFailure("server_password", {.reason = "it has fewer than 8 characters"});
}

}  // namespace zafo::cli
