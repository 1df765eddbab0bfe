// SPDX-License-Identifier: Apache-2.0
#include "tools/restore/loading_configuration.h"

#include "tools/backup/problem.h"

#include <strings.h>

#include <fmt/format.h>

#include <algorithm>

namespace zafo::backup {

namespace {

constexpr std::string_view kSpaces = " \t\r\n";

bool IsBlank(char c) {
    return c == ' ' || c == '\t';
}

// One directive with the lines that continue it, which begin with a blank; its line breaks included.
std::string_view TakeDirective(std::string_view &text) {
    std::size_t end = 0;
    do {
        end = std::min(text.find('\n', end), text.size() - 1) + 1;
    } while (end < text.size() && IsBlank(text[end]));
    const std::string_view directive = text.substr(0, end);
    text.remove_prefix(end);
    return directive;
}

// The value may begin on the next line.
bool IsKey(std::string_view directive, std::string_view key) {
    return directive.size() > key.size() && kSpaces.find(directive[key.size()]) != kSpaces.npos &&
           strncasecmp(directive.data(), key.data(), key.size()) == 0;
}

// The only word after the key, with or without double quotes.
std::string_view ValueOf(std::string_view directive) {
    directive.remove_prefix(std::min(directive.find_first_of(kSpaces), directive.size()));
    directive.remove_prefix(std::min(directive.find_first_not_of(kSpaces), directive.size()));
    directive = directive.substr(0, directive.find_last_not_of(kSpaces) + 1);
    if (directive.size() >= 2 && directive.front() == '"' && directive.back() == '"')
        directive = directive.substr(1, directive.size() - 2);
    while (directive.size() > 1 && directive.ends_with('/'))
        directive.remove_suffix(1);
    return directive;
}

}  // namespace

std::string LoadingConfiguration(std::string_view text, const LoadingChange &change) {
    std::string result;
    bool found = false;
    while (!text.empty()) {
        const std::string_view directive = TakeDirective(text);
        if (IsKey(directive, "rootpw")) continue;
        if (IsKey(directive, "directory") && ValueOf(directive) == change.directory) {
            result += fmt::format("directory \"{}\"\n", change.new_directory);
            found = true;
        } else if (IsKey(directive, "include") && ValueOf(directive) == change.include) {
            result += fmt::format("include \"{}\"\n", change.new_include);
        } else {
            result += directive;
        }
    }
    if (!found)
        throw Problem(Exit::kSystem, fmt::format("the server's configuration has no database in {}",
                                                 change.directory));
    return result;
}

}  // namespace zafo::backup
