// SPDX-License-Identifier: Apache-2.0
//
// Prose is spelt correctly and has none of the phrases in phrases.txt.
#include <unistd.h>

#include <fstream>
#include <map>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/meta/prose.h"
#include "tests/rig/source_tree.h"

namespace {

using namespace zafo::meta;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kSpeller[] = "/usr/bin/codespell";
const std::filesystem::path kWordLists = kSourceDir / "tests/meta";

// Where phrases are checked: everywhere.
constexpr const char *kPlaces[] = {
    "README.md", "CONTRIBUTING.md", "docs", "include", "platform", "base", "host",
    "bench",     "examples",        "fuzz", "src",     "tools",    "tests"};

// Where spelling is checked; tests contain too many strings that are not words.
constexpr const char *kSpelt[] = {
    "README.md", "CONTRIBUTING.md", "docs",  "include", "platform", "base", "host",
    "src",       "tools",           "bench", "fuzz",    "examples"};

bool IsRead(const std::filesystem::path &file) {
    const std::string ending = file.extension();
    return ending == ".md" || ending == ".h" || ending == ".cpp" || ending == ".c";
}

// Its examples contain phrases.
bool IsThisTest(const std::filesystem::path &file) {
    return file.filename() == "words_test.cpp";
}

std::vector<std::filesystem::path> ReadFilesOf(const char *place) {
    const std::filesystem::path path = kSourceDir / place;
    if (std::filesystem::is_regular_file(path)) return {path};
    std::vector<std::filesystem::path> files = FilesBelow(path);
    std::erase_if(files, [](const auto &file) { return !IsRead(file) || IsThisTest(file); });
    return files;
}

// Each phrase and its replacement.
std::map<std::string, std::string> Phrases() {
    std::map<std::string, std::string> phrases;
    for (const std::string &line : Lines(kWordLists / "phrases.txt")) {
        if (line.starts_with("# ")) continue;
        const size_t tab = line.find('\t');
        EXPECT_NE(tab, std::string::npos) << line;
        phrases[line.substr(0, tab)] = line.substr(tab + 1);
    }
    return phrases;
}

class Place : public testing::TestWithParam<const char *> {};

TEST_P(Place, HasNoneOfThePhrases) {
    const auto phrases = Phrases();
    EXPECT_GT(phrases.size(), 10u);
    const auto files = ReadFilesOf(GetParam());
    ASSERT_FALSE(files.empty());
    for (const auto &file : files) {
        const RunningText prose(ProseOf(file));
        for (const auto &[phrase, better] : phrases) {
            for (const int line : LinesWith(phrase, prose))
                ADD_FAILURE() << file.string() << ":" << line << ": " << phrase << ": write "
                              << better;
        }
    }
}

std::string PlaceName(const testing::TestParamInfo<const char *> &info) {
    std::string name = info.param;
    std::erase_if(name, [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); });
    return name;
}

INSTANTIATE_TEST_SUITE_P(Words, Place, testing::ValuesIn(kPlaces), PlaceName);

// Copies only the prose of a file, under its own name, for codespell.
void Copy(const std::filesystem::path &file, const std::filesystem::path &folder) {
    const auto copy = folder / file.lexically_relative(kSourceDir);
    std::filesystem::create_directories(copy.parent_path());
    std::ofstream out(copy);
    for (const std::string &line : ProseOf(file))
        out << line << "\n";
}

TEST(Words, AreSpeltRight) {
    if (access(kSpeller, X_OK) != 0) GTEST_SKIP() << "codespell is not installed";
    const std::filesystem::path folder = "/tmp/prose";
    for (const char *place : kSpelt) {
        for (const auto &file : ReadFilesOf(place))
            Copy(file, folder);
    }
    std::ofstream(folder / "zafo-probe.md") << "seperate\n";
    const std::string kept = kWordLists / "spellings.txt";
    // The one deliberate mistake shows that others would be found.
    EXPECT_THAT(OutputOf("cd /tmp/prose && codespell -I " + kept),
                ElementsAre("./zafo-probe.md:1: seperate ==> separate"));
    std::filesystem::remove_all(folder);
}

// The reading itself ------------------------------------------------------------------------------

TEST(Prose, OfASourceIsItsCommentsAndTexts) {
    EXPECT_THAT(
        ProseOfSource({"#include \"for/ever.h\"", "int ever = 1;  // one word",
                       "say(\"two \\\"words\\\"\", 'x');", "/* three", " * words */ int y;"}),
        ElementsAre("", "                  one word", "     two \" words\"         ", "   three",
                    "   words          "));
}

TEST(Prose, OfAPageIsAllButItsCode) {
    EXPECT_THAT(ProseOfPage({"Run `for ever` now", "```", "for ever", "```", "end"}),
                ElementsAre("Run            now", "   ", "        ", "   ", "end"));
}

TEST(Prose, HasAPhraseAlsoWhereItRunsOnInTheNextLine) {
    EXPECT_THAT(LinesWith("for ever", RunningText({"  It goes on For", "   ever, and for ever"})),
                ElementsAre(1, 2));
    EXPECT_THAT(LinesWith("\" is too much", RunningText({"\"x\" is too much"})), ElementsAre(1));
}

TEST(Prose, HasNoPhraseInLongerWords) {
    EXPECT_THAT(LinesWith("for ever", RunningText({"for everybody, before ever"})), IsEmpty());
    EXPECT_THAT(LinesWith("\" is too much", RunningText({"that is too much"})), IsEmpty());
}

}  // namespace
