// SPDX-License-Identifier: Apache-2.0
#include <cstring>

#include "platform/error.h"
#include "tests/core/core_fixture.h"
#include "zafoldap/result.h"

namespace zafo::core_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Result : public CoreTest {
  protected:
    Result() { ZAFOLDAPResultInit(&result_); }
    ~Result() override { ZAFOLDAPResultFree(&result_); }

    void Fill(const Entry &pairs) {
        for (const auto &[name, value] : pairs) {
            ASSERT_EQ(ZAFOLDAPResultSet(&result_, name.c_str(), value.c_str()), 0);
        }
    }

    ZAFOLDAP_RESULT result_;
};

const Entry kGroup = {{"dn", "cn=users,dc=com"}, {"memberUid", "ann"}, {"cn", "users"},
                      {"MemberUID", "bob"},      {"memberUid", ""},    {"cn;lang-de", "Benutzer"}};

TEST_F(Result, IsZeroedAndEmptyAfterInit) {
    ZAFOLDAP_RESULT fresh;
    std::memset(&fresh, 0xA5, sizeof fresh);
    ASSERT_EQ(ZAFOLDAPResultInit(&fresh), 0);
    EXPECT_EQ(fresh.pFile, nullptr);
    EXPECT_EQ(fresh.nEntry, 0);
    EXPECT_EQ(fresh.nExitCode, 0);
    EXPECT_EQ(fresh.nReserved, 0);
    EXPECT_STREQ(fresh.szErrFile, "");
    EXPECT_EQ(fresh.plistAttr->nItem, 0);
    EXPECT_EQ(fresh.plistValue->nItem, 0);
    ZAFOLDAPResultFree(&fresh);
}

TEST_F(Result, KeepsPairsInTheOrderTheyCame) {
    Fill(kGroup);
    EXPECT_EQ(PairsOf(result_), kGroup);
    EXPECT_EQ(ZAFOLDAPResultGetAttrCount(&result_), 6);
}

TEST_F(Result, OwnsCopiesOfItsTexts) {
    char name[] = "cn", value[] = "first";
    ZAFOLDAPResultSet(&result_, name, value);
    name[0] = value[0] = '#';
    EXPECT_EQ(PairsOf(result_), (Entry{{"cn", "first"}}));
}

TEST_F(Result, GetAllFindsEveryValueIgnoringCaseInServerOrder) {
    Fill(kGroup);
    List values{"stale"};
    EXPECT_EQ(ZAFOLDAPResultGetAll(&result_, "MEMBERUID", values.Address()), 3);
    EXPECT_THAT(values.Items(), ElementsAre("ann", "bob", ""));
}

TEST_F(Result, GetAllOfAnAbsentAttributeEmptiesTheList) {
    Fill(kGroup);
    List values{"stale"};
    EXPECT_EQ(ZAFOLDAPResultGetAll(&result_, "mail", values.Address()), 0);
    EXPECT_THAT(values.Items(), IsEmpty());
    EXPECT_EQ(QLIBCErrGet(), kStalePlatformCode) << "absence is no failure";
}

TEST_F(Result, GetFirstIgnoresCaseAndTakesTheFirst) {
    Fill(kGroup);
    EXPECT_STREQ(ZAFOLDAPResultGetFirst(&result_, "memberuid"), "ann");
    EXPECT_STREQ(ZAFOLDAPResultGetFirst(&result_, "DN"), "cn=users,dc=com");
}

TEST_F(Result, AttributeOptionsArePartOfTheName) {
    Fill(kGroup);
    EXPECT_STREQ(ZAFOLDAPResultGetFirst(&result_, "CN;lang-DE"), "Benutzer");
    EXPECT_STREQ(ZAFOLDAPResultGetFirst(&result_, "cn"), "users");
    EXPECT_EQ(ZAFOLDAPResultGetFirst(&result_, "lang-de"), nullptr);
}

