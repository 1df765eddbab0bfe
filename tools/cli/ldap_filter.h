// SPDX-License-Identifier: Apache-2.0
//
// Search filters (RFC 4515), checked before any tool runs.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zafo::cli {

struct SyntaxFault {
    size_t position;  // byte offset; the text's size for "at the end"
    std::string reason;
};

// The first fault of a filter; nothing if it is well-formed. As ldapsearch does, this accepts
// blanks around the parentheses and a single item without any ("uid=alice").
std::optional<SyntaxFault> FilterFault(std::string_view filter);

// A value escaped for a filter (RFC 4515 section 3): matches only itself.
std::string EscapedForFilter(std::string_view value);

// The same, but "*" stays and matches anything.
std::string PatternForFilter(std::string_view pattern);

// The text and, on a second line, a caret under the fault.
std::string WithCaret(std::string_view text, size_t position);

}  // namespace zafo::cli
