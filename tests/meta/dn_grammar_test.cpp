// SPDX-License-Identifier: Apache-2.0
//
// DNs have one grammar (RFC 4514) and one parser, base/dn: two would eventually disagree about
// which entry a DN names.
#include "tests/meta/dn_grammar.h"

#include <gtest/gtest.h>

#include "tests/rig/source_tree.h"

namespace {

using namespace zafo::meta;

TEST(DnGrammar, IsReadInOnePlaceOnly) {
    for (const char *floor : {"base", "host", "src", "tools"}) {
        for (const auto &file : FilesBelow(kSourceDir / floor)) {
            const std::string path = file.lexically_relative(kSourceDir);
            if (path.starts_with("base/dn")) continue;
            if (file.extension() != ".cpp" && file.extension() != ".h") continue;
            EXPECT_EQ(DnGrammarIn(Lines(file)), 0) << path;
        }
    }
}

TEST(DnGrammarCheck, KnowsAReaderByItsEscapesAndSeparators) {
    const std::vector<std::string> kReaders[] = {
        {R"(std::string_view("\"+,;<>\\").find(c) != npos)"},
        {R"(constexpr std::string_view kSeparators = ",;+=";)"},
        {R"(auto rdns = Split(dn, ",;");)"},
        {"if (dn[i] == '\\\\') {", "    ++i;", "} else if (dn[i] == ',') {"},
        {"case ',':", "case '+':", "    return;", "case '\\\\':"},
        {R"(while (i < dn.size() && dn[i] != ',') i += dn[i] == '\\' ? 2 : 1;)"},
    };
    for (const auto &reader : kReaders)
        EXPECT_GT(DnGrammarIn(reader), 0) << reader[0];
}

TEST(DnGrammarCheck, TakesNothingElseForOne) {
    const std::vector<std::string> kOthers[] = {
        {R"(text.find_first_of(",\"\r\n"))"},
        {R"("--fields '*,+'")"},
        {R"("a sentence, with a <placeholder>; and a + sign")"},
        {R"("abcdefghijklmnopqrstuvwxyz0123456789./$=,+-_;<>")"},
        {"if (c == '\"' || c == '\\\\') written += '\\\\';"},
        {"items = Split(text, ',');"},
        {"text += \",\";", "first = \"=\";"},
        {"if (c == ',') return;", "", "", "", "", "", "", "", "if (c == '\\\\') return;"},
    };
    for (const auto &other : kOthers)
        EXPECT_EQ(DnGrammarIn(other), 0) << other[0];
}

}  // namespace