TEST_F(Result, GetFirstOfAnAbsentAttributeIsNullWithoutFailure) {
    Fill(kGroup);
    for (const char *name : {"mail", "", "c", "cnx"}) {
        EXPECT_EQ(ZAFOLDAPResultGetFirst(&result_, name), nullptr) << name;
    }
    EXPECT_EQ(QLIBCErrGet(), kStalePlatformCode);
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(Result, GetAtOutsideTheEntryIsNullAndClearsTheValue) {
    Fill(kGroup);
    for (int index : {-1, 6, 7, 1000000}) {
        const char *value = "stale";
        EXPECT_EQ(ZAFOLDAPResultGetAt(&result_, index, &value), nullptr) << index;
        EXPECT_EQ(value, nullptr) << index;
    }
    EXPECT_EQ(QLIBCErrGet(), 0x0D00);
}

TEST_F(Result, GetAtClearsTheValueEvenWithoutARecord) {
    const char *value = "stale";
    EXPECT_EQ(ZAFOLDAPResultGetAt(nullptr, 0, &value), nullptr);
    EXPECT_EQ(value, nullptr);
}

TEST_F(Result, ContinuationIsJoinedToTheLastValueOnly) {
    Fill({{"dn", "dc=com"}, {"description", "one"}});
    EXPECT_EQ(ZAFOLDAPResultConcateAttr(&result_, " two"), 0);
    EXPECT_EQ(ZAFOLDAPResultConcateAttr(&result_, ""), 0);
    EXPECT_EQ(ZAFOLDAPResultConcateAttr(&result_, " three"), 0);
    EXPECT_EQ(PairsOf(result_), (Entry{{"dn", "dc=com"}, {"description", "one two three"}}));
}

TEST_F(Result, ContinuationOfNothingFails) {
    EXPECT_EQ(ZAFOLDAPResultConcateAttr(&result_, "x"), -1);
    EXPECT_EQ(ZAFOLDAPResultGetAttrCount(&result_), 0);
}

TEST_F(Result, ContinuationMayBeThePairsOwnText) {
    Fill({{"description", "again"}});
    EXPECT_EQ(ZAFOLDAPResultConcateAttr(&result_, ZAFOLDAPResultGetFirst(&result_, "description")),
              0);
    EXPECT_EQ(PairsOf(result_), (Entry{{"description", "againagain"}}));
}

TEST_F(Result, RemoveAllEmptiesBothListsForReuse) {
    Fill(kGroup);
    EXPECT_EQ(ZAFOLDAPResultRemoveAll(&result_), 0);
    EXPECT_EQ(ZAFOLDAPResultGetAttrCount(&result_), 0);
    EXPECT_EQ(result_.plistValue->nItem, 0);
    Fill({{"cn", "next"}});
    EXPECT_EQ(PairsOf(result_), (Entry{{"cn", "next"}}));
}

TEST_F(Result, CloneReplacesThePairsAndNeverOwnsTheSearch) {
    Fill(kGroup);
    result_.nEntry = 3;
    result_.nExitCode = 32;
    result_.nReserved = 9;
    std::strcpy(result_.szErrFile, "/tmp/named");
    FILE *const stream = fopen("/dev/null", "r");
    result_.pFile = stream;

    ZAFOLDAP_RESULT clone;
    ZAFOLDAPResultInit(&clone);
    ZAFOLDAPResultSet(&clone, "old", "pair");
    std::strcpy(clone.szErrFile, "/tmp/other");
    EXPECT_EQ(ZAFOLDAPResultClone(&clone, &result_), 0);
    result_.pFile = nullptr;
    fclose(stream);

    EXPECT_EQ(PairsOf(clone), kGroup);
    EXPECT_EQ(clone.nEntry, 3);
    EXPECT_EQ(clone.nExitCode, 32);
    EXPECT_EQ(clone.nReserved, 9);
    EXPECT_EQ(clone.pFile, nullptr);
    EXPECT_STREQ(clone.szErrFile, "");

    ZAFOLDAPResultRemoveAll(&result_);
    EXPECT_EQ(PairsOf(clone), kGroup) << "the clone has copies";
    ZAFOLDAPResultFree(&clone);
}

TEST_F(Result, FreeZeroesTheRecord) {
    Fill(kGroup);
    result_.nEntry = 5;
    std::strcpy(result_.szErrFile, "/tmp/named");
    EXPECT_EQ(ZAFOLDAPResultFree(&result_), 0);
    const ZAFOLDAP_RESULT zero{};
    EXPECT_EQ(std::memcmp(&result_, &zero, sizeof zero), 0);
    EXPECT_EQ(ZAFOLDAPResultFree(&result_), 0) << "freeing twice is harmless";
}

TEST_F(Result, FreeClosesAnOpenSearchAndReapsItsTool) {
    tools_.On("ldapsearch").Output("dn: dc=com\n\n").Exit(32);
    Request request;
    ZAFOLDAP_RESULT search;
    ASSERT_EQ(ZAFOLDAPSearchInit(&host_, &request, &search), 0);
    EXPECT_EQ(ZAFOLDAPResultFree(&search), 0);
    EXPECT_EQ(ZAFOLDAPErrGet(), kStaleLdapCode) << "the tool's status is ignored";
}

TEST_F(Result, CarriesALongValueAndManyPairs) {
    const std::string megabytes(3 << 20, 'v');
    Fill({{"jpegPhoto", megabytes}});
    EXPECT_EQ(ZAFOLDAPResultGetFirst(&result_, "jpegphoto"), megabytes);
    for (int i = 0; i < 100'000; ++i) {
        ASSERT_EQ(ZAFOLDAPResultSet(&result_, "memberUid", "u"), 0);
    }
    List values;
    EXPECT_EQ(ZAFOLDAPResultGetAll(&result_, "memberUid", values.Address()), 100'000);
}

}  // namespace
}  // namespace zafo::core_test
