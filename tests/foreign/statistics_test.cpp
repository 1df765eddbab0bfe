// SPDX-License-Identifier: Apache-2.0
#include "tests/foreign/accounts.h"

namespace zafo::foreign::statistics_test {

struct Subject {
    const char *word;
    std::string filter;
};
const Subject kSubjects[] = {{"user", kUsers}, {"group", kGroups}};

class Statistics : public AccountsTest {
  protected:
    template <class Body>
    void ForEachSubject(Body body) {
        for (const Subject &subject : kSubjects) {
            SCOPED_TRACE(subject.word);
            platform().Forget();
            TakeLog();
            Stale();
            body(subject);
        }
    }
};
ZAFO_FOREIGN_SUITE(Statistics);

TEST_P(Statistics, AsksForDnsOnly) {
    ForEachSubject([&](const Subject &subject) {
        Finds(Entry("x=a,c=o", {}));
        EXPECT_EQ(ZAFOLDAPBrowserStatUGNum(host, subject.word), 1);
        EXPECT_EQ(Searches(), std::vector<Strings>{Below(subject.filter, {"dn"})});
        EXPECT_EQ(Log(), Strings{});
        ExpectSlotsUntouched();
    });
}

TEST_P(Statistics, CountsEveryEntryWhateverItHolds) {
    ForEachSubject([&](const Subject &subject) {
        Finds(Entry("x=a,c=o", {{"uid", "a"}}) + Entry("x=b,c=o", {}) + "cn: ghost\n\n" +
              Entry("x=c,c=o", {}));
        EXPECT_EQ(ZAFOLDAPBrowserStatUGNum(host, subject.word), 4);
    });
}

TEST_P(Statistics, CountsThousands) {
    ForEachSubject([&](const Subject &subject) {
        std::string text;
        for (int i = 0; i < 5000; ++i)
            text += "dn: x=" + std::to_string(i) + ",c=o\n\n";
        Finds(text);
        EXPECT_EQ(ZAFOLDAPBrowserStatUGNum(host, subject.word), 5000);
    });
}

TEST_P(Statistics, CountOfAnEmptyDirectoryIsZero) {
    ForEachSubject([&](const Subject &subject) {
        FindsNothing();
        EXPECT_EQ(ZAFOLDAPBrowserStatUGNum(host, subject.word), 0);
        EXPECT_EQ(Log(), Strings{});
    });
}

TEST_P(Statistics, AnyOtherSubjectIsWrong) {
    for (const char *word : {"User", "users", "groups", "GROUP", "", "use", "user "}) {
        Stale();
        EXPECT_EQ(ZAFOLDAPBrowserStatUGNum(host, word), -1) << word;
        EXPECT_EQ(TakeLog(), Strings{"wrong subject[0x7777]"}) << word;
        EXPECT_EQ(Tools(), Strings{}) << word;
        EXPECT_EQ(LibraryError(), kStaleLibraryError) << word;
    }
}

TEST_P(Statistics, NoSubjectFailsCleanly) {
    EXPECT_EQ(ZAFOLDAPBrowserStatUGNum(host, nullptr), -1);
    EXPECT_EQ(Tools(), Strings{});
}

TEST_P(Statistics, FailsWithTheTool) {
    ForEachSubject([&](const Subject &subject) {
        Finds(Entry("x=a,c=o", {})).Exits(4);
        EXPECT_EQ(ZAFOLDAPBrowserStatUGNum(host, subject.word), -1);
        EXPECT_EQ(LibraryError(), 4);
        EXPECT_EQ(Log(), Strings{});
        ExpectAllClosed();
    });
}

TEST_P(Statistics, FailsWhenTheToolIsKilled) {
    ForEachSubject([&](const Subject &subject) {
        Finds(Entry("x=a,c=o", {})).Dies(15);
        EXPECT_EQ(ZAFOLDAPBrowserStatUGNum(host, subject.word), -1);
        EXPECT_EQ(LibraryError(), kStaleLibraryError);
    });
}

TEST_P(Statistics, FailsWhenTheToolCannotBeStarted) {
    ForEachSubject([&](const Subject &subject) {
        Finds().CannotStart(0);
        EXPECT_EQ(ZAFOLDAPBrowserStatUGNum(host, subject.word), -1);
        EXPECT_EQ(Log(), Strings{"search init failed[0x0900]"});
        EXPECT_EQ(PlatformError(), 0x0900);
    });
}

TEST_P(Statistics, NamesTheRequestThatCouldNotBeMade) {
    ForEachSubject([&](const Subject &subject) {
        platform().Fail("QLIBCSzListAlloc", 1, -1, 0x0200);
        EXPECT_EQ(ZAFOLDAPBrowserStatUGNum(host, subject.word), -1);
        EXPECT_EQ(Log(),
                  Strings{"init " + std::string(subject.word) + " enum request failed[0x0200]"});
        EXPECT_EQ(Tools(), Strings{});
    });
}

TEST_P(Statistics, FailsWithEveryListThatCannotBeFilled) {
    ForEachSubject([&](const Subject &subject) {
        platform().On("ldapsearch").Prints("dn: x=a,c=o\n\n").Always();
        for (const char *function : {"QLIBCSzListAlloc", "QLIBCSzListPush"})
            FailEach(
                function, [&] { return ZAFOLDAPBrowserStatUGNum(host, subject.word); },
                [&](int result) { EXPECT_EQ(result, -1); });
    });
}

TEST_P(Statistics, ChecksItsArgumentsInOrder) {
    Host nowhere;
    nowhere.uri.reset();
    ExpectArgumentFailure("((void *)0) != pHost",
                          [&] { return ZAFOLDAPBrowserStatUGNum(nullptr, "x"); });
    ExpectArgumentFailure("NULL != pHost->szUri",
                          [&] { return ZAFOLDAPBrowserStatUGNum(nowhere, "x"); });
}

}  // namespace zafo::foreign::statistics_test
