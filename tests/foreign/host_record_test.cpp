// SPDX-License-Identifier: Apache-2.0
//
// The connection record, field by field.
#include <cstring>

#include "tests/foreign/platform/foreign.h"

namespace zafo::foreign {

namespace host_record_test {

using Field = const char *ZAFOLDAP_HOST::*;
constexpr Field kFields[] = {&ZAFOLDAP_HOST::szUri, &ZAFOLDAP_HOST::szBaseDN,
                             &ZAFOLDAP_HOST::szBindDN, &ZAFOLDAP_HOST::szBindPasswd,
                             &ZAFOLDAP_HOST::szLoginSuffix};

bool AllZero(const ZAFOLDAP_HOST &host) {
    for (const Field field : kFields)
        if (host.*field != nullptr) return false;
    return host.plistBuffer == nullptr && host.nServerType == 0 && host.nSchema == 0 &&
           host.nSSLType == 0;
}

Strings Values(const ZAFOLDAP_HOST &host) {
    Strings values;
    for (const Field field : kFields)
        values.emplace_back(host.*field == nullptr ? "(null)" : host.*field);
    return values;
}

}  // namespace host_record_test

using namespace host_record_test;

class HostRecord : public ForeignTest {
  protected:
    void SetUp() override {
        ForeignTest::SetUp();
        std::memset(&host_, 0x5A, sizeof host_);
        ASSERT_EQ(ZAFOLDAPHostInit(&host_), 0);
    }
    void TearDown() override {
        EXPECT_EQ(ZAFOLDAPHostFree(&host_), 0);
        ForeignTest::TearDown();
    }
    void SetAll() {
        for (int i = 0; i < 5; ++i)
            ASSERT_EQ(ZAFOLDAPHostSet(&host_, i, Value(i).c_str()), 0);
    }
    static std::string Value(int attribute) { return "value " + std::to_string(attribute); }
    ZAFOLDAP_HOST host_;
};
ZAFO_FOREIGN_SUITE(HostRecord);

TEST_P(HostRecord, BeginsWithAnEmptyItemForEveryAttribute) {
    EXPECT_EQ(Items(host_.plistBuffer), (Strings{"", "", "", "", ""}));
    EXPECT_EQ(platform().CallsOf("QLIBCSzListAlloc").at(0).arguments, Strings{"1024"});
    ZAFOLDAP_HOST rest = host_;
    rest.plistBuffer = nullptr;
    EXPECT_TRUE(AllZero(rest));
    ExpectSlotsUntouched();
}

TEST_P(HostRecord, KeepsNoListWhenItCannotBegin) {
    ZAFOLDAP_HOST host{};
    platform().Fail("QLIBCSzListAlloc");
    EXPECT_EQ(ZAFOLDAPHostInit(&host), -1);
    EXPECT_EQ(PlatformError(), 0x0200);
    EXPECT_EQ(host.plistBuffer, nullptr);
    platform().Fail("QLIBCSzListInsert");
    EXPECT_EQ(ZAFOLDAPHostInit(&host), -1);
    EXPECT_EQ(host.plistBuffer, nullptr);
    EXPECT_EQ(platform().Outstanding().size(), 1U) << "the fixture's own record";
}

TEST_P(HostRecord, RefusesToBeginOrEndWithoutARecord) {
    ExpectArgumentFailure("((void *)0) != pHost", [] { return ZAFOLDAPHostInit(nullptr); });
    ExpectArgumentFailure("((void *)0) != pHost", [] { return ZAFOLDAPHostFree(nullptr); });
}

TEST_P(HostRecord, ChecksTheRecordThenTheAttribute) {
    ZAFOLDAP_HOST never{};
    ExpectArgumentFailure("((void *)0) != pHost", [] { return ZAFOLDAPHostSet(nullptr, 9, "x"); });
    ExpectArgumentFailure("NULL != pHost->plistBuffer",
                          [&] { return ZAFOLDAPHostSet(&never, 9, "x"); });
    for (const int attribute : {-1, -2, -100})
        ExpectArgumentFailure("LDAP_HOST_ATTR_MIN < attr",
                              [&] { return ZAFOLDAPHostSet(&host_, attribute, "x"); });
    for (const int attribute : {5, 6, 100})
        ExpectArgumentFailure("LDAP_HOST_ATTR_MAX > attr",
                              [&] { return ZAFOLDAPHostSet(&host_, attribute, "x"); });
    EXPECT_EQ(Items(host_.plistBuffer), (Strings{"", "", "", "", ""}));
}

TEST_P(HostRecord, PointsEveryFieldAtItsItem) {
    SetAll();
    for (int i = 0; i < 5; ++i) {
        EXPECT_STREQ(host_.*kFields[i], Value(i).c_str());
        EXPECT_EQ(host_.*kFields[i], QLIBCSzListGet(host_.plistBuffer, i)) << i;
    }
    EXPECT_EQ(Items(host_.plistBuffer).size(), 5U);
}

TEST_P(HostRecord, LeavesFieldsThatWereNeverSetNull) {
    EXPECT_EQ(ZAFOLDAPHostSet(&host_, LDAP_HOST_ATTR_BINDPW, "p"), 0);
    EXPECT_EQ(Values(host_), (Strings{"(null)", "(null)", "(null)", "p", "(null)"}));
}

TEST_P(HostRecord, SetsAFieldToNullAndLeavesTheOthers) {
    SetAll();
    EXPECT_EQ(ZAFOLDAPHostSet(&host_, LDAP_HOST_ATTR_BINDDN, nullptr), 0);
    EXPECT_EQ(Values(host_), (Strings{"value 0", "value 1", "(null)", "value 3", "value 4"}));
    EXPECT_EQ(Items(host_.plistBuffer)[2], "");
    EXPECT_EQ(ZAFOLDAPHostSet(&host_, LDAP_HOST_ATTR_URI, "u"), 0);
    EXPECT_EQ(host_.szBindDN, nullptr);
    EXPECT_EQ(ZAFOLDAPHostSet(&host_, LDAP_HOST_ATTR_BINDDN, ""), 0);
    EXPECT_STREQ(host_.szBindDN, "");
}

TEST_P(HostRecord, ReplacesAnItemByRemovingTheOldOneFirst) {
    SetAll();
    platform().Forget();
    EXPECT_EQ(ZAFOLDAPHostSet(&host_, LDAP_HOST_ATTR_BASEDN, "b"), 0);
    EXPECT_EQ(platform().Order({"QLIBCSzListRemove", "QLIBCSzListInsert"}),
              (Strings{"QLIBCSzListRemove", "QLIBCSzListInsert"}));
    EXPECT_EQ(platform().CallsOf("QLIBCSzListRemove").at(0).arguments, Strings{"1"});
    EXPECT_EQ(platform().CallsOf("QLIBCSzListInsert").at(0).arguments, (Strings{"1", "b"}));
}

TEST_P(HostRecord, TakesItsOwnValueAgain) {
    SetAll();
    EXPECT_EQ(ZAFOLDAPHostSet(&host_, LDAP_HOST_ATTR_URI, host_.szUri), 0);
    EXPECT_EQ(ZAFOLDAPHostSet(&host_, LDAP_HOST_ATTR_BASEDN, host_.szBindDN + 6), 0);
    EXPECT_EQ(Values(host_), (Strings{"value 0", "2", "value 2", "value 3", "value 4"}));
}

TEST_P(HostRecord, StaysAsItWasWhenAValueCannotBeInserted) {
    SetAll();
    const Strings before = Values(host_);
    platform().Fail("QLIBCSzListInsert", 1, -1, 0x0200);
    EXPECT_EQ(ZAFOLDAPHostSet(&host_, LDAP_HOST_ATTR_BINDDN, "other"), -1);
    EXPECT_EQ(Values(host_), before);
    EXPECT_EQ(ZAFOLDAPHostSet(&host_, LDAP_HOST_ATTR_BINDDN, "other"), 0);
    EXPECT_STREQ(host_.szBindDN, "other");
}

TEST_P(HostRecord, IsEmptyWhenTheOldValueCannotBeInsertedAgainEither) {
    SetAll();
    for (const int nth : {1, 2})
        platform().Fail("QLIBCSzListInsert", nth, -1, 0x0200);
    EXPECT_EQ(ZAFOLDAPHostSet(&host_, LDAP_HOST_ATTR_BINDDN, "other"), -1);
    EXPECT_EQ(Values(host_), Strings(5, "(null)"));
    EXPECT_EQ(ZAFOLDAPHostSet(&host_, LDAP_HOST_ATTR_LOGIN_SUFFIX, "suffix"), 0);
    EXPECT_EQ(Values(host_), (Strings{"(null)", "(null)", "(null)", "(null)", "suffix"}));
    EXPECT_EQ(Items(host_.plistBuffer).size(), 5U);
}

TEST_P(HostRecord, KeepsLongValuesWhole) {
    const std::string value(100000, 'v');
    EXPECT_EQ(ZAFOLDAPHostSet(&host_, LDAP_HOST_ATTR_URI, value.c_str()), 0);
    EXPECT_STREQ(host_.szUri, value.c_str());
}

TEST_P(HostRecord, IsZeroAfterBeingFreedAndMayBeFreedTwice) {
    ZAFOLDAP_HOST host;
    ASSERT_EQ(ZAFOLDAPHostInit(&host), 0);
    ASSERT_EQ(ZAFOLDAPHostSet(&host, 0, "u"), 0);
    host.nServerType = 1;
    host.nSchema = 2;
    host.nSSLType = 3;
    EXPECT_EQ(ZAFOLDAPHostFree(&host), 0);
    EXPECT_TRUE(AllZero(host));
    EXPECT_EQ(ZAFOLDAPHostFree(&host), 0);
}

TEST_P(HostRecord, IsClonedWithItsOwnList) {
    SetAll();
    host_.nServerType = 1;
    host_.nSchema = 0x1234;
    host_.nSSLType = 2;
    host_.plistBuffer->nCapacity = 77;
    platform().Forget();
    ZAFOLDAP_HOST clone;
    std::memset(&clone, 0x5A, sizeof clone);
    ASSERT_EQ(ZAFOLDAPHostClone(&clone, &host_), 0);
    EXPECT_EQ(platform().CallsOf("QLIBCSzListAlloc").at(0).arguments, Strings{"77"});
    EXPECT_NE(clone.plistBuffer, host_.plistBuffer);
    EXPECT_EQ(Items(clone.plistBuffer), Items(host_.plistBuffer));
    for (const Field field : kFields)
        EXPECT_EQ(clone.*field, host_.*field) << "points into the source";
    EXPECT_EQ(clone.nServerType, 1);
    EXPECT_EQ(clone.nSchema, 0x1234U);
    EXPECT_EQ(clone.nSSLType, 2);
    EXPECT_EQ(ZAFOLDAPHostFree(&clone), 0);
    EXPECT_EQ(Values(host_).at(4), "value 4");
}

TEST_P(HostRecord, IsClonedWithoutAListWhenItHasNone) {
    Host source;
    ZAFOLDAP_HOST clone;
    ASSERT_EQ(ZAFOLDAPHostClone(&clone, source), 0);
    EXPECT_EQ(clone.plistBuffer, nullptr);
    EXPECT_EQ(clone.szUri, source->szUri);
    EXPECT_EQ(ZAFOLDAPHostFree(&clone), 0);
}

TEST_P(HostRecord, SkipsItemsThatTheListDoesNotGive) {
    SetAll();
    platform().Fail("QLIBCSzListGet", 2);
    ZAFOLDAP_HOST clone{};
    ASSERT_EQ(ZAFOLDAPHostClone(&clone, &host_), 0);
    EXPECT_EQ(Items(clone.plistBuffer), (Strings{"value 0", "value 2", "value 3", "value 4"}));
    EXPECT_EQ(ZAFOLDAPHostFree(&clone), 0);
}

TEST_P(HostRecord, IsNeverPartlyCloned) {
    SetAll();
    ZAFOLDAP_HOST clone;
    for (const int nth : {1, 5}) {
        std::memset(&clone, 0x5A, sizeof clone);
        platform().Fail("QLIBCSzListPush", nth, -1, 0x0200);
        EXPECT_EQ(ZAFOLDAPHostClone(&clone, &host_), -1);
        EXPECT_EQ(clone.plistBuffer, nullptr);
    }
    platform().Fail("QLIBCSzListAlloc", 1, -1, 0x0200);
    EXPECT_EQ(ZAFOLDAPHostClone(&clone, &host_), -1);
    EXPECT_EQ(clone.plistBuffer, nullptr);
    EXPECT_EQ(platform().Outstanding().size(), 1U) << "the fixture's own record";
}

TEST_P(HostRecord, IsNotClonedToOrFromNothing) {
    ZAFOLDAP_HOST clone{};
    EXPECT_EQ(ZAFOLDAPHostClone(nullptr, &host_), -1);
    EXPECT_EQ(PlatformError(), 0x0D00);
    Stale();
    EXPECT_EQ(ZAFOLDAPHostClone(&clone, nullptr), -1);
    EXPECT_EQ(PlatformError(), 0x0D00);
    EXPECT_EQ(Log().size(), 2U);
}

}  // namespace zafo::foreign
