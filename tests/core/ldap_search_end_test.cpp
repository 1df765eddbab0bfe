// SPDX-License-Identifier: Apache-2.0
//
// How searches start and end: exit codes, signals, and tools that cannot be started, flood their
// output or disappear.
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>

#include "platform/error.h"
#include "tests/core/core_fixture.h"
#include "tests/core/signals.h"
#include "tests/core/without_tool.h"

namespace zafo::core_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Clock = std::chrono::steady_clock;

class SearchEnd : public CoreTest {
  protected:
    ~SearchEnd() override { ZAFOLDAPSearchFree(&request_, &result_); }

    int Start() {
        ZAFOLDAPSearchRequestInit(&request_, 1);
        return ZAFOLDAPSearchInit(&host_, &request_, &result_);
    }
    int Next() { return ZAFOLDAPSearchGetNext(&request_, &result_); }

    ZAFOLDAP_SEARCH_REQUEST request_{};
    ZAFOLDAP_RESULT result_{};
};

TEST_F(SearchEnd, EveryExitCodeBecomesTheLibraryError) {
    for (int code = 0; code <= 255; ++code) {
        SCOPED_TRACE(code);
        tools_.Reset();
        tools_.On("ldapsearch").Output("dn: a\n\n").Exit(code);
        SetStaleCodes();
        const Search search = RunSearch(host_, Request());
        EXPECT_EQ(search.entries.size(), 1u) << "what came before the failure is handed out";
        EXPECT_EQ(search.last, code == 0 ? 0 : -1);
        EXPECT_EQ(search.exit_code, code);
        EXPECT_EQ(ZAFOLDAPErrGet(), code == 0 ? kStaleLdapCode : code);
        EXPECT_EQ(QLIBCErrGet(), kStalePlatformCode);
    }
    EXPECT_THAT(log_.Messages(), IsEmpty()) << "exit codes are logged while debugging only";
}

TEST_F(SearchEnd, FailureWithoutOutput) {
    tools_.On("ldapsearch").Exit(32);
    const Search search = RunSearch(host_, Request());
    EXPECT_THAT(search.entries, IsEmpty());
    EXPECT_EQ(search.last, -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), 32);
}

