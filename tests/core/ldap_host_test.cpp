// SPDX-License-Identifier: Apache-2.0
#include <cstring>

#include "platform/error.h"
#include "tests/core/core_fixture.h"
#include "zafoldap/host.h"

namespace zafo::core_test {
namespace {

using testing::ElementsAre;

class Host : public CoreTest {
  protected:
    Host() { ZAFOLDAPHostInit(&record_); }
    ~Host() override { ZAFOLDAPHostFree(&record_); }

    void FillAll() {
        const char *values[] = {"server:389", "dc=com", "cn=admin", "secret", "example.com"};
        for (int attr = 0; attr < LDAP_HOST_ATTR_MAX; ++attr) {
            ASSERT_EQ(ZAFOLDAPHostSet(&record_, attr, values[attr]), 0);
        }
    }

    ZAFOLDAP_HOST record_;
};

TEST_F(Host, IsZeroedWithRoomForItsStringsAfterInit) {
    ZAFOLDAP_HOST host;
    std::memset(&host, 0xA5, sizeof host);
    ASSERT_EQ(ZAFOLDAPHostInit(&host), 0);
    EXPECT_THAT(FieldsOf(host), ElementsAre("-", "-", "-", "-", "-"));
    EXPECT_EQ(host.nServerType, 0);
    EXPECT_EQ(host.nSchema, 0u);
    EXPECT_EQ(host.nSSLType, 0);
    EXPECT_EQ(host.plistBuffer->nItem, 5);
    EXPECT_THAT(Items(host.plistBuffer), ElementsAre("", "", "", "", ""));
    ZAFOLDAPHostFree(&host);
}

TEST_F(Host, FieldsAreTheItemsOfTheirNumbers) {
    FillAll();
    EXPECT_THAT(FieldsOf(record_),
                ElementsAre("server:389", "dc=com", "cn=admin", "secret", "example.com"));
    EXPECT_THAT(Items(record_.plistBuffer),
                ElementsAre("server:389", "dc=com", "cn=admin", "secret", "example.com"));
    EXPECT_EQ(record_.szBindDN, QLIBCSzListGet(record_.plistBuffer, LDAP_HOST_ATTR_BINDDN));
}

TEST_F(Host, SettingNullUnsetsOneFieldAndKeepsTheOthers) {
    FillAll();
    for (int attr = 0; attr < LDAP_HOST_ATTR_MAX; ++attr) {
        SCOPED_TRACE(attr);
        Texts expected = FieldsOf(record_);
        expected.at(static_cast<size_t>(attr)).assign(1, '-');
        EXPECT_EQ(ZAFOLDAPHostSet(&record_, attr, nullptr), 0);
        EXPECT_EQ(FieldsOf(record_), expected);
        EXPECT_STREQ(QLIBCSzListGet(record_.plistBuffer, attr), "");
        EXPECT_EQ(record_.plistBuffer->nItem, 5);
    }
}

TEST_F(Host, UnsetFieldStaysUnsetWhileOthersAreSet) {
    FillAll();
    ZAFOLDAPHostSet(&record_, LDAP_HOST_ATTR_BINDDN, nullptr);
    ZAFOLDAPHostSet(&record_, LDAP_HOST_ATTR_URI, "other");
    EXPECT_THAT(FieldsOf(record_), ElementsAre("other", "dc=com", "-", "secret", "example.com"));
}

TEST_F(Host, EmptyTextIsAValue) {
    ZAFOLDAPHostSet(&record_, LDAP_HOST_ATTR_BINDPW, "");
    EXPECT_THAT(FieldsOf(record_), ElementsAre("-", "-", "-", "", "-"));
}

TEST_F(Host, FieldsFollowTheListWhenItMoves) {
    FillAll();
    const std::string large(1 << 20, 'x');
    EXPECT_EQ(ZAFOLDAPHostSet(&record_, LDAP_HOST_ATTR_BASEDN, large.c_str()), 0);
    EXPECT_THAT(FieldsOf(record_),
                ElementsAre("server:389", large, "cn=admin", "secret", "example.com"));
}

TEST_F(Host, ValueMayBeOneOfItsOwnFields) {
    FillAll();
    EXPECT_EQ(ZAFOLDAPHostSet(&record_, LDAP_HOST_ATTR_URI, record_.szUri + 7), 0);
    EXPECT_EQ(ZAFOLDAPHostSet(&record_, LDAP_HOST_ATTR_BASEDN, record_.szLoginSuffix), 0);
    EXPECT_THAT(FieldsOf(record_),
                ElementsAre("389", "example.com", "cn=admin", "secret", "example.com"));
}

TEST_F(Host, AttributeOutsideTheRangeChangesNothing) {
    FillAll();
    const Texts before = FieldsOf(record_);
    for (int attr : {-1, 5, -1000, 1000}) {
        QLIBCErrSet(kStalePlatformCode);
        EXPECT_EQ(ZAFOLDAPHostSet(&record_, attr, "x"), -1) << attr;
        EXPECT_EQ(QLIBCErrGet(), 0x0D00) << attr;
    }
    EXPECT_EQ(FieldsOf(record_), before);
}

TEST_F(Host, FreeZeroesTheRecord) {
    FillAll();
    record_.nSSLType = 2;
    EXPECT_EQ(ZAFOLDAPHostFree(&record_), 0);
    const ZAFOLDAP_HOST zero{};
    EXPECT_EQ(std::memcmp(&record_, &zero, sizeof zero), 0);
    EXPECT_EQ(ZAFOLDAPHostFree(&record_), 0) << "freeing twice is harmless";
}

TEST_F(Host, CloneCopiesAllFieldsAndTheBuffer) {
    FillAll();
    ZAFOLDAPHostSet(&record_, LDAP_HOST_ATTR_BINDPW, nullptr);
    record_.nServerType = 2;
    record_.nSchema = 0x1FFF;
    record_.nSSLType = 1;
    ZAFOLDAP_HOST clone;
    ASSERT_EQ(ZAFOLDAPHostClone(&clone, &record_), 0);
    EXPECT_EQ(FieldsOf(clone), FieldsOf(record_));
    EXPECT_EQ(clone.nServerType, 2);
    EXPECT_EQ(clone.nSchema, 0x1FFFu);
    EXPECT_EQ(clone.nSSLType, 1);
    EXPECT_NE(clone.plistBuffer, record_.plistBuffer);
    EXPECT_EQ(Items(clone.plistBuffer), Items(record_.plistBuffer));
    EXPECT_EQ(clone.szUri, record_.szUri) << "its strings are the source's until they are set";
    ZAFOLDAPHostFree(&clone);
    EXPECT_THAT(FieldsOf(record_),
                ElementsAre("server:389", "dc=com", "cn=admin", "-", "example.com"));
}

TEST_F(Host, CloneBecomesIndependentWhenEachAttributeIsSetAgain) {
    FillAll();
    ZAFOLDAP_HOST clone;
    ASSERT_EQ(ZAFOLDAPHostClone(&clone, &record_), 0);
    const Texts values = FieldsOf(record_);
    for (int attr = 0; attr < LDAP_HOST_ATTR_MAX; ++attr) {
        ASSERT_EQ(ZAFOLDAPHostSet(&clone, attr, values[static_cast<size_t>(attr)].c_str()), 0);
    }
    ZAFOLDAPHostFree(&record_);
    EXPECT_EQ(FieldsOf(clone), values);
    ZAFOLDAPHostFree(&clone);
}

TEST_F(Host, CloneOfARecordWithoutABufferHasNone) {
    ZAFOLDAP_HOST clone;
    ASSERT_EQ(ZAFOLDAPHostClone(&clone, &host_), 0);
    EXPECT_EQ(clone.plistBuffer, nullptr);
    EXPECT_EQ(clone.szUri, host_.szUri);
}

}  // namespace
}  // namespace zafo::core_test
