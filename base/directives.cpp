// SPDX-License-Identifier: Apache-2.0
#include "base/directives.h"

#include "base/ascii.h"
#include "base/blanks.h"
#include "base/lines.h"
#include "base/whole_file.h"

namespace zafo {

namespace {

// Backslashes need quotes too: slapd treats one outside quotes as an escape.
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

void AddWords(Directive *directive, std::string_view words) {
    if (!directive->key.empty()) {
        if (!words.empty()) directive->value.append(directive->value.empty() ? "" : " ");
        directive->value.append(words);
        return;
    }
    const size_t gap = words.find_first_of(kBlanks);
    directive->key = words.substr(0, gap);
    if (gap != std::string_view::npos) directive->value = Trim(words.substr(gap));
}

}  // namespace

bool Directive::Is(std::string_view name) const {
    return EqualIgnoringCase(key, name);
}

// Several quoted words are a list, whose quotes are significant.
std::string Directive::Unquoted() const {
    if (value.size() < 2 || value.front() != '"') return value;
    std::string unquoted;
    for (size_t i = 1; i < value.size(); ++i) {
        if (value[i] == '"') return i + 1 == value.size() ? unquoted : value;
        const bool escaped = value[i] == '\\' && i + 1 < value.size() &&
                             (value[i + 1] == '"' || value[i + 1] == '\\');
        unquoted += value[escaped ? ++i : i];
    }
    return value;
}

std::string Directive::Squeezed() const {
    std::string squeezed;
    bool quoted = false;
    bool escaped = false;
    bool blank = false;
    for (const char c : value) {
        if (!quoted && !escaped && kBlanks.find(c) != std::string_view::npos) {
            blank = true;
            continue;
        }
        if (blank) squeezed += ' ';
        blank = false;
        if (c == '"' && !escaped) quoted = !quoted;
        escaped = c == '\\' && !escaped;
        squeezed += c;
    }
    return squeezed;
}

Directives::Directives(std::string_view text) {
    bool continues = false;
    bool comment = false;
    while (!text.empty()) {
        const std::string_view line = TakeWholeLine(&text);
        const std::string_view words = Trim(line.substr(0, line.find('\n')));
        const bool empty = line.starts_with('\n') || line.starts_with("\r\n");
        if (!continues || empty || kBlanks.find(line.front()) == kBlanks.npos) {
            lines_.emplace_back();
            comment = false;
            continues = !empty;
        }
        Directive &last = lines_.back();
        last.text.append(line);
        comment = comment || (last.key.empty() && words.starts_with('#'));
        if (!comment) AddWords(&last, words);
    }
}

std::optional<std::string> Directives::Get(std::string_view key) const {
    for (const Directive &line : lines_) {
        if (line.Is(key)) return line.Unquoted();
    }
    return {};
}

void Directives::Set(std::string_view key, std::string_view value) {
    const std::string written = Quote(value);
    bool found = false;
    for (Directive &line : lines_) {
        if (!line.Is(key)) continue;
        found = true;
        if (line.value == written) continue;
        line.value = written;
        line.text = line.key + ' ' + written + '\n';
    }
    if (found) return;
    if (!lines_.empty() && !lines_.back().text.ends_with('\n')) lines_.back().text += '\n';
    const std::string keyword(key);
    lines_.push_back({keyword, written, keyword + ' ' + written + '\n'});
}

std::string Directives::Text() const {
    return Rewritten([](const Directive &directive) { return directive.text; });
}

std::string Directives::Rewritten(
    const std::function<std::string(const Directive &)> &rewrite) const {
    std::string text;
    for (const Directive &line : lines_)
        text += line.key.empty() ? line.text : rewrite(line);
    return text;
}

bool IsDirective(std::string_view key, std::string_view value) {
    return !key.empty() && key.front() != '#' &&
           key.find_first_of(" \t\r\v\f\n\"") == std::string_view::npos &&
           value.find_first_of("\r\n") == std::string_view::npos;
}

std::string DirectiveOf(const std::string &path, std::string_view key) {
    std::string text;
    if (ReadWhole(path, &text) != ReadResult::kDone) return {};
    return Directives(text).Get(key).value_or("");
}

}  // namespace zafo
