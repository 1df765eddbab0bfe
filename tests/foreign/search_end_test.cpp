// SPDX-License-Identifier: Apache-2.0
//
// How a search ends, and whole searches with a callback.
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "tests/foreign/platform/foreign.h"

namespace zafo::foreign {

namespace search_end_test {

const std::string kTwo = Entry("cn=a", {{"cn", "a"}}) + Entry("cn=b", {{"cn", "b"}});

struct Handed {
    const ZAFOLDAP_HOST *host = nullptr;
    const ZAFOLDAP_SEARCH_REQUEST *request = nullptr;
    Strings dns;
    int answer = 0;
    size_t answer_at = 0;  // the call that gets the answer, from 1; 0: none
};

int Take(const ZAFOLDAP_HOST *host, const ZAFOLDAP_SEARCH_REQUEST *request,
         const ZAFOLDAP_RESULT *entry, void *data) {
    auto *handed = static_cast<Handed *>(data);
    handed->host = host;
    handed->request = request;
    handed->dns.emplace_back(ZAFOLDAPResultGetFirst(entry, "dn"));
    return handed->dns.size() == handed->answer_at ? handed->answer : 0;
}

bool Exists(const std::string &path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0;
}

}  // namespace search_end_test

using namespace search_end_test;

class SearchEnd : public ForeignTest {
  protected:
    void TearDown() override {
        EXPECT_EQ(ZAFOLDAPSearchFree(&request_, &entry_), 0);
        ForeignTest::TearDown();
    }
    void Open() {
        ASSERT_EQ(ZAFOLDAPSearchInit(host_, &request_, &entry_), 0);
        Stale();
    }
    int Next() { return ZAFOLDAPSearchGetNext(&request_, &entry_); }
    Host host_;
    ZAFOLDAP_SEARCH_REQUEST request_{};
    ZAFOLDAP_RESULT entry_{};
};
ZAFO_FOREIGN_SUITE(SearchEnd);

TEST_P(SearchEnd, MakesTheToolsExitCodeTheLibrarysError) {
    for (const int code : {1, 4, 32, 49, 127, 128, 255}) {
        platform().On("ldapsearch").Prints(kTwo).Exits(code);
        Open();
        EXPECT_EQ(Next(), 1);
        EXPECT_EQ(Next(), 1);
        EXPECT_EQ(Next(), -1) << code;
        EXPECT_EQ(LibraryError(), code);
        EXPECT_EQ(entry_.nExitCode, code);
        EXPECT_EQ(entry_.pFile, nullptr);
        EXPECT_EQ(PlatformError(), kStalePlatformError);
        EXPECT_EQ(Next(), 0) << "the search is over";
        EXPECT_EQ(Log(), Strings{});
        EXPECT_EQ(ZAFOLDAPSearchFree(&request_, &entry_), 0);
    }
}

TEST_P(SearchEnd, ReportsAnUnfinishedEntryBeforeTheToolsFailure) {
    platform().On("ldapsearch").Prints("dn: cn=a\n").Exits(32);
    Open();
    EXPECT_EQ(Next(), 1);
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
    EXPECT_EQ(Next(), -1);
    EXPECT_EQ(LibraryError(), 32);
}

TEST_P(SearchEnd, LeavesTheErrorWhenTheToolWasKilled) {
    for (const int status : {9, 13, 15, 0x80 | 11, -1}) {
        platform().On("ldapsearch").Status(status);
        Open();
        EXPECT_EQ(Next(), -1) << status;
        EXPECT_EQ(LibraryError(), kStaleLibraryError);
        EXPECT_EQ(entry_.nExitCode, 0);
        EXPECT_EQ(Log(), Strings{});
        EXPECT_EQ(ZAFOLDAPSearchFree(&request_, &entry_), 0);
    }
}

TEST_P(SearchEnd, ReapsTheToolOnce) {
    platform().On("ldapsearch").Exits(32);
    Open();
    EXPECT_EQ(Next(), -1);
    EXPECT_EQ(ZAFOLDAPSearchFree(&request_, &entry_), 0);
    EXPECT_EQ(platform().CallsOf("QLIBCPclose").size(), 1U);
}

TEST_P(SearchEnd, FreesRequestAndResultInTheMiddleOfTheOutput) {
    platform().On("ldapsearch").Prints(kTwo).Exits(4);
    ASSERT_EQ(ZAFOLDAPSearchRequestInit(&request_, 1), 0);
    ASSERT_GE(QLIBCSzListPush(&request_.plistAttr, "cn"), 0);
    request_.szFilter = "f";
    Open();
    EXPECT_EQ(Next(), 1);
    EXPECT_EQ(ZAFOLDAPSearchFree(&request_, &entry_), 0);
    EXPECT_EQ(LibraryError(), 4);
    EXPECT_TRUE(platform().Runs().at(0).closed);
    EXPECT_EQ(request_.plistAttr, nullptr);
    EXPECT_EQ(request_.szFilter, nullptr);
    EXPECT_EQ(entry_.plistAttr, nullptr);
    EXPECT_EQ(entry_.pFile, nullptr);
    EXPECT_STREQ(entry_.szErrFile, "");
    EXPECT_EQ(platform().Outstanding(), Strings{});
}

TEST_P(SearchEnd, MayBeAskedForTwice) {
    platform().On("ldapsearch").Prints(kTwo);
    Open();
    EXPECT_EQ(ZAFOLDAPSearchFree(&request_, &entry_), 0);
    EXPECT_EQ(ZAFOLDAPSearchFree(&request_, &entry_), 0);
    EXPECT_EQ(ZAFOLDAPSearchFree(nullptr, nullptr), 0);
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
}

TEST_P(SearchEnd, RemovesTheErrorFile) {
    for (const int code : {0, 32}) {
        platform().On("ldapsearch").Exits(code);
        Open();
        const std::string file = entry_.szErrFile;
        WriteFile(file, "one\ntwo\n");
        EXPECT_EQ(Next(), code == 0 ? 0 : -1);
        EXPECT_FALSE(Exists(file));
        EXPECT_STREQ(entry_.szErrFile, "");
        EXPECT_EQ(Log(), Strings{});
        EXPECT_EQ(ZAFOLDAPSearchFree(&request_, &entry_), 0);
    }
    platform().On("ldapsearch").Prints(kTwo);
    Open();
    const std::string file = entry_.szErrFile;
    WriteFile(file, "");
    EXPECT_EQ(ZAFOLDAPSearchFree(&request_, &entry_), 0);
    EXPECT_FALSE(Exists(file));
}

class WholeSearch : public ForeignTest {
  protected:
    int Run(Handed &handed) { return ZAFOLDAPSearchResultGet(host_, &request_, Take, &handed); }
    Host host_;
    ZAFOLDAP_SEARCH_REQUEST request_{};
};
ZAFO_FOREIGN_SUITE(WholeSearch);

TEST_P(WholeSearch, HandsOverEveryEntry) {
    List attributes{"cn", "sn"};
    request_.plistAttr = attributes;
    request_.szFilter = "f";
    const ZAFOLDAP_SEARCH_REQUEST before = request_;
    platform().On("ldapsearch").Prints(kTwo);
    Handed handed;
    EXPECT_EQ(Run(handed), 0);
    EXPECT_EQ(handed.dns, (Strings{"cn=a", "cn=b"}));
    EXPECT_EQ(handed.host, static_cast<ZAFOLDAP_HOST *>(host_));
    EXPECT_EQ(handed.request, &request_);
    EXPECT_EQ(std::memcmp(&before, &request_, sizeof before), 0);
    EXPECT_EQ(attributes.Items(), (Strings{"cn", "sn"}));
    EXPECT_TRUE(platform().Runs().at(0).closed);
    const Strings &argv = platform().Runs().at(0).argv;
    ASSERT_GE(argv.size(), 3U);
    EXPECT_EQ(Strings(argv.end() - 3, argv.end()), (Strings{"f", "cn", "sn"}));
    ExpectSlotsUntouched();
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(WholeSearch, HandsOverNothingWhenNothingIsFound) {
    Handed handed;
    EXPECT_EQ(Run(handed), 0);
    EXPECT_EQ(handed.dns, Strings{});
}

TEST_P(WholeSearch, HandsOverTheWindow) {
    request_.nOffset = 1;
    request_.nCount = 1;
    platform().On("ldapsearch").Prints(kTwo + Entry("cn=c", {}));
    Handed handed;
    EXPECT_EQ(Run(handed), 0);
    EXPECT_EQ(handed.dns, Strings{"cn=b"});
    EXPECT_EQ(request_.nOffset, 1);
}

TEST_P(WholeSearch, EndsWithTheHandlersNegativeAnswer) {
    for (const int answer : {-1, -7, -2147483647}) {
        platform().On("ldapsearch").Prints(kTwo);
        Handed handed;
        handed.answer_at = 1;
        handed.answer = answer;
        EXPECT_EQ(Run(handed), answer);
        EXPECT_EQ(handed.dns, Strings{"cn=a"});
        EXPECT_TRUE(platform().Runs().back().closed);
    }
}

TEST_P(WholeSearch, SucceedsWhenTheHandlerStopsEarly) {
    for (const int answer : {1, 100}) {
        platform().On("ldapsearch").Prints(kTwo).Dies(13);
        Handed handed;
        handed.answer_at = 1;
        handed.answer = answer;
        EXPECT_EQ(Run(handed), 0);
        EXPECT_EQ(handed.dns, Strings{"cn=a"});
    }
}

TEST_P(WholeSearch, FailsWithTheTool) {
    platform().On("ldapsearch").Prints(kTwo).Exits(32);
    Handed handed;
    EXPECT_EQ(Run(handed), -1);
    EXPECT_EQ(handed.dns, (Strings{"cn=a", "cn=b"}));
    EXPECT_EQ(LibraryError(), 32);
}

TEST_P(WholeSearch, FailsWhenItCannotStart) {
    Handed handed;
    platform().On("ldapsearch").CannotStart(0);
    EXPECT_EQ(Run(handed), -1);
    EXPECT_EQ(PlatformError(), 0x0900);
    List attributes{"cn"};
    request_.plistAttr = attributes;
    for (int nth = 1; nth <= 3; ++nth) {
        platform().On("ldapsearch").Prints(kTwo).Always();
        platform().Fail("QLIBCSzListAlloc", nth, -1, 0x0200);
        EXPECT_EQ(Run(handed), -1) << nth;
    }
    platform().Fail("QLIBCSzListPush", 1, -1, 0x0200);
    EXPECT_EQ(Run(handed), -1);
    EXPECT_EQ(handed.dns, Strings{});
}

TEST_P(WholeSearch, ChecksConnectionRequestAndHandler) {
    Host nowhere;
    nowhere.uri.reset();
    ExpectArgumentFailure("((void *)0) != pHost", [] {
        return ZAFOLDAPSearchResultGet(nullptr, nullptr, nullptr, nullptr);
    });
    ExpectArgumentFailure("NULL != pHost->szUri", [&] {
        return ZAFOLDAPSearchResultGet(nowhere, nullptr, nullptr, nullptr);
    });
    ExpectArgumentFailure("((void *)0) != pRequest", [&] {
        return ZAFOLDAPSearchResultGet(host_, nullptr, nullptr, nullptr);
    });
    ExpectArgumentFailure("NULL != pResultHandler", [&] {
        return ZAFOLDAPSearchResultGet(host_, &request_, nullptr, nullptr);
    });
}

}  // namespace zafo::foreign
