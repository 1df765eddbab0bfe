// SPDX-License-Identifier: Apache-2.0
#include "src/accounts/automount_value.h"

namespace zafo {

namespace {

// The limit on the length of escaped and of unescaped text.
constexpr size_t kMaxEscaped = 4094;
constexpr std::string_view kType = "-fstype=nfs";
constexpr std::string_view kBlanks = " \t\n\v\f\r";

bool IsSpecial(char c) {
    return c == '$' || c == ' ' || c == '&';
}

}  // namespace

std::string AutomountMapDN(const ZAFOLDAP_HOST &host, const char *map) {
    std::string dn = std::string("automountMapName=") + map;
    if (host.szBaseDN != nullptr) dn.append(",").append(host.szBaseDN);
    return dn;
}

std::string AutomountKeyDN(const ZAFOLDAP_HOST &host, const char *key, const char *map) {
    return std::string("automountKey=") + key + "," + AutomountMapDN(host, map);
}

std::optional<std::string> EscapedPath(std::string_view path) {
    std::string escaped;
    for (const char c : path) {
        if (IsSpecial(c)) escaped += '\\';
        escaped += c;
        if (escaped.size() >= kMaxEscaped) return {};
    }
    if (escaped.ends_with('/')) escaped.pop_back();
    return escaped;
}

std::string AutomountValue(std::string_view host, std::string_view escaped) {
    return std::string(kType).append(" ").append(host).append(":").append(escaped).append("/&");
}

std::optional<std::string> EscapedExportOf(std::string_view *text) {
    *text = text->substr(0, text->find_last_not_of(kBlanks) + 1);
    if (!text->ends_with('&')) return {};
    text->remove_suffix(1);

    std::string_view value = *text;
    const size_t type = value.find(kType);
    if (type == std::string_view::npos) return {};
    const size_t blank = value.find(' ', type + kType.size());
    if (blank == std::string_view::npos) return {};
    value.remove_prefix(blank);
    while (value.starts_with(' '))
        value.remove_prefix(1);
    if (value.starts_with('-')) return {};  // another option
    return std::string(value);
}

std::optional<std::string> Unescaped(std::string_view escaped) {
    std::string text;
    for (size_t i = 0; i < escaped.size(); ++i) {
        if (escaped[i] == '\\' && i + 1 < escaped.size() && IsSpecial(escaped[i + 1])) ++i;
        text += escaped[i];
        if (text.size() > kMaxEscaped) return {};
    }
    return text;
}

}  // namespace zafo
