// SPDX-License-Identifier: Apache-2.0
//
// How the search engine parses the tool's output, entry by entry.
#include <cstdio>
#include <tuple>

#include "platform/crypt.h"
#include "platform/error.h"
#include "tests/core/core_fixture.h"

namespace zafo::core_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

std::string Base64(const std::string &bytes) {
    char *text = SzBase64EncodeOneLine(bytes.data(), bytes.size());
    std::string encoded = text;
    free(text);
    return encoded;
}

// A line as the tool folds it: 76 columns, each continuation preceded by a blank.
std::string Folded(const std::string &line) {
    std::string folded = line.substr(0, 76);
    for (size_t at = 76; at < line.size(); at += 75)
        folded += "\n " + line.substr(at, 75);
    return folded + "\n";
}

struct Output {
    const char *name;
    std::string text;
    std::vector<Entry> entries;
};

using namespace std::string_literals;

const std::vector<Output> &Outputs() {
    static const std::vector<Output> kOutputs = {
        {"Nothing", "", {}},
        {"TwoEntries",
         "dn: a\ncn: x\n\ndn: b\ncn: y\n\n",
         {{{"dn", "a"}, {"cn", "x"}}, {{"dn", "b"}, {"cn", "y"}}}},
        {"MissingFinalEmptyLine", "dn: a\ncn: x\n", {{{"dn", "a"}, {"cn", "x"}}}},
        {"MissingFinalLineBreak", "dn: a\ncn: x", {{{"dn", "a"}, {"cn", "x"}}}},
        {"SeveralValuesInServerOrder",
         "dn: a\nmemberUid: b\ncn: x\nmemberUid: a\n\n",
         {{{"dn", "a"}, {"memberUid", "b"}, {"cn", "x"}, {"memberUid", "a"}}}},
        {"Base64", "dn: a\ndescription:: aGVsbG8=\n\n", {{{"dn", "a"}, {"description", "hello"}}}},
        {"Base64DN", "dn:: dWlkPVpvw6s=\n\n", {{{"dn", "uid=Zo\xc3\xab"}}}},
        {"Base64Folded",
         "dn: a\ndescription:: aGVs\n bG8\n =\n\n",
         {{{"dn", "a"}, {"description", "hello"}}}},
        {"Base64WithBlanksBefore", "cn::   aGk=\n\n", {{{"cn", "hi"}}}},
        {"Base64BlanksInsideTheValueSurvive", "cn:: IGhpIA==\n\n", {{{"cn", " hi "}}}},
        {"Base64Empty", "dn: a\ncn:: \n\n", {{{"dn", "a"}, {"cn", ""}}}},
        {"Base64EndsAtItsFirstZeroByte", "cn:: YWIAY2Q=\n\n", {{{"cn", "ab"}}}},
        {"Base64OfAMissingFinalEmptyLineStaysEncoded",
         "dn: a\ncn:: aGk=\n",
         {{{"dn", "a"}, {"cn", "aGk="}}}},
        {"Base64OfTheEntryBeforeIsDecoded",
         "cn:: aGk=\n\ncn:: aGk=\n",
         {{{"cn", "hi"}}, {{"cn", "aGk="}}}},
        {"PlainAfterBase64OfTheSameAttribute",
         "cn:: aGk=\ncn: aGk=\n\n",
         {{{"cn", "hi"}, {"cn", "aGk="}}}},
        {"Continuation",
         "dn: a\ncn: one\n  two\n three\n\n",
         {{{"dn", "a"}, {"cn", "one twothree"}}}},
        {"ContinuedDN",
         "dn: uid=ann,\n dc=com\ncn: x\n\n",
         {{{"dn", "uid=ann,dc=com"}, {"cn", "x"}}}},
        {"ContinuationOfNothingMore", "cn: one\n \n\n", {{{"cn", "one"}}}},
        {"ContinuedEmptyValue", "cn:\n text\n\n", {{{"cn", "text"}}}},
        {"ContinuationAtTheEndOfOutput", "cn: one\n two\n", {{{"cn", "onetwo"}}}},
        {"ContinuationKeepsColons", "cn: one\n : two: three\n\n", {{{"cn", "one: two: three"}}}},
        {"OnlyTheBlankIsAContinuation",
         "cn: one\n\tcn: two\n\n",
         {{{"cn", "one"}, {"\tcn", "two"}}}},
        {"Comment", "# note\ndn: a\n# note: more\ncn: x\n\n", {{{"dn", "a"}, {"cn", "x"}}}},
        {"CommentsContinuationIsIgnored",
         "dn: a\n# ref\n erral\n more\ncn: x\n\n",
         {{{"dn", "a"}, {"cn", "x"}}}},
        {"ContinuationAfterACommentsEndBelongsToThePair",
         "dn: a\n# ref\n erral\ncn: x\n y\n\n",
         {{{"dn", "a"}, {"cn", "xy"}}}},
        {"CommentBetweenAPairAndItsContinuationSwallowsIt",
         "cn: one\n# note\n two\n\n",
         {{{"cn", "one"}}}},
        {"CommentSignElsewhereIsText", "cn: # one\n#two\n # three\n\n", {{{"cn", "# one"}}}},
        {"ReferenceIsNoEntry",
         "# refldap://a/dc=x??sub\n\ndn: a\n\n# refldap://b/dc=x??sub\n\ndn: b\n\n",
         {{{"dn", "a"}}, {{"dn", "b"}}}},
        {"ReferencesAlone", "# refldap://a/dc=x\n\n# refldap://b/dc=x\n\n", {}},
        {"FoldedReference", "# refldap://a/d\n c=x\n\ndn: a\n\n", {{{"dn", "a"}}}},
        {"ReferenceWithoutEndAtTheEnd", "dn: a\n\n# refldap://a/d\n c=x", {{{"dn", "a"}}}},
        {"CommentInAnEntryDoesNotTakeItsEnd",
         "dn: a\n# note\n\n# note\ndn: b\n\n",
         {{{"dn", "a"}}, {{"dn", "b"}}}},
        {"LineWithoutColonIsIgnored",
         "garbage\ndn: a\nmore garbage\ncn: x\n\n",
         {{{"dn", "a"}, {"cn", "x"}}}},
        {"ContinuationAfterGarbageBelongsToThePairBefore",
         "cn: one\ngarbage\n two\n\n",
         {{{"cn", "onetwo"}}}},
        {"EmptyValue",
         "dn: a\ncn:\nsn: \nmail:   \n\n",
         {{{"dn", "a"}, {"cn", ""}, {"sn", ""}, {"mail", ""}}}},
        {"LeadingWhiteSpaceOfAValueIsSkipped", "cn: \t\v\f  x y \n\n", {{{"cn", "x y "}}}},
        {"ColonsInsideAValue", "cn: a:b::c\nsn:a:b\n\n", {{{"cn", "a:b::c"}, {"sn", "a:b"}}}},
        {"ValueWithoutBlank", "cn:x\n\n", {{{"cn", "x"}}}},
        {"EmptyName", ": x\n\n", {{{"", "x"}}}},
        {"NameWithOptions", "cn;lang-de;binary: x\n\n", {{{"cn;lang-de;binary", "x"}}}},
        {"ValueByUrlIsKeptAsText",
         "jpegPhoto:< file:///tmp/x\n\n",
         {{{"jpegPhoto", "< file:///tmp/x"}}}},
        {"DNNeedNotComeFirst", "cn: x\ndn: a\n\n", {{{"cn", "x"}, {"dn", "a"}}}},
        {"EmptyLineAloneEndsAnEmptyEntry", "\ndn: a\n\n", {{}, {{"dn", "a"}}}},
        {"EmptyLineAloneEndsAnEmptyEntryAlsoWhereAReferenceCameBefore",
         "# refldap://a/\n\ndn: a\n\n\ndn: b\n\n",
         {{{"dn", "a"}}, {}, {{"dn", "b"}}}},
        {"CarriageReturnsDoNotEndAnEntry",
         "dn: a\r\ncn: x\r\n\r\ndn: b\r\n\r\n",
         {{{"dn", "a\r"}, {"cn", "x\r"}, {"dn", "b\r"}}}},
        {"ValueEndsAtANulByte", "cn: a\0b\nsn: x\n\n"s, {{{"cn", "a"}, {"sn", "x"}}}},
        {"NameEndsAtANulByte", "c\0n: a\nsn: x\n\n"s, {{{"sn", "x"}}}},
        {"BytesAboveAsciiArePassedOn", "cn: Zo\xc3\xab \xff\n\n", {{{"cn", "Zo\xc3\xab \xff"}}}},
        {"PercentSignsAreText", "cn: 100%n%s%d\n\n", {{{"cn", "100%n%s%d"}}}},
    };
    return kOutputs;
}

