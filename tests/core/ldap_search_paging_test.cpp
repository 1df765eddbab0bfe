// SPDX-License-Identifier: Apache-2.0
//
// The window of entries that a request returns.
#include "tests/core/core_fixture.h"

namespace zafo::core_test {
namespace {

class SearchPaging : public CoreTest {
  protected:
    // The DNs returned for this window from `total` entries "0", "1", …; `before` precedes each
    // entry.
    Texts Window(int offset, int count, int total, const std::string &extra_lines = "",
                 const std::string &before = "") {
        std::string output;
        for (int i = 0; i < total; ++i) {
            output += before;
            output += "dn: " + std::to_string(i) + "\n" + extra_lines + "\n";
        }
        tools_.Reset();
        tools_.On("ldapsearch").Output(output);
        Request request;
        request.nOffset = offset;
        request.nCount = count;
        const Search search = RunSearch(host_, request);
        EXPECT_EQ(search.last, 0);
        EXPECT_EQ(search.counted, total) << "skipped entries are counted too";
        Texts dns;
        for (const Entry &entry : search.entries)
            dns.push_back(entry.at(0).second);
        return dns;
    }

    // The rule: index i is inside when first <= i < first + count.
    static Texts Expected(int offset, int count, int total) {
        const bool all = count == -1 || (offset == 0 && count == 0);
        Texts dns;
        for (int i = 0; i < total; ++i) {
            if (i >= offset && (all || i < offset + count)) dns.push_back(std::to_string(i));
        }
        return dns;
    }
};

TEST_F(SearchPaging, HandsOutTheWindowOfTheGrid) {
    for (int total : {0, 1, 3, 5}) {
        for (int offset = 0; offset <= 6; ++offset) {
            for (int count = -1; count <= 6; ++count) {
                SCOPED_TRACE(testing::Message()
                             << total << " entries from " << offset << ", " << count << " of them");
                EXPECT_EQ(Window(offset, count, total), Expected(offset, count, total));
            }
        }
    }
}

TEST_F(SearchPaging, ReferencesDoNotShiftTheWindow) {
    const std::string references = "# refldap://other/dc=x??sub\n\n# refldap://oth\n er/dc=y\n\n";
    for (int offset = 0; offset <= 4; ++offset) {
        for (int count : {-1, 0, 1, 2}) {
            SCOPED_TRACE(testing::Message() << "from " << offset << ", " << count << " of them");
            EXPECT_EQ(Window(offset, count, 4, "", references), Expected(offset, count, 4));
        }
    }
}

// Nobody waits for skipped entries, so the search lets them accumulate before it reads.
TEST_F(SearchPaging, FindsTheWindowAfterManyEntriesThatComeOneByOne) {
    constexpr int kMany = 200;
    auto script = tools_.On("ldapsearch");
    for (int i = 0; i < kMany; ++i)
        script.Output("dn: " + std::to_string(i) + "\n\n");
    Request request;
    request.nOffset = kMany - 1;
    request.nCount = 1;
    const Search search = RunSearch(host_, request);
    EXPECT_EQ(search.entries, (std::vector<Entry>{{{"dn", "199"}}}));
    EXPECT_EQ(search.counted, kMany);
}

TEST_F(SearchPaging, SecondOfThree) {
    EXPECT_EQ(Window(1, 1, 3), Texts{"1"});
}

TEST_F(SearchPaging, OffsetWithoutCountIsAnEmptyWindow) {
    EXPECT_EQ(Window(5, 0, 8), Texts{});
}

TEST_F(SearchPaging, LargeNumbersDoNotOverflow) {
    constexpr int kMax = 2147483647;
    EXPECT_EQ(Window(1, kMax, 3), (Texts{"1", "2"}));
    EXPECT_EQ(Window(kMax, kMax, 3), Texts{});
    EXPECT_EQ(Window(kMax, -1, 3), Texts{});
}

// Skipped entries are not parsed: what would be an error inside the window is none outside.
TEST_F(SearchPaging, BadBase64OutsideTheWindowDoesNotMatter) {
    EXPECT_EQ(Window(3, -1, 3, "cn:: !!!\n"), Texts{});
}

TEST_F(SearchPaging, ContinuationsOfSkippedEntriesAreSkipped) {
    tools_.On("ldapsearch").Output(" lost\ndn: 0\n lost\n\ndn: 1\n kept\n\n");
    Request request;
    request.nOffset = 1;
    request.nCount = -1;
    EXPECT_EQ(RunSearch(host_, request).entries, (std::vector<Entry>{{{"dn", "1kept"}}}));
}

TEST_F(SearchPaging, UnterminatedLastEntryOutsideTheWindowIsNotHandedOut) {
    tools_.On("ldapsearch").Output("dn: 0\n\ndn: 1\n");
    Request request;
    request.nCount = 1;
    const Search search = RunSearch(host_, request);
    EXPECT_EQ(search.entries, (std::vector<Entry>{{{"dn", "0"}}}));
    EXPECT_EQ(search.last, 0);
}

}  // namespace
}  // namespace zafo::core_test
