// SPDX-License-Identifier: Apache-2.0
//
// How the tool's output is parsed into entries.
#include <algorithm>

#include "tests/foreign/platform/foreign.h"

namespace zafo::foreign {

namespace search_reading_test {

using Attributes = std::vector<std::pair<std::string, std::string>>;

struct Text {
    const char *name;
    std::string output;
    std::vector<Attributes> entries;
};

const std::string kLong(5000, 'v');

std::vector<Text> Texts() {
    return {
        {"nothing", "", {}},
        {"two entries",
         "dn: cn=a\ncn: a\n\ndn: cn=b\ncn: b\n\n",
         {{{"dn", "cn=a"}, {"cn", "a"}}, {{"dn", "cn=b"}, {"cn", "b"}}}},
        {"no blank line at the end", "dn: cn=a\ncn: a\n", {{{"dn", "cn=a"}, {"cn", "a"}}}},
        {"no line break at the end", "dn: cn=a\ncn: a", {{{"dn", "cn=a"}, {"cn", "a"}}}},
        {"base64 is not decoded in an entry without an end",
         "dn: cn=a\ndescription:: aGVsbG8=\n",
         {{{"dn", "cn=a"}, {"description", "aGVsbG8="}}}},
        {"base64",
         "dn: cn=a\ndescription:: aGVsbG8=\nsn: x\n\n",
         {{{"dn", "cn=a"}, {"description", "hello"}, {"sn", "x"}}}},
        {"folded base64",
         "dn: cn=a\ndescription:: aGV\n sbG\n 8=\n\n",
         {{{"dn", "cn=a"}, {"description", "hello"}}}},
        {"a DN in base64", "dn:: Y249YQ==\n\n", {{{"dn", "cn=a"}}}},
        {"several base64 values",
         "dn: cn=a\nsn:: YQ==\nsn: YQ==\nsn:: YWI=\nsn:: YWJj\n\n",
         {{{"dn", "cn=a"}, {"sn", "a"}, {"sn", "YQ=="}, {"sn", "ab"}, {"sn", "abc"}}}},
        {"empty base64", "dn: cn=a\nsn::\nsn:: \n\n", {{{"dn", "cn=a"}, {"sn", ""}, {"sn", ""}}}},
        {"base64 that ends at its zero byte",
         "dn: cn=a\nsn:: " + Base64(std::string("ab\0cd", 5)) + "\n\n",
         {{{"dn", "cn=a"}, {"sn", "ab"}}}},
        {"folded values",
         "dn: cn=long,\n dc=x\ncn: a\n b\n  c\n \nsn: d\n\n",
         {{{"dn", "cn=long,dc=x"}, {"cn", "ab c"}, {"sn", "d"}}}},
        {"comments", "# one\ndn: cn=a\n# two\ncn: a\n\n", {{{"dn", "cn=a"}, {"cn", "a"}}}},
        {"a folded comment",
         "dn: cn=a\n# two\n folded\n again\ncn: a\n b\n\n",
         {{{"dn", "cn=a"}, {"cn", "ab"}}}},
        {"lines without a colon",
         "dn: cn=a\nnonsense\n more\ncn: b\n\n",
         {{{"dn", "cn=amore"}, {"cn", "b"}}}},
        {"white space in front of values",
         "dn:cn=a\ncn:   b\nsn:\t \v\fc d \n\n",
         {{{"dn", "cn=a"}, {"cn", "b"}, {"sn", "c d "}}}},
        {"empty values", "dn: cn=a\ncn:\nsn: \n\n", {{{"dn", "cn=a"}, {"cn", ""}, {"sn", ""}}}},
        {"colons in values",
         "dn: cn=a\nlabeledURI: ldap://x:1/ y::z\n\n",
         {{{"dn", "cn=a"}, {"labeledURI", "ldap://x:1/ y::z"}}}},
        {"a value by URL",
         "dn: cn=a\njpegPhoto:< file:///x\n\n",
         {{{"dn", "cn=a"}, {"jpegPhoto", "< file:///x"}}}},
        {"attribute options",
         "dn: cn=a\ncn;lang-de;x-y: b\nuserCertificate;binary:: YQ==\n\n",
         {{{"dn", "cn=a"}, {"cn;lang-de;x-y", "b"}, {"userCertificate;binary", "a"}}}},
        {"bytes above 127", "dn: cn=\xC3\xBC\n\n", {{{"dn", "cn=\xC3\xBC"}}}},
        {"long values",
         "dn: cn=a\ncn: " + kLong + "\nsn:: " + Base64(kLong) + "\n\n",
         {{{"dn", "cn=a"}, {"cn", kLong}, {"sn", kLong}}}},
        {"base64 at the edge of a buffer",
         "dn: a\nsn:: " + Base64(std::string(1023, 'e')) + "\nsn:: " +
             Base64(std::string(1024, 'f')) + "\nsn:: " + Base64(std::string(768, 'g')) + "\n\n",
         {{{"dn", "a"},
           {"sn", std::string(1023, 'e')},
           {"sn", std::string(1024, 'f')},
           {"sn", std::string(768, 'g')}}}},
    };
}

std::string Entries(int count) {
    std::string text;
    for (int i = 0; i < count; ++i)
        text += Entry("cn=e" + std::to_string(i), {{"cn", "e" + std::to_string(i)}});
    return text;
}

}  // namespace search_reading_test

using namespace search_reading_test;

class SearchReading : public ForeignTest {
  protected:
    // Frees a search that a test leaves open.
    void TearDown() override {
        Close();
        ForeignTest::TearDown();
    }
    void Open(const std::string &output) {
        platform().On("ldapsearch").Prints(output);
        Start();
    }
    void Start() {
        ASSERT_EQ(ZAFOLDAPSearchInit(host_, &request_, &entry_), 0);
        Stale();
    }
    void Close() {
        EXPECT_EQ(ZAFOLDAPSearchFree(&request_, &entry_), 0);
        request_ = {};
    }
    int Next() { return ZAFOLDAPSearchGetNext(&request_, &entry_); }
    Attributes Pairs() {
        Attributes pairs;
        const Strings names = Items(entry_.plistAttr);
        const Strings values = Items(entry_.plistValue);
        EXPECT_EQ(names.size(), values.size());
        for (size_t i = 0; i < std::min(names.size(), values.size()); ++i)
            pairs.emplace_back(names[i], values[i]);
        return pairs;
    }
    // The DNs of the window, and how the search ended.
    Strings Window(int offset, int count, int entries) {
        request_.nOffset = offset;
        request_.nCount = count;
        Open(Entries(entries));
        Strings dns;
        while (Next() == 1)
            dns.emplace_back(ZAFOLDAPResultGetFirst(&entry_, "dn"));
        EXPECT_EQ(entry_.nEntry, entries) << "every entry counts";
        EXPECT_EQ(Next(), 0);
        Close();
        return dns;
    }
    Host host_;
    ZAFOLDAP_SEARCH_REQUEST request_{};
    ZAFOLDAP_RESULT entry_{};
};
ZAFO_FOREIGN_SUITE(SearchReading);

TEST_P(SearchReading, TurnsOutputIntoEntries) {
    for (const Text &text : Texts()) {
        SCOPED_TRACE(text.name);
        Open(text.output);
        int count = 0;
        for (const Attributes &entry : text.entries) {
            ASSERT_EQ(Next(), 1);
            EXPECT_EQ(Pairs(), entry);
            EXPECT_EQ(entry_.nEntry, ++count);
        }
        EXPECT_EQ(Next(), 0);
        EXPECT_EQ(entry_.pFile, nullptr);
        EXPECT_EQ(Next(), 0);
        EXPECT_TRUE(platform().Runs().back().closed);
        EXPECT_EQ(Log(), Strings{});
        ExpectSlotsUntouched();
        Close();
    }
}

TEST_P(SearchReading, HandsOutTheWindowAsked) {
    EXPECT_EQ(Window(0, 0, 3), (Strings{"cn=e0", "cn=e1", "cn=e2"}));
    EXPECT_EQ(Window(0, -1, 3), (Strings{"cn=e0", "cn=e1", "cn=e2"}));
    EXPECT_EQ(Window(1, 1, 3), (Strings{"cn=e1"}));
    EXPECT_EQ(Window(0, 2, 3), (Strings{"cn=e0", "cn=e1"}));
    EXPECT_EQ(Window(2, -1, 4), (Strings{"cn=e2", "cn=e3"}));
    EXPECT_EQ(Window(2, 10, 4), (Strings{"cn=e2", "cn=e3"}));
    EXPECT_EQ(Window(5, 0, 8), Strings{});
    EXPECT_EQ(Window(9, -1, 3), Strings{});
    EXPECT_EQ(Window(2147483647, -1, 3), Strings{});
}

TEST_P(SearchReading, StaysInsideTheWindowWhenItsEndIsBeyondEveryNumber) {
    EXPECT_EQ(Window(1, 2147483647, 3), (Strings{"cn=e1", "cn=e2"}));
}

TEST_P(SearchReading, NeitherStoresNorDecodesWhatIsOutsideTheWindow) {
    request_.nOffset = 1;
    request_.nCount = 1;
    Open("dn: cn=a\nsn:: !!!\n folded\n\ndn: cn=b\nsn:: YQ==\n\ndn: cn=c\nsn:: !!!\n\n");
    EXPECT_EQ(Next(), 1);
    EXPECT_EQ(Pairs(), (Attributes{{"dn", "cn=b"}, {"sn", "a"}}));
    EXPECT_EQ(Next(), 0);
    EXPECT_EQ(platform().CallsOf("ZAFOEncodingBase64Decode").size(), 1U);
}

TEST_P(SearchReading, EmptiesTheEntryBeforeTheNextOne) {
    Open("dn: cn=a\ncn: a\n\ndn: cn=b\n\n");
    EXPECT_EQ(Next(), 1);
    EXPECT_EQ(Next(), 1);
    EXPECT_EQ(Pairs(), (Attributes{{"dn", "cn=b"}}));
    EXPECT_EQ(Next(), 0);
    EXPECT_EQ(Pairs(), Attributes{});
}

TEST_P(SearchReading, ReadsManyEntriesOfManyValues) {
    std::string output;
    for (int i = 0; i < 20; ++i) {
        output += "dn: cn=e" + std::to_string(i) + "\n";
        for (int j = 0; j < 100; ++j)
            output += "memberUid: user" + std::to_string(j) + "\n";
        output += "\n";
    }
    Open(output);
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(Next(), 1);
        ASSERT_EQ(ZAFOLDAPResultGetAttrCount(&entry_), 101);
        EXPECT_EQ(Pairs().at(100).second, "user99");
    }
    EXPECT_EQ(Next(), 0);
}