class SearchOutput : public CoreTest, public testing::WithParamInterface<Output> {};

TEST_P(SearchOutput, BecomesTheseEntries) {
    tools_.On("ldapsearch").Output(GetParam().text);
    const Search search = RunSearch(host_, Request());
    EXPECT_EQ(search.entries, GetParam().entries);
    EXPECT_EQ(search.last, 0);
    EXPECT_EQ(search.exit_code, 0);
    EXPECT_EQ(search.counted, static_cast<int>(GetParam().entries.size()));
    EXPECT_THAT(log_.Messages(), IsEmpty());
    EXPECT_EQ(QLIBCErrGet(), kStalePlatformCode);
    EXPECT_EQ(ZAFOLDAPErrGet(), kStaleLdapCode);
}

// The result must not depend on where the pipe splits the output.
TEST_P(SearchOutput, BecomesTheSameEntriesByteByByte) {
    auto script = tools_.On("ldapsearch");
    for (char c : GetParam().text)
        script.Output(std::string_view(&c, 1));
    EXPECT_EQ(RunSearch(host_, Request()).entries, GetParam().entries);
}

void PrintTo(const Output &output, std::ostream *out) {
    *out << output.name;
}

INSTANTIATE_TEST_SUITE_P(Table, SearchOutput, testing::ValuesIn(Outputs()),
                         [](const auto &test) { return std::string(test.param.name); });

