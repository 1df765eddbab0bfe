// SPDX-License-Identifier: Apache-2.0
#include "host/core/section_text.h"

#include <algorithm>
#include <set>

#include "base/blanks.h"
#include "base/lines.h"

namespace zafo {

namespace {

struct Escape {
    char letter;
    char meaning;
};
constexpr Escape kEscapes[] = {{'"', '"'}, {'\\', '\\'}, {'n', '\n'}, {'r', '\r'}, {'t', '\t'}};

// The escape whose `part` is that character, or nullptr.
const Escape *FindEscape(char Escape::*part, char c) {
    const auto *found = std::ranges::find(kEscapes, c, part);
    return found == std::end(kEscapes) ? nullptr : found;
}

// Text that other readers of such files take for a comment is quoted too.
bool NeedsQuotes(std::string_view value) {
    return Trim(value) != value || value.find_first_of("\"\\#;\n\r") != std::string_view::npos;
}

std::string WrittenValue(std::string_view value) {
    if (!NeedsQuotes(value)) return std::string(value);
    std::string text = "\"";
    for (const char c : value) {
        if (const Escape *escape = FindEscape(&Escape::meaning, c)) {
            text += '\\';
            text += escape->letter;
        } else {
            text += c;
        }
    }
    return text + '"';
}

bool IsOneTrimmedLine(std::string_view text) {
    return !text.empty() && Trim(text) == text && text.find('\n') == std::string_view::npos;
}

// Reads the value of a pair, quoted or not. Returns what is wrong with it, or nullptr.
const char *ReadValue(std::string_view text, std::string *value) {
    text = Trim(text);
    if (!text.starts_with('"')) {
        *value = text;
        return nullptr;
    }
    value->clear();
    for (size_t i = 1; i < text.size(); ++i) {
        if (text[i] == '"') return i + 1 == text.size() ? nullptr : "text after the closing quote";
        if (text[i] != '\\') {
            *value += text[i];
            continue;
        }
        const Escape *escape = ++i < text.size() ? FindEscape(&Escape::letter, text[i]) : nullptr;
        if (escape == nullptr) return "unknown escape";
        *value += escape->meaning;
    }
    return "missing closing quote";
}

}  // namespace

bool IsSectionName(std::string_view name) {
    return IsOneTrimmedLine(name);
}

bool IsKey(std::string_view key) {
    return IsOneTrimmedLine(key) && key.find('=') == std::string_view::npos &&
           std::string_view("#;[").find(key[0]) == std::string_view::npos;
}

const char *SectionText::ParseLine(std::string_view text, bool has_heading, Line *line) {
    line->text = text;
    const std::string_view words = Trim(text);
    if (text.find('\0') != std::string_view::npos) return "contains a zero byte";
    if (words.empty()) {
        line->kind = Kind::kBlank;
        return nullptr;
    }
    if (words[0] == '#' || words[0] == ';') {
        line->kind = Kind::kComment;
        return nullptr;
    }
    if (words[0] == '[') {
        line->kind = Kind::kHeading;
        if (words.back() != ']') return "heading without closing bracket";
        line->name = Trim(words.substr(1, words.size() - 2));
        return line->name.empty() ? "heading without a name" : nullptr;
    }
    line->kind = Kind::kPair;
    const size_t equals = words.find('=');
    if (equals == std::string_view::npos) return "not a comment, heading or pair";
    if (!has_heading) return "pair before the first heading";
    line->name = Trim(words.substr(0, equals));
    if (line->name.empty()) return "pair without a key";
    return ReadValue(words.substr(equals + 1), &line->value);
}

Damage SectionText::Parse(std::string_view text) {
    lines_.clear();
    bool has_heading = false;
    for (int number = 1; !text.empty(); ++number) {
        Line &line = lines_.emplace_back();
        if (const char *reason = ParseLine(TakeLine(&text), has_heading, &line)) {
            return {.line = number, .reason = reason};
        }
        has_heading = has_heading || line.kind == Kind::kHeading;
    }
    return {};
}

Pairs PlainPairs(std::string_view text) {
    Pairs pairs;
    while (!text.empty()) {
        const std::string_view words = Trim(TakeLine(&text));
        const size_t equals = words.find('=');
        if (equals == std::string_view::npos || words.find('\0') != std::string_view::npos)
            continue;
        const std::string_view key = Trim(words.substr(0, equals));
        const std::string_view written = Trim(words.substr(equals + 1));
        if (!IsKey(key)) continue;
        std::string value;
        // Text that only looks quoted is taken literally.
        if (ReadValue(written, &value) != nullptr) value = written;
        pairs.insert_or_assign(std::string(key), std::move(value));
    }
    return pairs;
}

SectionText::Line SectionText::Heading(std::string_view section) {
    return {Kind::kHeading, '[' + std::string(section) + ']', std::string(section), {}};
}

SectionText::Line SectionText::Pair(std::string_view key, std::string_view value) {
    return {Kind::kPair, std::string(key) + '=' + WrittenValue(value), std::string(key),
            std::string(value)};
}

std::vector<std::string> SectionText::Names() const {
    std::vector<std::string> names;
    std::set<std::string_view> seen;
    for (const Line &line : lines_) {
        if (line.kind == Kind::kHeading && seen.insert(line.name).second)
            names.push_back(line.name);
    }
    return names;
}

bool SectionText::Has(std::string_view section) const {
    return std::any_of(lines_.begin(), lines_.end(), [=](const Line &line) {
        return line.kind == Kind::kHeading && line.name == section;
    });
}

Pairs SectionText::Get(std::string_view section) const {
    Pairs pairs;
    bool inside = false;
    for (const Line &line : lines_) {
        if (line.kind == Kind::kHeading) inside = line.name == section;
        if (inside && line.kind == Kind::kPair) pairs.insert_or_assign(line.name, line.value);
    }
    return pairs;
}

void SectionText::Add(std::string_view section, const Pairs &pairs) {
    if (!lines_.empty() && lines_.back().kind != Kind::kBlank)
        lines_.push_back({Kind::kBlank, {}, {}, {}});
    lines_.push_back(Heading(section));
    for (const auto &[key, value] : pairs)
        lines_.push_back(Pair(key, value));
}

// The position after the last pair of the last section of that name, or after its heading.
size_t SectionText::EndOf(std::string_view section) const {
    size_t end = 0;
    bool inside = false;
    for (size_t i = 0; i < lines_.size(); ++i) {
        const Line &line = lines_[i];
        if (line.kind == Kind::kHeading) inside = line.name == section;
        if (inside && (line.kind == Kind::kHeading || line.kind == Kind::kPair)) end = i + 1;
    }
    return end;
}

void SectionText::Set(std::string_view section, std::string_view key, std::string_view value) {
    Line *last = nullptr;
    bool inside = false;
    for (Line &line : lines_) {
        if (line.kind == Kind::kHeading) inside = line.name == section;
        if (inside && line.kind == Kind::kPair && line.name == key) last = &line;
    }
    if (last == nullptr) {
        lines_.insert(lines_.begin() + static_cast<ptrdiff_t>(EndOf(section)), Pair(key, value));
    } else if (last->value != value) {
        *last = Pair(key, value);
    }
}

void SectionText::RemoveKey(std::string_view section, std::string_view key) {
    bool inside = false;
    std::erase_if(lines_, [&](const Line &line) {
        if (line.kind == Kind::kHeading) inside = line.name == section;
        return inside && line.kind == Kind::kPair && line.name == key;
    });
}

void SectionText::Rename(std::string_view section, std::string_view name) {
    for (Line &line : lines_) {
        if (line.kind == Kind::kHeading && line.name == section) line = Heading(name);
    }
}

void SectionText::Remove(std::string_view section) {
    std::vector<Line> kept;
    bool dropping = false;
    for (size_t i = 0; i < lines_.size();) {
        size_t next = i;
        while (next < lines_.size() && lines_[next].kind == Kind::kComment)
            ++next;
        // Comments directly above a heading are part of its section.
        if (next < lines_.size() && lines_[next].kind == Kind::kHeading) {
            dropping = lines_[next].name == section;
        }
        for (next = std::min(next + 1, lines_.size()); i < next; ++i) {
            if (!dropping) kept.push_back(std::move(lines_[i]));
        }
    }
    lines_ = std::move(kept);
}

std::string SectionText::Text() const {
    std::string text;
    for (const Line &line : lines_)
        text.append(line.text).push_back('\n');
    return text;
}

}  // namespace zafo
