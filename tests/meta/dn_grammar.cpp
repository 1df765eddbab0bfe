// SPDX-License-Identifier: Apache-2.0
#include "tests/meta/dn_grammar.h"

#include <algorithm>
#include <regex>
#include <string_view>

namespace zafo::meta {

namespace {

constexpr size_t kNear = 6;

bool HoldsAll(const std::string &text, std::string_view characters) {
    return std::ranges::all_of(characters,
                               [&](char c) { return text.find(c) != std::string::npos; });
}

bool IsListOfSpecials(const std::string &literal) {
    if (literal.size() > 24) return false;  // prose, or an alphabet
    const bool separators = literal.find_first_not_of(",;+=") == std::string::npos;
    return HoldsAll(literal, ",;+<>") ||
           (separators && literal.size() > 1 && literal.find(',') != std::string::npos);
}

bool HasSpecials(const std::string &line) {
    static const std::regex kLiteral(R"x("((?:[^"\\]|\\.)*)")x");
    for (std::sregex_iterator at(line.begin(), line.end(), kLiteral), end; at != end; ++at) {
        if (IsListOfSpecials((*at)[1])) return true;
    }
    return false;
}

bool Looks(const std::string &line, const char *character) {
    return line.find(character) != std::string::npos;
}

}  // namespace

int DnGrammarIn(const std::vector<std::string> &source) {
    for (size_t i = 0; i < source.size(); ++i) {
        if (HasSpecials(source[i])) return static_cast<int>(i) + 1;
        if (!Looks(source[i], R"('\\')")) continue;
        const size_t first = i - std::min(i, kNear);
        const size_t end = std::min(i + kNear + 1, source.size());
        for (size_t near = first; near < end; ++near) {
            if (Looks(source[near], "','")) return static_cast<int>(i) + 1;
        }
    }
    return 0;
}

}  // namespace zafo::meta
