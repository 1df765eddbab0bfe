// SPDX-License-Identifier: Apache-2.0
//
// Configuration in the style of nslcd.conf(5) and slapd.conf(5): one directive a line,
// a keyword and the rest of the line as its value. As slapd reads it, a line that begins
// with a blank continues the line before, a comment included, and an empty line
// ends that.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zafo {

class Directives {
  public:
    explicit Directives(std::string_view text);

    // The value of the first directive of that name, without letter case. Double quotes around
    // the value are taken off, and the backslashes that they make necessary.
    std::optional<std::string> Get(std::string_view key) const;

    // Gives every directive of that name the value; adds one at the end when there is none.
    void Set(std::string_view key, std::string_view value);

    std::string Text() const;

  private:
    struct Line {
        std::string text;  // as it stands in the file, with the lines that continue it
        std::string key;   // empty: no directive
        std::string value;
    };
    std::vector<Line> lines_;
};

// Whether key and value can be written so that they are read back as they were given.
bool IsDirective(std::string_view key, std::string_view value);

}  // namespace zafo
