// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>

namespace zafo {

// What a text begins with: a UTF-8 character, or one byte that is not part of any. `unfit` are
// control characters (of ASCII and Latin-1, also as single bytes), line and paragraph separators,
// and those that change the direction of what follows: they end a field, control a terminal, or
// make a text look like another.
struct TextPiece {
    size_t length;
    bool unfit;
};
TextPiece PieceOf(std::string_view text);

// The longest line of passwd(5) that shadow-utils read: they treat a longer one as damaged.
inline constexpr size_t kLongestLine = 1023;

// Whether the account files can hold a user or group of this name. Directories have names that
// useradd(8) warns of (capitals, dots, blanks, letters beyond ASCII); only names that would be read
// back or shown as something else are refused: separators of passwd(5), group(5) and section files,
// unfit characters (see above), blanks at the ends, a lookup ("+"), a comment ("#"), a number, and
// more than the 32 bytes that utmp(5) and useradd(8) know.
bool IsAccountName(std::string_view name);

// Whether a field of an account's line can hold this text.
bool IsField(std::string_view text);

// The same for a home folder or login shell: an absolute path.
bool IsPathField(std::string_view path);

}  // namespace zafo