TEST_P(SearchReading, FailsOnAContinuationOfNothing) {
    Open(" lost\n\n");
    EXPECT_EQ(Next(), -1);
    EXPECT_NE(entry_.pFile, nullptr);
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
}

TEST_P(SearchReading, FailsOnInvalidBase64) {
    Open("dn: cn=a\nsn:: a%b=\n\n");
    EXPECT_EQ(Next(), -1);
    EXPECT_EQ(Log(), Strings{"base64 decode failed: [a%b=], [0x0F00]"});
    EXPECT_NE(entry_.pFile, nullptr) << "the caller ends the search";
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
}

TEST_P(SearchReading, FailsWhenTheDecoderDoesWithoutAReason) {
    platform().Fail("ZAFOEncodingBase64Decode", 1, 0);
    Open("dn: cn=a\nsn:: YQ==\n\n");
    EXPECT_EQ(Next(), -1);
    EXPECT_EQ(Log(), Strings{"base64 decode failed: [YQ==], [0x7777]"});
}

TEST_P(SearchReading, TakesAnyOtherAnswerOfTheDecoderForSuccess) {
    for (const int answer : {1, -1, 99, 5}) {
        platform().Returns("ZAFOEncodingBase64Decode", answer);
        Open("dn: cn=a\nsn:: YWI=\n\n");
        EXPECT_EQ(Next(), 1);
        EXPECT_EQ(Pairs(), (Attributes{{"dn", "cn=a"}, {"sn", "ab"}}));
        Close();
    }
}

