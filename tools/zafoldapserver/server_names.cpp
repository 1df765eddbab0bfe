// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldapserver/server_names.h"

#include <algorithm>
#include <array>
#include <vector>

#include <fmt/format.h>

#include "base/ascii.h"
#include "base/dn.h"
#include "tools/cli/display_text.h"
#include "tools/cli/failure.h"
#include "tools/cli/ldap_dn.h"
#include "tools/cli/secret.h"

namespace zafo::cli {

namespace {

// The database stores a name twice in a record of 511 bytes.
constexpr size_t kLongestSuffix = 240;
constexpr size_t kLongestComponent = 63;  // RFC 1035 section 2.3.4
constexpr size_t kLongestDn = 1023;       // size of the library's buffers
constexpr size_t kShortestPassword = 8;

// Those whose short name is the one in the schema, which slapd writes.
constexpr std::array<std::string_view, 7> kSuffixAttributes = {"dc", "o",  "ou", "c",
                                                               "l",  "st", "cn"};

struct PlainRdn {
    std::string attribute;
    std::string_view value;
};

// Expects a valid DN whose RDNs have one attribute each.
std::vector<PlainRdn> PlainRdns(std::string_view dn) {
    std::vector<PlainRdn> plain;
    for (const Rdn &rdn : ParseDn(dn).value_or(std::vector<Rdn>())) {
        const DnPair &pair = rdn.pairs.front();
        plain.push_back({Folded(pair.attribute), pair.written});
    }
    return plain;
}

std::string Joined(const std::vector<PlainRdn> &rdns) {
    std::string dn;
    for (const PlainRdn &rdn : rdns)
        dn += fmt::format("{}{}={}", dn.empty() ? "" : ",", rdn.attribute, rdn.value);
    return dn;
}

// Why a valid DN is not plain enough; nullptr if it is.
const char *CharacterFault(std::string_view dn) {
    if (dn.find_first_of("\"\\()*[];+#<>") != std::string_view::npos)
        return "it contains one of the characters \" \\ ( ) * [ ] ; + # < >";
    if (std::ranges::any_of(dn, [](unsigned char c) { return c < 0x20 || c == 0x7F; }))
        return "it contains control characters";
    return nullptr;
}

const char *ValueFault(const std::vector<PlainRdn> &rdns) {
    const bool empty =
        std::ranges::any_of(rdns, [](const PlainRdn &rdn) { return rdn.value.empty(); });
    return empty ? "one of its parts has no value" : nullptr;
}

const char *SuffixFault(const std::vector<PlainRdn> &rdns) {
    const PlainRdn &first = rdns.front();
    if (first.attribute != "dc") return "it does not start with \"dc=\"";
    if (const char *fault = ValueFault(rdns)) return fault;
    if (!std::ranges::all_of(first.value, [](unsigned char c) { return c < 0x80; }))
        return "a domain component may have only ASCII characters";
    if (first.value.size() > kLongestComponent)
        return "a domain component has at most 63 characters";
    for (const PlainRdn &rdn : rdns) {
        if (std::ranges::count(kSuffixAttributes, rdn.attribute) == 0)
            return "its parts must be dc, o, ou, c, l, st or cn";
    }
    return Joined(rdns).size() > kLongestSuffix ? "it is longer than 240 bytes" : nullptr;
}

[[noreturn]] void Refuse(Message message, const std::string &dn, const char *reason,
                         const std::string &suffix = {}) {
    throw OwnFailure(message, {.subject = OneLine(dn), .reason = reason, .finish = suffix});
}

}  // namespace

std::string CheckedSuffix(const std::string &text) {
    if (text.empty()) Refuse(Message::kSuffixBad, "\"\"", "it is empty");
    if (const char *fault = CharacterFault(text)) Refuse(Message::kSuffixBad, text, fault);
    CheckDn(text);
    const std::vector<PlainRdn> rdns = PlainRdns(text);
    if (const char *fault = SuffixFault(rdns)) Refuse(Message::kSuffixBad, text, fault);
    return Joined(rdns);
}

std::string CheckedAdminDn(const std::string &text, const std::string &suffix) {
    const auto refuse = [&](const char *reason) {
        Refuse(Message::kAdminDnBad, text, reason, suffix);
    };
    if (const char *fault = CharacterFault(text)) refuse(fault);
    CheckDn(text);
    std::vector<PlainRdn> rdns = PlainRdns(text);
    if (const char *fault = ValueFault(rdns)) refuse(fault);
    if (!IsBelow(text, suffix)) refuse("it is not below the suffix");
    for (const char *accounts : {"cn=users,", "cn=groups,"}) {
        if (IsBelow(text, accounts + suffix))
            refuse("operators add accounts there, and none may have the administrator's DN");
    }
    rdns.resize(rdns.size() - PlainRdns(suffix).size());
    std::string dn = Joined(rdns) + "," + suffix;
    if (dn.size() > kLongestDn) refuse("it is longer than 1023 bytes");
    return dn;
}

void CheckServerPassword(const std::string &password) {
    if (CharactersOf(password) < kShortestPassword)
        throw OwnFailure(Message::kServerPassword, {.reason = "it has fewer than 8 characters"});
}

}  // namespace zafo::cli
