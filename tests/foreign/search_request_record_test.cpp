// SPDX-License-Identifier: Apache-2.0
//
// The search request record.
#include <cstring>

#include "tests/foreign/platform/foreign.h"

namespace zafo::foreign {

namespace search_request_record_test {

bool AllZero(const ZAFOLDAP_SEARCH_REQUEST &request) {
    return request.szBase == nullptr && request.szFilter == nullptr && request.szExtra == nullptr &&
           request.szScope == nullptr && request.plistAttr == nullptr && request.blBaseAsIs == 0 &&
           request.nOffset == 0 && request.nCount == 0 && request.nSizeLimit == 0;
}

ZAFOLDAP_SEARCH_REQUEST Nonsense() {
    ZAFOLDAP_SEARCH_REQUEST request;
    std::memset(&request, 0x5A, sizeof request);
    return request;
}

}  // namespace search_request_record_test

class SearchRequestRecord : public ForeignTest {};
ZAFO_FOREIGN_SUITE(SearchRequestRecord);

TEST_P(SearchRequestRecord, BeginsEmptyWithoutAnAttributeList) {
    ZAFOLDAP_SEARCH_REQUEST request = search_request_record_test::Nonsense();
    EXPECT_EQ(ZAFOLDAPSearchRequestInit(&request, 0), 0);
    EXPECT_TRUE(search_request_record_test::AllZero(request));
    EXPECT_TRUE(platform().CallsOf("QLIBCSzListAlloc").empty());
    EXPECT_EQ(ZAFOLDAPSearchRequestFree(&request), 0);
}

TEST_P(SearchRequestRecord, BeginsWithAnEmptyAttributeListWhenAsked) {
    for (const int wanted : {1, -1, 8}) {
        ZAFOLDAP_SEARCH_REQUEST request = search_request_record_test::Nonsense();
        platform().Forget();
        ASSERT_EQ(ZAFOLDAPSearchRequestInit(&request, wanted), 0);
        ASSERT_NE(request.plistAttr, nullptr);
        EXPECT_EQ(Items(request.plistAttr), Strings{});
        EXPECT_EQ(platform().CallsOf("QLIBCSzListAlloc").at(0).arguments, Strings{"1024"});
        EXPECT_EQ(ZAFOLDAPSearchRequestFree(&request), 0);
        EXPECT_TRUE(search_request_record_test::AllZero(request));
    }
}

TEST_P(SearchRequestRecord, HasNoListWhenOneCannotBeMade) {
    ZAFOLDAP_SEARCH_REQUEST request = search_request_record_test::Nonsense();
    platform().Fail("QLIBCSzListAlloc", 1, -1, 0x0200);
    EXPECT_EQ(ZAFOLDAPSearchRequestInit(&request, 1), -1);
    EXPECT_EQ(request.plistAttr, nullptr);
    EXPECT_EQ(ZAFOLDAPSearchRequestFree(&request), 0);
}

TEST_P(SearchRequestRecord, NeedsARecordToBeginAndNoneToEnd) {
    ExpectArgumentFailure("((void *)0) != pRequest",
                          [] { return ZAFOLDAPSearchRequestInit(nullptr, 1); });
    EXPECT_EQ(ZAFOLDAPSearchRequestFree(nullptr), 0);
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(SearchRequestRecord, IsClonedWithSharedStringsAndItsOwnList) {
    List attributes{"dn", "cn"};
    QLIBSZLIST *list = attributes;
    list->nCapacity = 55;
    const ZAFOLDAP_SEARCH_REQUEST source{"base", "filter", "extra", "sub", list, 1, 2, 3, 4};
    ZAFOLDAP_SEARCH_REQUEST clone = search_request_record_test::Nonsense();
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
    EXPECT_EQ(platform().CallsOf("QLIBCSzListAlloc").at(0).arguments, Strings{"55"});
    EXPECT_EQ(Items(clone.plistAttr), (Strings{"dn", "cn"}));
    EXPECT_EQ(ZAFOLDAPSearchRequestFree(&clone), 0);
    EXPECT_EQ(attributes.Items(), (Strings{"dn", "cn"}));
}

TEST_P(SearchRequestRecord, IsClonedWithoutAListWhenItHasNone) {
    const ZAFOLDAP_SEARCH_REQUEST source{};
    ZAFOLDAP_SEARCH_REQUEST clone = search_request_record_test::Nonsense();
    ASSERT_EQ(ZAFOLDAPSearchRequestClone(&clone, &source), 0);
    EXPECT_TRUE(search_request_record_test::AllZero(clone));
    EXPECT_EQ(ZAFOLDAPSearchRequestFree(&clone), 0);
}

TEST_P(SearchRequestRecord, HasNoListWhenTheCloneOfItFails) {
    List attributes{"dn", "cn"};
    ZAFOLDAP_SEARCH_REQUEST source{};
    source.plistAttr = attributes;
    for (const char *function : {"QLIBCSzListAlloc", "QLIBCSzListPush"}) {
        ZAFOLDAP_SEARCH_REQUEST clone = search_request_record_test::Nonsense();
        platform().Fail(function, 1, -1, 0x0200);
        EXPECT_EQ(ZAFOLDAPSearchRequestClone(&clone, &source), -1) << function;
        EXPECT_EQ(clone.plistAttr, nullptr);
    }
    EXPECT_EQ(platform().Outstanding(), Strings{});
}

TEST_P(SearchRequestRecord, SkipsItemsThatTheListDoesNotGive) {
    List attributes{"dn", "cn", "sn"};
    ZAFOLDAP_SEARCH_REQUEST source{};
    source.plistAttr = attributes;
    ZAFOLDAP_SEARCH_REQUEST clone{};
    platform().Fail("QLIBCSzListGet", 2);
    ASSERT_EQ(ZAFOLDAPSearchRequestClone(&clone, &source), 0);
    EXPECT_EQ(Items(clone.plistAttr), (Strings{"dn", "sn"}));
    EXPECT_EQ(ZAFOLDAPSearchRequestFree(&clone), 0);
}

TEST_P(SearchRequestRecord, IsNotClonedToOrFromNothing) {
    ZAFOLDAP_SEARCH_REQUEST request{};
    EXPECT_EQ(ZAFOLDAPSearchRequestClone(nullptr, &request), -1);
    EXPECT_EQ(PlatformError(), 0x0D00);
    Stale();
    EXPECT_EQ(ZAFOLDAPSearchRequestClone(&request, nullptr), -1);
    EXPECT_EQ(PlatformError(), 0x0D00);
    EXPECT_EQ(Log().size(), 2U);
}

}  // namespace zafo::foreign