struct BadOutput {
    const char *name;
    std::string text;
    size_t entries;   // delivered before the failure
    const char *log;  // pattern of the only log line; "" for none
};

const std::vector<BadOutput> &BadOutputs() {
    static const std::vector<BadOutput> kOutputs = {
        {"ContinuationFirst", " x\ndn: a\n\n", 0, ""},
        {"ContinuationFirstInTheSecondEntry", "dn: a\n\n x\ndn: b\n\n", 1, ""},
        {"NotBase64", "dn: a\ncn:: !!!\n\n", 0, R"(base64 decode failed: \[!!!\], \[0x0F00\])"},
        {"Base64WithoutPadding", "dn: a\n\ndn: b\ncn:: aGk\n\n", 1,
         R"(base64 decode failed: \[aGk\], \[0x0F00\])"},
        {"ThreeColons", "cn::: aGk=\n\n", 0, R"(base64 decode failed: \[: aGk=\], \[0x0F00\])"},
        {"Base64WithPercentSigns", "cn:: %n%s%s\n\n", 0,
         R"(base64 decode failed: \[%n%s%s\], \[0x0F00\])"},
        {"Base64WithATrailingBlank", "cn:: aGk= \n\n", 0,
         R"(base64 decode failed: \[aGk= \], \[0x0F00\])"},
    };
    return kOutputs;
}

class BadSearchOutput : public CoreTest, public testing::WithParamInterface<BadOutput> {};

TEST_P(BadSearchOutput, FailsAtTheBadEntry) {
    tools_.On("ldapsearch").Output(GetParam().text);
    const Search search = RunSearch(host_, Request());
    EXPECT_EQ(search.last, -1);
    EXPECT_EQ(search.entries.size(), GetParam().entries);
    EXPECT_EQ(ZAFOLDAPErrGet(), kStaleLdapCode) << "the tool did not fail";
    const Texts logged = LoggedTexts();
    if (*GetParam().log == '\0') {
        EXPECT_THAT(logged, IsEmpty());
    } else {
        EXPECT_THAT(logged, ElementsAre(MatchesRegex(GetParam().log)));
    }
}

void PrintTo(const BadOutput &output, std::ostream *out) {
    *out << output.name;
}

INSTANTIATE_TEST_SUITE_P(Table, BadSearchOutput, testing::ValuesIn(BadOutputs()),
                         [](const auto &test) { return std::string(test.param.name); });

class SearchSize : public CoreTest {
  protected:
    // The first value of `name` in the single entry that the tool prints.
    std::string ValueOf(const std::string &name, const std::string &output) {
        tools_.On("ldapsearch").Output(output);
        const Search search = RunSearch(host_, Request());
        EXPECT_EQ(search.last, 0);
        EXPECT_EQ(search.entries.size(), 1u);
        for (const Pair &pair : search.entries.at(0)) {
            if (pair.first == name) return pair.second;
        }
        ADD_FAILURE() << "no " << name;
        return "";
    }
};

const std::string &TenMegabytes() {
    static const std::string kText = [] {
        std::string text(10 << 20, ' ');
        for (size_t i = 0; i < text.size(); ++i)
            text[i] = static_cast<char>('a' + i % 23);
        return text;
    }();
    return kText;
}

TEST_F(SearchSize, PlainValueOfTenMegabytes) {
    EXPECT_TRUE(ValueOf("cn", "dn: a\ncn: " + TenMegabytes() + "\n\n") == TenMegabytes());
}

TEST_F(SearchSize, FoldedValueOfTenMegabytes) {
    EXPECT_TRUE(ValueOf("cn", "dn: a\n" + Folded("cn: " + TenMegabytes()) + "\n") ==
                TenMegabytes());
}

TEST_F(SearchSize, Base64ValueOfTenMegabytesPlainAndFolded) {
    const std::string line = "cn:: " + Base64(TenMegabytes());
    EXPECT_TRUE(ValueOf("cn", "dn: a\n" + line + "\n\n") == TenMegabytes());
    EXPECT_TRUE(ValueOf("cn", "dn: a\n" + Folded(line) + "\n") == TenMegabytes());
}

