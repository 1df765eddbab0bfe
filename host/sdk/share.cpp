// SPDX-License-Identifier: Apache-2.0
#include "platform/share.h"

#include <optional>
#include <string>
#include <string_view>

#include "base/ascii.h"
#include "base/blanks.h"
#include "base/lines.h"
#include "base/whole_file.h"
#include "host/core/copy_out.h"

namespace {

using zafo::Fail;

constexpr char kSettings[] = "/usr/zafo/etc/smb.conf";

std::string SectionName(std::string_view written) {
    return zafo::Folded(zafo::Trim(written));
}

// Blanks in parameter names are ignored. The manual page says the same of section names, but the
// server treats "my  share" and "my share" as different.
std::string ParameterName(std::string_view written) {
    std::string name = zafo::Folded(written);
    std::erase_if(name, [](char c) { return zafo::kBlanks.find(c) != std::string_view::npos; });
    return name;
}

bool IsComment(std::string_view line) {
    const std::string_view words = zafo::Trim(line);
    return words.starts_with('#') || words.starts_with(';');
}

// Takes the first line off `*text`, with its continuation lines. A comment is never continued.
std::string TakeJoinedLine(std::string_view *text) {
    std::string line;
    while (!text->empty()) {
        line += zafo::TakeLine(text);
        if (line.ends_with('\r')) line.pop_back();
        if (!line.ends_with('\\') || IsComment(line)) return line;
        line.pop_back();
    }
    return line;
}

bool IsSpecial(std::string_view section) {
    return section.empty() || section == "global" || section == "homes" || section == "printers";
}

bool IsPathOfOneFolder(std::string_view path) {
    return path.starts_with('/') && path.find('%') == std::string_view::npos;
}

std::optional<std::string> PathOf(std::string_view share, std::string_view text) {
    std::optional<std::string> path;
    bool inside = false;
    while (!text.empty()) {
        const std::string line = TakeJoinedLine(&text);
        const std::string_view words = zafo::Trim(line);
        if (IsComment(words)) continue;
        if (words.starts_with('[')) {
            inside =
                words.ends_with(']') && SectionName(words.substr(1, words.size() - 2)) == share;
            continue;
        }
        const size_t equals = words.find('=');
        if (!inside || equals == std::string_view::npos) continue;
        const std::string name = ParameterName(words.substr(0, equals));
        if (name == "path" || name == "directory") path = zafo::Trim(words.substr(equals + 1));
    }
    return path && IsPathOfOneFolder(*path) ? path : std::nullopt;
}

}  // namespace

int ZAFOSharePathGet(const char *name, char *buffer, size_t size) {
    if (name == nullptr || *name == '\0' || buffer == nullptr || size == 0) {
        return Fail(QLIB_ERR_BAD_ARGUMENT);
    }
    return zafo::OutOfMemoryIs(-1, [=] {
        std::string text;
        if (!zafo::ReadIfPresent(kSettings, &text)) return Fail(QLIB_ERR_OPEN_FAILED);
        const std::string share = SectionName(name);
        const std::optional<std::string> path =
            IsSpecial(share) ? std::nullopt : PathOf(share, text);
        if (!path) return Fail(QLIB_ERR_SECTION_NOT_FOUND);
        return zafo::CopyOut(*path, buffer, size);
    });
}
