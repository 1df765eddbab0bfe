// SPDX-License-Identifier: Apache-2.0
//
// Project rules that a reviewer would otherwise have to remember.
#include <set>

#include <gtest/gtest.h>

#include "tests/rig/source_tree.h"

namespace {

using namespace zafo::meta;

bool IsSource(const std::filesystem::path &file) {
    static const std::set<std::string> kExtensions = {".c", ".cpp", ".h"};
    return kExtensions.contains(file.extension());
}

std::vector<std::filesystem::path> Sources() {
    std::vector<std::filesystem::path> sources;
    for (const auto &file : FilesBelow(kSourceDir)) {
        if (IsSource(file)) sources.push_back(file);
    }
    return sources;
}

TEST(Layout, NoFileIsCalledUtilOrMisc) {
    static const std::set<std::string> kDrawers = {"util",   "utils",  "misc",
                                                   "helper", "common", "helpers"};
    for (const auto &file : FilesBelow(kSourceDir)) {
        EXPECT_FALSE(kDrawers.contains(file.stem())) << file;
    }
}

TEST(Layout, SourcesStartWithTheirLicence) {
    ASSERT_FALSE(Sources().empty());
    for (const auto &file : Sources()) {
        const auto lines = Lines(file);
        ASSERT_FALSE(lines.empty()) << file;
        EXPECT_NE(lines[0].find("SPDX-License-Identifier: Apache-2.0"), std::string::npos) << file;
    }
}

TEST(Layout, SourcesStayUnderSixHundredLines) {
    for (const auto &file : Sources())
        EXPECT_LT(Lines(file).size(), 600u) << file;
}

// RFC 5805 transactions crash a server that users run. Only the attack that shows it, this file and
// the documentation may mention them.
TEST(Layout, NothingAsksTheServerForATransaction) {
    for (const auto &file : FilesBelow(kSourceDir)) {
        const bool tells = file.extension() == ".md" || file.filename() == "layout_test.cpp" ||
                           file == kSourceDir / "tests/attack/crash_test.cpp";
        if (tells) continue;
        for (const std::string &line : Lines(file)) {
            for (const char *word : {"txn=", "1.3.6.1.1.21"})
                EXPECT_EQ(line.find(word), std::string::npos) << file << ": " << line;
        }
    }
}

// Most programs include the umbrella header: a family's header that it omits would be invisible to
// them.
TEST(Layout, UmbrellaHeaderIncludesEveryFamily) {
    std::set<std::string> included;
    for (const std::string &line : Lines(kSourceDir / "include/zafoldap.h")) {
        if (line.starts_with("#include \"")) included.insert(line.substr(10, line.size() - 11));
    }
    for (const auto &file : FilesBelow(kSourceDir / "include/zafoldap")) {
        const std::string name = "zafoldap/" + file.filename().string();
        EXPECT_TRUE(name == "zafoldap/api.h" || included.contains(name)) << name;
    }
}

}  // namespace