TEST_P(SearchReading, SurvivesADecoderThatFillsTheWholeBuffer) {
    EXPECT_EQ(InAnotherProcess([&] {
                  platform().Fills("ZAFOEncodingBase64Decode");
                  Open("dn: cn=a\nsn:: YWI=\n\n");
                  if (Next() != 1) return 0;
                  const std::string value = Pairs().at(1).second;
                  const bool ended =
                      value.size() <= 1024 && value.find_first_not_of('x') == std::string::npos;
                  return ended ? 0 : 1;
              }),
              0);
}

TEST_P(SearchReading, FailsWhenTheOutputCannotBeRead) {
    platform().On("ldapsearch").Prints("dn: cn=a\ncn: b\n\ndn: cn=c\n").ReadFails();
    Start();
    EXPECT_EQ(Next(), 1);
    EXPECT_EQ(Next(), -1);
    EXPECT_EQ(PlatformError(), 0x0A00);
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
    EXPECT_NE(entry_.pFile, nullptr) << "the caller ends the search";
}

TEST_P(SearchReading, FailsWithoutAListForTheMarks) {
    Open("dn: cn=a\n\n");
    platform().Fail("QLIBCSzListAlloc");
    EXPECT_EQ(Next(), -1);
    EXPECT_EQ(Log(), Strings{"Memory allocation failed."});
    EXPECT_NE(entry_.pFile, nullptr);
    EXPECT_EQ(platform().Outstanding().size(), 3U) << "entry and stream";
}

