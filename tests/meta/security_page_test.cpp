// SPDX-License-Identifier: Apache-2.0
//
// docs/security.md names the test for each promise: that test exists.
#include <regex>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "tests/rig/source_tree.h"

namespace {

using namespace zafo::meta;

const std::filesystem::path kPage = kSourceDir / "docs/security.md";

std::string TextOf(const std::filesystem::path &file) {
    std::string text;
    for (const std::string &line : Lines(file))
        text += line + "\n";
    return text;
}

void Collect(const std::string &text, const std::regex &pattern, const char *between,
             std::set<std::string> &names) {
    for (std::sregex_iterator at(text.begin(), text.end(), pattern), end; at != end; ++at)
        names.insert((*at)[1].str() + between + (*at)[2].str());
}

// "Suite.Test", and "Instance/Suite" for parameterized tests.
std::set<std::string> Tests() {
    static const std::regex kTest(R"(\bTEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\s*\))");
    static const std::regex kInstance(R"(\bINSTANTIATE_TEST_SUITE_P\(\s*(\w+),\s*(\w+))");
    std::set<std::string> names;
    for (const auto &file : FilesBelow(kSourceDir / "tests")) {
        if (file.extension() != ".cpp") continue;
        const std::string text = TextOf(file);
        Collect(text, kTest, ".", names);
        Collect(text, kInstance, "/", names);
    }
    return names;
}

TEST(SecurityPage, NamesTestsThatExist) {
    static const std::regex kName(R"(\b([A-Z]\w*[a-z]\w*[./][A-Z]\w*[a-z]\w*)\b)");
    const std::set<std::string> tests = Tests();
    const std::string page = TextOf(kPage);
    int count = 0;
    for (std::sregex_iterator at(page.begin(), page.end(), kName), end; at != end; ++at, ++count)
        EXPECT_TRUE(tests.contains((*at)[1])) << (*at)[1];
    EXPECT_GT(count, 30);
}

TEST(SecurityPage, NamesTestBinariesThatExist) {
    static const std::regex kName(R"(\b([a-z]+_[a-z_]+_test|(?:front|cli)_test)\b)");
    std::string lists;
    for (const auto &file : FilesBelow(kSourceDir / "tests")) {
        if (file.filename() == "CMakeLists.txt") lists += TextOf(file);
    }
    const std::string page = TextOf(kPage);
    for (std::sregex_iterator at(page.begin(), page.end(), kName), end; at != end; ++at) {
        const std::string name = (*at)[1];
        // Some are named in a loop over their topics.
        const std::string topic =
            std::regex_replace(name, std::regex("^(attack|integration)_|_test$"), "");
        EXPECT_TRUE(lists.find(name) != std::string::npos ||
                    std::regex_search(lists, std::regex("foreach[^)]*\\b" + topic + "\\b")))
            << name;
    }
}

// The columns: who, what, what stops them, the test.
TEST(SecurityPage, HasATestInEveryRowOfItsTable) {
    int rows = 0;
    for (const std::string &line : Lines(kPage)) {
        static const std::regex kRow(R"(\|([^|]*)\|([^|]+)\|([^|]+)\|([^|]+)\|)");
        if (!line.starts_with("|") || line.starts_with("| ---") || line.starts_with("| who"))
            continue;
        ++rows;
        std::smatch cells;
        ASSERT_TRUE(std::regex_match(line, cells, kRow)) << line;
        EXPECT_TRUE(std::regex_search(cells[4].str(), std::regex("[A-Za-z]"))) << line;
    }
    EXPECT_GT(rows, 20);
}

}  // namespace
