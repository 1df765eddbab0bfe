// SPDX-License-Identifier: Apache-2.0
//
// Configuration files in the style of nslcd.conf(5) and slapd.conf(5): one directive per line, a
// keyword with the rest of the line as its value. As in slapd, a line that begins with a blank
// continues the previous line, even a comment; an empty line ends the directive, but a line of
// blanks does not.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zafo {

struct Directive {
    std::string key;    // empty for a comment or a blank line
    std::string value;  // as written; continuation lines are joined with one blank
    std::string text;   // as in the file, including continuation lines

    // Whether it has that name, ignoring letter case.
    bool Is(std::string_view name) const;

    // The value without its quotes, and without the backslashes that they required, if it is a
    // single quoted word; else the value.
    std::string Unquoted() const;

    // The value with single blanks between words. Text in double quotes is unchanged.
    std::string Squeezed() const;
};

class Directives {
  public:
    explicit Directives(std::string_view text);

    // In file order, including comments and empty lines.
    const std::vector<Directive> &Lines() const { return lines_; }

    // The value of the first directive of that name, unquoted.
    std::optional<std::string> Get(std::string_view key) const;

    // Sets the value of every directive of that name; appends one if there is none.
    void Set(std::string_view key, std::string_view value);

    // The text that was read, byte for byte, except for what has been set.
    std::string Text() const;

    // The same with every directive replaced by the result of `rewrite`, line break included; an
    // empty result omits it.
    std::string Rewritten(const std::function<std::string(const Directive &)> &rewrite) const;

  private:
    std::vector<Directive> lines_;
};

// Whether key and value are the same when written and read back.
bool IsDirective(std::string_view key, std::string_view value);

// The value of the first directive of that name in a file, unquoted; empty if there is none or the
// file cannot be read.
std::string DirectiveOf(const std::string &path, std::string_view key);

}  // namespace zafo