TEST_P(SearchReading, FailsCleanlyWhereverAnAppendFails) {
    const char *output = "dn: cn=a\ncn:: Yg==\n\n";
    Open(output);
    platform().Forget();
    ASSERT_EQ(Next(), 1);
    const int appends = static_cast<int>(platform().CallsOf("QLIBCSzListPush").size());
    EXPECT_GE(appends, 4) << "names and values";
    Close();
    for (int nth = 1; nth <= appends; ++nth) {
        Open(output);
        platform().Fail("QLIBCSzListPush", nth, -1, 0x0200);
        EXPECT_EQ(Next(), -1) << nth;
        for (const std::string &line : Log())
            EXPECT_EQ(line.find("mismatch"), std::string::npos) << nth << ", noticed too late";
        EXPECT_EQ(Items(entry_.plistAttr).size(), Items(entry_.plistValue).size());
        EXPECT_EQ(platform().Outstanding().size(), 3U) << "entry and stream";
        Close();
    }
}

TEST_P(SearchReading, FailsWhenADecodedValueCannotBeStored) {
    Open("dn: cn=a\nsn:: YWI=\n\n");
    platform().Fail("QLIBCSzListSet", 1, -1, 0x0200);
    EXPECT_EQ(Next(), -1);
    EXPECT_NE(entry_.pFile, nullptr);
}

TEST_P(SearchReading, ChecksRecordAndRequest) {
    ZAFOLDAP_RESULT record{};
    ExpectArgumentFailure("((void *)0) != pResult",
                          [] { return ZAFOLDAPSearchGetNext(nullptr, nullptr); });
    ExpectArgumentFailure("((void *)0) != pResult->plistAttr",
                          [&] { return ZAFOLDAPSearchGetNext(nullptr, &record); });
    List names;
    List values;
    record.plistAttr = names;
    ExpectArgumentFailure("NULL != pResult->plistValue",
                          [&] { return ZAFOLDAPSearchGetNext(nullptr, &record); });
    record.plistValue = values;
    ExpectArgumentFailure("((void *)0) != pRequest",
                          [&] { return ZAFOLDAPSearchGetNext(nullptr, &record); });
}

TEST_P(SearchReading, HasNoEntryWithoutAnOpenSearch) {
    List names{"old"};
    List values{"old"};
    ZAFOLDAP_RESULT record{};
    record.plistAttr = names;
    record.plistValue = values;
    EXPECT_EQ(ZAFOLDAPSearchGetNext(&request_, &record), 0);
    EXPECT_EQ(Items(record.plistAttr), Strings{});
    EXPECT_EQ(Items(record.plistValue), Strings{});
    EXPECT_EQ(Log(), Strings{});
}

}  // namespace zafo::foreign
