// SPDX-License-Identifier: Apache-2.0
//
// Configuration in the style of nslcd.conf(5) and slapd.conf(5): one directive a line,
// a keyword and the rest of the line as its value. As slapd reads it, a line that begins
// with a blank continues the line before, a comment included; an empty line ends that, one of
// blanks alone does not.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zafo {

struct Directive {
    std::string key;    // empty: a comment, or nothing but blanks
    std::string value;  // as written; the lines that continue it joined with one blank
    std::string text;   // as it stands in the file, with the lines that continue it

    // Whether it has that name; letter case does not count.
    bool Is(std::string_view name) const;

    // Of a value that is one quoted word, without the quotes and the backslashes that they make
    // necessary.
    std::string Unquoted() const;

    // With one blank between words. What stands between double quotes is kept.
    std::string Squeezed() const;
};

class Directives {
  public:
    explicit Directives(std::string_view text);

    // In their order, comments and empty lines among them.
    const std::vector<Directive> &Lines() const { return lines_; }

    // The value of the first directive of that name, unquoted.
    std::optional<std::string> Get(std::string_view key) const;

    // Gives every directive of that name the value; adds one at the end when there is none.
    void Set(std::string_view key, std::string_view value);

    // What was read, byte for byte, but for what was set.
    std::string Text() const;

    // The same with every directive as `rewrite` gives it, line break included; empty: left out.
    std::string Rewritten(const std::function<std::string(const Directive &)> &rewrite) const;

  private:
    std::vector<Directive> lines_;
};

// Whether key and value can be written so that they are read back as they were given.
bool IsDirective(std::string_view key, std::string_view value);

// The value of the first directive of that name in a file, unquoted; empty: there is none, or the
// file cannot be read.
std::string DirectiveOf(const std::string &path, std::string_view key);

}  // namespace zafo