TEST_F(SearchSize, LongNameAndLongLineOfGarbage) {
    EXPECT_EQ(ValueOf(TenMegabytes(), TenMegabytes() + "\n" + TenMegabytes() + ": x\n\n"), "x");
}

TEST_F(SearchSize, HundredThousandPairsInOneEntry) {
    std::string output = "dn: a\n";
    for (int i = 0; i < 100'000; ++i)
        output += "memberUid: user" + std::to_string(i) + "\n";
    tools_.On("ldapsearch").Output(output + "\n");
    const Search search = RunSearch(host_, Request());
    ASSERT_EQ(search.entries.size(), 1u);
    ASSERT_EQ(search.entries[0].size(), 100'001u);
    EXPECT_EQ(search.entries[0].back(), (Pair{"memberUid", "user99999"}));
}

TEST_F(SearchSize, HundredThousandFoldedBase64Pairs) {
    std::string output = "dn: a\n";
    for (int i = 0; i < 100'000; ++i)
        output += "cn:: aGVs\n bG8=\n";
    tools_.On("ldapsearch").Output(output + "\n");
    const Search search = RunSearch(host_, Request());
    ASSERT_EQ(search.entries.size(), 1u);
    ASSERT_EQ(search.entries[0].size(), 100'001u);
    EXPECT_EQ(search.entries[0].back(), (Pair{"cn", "hello"}));
}

TEST_F(SearchSize, ValuesAroundTheDecodersFirstBufferSize) {
    for (size_t size : {766u, 767u, 768u, 769u, 1022u, 1023u, 1024u, 1025u, 1026u, 4096u}) {
        const std::string value = TenMegabytes().substr(0, size);
        EXPECT_EQ(ValueOf("cn", "cn:: " + Base64(value) + "\n\n"), value) << size;
    }
}

// Lines end at every position of the stream's buffer, and around every size to which the line
// buffer grows.
TEST_F(SearchSize, LinesOfEverySizeOneAfterTheOther) {
    constexpr size_t kSizes = 2100;
    std::string output = "dn: a\n";
    for (size_t size = 1; size <= kSizes; ++size)
        output += "cn: " + TenMegabytes().substr(0, size) + "\n";
    tools_.On("ldapsearch").Output(output + "\n");
    const Search search = RunSearch(host_, Request());
    ASSERT_EQ(search.entries.size(), 1u);
    ASSERT_EQ(search.entries[0].size(), kSizes + 1);
    for (size_t size = 1; size <= kSizes; ++size)
        ASSERT_EQ(search.entries[0][size].second, TenMegabytes().substr(0, size));
}

// A line may have 16 MiB, an entry 32 MiB counting 32 bytes per line; the entries before it are
// returned.
TEST_F(SearchSize, EntryBeyondTheBoundsEndsTheSearch) {
    constexpr size_t kLine = size_t{16} << 20, kEntry = size_t{32} << 20;
    const auto line = [](size_t size) { return "cn: " + std::string(size - 4, 'x') + "\n"; };
    const std::string half = line(kEntry / 2 - 32);
    const std::tuple<const char *, std::string, bool> cases[] = {
        {"the longest line", line(kLine), true},
        {"a longer line", line(kLine + 1), false},
        {"the longest entry", half + line(kEntry / 2 - 32 - 2 * 32 - 5) + "dn: b\n", true},
        {"a longer entry", half + half + "dn: b\n", false},
    };
    for (const auto &[what, entry, fits] : cases) {
        SCOPED_TRACE(what);
        tools_.Reset();
        log_.Clear();
        tools_.On("ldapsearch").Output("dn: a\n\n" + entry + "\n");
        const Search search = RunSearch(host_, Request());
        EXPECT_EQ(search.entries.size(), fits ? 2u : 1u);
        EXPECT_EQ(search.last, fits ? 0 : -1);
        if (fits) {
            EXPECT_THAT(LoggedTexts(), IsEmpty());
        } else {
            EXPECT_THAT(LoggedTexts(), ElementsAre("entry 2 is too large: more than 33554432 "
                                                   "bytes, or 16777216 in a line"));
        }
    }
}

// The output is read from the record's stream, so an unreadable stream can stand in for a broken
// pipe.
TEST_F(SearchSize, ReadErrorIsAPlatformFailure) {
    const Request request;
    ZAFOLDAP_RESULT result;
    ZAFOLDAPResultInit(&result);
    FILE *const folder = fopen("/tmp", "r");
    result.pFile = folder;
    EXPECT_EQ(ZAFOLDAPSearchGetNext(&request, &result), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0A00);
    EXPECT_EQ(ZAFOLDAPErrGet(), kStaleLdapCode);
    EXPECT_EQ(result.pFile, folder) << "the search stays open";
    result.pFile = nullptr;
    ZAFOLDAPResultFree(&result);
    fclose(folder);
}

}  // namespace
}  // namespace zafo::core_test
