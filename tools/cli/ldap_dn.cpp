// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/ldap_dn.h"

#include <algorithm>

#include <fmt/format.h>

#include "base/ascii.h"
#include "base/dn.h"
#include "tools/cli/display_text.h"
#include "tools/cli/failure.h"

namespace zafo::cli {

std::optional<SyntaxFault> DnFault(std::string_view dn) {
    if (!IsText(dn) || dn.find_first_of("\r\n") != std::string_view::npos)
        return SyntaxFault{0, "it contains control characters or is not UTF-8"};
    DnError error{};
    if (ParseDn(dn, &error)) return std::nullopt;
    return SyntaxFault{error.position, error.reason};
}

void CheckDn(const std::string &dn, bool may_be_empty) {
    const std::optional<SyntaxFault> fault =
        dn.empty() && !may_be_empty ? SyntaxFault{0, "it is empty"} : DnFault(dn);
    if (!fault) return;
    throw OwnFailure(Message::kBadDn,
                     {.subject = fmt::format("\"{}\"", OneLine(dn)), .reason = fault->reason},
                     WithCaret(dn, fault->position));
}

bool IsAttributeSelector(std::string_view name) {
    if (name == "*" || name == "+" || name == "1.1") return true;
    return !name.empty() && IsAlphanumeric(name.front()) && std::ranges::all_of(name, [](char c) {
        return IsAlphanumeric(c) || c == '-' || c == '.' || c == ';';
    });
}

std::string UserOfDn(std::string_view dn) {
    const std::optional<std::vector<Rdn>> rdns = ParseDn(dn);
    if (!rdns || rdns->empty()) return {};
    for (const DnPair &pair : rdns->front().pairs) {
        if (pair.Is("uid")) return pair.Value();
    }
    return {};
}

}  // namespace zafo::cli
