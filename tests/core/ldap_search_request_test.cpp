// SPDX-License-Identifier: Apache-2.0
#include <cstring>

#include "tests/core/core_fixture.h"

namespace zafo::core_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class SearchRequest : public CoreTest {
  protected:
    static bool IsZero(const ZAFOLDAP_SEARCH_REQUEST &request) {
        const ZAFOLDAP_SEARCH_REQUEST zero{};
        return std::memcmp(&request, &zero, sizeof zero) == 0;
    }
};

TEST_F(SearchRequest, WithoutAttributeListIsAllZero) {
    ZAFOLDAP_SEARCH_REQUEST request;
    std::memset(&request, 0xA5, sizeof request);
    EXPECT_EQ(ZAFOLDAPSearchRequestInit(&request, 0), 0);
    EXPECT_TRUE(IsZero(request));
}

TEST_F(SearchRequest, WithAttributeListHasAnEmptyOne) {
    for (int with_list : {1, -1, 42}) {
        ZAFOLDAP_SEARCH_REQUEST request;
        std::memset(&request, 0xA5, sizeof request);
        EXPECT_EQ(ZAFOLDAPSearchRequestInit(&request, with_list), 0);
        ASSERT_NE(request.plistAttr, nullptr);
        EXPECT_THAT(Items(request.plistAttr), IsEmpty());
        EXPECT_EQ(request.szBase, nullptr);
        EXPECT_EQ(request.nCount, 0);
        ZAFOLDAPSearchRequestFree(&request);
    }
}

TEST_F(SearchRequest, FreeZeroesTheRecord) {
    ZAFOLDAP_SEARCH_REQUEST request;
    ZAFOLDAPSearchRequestInit(&request, 1);
    request.szBase = "dc=com";
    request.nCount = 3;
    EXPECT_EQ(ZAFOLDAPSearchRequestFree(&request), 0);
    EXPECT_TRUE(IsZero(request));
    EXPECT_EQ(ZAFOLDAPSearchRequestFree(&request), 0) << "freeing twice is harmless";
}

TEST_F(SearchRequest, CloneSharesTheStringsAndCopiesTheList) {
    Request source{"cn", "uid", "cn"};
    source.szBase = "cn=users";
    source.szFilter = "(cn=*)";
    source.szExtra = "extra";
    source.szScope = "sub";
    source.blBaseAsIs = 1;
    source.nOffset = 2;
    source.nCount = 3;
    source.nSizeLimit = 4;

    ZAFOLDAP_SEARCH_REQUEST clone;
    std::memset(&clone, 0xA5, sizeof clone);
    ASSERT_EQ(ZAFOLDAPSearchRequestClone(&clone, &source), 0);
    EXPECT_EQ(clone.szBase, source.szBase);
    EXPECT_EQ(clone.szFilter, source.szFilter);
    EXPECT_EQ(clone.szExtra, source.szExtra);
    EXPECT_EQ(clone.szScope, source.szScope);
    EXPECT_EQ(clone.blBaseAsIs, 1);
    EXPECT_EQ(clone.nOffset, 2);
    EXPECT_EQ(clone.nCount, 3);
    EXPECT_EQ(clone.nSizeLimit, 4);
    EXPECT_NE(clone.plistAttr, source.plistAttr);
    EXPECT_THAT(Items(clone.plistAttr), ElementsAre("cn", "uid", "cn"));

    ZAFOLDAPSearchRequestFree(&clone);
    EXPECT_THAT(Items(source.plistAttr), ElementsAre("cn", "uid", "cn"));
}

TEST_F(SearchRequest, CloneWithoutAListHasNone) {
    ZAFOLDAP_SEARCH_REQUEST source{}, clone;
    source.szFilter = "(cn=*)";
    ASSERT_EQ(ZAFOLDAPSearchRequestClone(&clone, &source), 0);
    EXPECT_EQ(clone.plistAttr, nullptr);
    EXPECT_EQ(clone.szFilter, source.szFilter);
}

TEST_F(SearchRequest, CloneOfAnEmptyListCanBeFilled) {
    const Request source;
    ZAFOLDAP_SEARCH_REQUEST clone;
    ASSERT_EQ(ZAFOLDAPSearchRequestClone(&clone, &source), 0);
    QLIBCSzListPush(&clone.plistAttr, "mail");
    EXPECT_THAT(Items(clone.plistAttr), ElementsAre("mail"));
    EXPECT_THAT(Items(source.plistAttr), IsEmpty());
    ZAFOLDAPSearchRequestFree(&clone);
}

}  // namespace
}  // namespace zafo::core_test