TEST_F(SearchEnd, DeathByEverySignalLeavesTheLibraryError) {
    for (int signal : DeadlySignals()) {
        SCOPED_TRACE(signal);
        tools_.Reset();
        tools_.On("ldapsearch").Output("dn: a\n\n").Die(signal);
        SetStaleCodes();
        const Search search = RunSearch(host_, Request());
        EXPECT_EQ(search.entries.size(), 1u);
        EXPECT_EQ(search.last, -1);
        EXPECT_EQ(search.exit_code, 0);
        EXPECT_EQ(ZAFOLDAPErrGet(), kStaleLdapCode);
        EXPECT_EQ(QLIBCErrGet(), kStalePlatformCode);
    }
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(SearchEnd, TruncatedEntryIsHandedOutBeforeTheFailure) {
    tools_.On("ldapsearch").Output("dn: a\n\ndn: b\ncn: tru").Die(SIGKILL);
    const Search search = RunSearch(host_, Request());
    EXPECT_EQ(search.entries, (std::vector<Entry>{{{"dn", "a"}}, {{"dn", "b"}, {"cn", "tru"}}}));
    EXPECT_EQ(search.last, -1);
}

TEST_F(SearchEnd, ToolThatCannotBeStartedIsAPlatformFailure) {
    const WithoutTool without("ldapsearch");
    EXPECT_EQ(Start(), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0900);
    EXPECT_EQ(ZAFOLDAPErrGet(), kStaleLdapCode);
    EXPECT_EQ(result_.pFile, nullptr);
}

TEST_F(SearchEnd, ToolThatIsNotAProgramIsAPlatformFailure) {
    const WithoutTool without("ldapsearch");
    std::ofstream(without.Path()) << "text\n";
    EXPECT_EQ(Start(), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0900);
    std::filesystem::remove(without.Path());
}

TEST_F(SearchEnd, NextAfterAFailedStartIsTheEnd) {
    const WithoutTool without("ldapsearch");
    ASSERT_EQ(Start(), -1);
    EXPECT_EQ(Next(), 0);
}

TEST_F(SearchEnd, FreeAfterARefusedStart) {
    ZAFOLDAP_HOST no_uri{};
    ZAFOLDAPSearchRequestInit(&request_, 1);
    EXPECT_EQ(ZAFOLDAPSearchInit(&no_uri, &request_, &result_), -1);
    EXPECT_EQ(ZAFOLDAPSearchFree(&request_, &result_), 0);
    EXPECT_EQ(request_.plistAttr, nullptr);
}

TEST_F(SearchEnd, CallsAfterTheEndReturnZero) {
    tools_.On("ldapsearch").Output("dn: a\n\n");
    ASSERT_EQ(Start(), 0);
    EXPECT_EQ(Next(), 1);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(Next(), 0);
    EXPECT_EQ(ZAFOLDAPResultGetAttrCount(&result_), 0);
}

TEST_F(SearchEnd, CallsAfterAFailureReturnZero) {
    tools_.On("ldapsearch").Exit(49);
    ASSERT_EQ(Start(), 0);
    EXPECT_EQ(Next(), -1);
    EXPECT_EQ(result_.nExitCode, 49);
    SetStaleCodes();
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(Next(), 0);
    EXPECT_EQ(ZAFOLDAPErrGet(), kStaleLdapCode);
}

TEST_F(SearchEnd, BadEntryLeavesTheSearchOpen) {
    tools_.On("ldapsearch").Output("cn:: !!!\n\ndn: b\n\n");
    ASSERT_EQ(Start(), 0);
    EXPECT_EQ(Next(), -1);
    EXPECT_NE(result_.pFile, nullptr);
    EXPECT_EQ(Next(), 1);
    EXPECT_EQ(PairsOf(result_), (Entry{{"dn", "b"}}));
}

TEST_F(SearchEnd, EntryIsDeliveredBeforeTheToolEnds) {
    tools_.On("ldapsearch").Output("dn: a\n\n").WaitForFile("/tmp/go_on").Output("dn: b\n\n");
    ASSERT_EQ(Start(), 0);
    ASSERT_EQ(Next(), 1);
    EXPECT_EQ(PairsOf(result_), (Entry{{"dn", "a"}}));
    std::ofstream("/tmp/go_on") << "";
    EXPECT_EQ(Next(), 1);
    EXPECT_EQ(PairsOf(result_), (Entry{{"dn", "b"}}));
    EXPECT_EQ(Next(), 0);
    std::filesystem::remove("/tmp/go_on");
}

TEST_F(SearchEnd, EarlyFreeOfAFloodingToolEndsIt) {
    tools_.On("ldapsearch").Flood("dn: a\ncn: x\n\n");
    ASSERT_EQ(Start(), 0);
    ASSERT_EQ(Next(), 1);
    const auto begin = Clock::now();
    EXPECT_EQ(ZAFOLDAPSearchFree(&request_, &result_), 0);
    EXPECT_LT(Clock::now() - begin, std::chrono::seconds(2));
    EXPECT_EQ(ZAFOLDAPErrGet(), kStaleLdapCode) << "a broken pipe is no LDAP code";
}

TEST_F(SearchEnd, EarlyFreeRecordsTheExitCodeLikeAnyOther) {
    tools_.On("ldapsearch").IgnoreSignals().Output("dn: a\n\n").Exit(4);
    ASSERT_EQ(Start(), 0);
    EXPECT_EQ(ZAFOLDAPSearchFree(&request_, &result_), 0);
    EXPECT_EQ(ZAFOLDAPErrGet(), 4);
}

TEST_F(SearchEnd, FreeZeroesRequestAndResult) {
    ASSERT_EQ(Start(), 0);
    request_.szFilter = "(cn=*)";
    EXPECT_EQ(ZAFOLDAPSearchFree(&request_, &result_), 0);
    EXPECT_EQ(request_.szFilter, nullptr);
    EXPECT_EQ(request_.plistAttr, nullptr);
    EXPECT_EQ(result_.plistAttr, nullptr);
    EXPECT_STREQ(result_.szErrFile, "");
    EXPECT_EQ(ZAFOLDAPSearchFree(&request_, &result_), 0) << "freeing twice is harmless";
}

TEST_F(SearchEnd, ErrorFileNamesCountUpAndEndWithTheSearch) {
    const auto number = [this] {
        EXPECT_EQ(Start(), 0);
        const std::string name = result_.szErrFile;
        const std::string prefix = "/tmp/ldapsearch.err." + std::to_string(getpid()) + ".";
        EXPECT_EQ(name.substr(0, prefix.size()), prefix);
        EXPECT_EQ(Next(), 0);
        EXPECT_STREQ(result_.szErrFile, "");
        ZAFOLDAPSearchFree(&request_, &result_);
        return std::stoi(name.substr(prefix.size()));
    };
    const int first = number();
    EXPECT_EQ(number(), first + 1);
    EXPECT_EQ(number(), first + 2);
}

TEST_F(SearchEnd, ErrorFileIsRemovedAtTheEndAndNotLogged) {
    tools_.On("ldapsearch").Exit(1);
    ASSERT_EQ(Start(), 0);
    const std::string error_file = result_.szErrFile;
    std::ofstream(error_file) << "why\n";
    EXPECT_EQ(Next(), -1);
    EXPECT_FALSE(std::filesystem::exists(error_file));
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(SearchEnd, ErrorFileOfASucceedingSearchIsRemovedByFree) {
    ASSERT_EQ(Start(), 0);
    const std::string error_file = result_.szErrFile;
    std::ofstream(error_file) << "why\n";
    ZAFOLDAPSearchFree(&request_, &result_);
    EXPECT_FALSE(std::filesystem::exists(error_file));
}

TEST_F(SearchEnd, TwoSearchesAtOnceDoNotMix) {
    tools_.On("ldapsearch").Output("dn: a\n\ndn: b\n\n");
    tools_.On("ldapsearch").Output("dn: c\n\ndn: d\n\n").Exit(4);
    ASSERT_EQ(Start(), 0);
    ASSERT_TRUE(tools_.WaitForCalls(1));
    ZAFOLDAP_SEARCH_REQUEST other_request{};
    ZAFOLDAP_RESULT other;
    ASSERT_EQ(ZAFOLDAPSearchInit(&host_, &other_request, &other), 0);
    Texts order;
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(Next(), 1);
        order.push_back(ZAFOLDAPResultGetFirst(&result_, "dn"));
        EXPECT_EQ(ZAFOLDAPSearchGetNext(&other_request, &other), 1);
        order.push_back(ZAFOLDAPResultGetFirst(&other, "dn"));
    }
    EXPECT_THAT(order, ElementsAre("a", "c", "b", "d"));
    EXPECT_EQ(Next(), 0);
    EXPECT_EQ(ZAFOLDAPSearchGetNext(&other_request, &other), -1);
    ZAFOLDAPSearchFree(&other_request, &other);
}

TEST_F(SearchEnd, RunningOutOfDescriptorsIsAPlatformFailure) {
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none{0, before.rlim_max};
    ZAFOLDAPSearchRequestInit(&request_, 1);
    setrlimit(RLIMIT_NOFILE, &none);
    const int started = ZAFOLDAPSearchInit(&host_, &request_, &result_);
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(started, -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0900);
}

}  // namespace
}  // namespace zafo::core_test
