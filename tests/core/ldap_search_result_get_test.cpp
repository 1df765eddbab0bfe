// SPDX-License-Identifier: Apache-2.0
//
// Whole searches that pass each entry to a callback.
#include "platform/error.h"
#include "tests/core/core_fixture.h"

namespace zafo::core_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// What the callback received, and what it returns on each call; 0 after the last.
struct Handler {
    std::vector<int> answers;
    Texts dns;
    const ZAFOLDAP_HOST *host = nullptr;
    const ZAFOLDAP_SEARCH_REQUEST *request = nullptr;
    Texts attributes;

    static int Call(const ZAFOLDAP_HOST *host, const ZAFOLDAP_SEARCH_REQUEST *request,
                    const ZAFOLDAP_RESULT *result, void *data) {
        Handler &self = *static_cast<Handler *>(data);
        self.host = host;
        self.request = request;
        self.attributes = Items(request->plistAttr);
        self.dns.push_back(ZAFOLDAPResultGetFirst(result, "dn"));
        return self.dns.size() <= self.answers.size() ? self.answers[self.dns.size() - 1] : 0;
    }
};

class SearchResultGet : public CoreTest {
  protected:
    SearchResultGet() { request_.szFilter = "(cn=*)"; }

    int Run() { return ZAFOLDAPSearchResultGet(&host_, &request_, Handler::Call, &handler_); }
    rig::FakeScript ThreeEntries() {
        return tools_.On("ldapsearch").IgnoreSignals().Output("dn: a\n\ndn: b\n\ndn: c\n\n");
    }

    Request request_{"cn"};
    Handler handler_;
};

TEST_F(SearchResultGet, HandsOverEveryEntryWithItsRequest) {
    ThreeEntries();
    EXPECT_EQ(Run(), 0);
    EXPECT_THAT(handler_.dns, ElementsAre("a", "b", "c"));
    EXPECT_EQ(handler_.host, &host_);
    EXPECT_EQ(handler_.request, &request_) << "the caller's own";
    EXPECT_THAT(handler_.attributes, ElementsAre("cn"));
    EXPECT_EQ(QLIBCErrGet(), kStalePlatformCode);
    EXPECT_EQ(ZAFOLDAPErrGet(), kStaleLdapCode);
}

TEST_F(SearchResultGet, LeavesTheCallersRequest) {
    ThreeEntries();
    EXPECT_EQ(Run(), 0);
    EXPECT_STREQ(request_.szFilter, "(cn=*)");
    EXPECT_THAT(Items(request_.plistAttr), ElementsAre("cn"));
    EXPECT_EQ(Run(), 0) << "it can be used again";
    EXPECT_EQ(tools_.Calls().at(0).argv, tools_.Calls().at(1).argv);
}

TEST_F(SearchResultGet, NoEntryIsSuccess) {
    EXPECT_EQ(Run(), 0);
    EXPECT_THAT(handler_.dns, IsEmpty());
}

TEST_F(SearchResultGet, PositiveAnswerStopsWithSuccess) {
    for (int answer : {1, 7}) {
        tools_.Reset();
        handler_ = {};
        handler_.answers = {0, answer};
        ThreeEntries();
        EXPECT_EQ(Run(), 0);
        EXPECT_THAT(handler_.dns, ElementsAre("a", "b"));
    }
}

TEST_F(SearchResultGet, NegativeAnswerAbortsAndIsReturned) {
    for (int answer : {-1, -2, -99}) {
        tools_.Reset();
        handler_ = {};
        handler_.answers = {0, answer};
        ThreeEntries();
        EXPECT_EQ(Run(), answer);
        EXPECT_THAT(handler_.dns, ElementsAre("a", "b"));
    }
}

TEST_F(SearchResultGet, PositiveAnswerStopsAFloodingTool) {
    handler_.answers = {1};
    tools_.On("ldapsearch").Flood("dn: a\n\n");
    EXPECT_EQ(Run(), 0);
    EXPECT_THAT(handler_.dns, ElementsAre("a"));
}

TEST_F(SearchResultGet, FailingToolFailsAfterItsEntries) {
    ThreeEntries().Exit(4);
    EXPECT_EQ(Run(), -1);
    EXPECT_THAT(handler_.dns, ElementsAre("a", "b", "c"));
    EXPECT_EQ(ZAFOLDAPErrGet(), 4);
}

TEST_F(SearchResultGet, BadOutputFails) {
    tools_.On("ldapsearch").Output("dn: a\n\ndn: b\ncn:: !\n\n");
    EXPECT_EQ(Run(), -1);
    EXPECT_THAT(handler_.dns, ElementsAre("a"));
}

TEST_F(SearchResultGet, HonoursTheWindow) {
    ThreeEntries();
    request_.nOffset = 1;
    request_.nCount = 1;
    EXPECT_EQ(Run(), 0);
    EXPECT_THAT(handler_.dns, ElementsAre("b"));
}

TEST_F(SearchResultGet, WorksWithoutAttributeList) {
    ThreeEntries();
    ZAFOLDAP_SEARCH_REQUEST request{};
    EXPECT_EQ(ZAFOLDAPSearchResultGet(&host_, &request, Handler::Call, &handler_), 0);
    EXPECT_EQ(handler_.dns.size(), 3u);
}

}  // namespace
}  // namespace zafo::core_test
