// SPDX-License-Identifier: Apache-2.0
#include "host/sdk/template_values.h"

#include <algorithm>
#include <array>
#include <map>
#include <utility>

#include "base/dn.h"
#include "base/lines.h"

namespace zafo {

namespace {

using Values = std::array<std::pair<std::string_view, std::string>, 4>;

std::string BetweenQuotes(std::string_view value) {
    std::string written;
    for (const char c : value) {
        if (c == '"' || c == '\\') written += '\\';
        written += c;
    }
    return written;
}

Values ValuesOf(const Directives &server) {
    const std::string suffix = server.Get("suffix").value_or("");
    const std::string admin = server.Get("rootdn").value_or("");
    const std::string parent = admin.substr(std::min(EndOfRdn(admin) + 1, admin.size()));
    return {{{"${suffix}", BetweenQuotes(suffix)},
             {"${rootdn}", BetweenQuotes(admin)},
             {"${rootdn_parent}", BetweenQuotes(parent)},
             {"${suffix_in_url}", EscapedForUrl(suffix)}}};
}

std::string FillIn(std::string_view text, const Values &values) {
    std::string filled;
    while (!text.empty()) {
        const size_t at = std::min(text.find("${"), text.size());
        filled += text.substr(0, at);
        text.remove_prefix(at);
        std::string_view word = text.substr(0, 1);
        std::string_view value = word;
        for (const auto &[name, its_value] : values) {
            if (!text.starts_with(name)) continue;
            word = name;
            value = its_value;
        }
        filled += value;
        text.remove_prefix(word.size());
    }
    return filled;
}

}  // namespace

std::string FillIn(std::string_view text, const Directives &server) {
    return FillIn(text, ValuesOf(server));
}

std::string FillInAgain(std::string_view text, std::string_view pattern, const Directives &before,
                        const Directives &after) {
    const Values old_values = ValuesOf(before);
    const Values new_values = ValuesOf(after);
    std::map<std::string, std::string, std::less<>> changed;
    while (!pattern.empty()) {
        const std::string_view line = TakeWholeLine(&pattern);
        std::string old_line = FillIn(line, old_values);
        if (old_line != line)
            changed.insert_or_assign(std::move(old_line), FillIn(line, new_values));
    }
    std::string result;
    while (!text.empty()) {
        const std::string_view line = TakeWholeLine(&text);
        const auto found = changed.find(line);
        result += found == changed.end() ? line : std::string_view(found->second);
    }
    return result;
}

}  // namespace zafo
