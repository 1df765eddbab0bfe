// SPDX-License-Identifier: Apache-2.0
#include "base/directives.h"

#include "base/blanks.h"

#include <strings.h>

namespace zafo {

namespace {

bool IsSameKeyword(std::string_view a, std::string_view b) {
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

// Only a value that is one quoted word: several of them are a list, whose quotes matter.
std::string Unquote(std::string_view written) {
    std::string as_written(written);
    if (written.size() < 2 || written.front() != '"') return as_written;
    std::string value;
    for (size_t i = 1; i < written.size(); ++i) {
        if (written[i] == '"') return i + 1 == written.size() ? value : as_written;
        const bool escaped = written[i] == '\\' && i + 1 < written.size() &&
                             (written[i + 1] == '"' || written[i + 1] == '\\');
        value += written[escaped ? ++i : i];
    }
    return as_written;
}

// slapd takes a backslash outside quotes for an escape too.
std::string Quote(std::string_view value) {
    if (!value.empty() && value.find_first_of(" \t\v\f\r\"\\#") == std::string_view::npos) {
        return std::string(value);
    }
    std::string written = "\"";
    for (const char c : value) {
        if (c == '"' || c == '\\') written += '\\';
        written += c;
    }
    return written + '"';
}

}  // namespace

bool IsDirective(std::string_view key, std::string_view value) {
    return !key.empty() && key.front() != '#' &&
           key.find_first_of(" \t\r\v\f\n\"") == std::string_view::npos &&
           value.find_first_of("\r\n") == std::string_view::npos;
}

Directives::Directives(std::string_view text) {
    bool continues = false;
    while (!text.empty()) {
        const size_t end = text.find('\n');
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        const std::string_view words = Trim(line);
        if (continues && !words.empty() && kBlanks.find(line[0]) != std::string_view::npos) {
            Line &last = lines_.back();
            last.text.append("\n").append(line);
            if (!last.key.empty()) last.value.append(last.value.empty() ? "" : " ").append(words);
            continue;
        }
        continues = !words.empty();
        Line &added = lines_.emplace_back(Line{std::string(line), {}, {}});
        if (words.empty() || words[0] == '#') continue;
        const size_t gap = words.find_first_of(kBlanks);
        added.key = words.substr(0, gap);
        if (gap != std::string_view::npos) added.value = Trim(words.substr(gap));
    }
}

std::optional<std::string> Directives::Get(std::string_view key) const {
    for (const Line &line : lines_) {
        if (IsSameKeyword(line.key, key)) return Unquote(line.value);
    }
    return {};
}

void Directives::Set(std::string_view key, std::string_view value) {
    const std::string written = Quote(value);
    bool found = false;
    for (Line &line : lines_) {
        if (!IsSameKeyword(line.key, key)) continue;
        found = true;
        if (line.value == written) continue;
        line.value = written;
        line.text = line.key + ' ' + written;
    }
    if (found) return;
    const std::string keyword(key);
    lines_.push_back({keyword + ' ' + written, keyword, written});
}

std::string Directives::Text() const {
    std::string text;
    for (const Line &line : lines_)
        text.append(line.text).push_back('\n');
    return text;
}

}  // namespace zafo
