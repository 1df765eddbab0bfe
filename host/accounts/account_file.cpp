// SPDX-License-Identifier: Apache-2.0
#include "host/accounts/account_file.h"

#include <charconv>

#include "base/atomic_file.h"
#include "base/whole_file.h"
#include "platform/error.h"

namespace zafo {

namespace {

bool IsLineOf(std::string_view line, std::string_view name) {
    return line.starts_with(name) && line.substr(name.size()).starts_with(':');
}

size_t OffsetIn(const std::string &text, std::string_view part) {
    return static_cast<size_t>(part.data() - text.data());
}

// Where the lookups begin, or the end.
size_t EndOfAccounts(const std::string &text) {
    for (size_t at = 0; at < text.size();) {
        if (IsNisLine(std::string_view(text).substr(at))) return at;
        const size_t end = text.find('\n', at);
        at = end == std::string::npos ? text.size() : end + 1;
    }
    return text.size();
}

}  // namespace

Fields Split(std::string_view text, char separator) {
    Fields fields;
    for (;;) {
        const size_t end = text.find(separator);
        fields.push_back(text.substr(0, end));
        if (end == std::string_view::npos) return fields;
        text.remove_prefix(end + 1);
    }
}

std::string Joined(const Fields &fields, char separator) {
    std::string text;
    for (const std::string_view field : fields)
        text.append(field).push_back(separator);
    if (!text.empty()) text.pop_back();
    return text;
}

std::string_view FieldAt(const Fields &fields, size_t index) {
    return index < fields.size() ? fields[index] : std::string_view();
}

std::optional<uint64_t> NumberIn(std::string_view field) {
    uint64_t number = 0;
    const char *const end = field.data() + field.size();
    const auto [stop, error] = std::from_chars(field.data(), end, number);
    if (field.empty() || error != std::errc() || stop != end) return {};
    return number;
}

std::optional<std::string_view> LineOf(std::string_view text, std::string_view name) {
    std::optional<std::string_view> found;
    FindLine(text, [&](std::string_view line) {
        if (!IsLineOf(line, name)) return false;
        found = line;
        return true;
    });
    return found;
}

void PutLine(std::string *text, std::string_view name, std::string_view line) {
    if (const auto old = LineOf(*text, name)) {
        text->replace(OffsetIn(*text, *old), old->size(), line);
        return;
    }
    if (!text->empty() && text->back() != '\n') text->push_back('\n');
    text->insert(EndOfAccounts(*text), std::string(line) + '\n');
}

void RemoveLines(std::string *text, std::string_view name) {
    while (const auto line = LineOf(*text, name)) {
        text->erase(OffsetIn(*text, *line), line->size() + 1);
    }
}

int ReadAccountFile(const char *path, std::string *text) {
    return ReadWhole(path, text) == ReadResult::kDone ? 0 : QLIB_ERR_OPEN_FAILED;
}

int ReplaceAccountFile(const char *path, std::string_view text) {
    return ReplaceWhole(path, text) == 0 ? 0 : QLIB_ERR_WRITE_FAILED;
}

}  // namespace zafo
