// SPDX-License-Identifier: Apache-2.0
//
// One entry as pairs of attribute and value.
#include <unistd.h>

#include <cstring>

#include "tests/foreign/platform/foreign.h"

namespace zafo::foreign {

namespace result_entry_test {

using Attributes = std::vector<std::pair<std::string, std::string>>;

bool AllZero(const ZAFOLDAP_RESULT &result) {
    ZAFOLDAP_RESULT zero;
    std::memset(&zero, 0, sizeof zero);
    return result.pFile == zero.pFile && result.nEntry == 0 && result.plistAttr == nullptr &&
           result.plistValue == nullptr && result.nExitCode == 0 && result.nReserved == 0 &&
           std::memcmp(result.szErrFile, zero.szErrFile, sizeof zero.szErrFile) == 0;
}

Attributes PairsIn(const ZAFOLDAP_RESULT &result) {
    const Strings names = Items(result.plistAttr);
    const Strings values = Items(result.plistValue);
    EXPECT_EQ(names.size(), values.size());
    Attributes pairs;
    for (size_t i = 0; i < std::min(names.size(), values.size()); ++i)
        pairs.emplace_back(names[i], values[i]);
    return pairs;
}

const Attributes kGroup = {{"dn", "cn=g,dc=x"},     {"cn", "g"},          {"memberUid", "ann"},
                           {"description", ""},     {"MEMBERUID", "bob"}, {"memberUid", "ann"},
                           {"cn;lang-de", "Gruppe"}};

}  // namespace result_entry_test

using namespace result_entry_test;

class ResultEntry : public ForeignTest {
  protected:
    void SetUp() override {
        ForeignTest::SetUp();
        ASSERT_EQ(ZAFOLDAPResultInit(&entry_), 0);
    }
    void TearDown() override {
        EXPECT_EQ(ZAFOLDAPResultFree(&entry_), 0);
        ForeignTest::TearDown();
    }
    void Fill(ZAFOLDAP_RESULT &entry, const Attributes &pairs) {
        for (const auto &[name, value] : pairs)
            ASSERT_EQ(ZAFOLDAPResultSet(&entry, name.c_str(), value.c_str()), 0);
    }
    void Fill() { Fill(entry_, kGroup); }
    // Each of the three checks of a record, for a call that takes one.
    template <class Function>
    void ExpectRecordChecked(Function call) {
        ExpectArgumentFailure("((void *)0) != pResult", [&] { return call(nullptr); });
        ZAFOLDAP_RESULT record{};
        ExpectArgumentFailure("((void *)0) != pResult->plistAttr", [&] { return call(&record); });
        List names;
        record.plistAttr = names;
        ExpectArgumentFailure("NULL != pResult->plistValue", [&] { return call(&record); });
    }
    // Expects the call neither to crash nor to break the pairs, whichever item cannot be retrieved.
    bool SurvivesNoItem(const std::function<bool()> &call) {
        for (int nth = 1; nth <= 14; ++nth) {
            const int end = InAnotherProcess([&] {
                platform().Fail("QLIBCSzListGet", nth);
                const bool right = call();
                const bool same = Items(entry_.plistAttr).size() == Items(entry_.plistValue).size();
                return right && same && platform().Faults().empty() ? 0 : 1;
            });
            if (end != 0) return false;
        }
        return true;
    }
    ZAFOLDAP_RESULT entry_{};
};
ZAFO_FOREIGN_SUITE(ResultEntry);

TEST_P(ResultEntry, BeginsWithTwoEmptyListsAndNothingElse) {
    ZAFOLDAP_RESULT entry;
    std::memset(&entry, 0x5A, sizeof entry);
    platform().Forget();
    ASSERT_EQ(ZAFOLDAPResultInit(&entry), 0);
    const std::vector<Call> calls = platform().CallsOf("QLIBCSzListAlloc");
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_EQ(calls[0].arguments, Strings{"1024"});
    EXPECT_EQ(calls[1].arguments, Strings{"1024"});
    EXPECT_EQ(PairsIn(entry), Attributes{});
    EXPECT_EQ(ZAFOLDAPResultGetAttrCount(&entry), 0);
    ZAFOLDAP_RESULT rest = entry;
    rest.plistAttr = rest.plistValue = nullptr;
    EXPECT_TRUE(AllZero(rest));
    EXPECT_EQ(ZAFOLDAPResultFree(&entry), 0);
    EXPECT_TRUE(AllZero(entry));
}

TEST_P(ResultEntry, KeepsNoListWhenOneCannotBeMade) {
    for (const int nth : {1, 2}) {
        ZAFOLDAP_RESULT entry{};
        const size_t before = platform().Outstanding().size();
        platform().Fail("QLIBCSzListAlloc", nth, -1, 0x0200);
        EXPECT_EQ(ZAFOLDAPResultInit(&entry), -1);
        EXPECT_EQ(platform().Outstanding().size(), before);
        EXPECT_EQ(ZAFOLDAPResultFree(&entry), 0);
        EXPECT_EQ(PlatformError(), 0x0200);
    }
}

TEST_P(ResultEntry, RefusesToBeginWithoutARecord) {
    ExpectArgumentFailure("((void *)0) != pResult", [] { return ZAFOLDAPResultInit(nullptr); });
}

TEST_P(ResultEntry, ChecksTheRecordFirst) {
    ExpectRecordChecked([](ZAFOLDAP_RESULT *r) { return ZAFOLDAPResultSet(r, nullptr, nullptr); });
    ExpectRecordChecked([](ZAFOLDAP_RESULT *r) { return ZAFOLDAPResultConcateAttr(r, nullptr); });
    ExpectRecordChecked([](ZAFOLDAP_RESULT *r) { return ZAFOLDAPResultGetAt(r, -1, nullptr); });
    ExpectRecordChecked([](ZAFOLDAP_RESULT *r) { return ZAFOLDAPResultGetAttrCount(r); });
    ExpectRecordChecked(
        [](ZAFOLDAP_RESULT *r) { return ZAFOLDAPResultGetAll(r, nullptr, nullptr); });
    ExpectRecordChecked([](ZAFOLDAP_RESULT *r) { return ZAFOLDAPResultGetFirst(r, nullptr); });
    ExpectRecordChecked([](ZAFOLDAP_RESULT *r) { return ZAFOLDAPResultRemoveAll(r); });
}

TEST_P(ResultEntry, ChecksTheOtherPointers) {
    Fill();
    QLIBSZLIST *none = nullptr;
    ExpectArgumentFailure("((void *)0) != szAttr",
                          [&] { return ZAFOLDAPResultSet(&entry_, nullptr, "v"); });
    ExpectArgumentFailure("NULL != szValue",
                          [&] { return ZAFOLDAPResultSet(&entry_, "a", nullptr); });
    ExpectArgumentFailure("NULL != pszValue",
                          [&] { return ZAFOLDAPResultGetAt(&entry_, 0, nullptr); });
    ExpectArgumentFailure("((void *)0) != szAttr",
                          [&] { return ZAFOLDAPResultGetFirst(&entry_, nullptr); });
    ExpectArgumentFailure("((void *)0) != pplistValues",
                          [&] { return ZAFOLDAPResultGetAll(&entry_, "cn", nullptr); });
    ExpectArgumentFailure("NULL != *pplistValues",
                          [&] { return ZAFOLDAPResultGetAll(&entry_, "cn", &none); });
    List values;
    ExpectArgumentFailure("((void *)0) != szAttr",
                          [&] { return ZAFOLDAPResultGetAll(&entry_, nullptr, &values); });
    EXPECT_EQ(PairsIn(entry_), kGroup);
}

TEST_P(ResultEntry, RefusesAnInvalidContinuation) {
    Fill();
    TakeLog();
    EXPECT_EQ(ZAFOLDAPResultConcateAttr(&entry_, nullptr), -1);
    EXPECT_EQ(PlatformError(), 0x0D00);
    ASSERT_EQ(Log().size(), 1U);
    EXPECT_NE(Log().at(0).find("!= szValue)=[0]\n"), std::string::npos) << Log().at(0);
    EXPECT_EQ(PairsIn(entry_), kGroup);
}

TEST_P(ResultEntry, HoldsPairsInTheirOrder) {
    Fill();
    EXPECT_EQ(PairsIn(entry_), kGroup);
    EXPECT_EQ(ZAFOLDAPResultGetAttrCount(&entry_), 7);
}

TEST_P(ResultEntry, DropsTheNameWhenTheValueCannotBeAppended) {
    Fill();
    platform().Fail("QLIBCSzListPush", 2);
    EXPECT_EQ(ZAFOLDAPResultSet(&entry_, "sn", "x"), -1);
    EXPECT_EQ(PairsIn(entry_), kGroup);
}

TEST_P(ResultEntry, AppendsNothingWhenTheNameCannotBe) {
    Fill();
    platform().Fail("QLIBCSzListPush", 1);
    EXPECT_EQ(ZAFOLDAPResultSet(&entry_, "sn", "x"), -1);
    EXPECT_EQ(PairsIn(entry_), kGroup);
}

TEST_P(ResultEntry, JoinsContinuationsToTheLastValue) {
    Fill(entry_, {{"dn", "cn=g"}, {"cn", "a"}});
    EXPECT_EQ(ZAFOLDAPResultConcateAttr(&entry_, "bc"), 0);
    EXPECT_EQ(ZAFOLDAPResultConcateAttr(&entry_, ""), 0);
    EXPECT_EQ(ZAFOLDAPResultConcateAttr(&entry_, " d"), 0);
    EXPECT_EQ(PairsIn(entry_), (Attributes{{"dn", "cn=g"}, {"cn", "abc d"}}));
}

TEST_P(ResultEntry, HasNothingToContinueWhenItIsEmpty) {
    EXPECT_EQ(ZAFOLDAPResultConcateAttr(&entry_, "x"), -1);
    EXPECT_EQ(PairsIn(entry_), Attributes{});
}

TEST_P(ResultEntry, DropsThePairWhoseJoinedValueCannotBeAppended) {
    Fill(entry_, {{"dn", "cn=g"}, {"cn", "a"}});
    platform().Fail("QLIBCSzListPush", 1, -1, 0x0200);
    EXPECT_EQ(ZAFOLDAPResultConcateAttr(&entry_, "b"), -1);
    EXPECT_EQ(PairsIn(entry_), (Attributes{{"dn", "cn=g"}}));
}

TEST_P(ResultEntry, KeepsItsListsTheSameLengthWhenTheLastValueCannotBeTaken) {
    Fill(entry_, {{"dn", "cn=g"}, {"cn", "a"}});
    platform().Fail("QLIBCSzListPop", 1);
    EXPECT_EQ(ZAFOLDAPResultConcateAttr(&entry_, "b"), -1);
    EXPECT_EQ(Items(entry_.plistAttr).size(), Items(entry_.plistValue).size());
}

TEST_P(ResultEntry, GivesPairsByTheirPlace) {
    Fill();
    for (size_t i = 0; i < kGroup.size(); ++i) {
        const char *value = nullptr;
        EXPECT_STREQ(ZAFOLDAPResultGetAt(&entry_, static_cast<int>(i), &value),
                     kGroup[i].first.c_str());
        EXPECT_STREQ(value, kGroup[i].second.c_str());
    }
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(ResultEntry, HasNoPairOutsideItself) {
    Fill();
    for (const int index : {-1, -1000}) {
        const char *value = "set";
        ExpectArgumentFailure("0 <= index",
                              [&] { return ZAFOLDAPResultGetAt(&entry_, index, &value); });
        EXPECT_EQ(value, nullptr);
    }
    for (const int index : {7, 8, 100000}) {
        const char *value = "set";
        ExpectArgumentFailure("index < pResult->plistAttr->nItem",
                              [&] { return ZAFOLDAPResultGetAt(&entry_, index, &value); });
        EXPECT_EQ(value, nullptr);
    }
    const char *value = "set";
    EXPECT_EQ(ZAFOLDAPResultGetAt(nullptr, 0, &value), nullptr);
    EXPECT_EQ(value, nullptr);
}

TEST_P(ResultEntry, GivesAllValuesOfANameWithoutCase) {
    Fill();
    List values{"old", "older"};
    EXPECT_EQ(ZAFOLDAPResultGetAll(&entry_, "MEMBERUID", &values), 3);
    EXPECT_EQ(values.Items(), (Strings{"ann", "bob", "ann"}));
    EXPECT_EQ(ZAFOLDAPResultGetAll(&entry_, "cn", &values), 1);
    EXPECT_EQ(values.Items(), Strings{"g"});
    EXPECT_EQ(ZAFOLDAPResultGetAll(&entry_, "description", &values), 1);
    EXPECT_EQ(values.Items(), Strings{""});
    EXPECT_EQ(ZAFOLDAPResultGetAll(&entry_, "member", &values), 0);
    EXPECT_EQ(values.Items(), Strings{});
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(ResultEntry, EmptiesTheListOfValuesThatCannotBeFilled) {
    Fill();
    List values{"old"};
    platform().Fail("QLIBCSzListPush", 2, -1, 0x0200);
    EXPECT_EQ(ZAFOLDAPResultGetAll(&entry_, "memberUid", &values), -1);
    EXPECT_EQ(values.Items(), Strings{});
}

TEST_P(ResultEntry, GivesTheFirstValueOfANameWithoutCase) {
    Fill();
    EXPECT_STREQ(ZAFOLDAPResultGetFirst(&entry_, "memberuid"), "ann");
    EXPECT_STREQ(ZAFOLDAPResultGetFirst(&entry_, "DN"), "cn=g,dc=x");
    EXPECT_STREQ(ZAFOLDAPResultGetFirst(&entry_, "CN;LANG-DE"), "Gruppe");
    EXPECT_EQ(ZAFOLDAPResultGetFirst(&entry_, "member"), nullptr);
    EXPECT_EQ(ZAFOLDAPResultGetFirst(&entry_, ""), nullptr);
    EXPECT_EQ(Log(), Strings{});
    EXPECT_EQ(PlatformError(), kStalePlatformError);
}

TEST_P(ResultEntry, SurvivesAListThatDoesNotGiveAnItemWhenOneIsLookedUp) {
    Fill();
    EXPECT_TRUE(SurvivesNoItem([&] {
        ZAFOLDAPResultGetFirst(&entry_, "cn;lang-de");
        return true;
    }));
}

TEST_P(ResultEntry, SurvivesAListThatDoesNotGiveAnItemWhenItsPlaceIsAskedFor) {
    Fill();
    EXPECT_TRUE(SurvivesNoItem([&] {
        const char *value = nullptr;
        ZAFOLDAPResultGetAt(&entry_, 0, &value);
        return true;
    }));
}

TEST_P(ResultEntry, SurvivesAListThatDoesNotGiveAnItemWhenAllValuesAreAskedFor) {
    Fill();
    List values;
    EXPECT_TRUE(SurvivesNoItem([&] {
        const int count = ZAFOLDAPResultGetAll(&entry_, "memberUid", &values);
        return count == -1 || static_cast<size_t>(count) == values.Items().size();
    }));
}

TEST_P(ResultEntry, SurvivesAListThatDoesNotGiveAnItemWhenOneIsContinued) {
    Fill();
    EXPECT_TRUE(SurvivesNoItem([&] {
        ZAFOLDAPResultConcateAttr(&entry_, "x");
        return true;
    }));
}

TEST_P(ResultEntry, SurvivesAListThatDoesNotGiveAnItemWhenItIsCloned) {
    Fill();
    ZAFOLDAP_RESULT clone{};
    ASSERT_EQ(ZAFOLDAPResultInit(&clone), 0);
    EXPECT_TRUE(SurvivesNoItem([&] {
        ZAFOLDAPResultClone(&clone, &entry_);
        return Items(clone.plistAttr).size() == Items(clone.plistValue).size();
    }));
    EXPECT_EQ(ZAFOLDAPResultFree(&clone), 0);
}

TEST_P(ResultEntry, LosesAllPairsTogether) {
    Fill();
    EXPECT_EQ(ZAFOLDAPResultRemoveAll(&entry_), 0);
    EXPECT_EQ(PairsIn(entry_), Attributes{});
    EXPECT_EQ(ZAFOLDAPResultRemoveAll(&entry_), 0);
}

TEST_P(ResultEntry, ReportsThatAListCannotBeEmptied) {
    Fill();
    for (const int nth : {1, 2}) {
        platform().Fail("QLIBCSzListRemoveAll", nth);
        EXPECT_EQ(ZAFOLDAPResultRemoveAll(&entry_), -1) << nth;
    }
}

TEST_P(ResultEntry, IsNotReadIntoListsThatCannotBeEmptied) {
    Fill();
    ZAFOLDAP_RESULT clone{};
    ASSERT_EQ(ZAFOLDAPResultInit(&clone), 0);
    platform().Fail("QLIBCSzListRemoveAll");
    EXPECT_EQ(ZAFOLDAPResultClone(&clone, &entry_), -1);
    EXPECT_EQ(ZAFOLDAPResultFree(&clone), 0);
    List values{"old"};
    platform().Fail("QLIBCSzListRemoveAll");
    EXPECT_EQ(ZAFOLDAPResultGetAll(&entry_, "cn", &values), -1);
}

TEST_P(ResultEntry, IsClonedWithoutTheSearchThatFillsIt) {
    platform().On("ldapsearch").Prints("cn: x\n");
    Host host;
    ZAFOLDAP_SEARCH_REQUEST request{};
    ZAFOLDAP_RESULT source{};
    ASSERT_EQ(ZAFOLDAPSearchInit(host, &request, &source), 0);
    Fill(source, kGroup);
    source.nEntry = 3;
    source.nExitCode = 4;
    source.nReserved = 5;
    Fill(entry_, {{"old", "old"}});
    std::strcpy(entry_.szErrFile, "/tmp/other");
    const ZAFOLDAP_RESULT before = source;
    EXPECT_EQ(ZAFOLDAPResultClone(&entry_, &source), 0);
    EXPECT_EQ(PairsIn(entry_), kGroup);
    EXPECT_NE(entry_.plistAttr, source.plistAttr);
    EXPECT_EQ(entry_.nEntry, 3);
    EXPECT_EQ(entry_.nExitCode, 4);
    EXPECT_EQ(entry_.nReserved, 5);
    EXPECT_EQ(entry_.pFile, nullptr);
    EXPECT_STREQ(entry_.szErrFile, "");
    EXPECT_EQ(source.pFile, before.pFile);
    EXPECT_STREQ(source.szErrFile, before.szErrFile);
    EXPECT_EQ(PairsIn(source), kGroup);
    EXPECT_EQ(ZAFOLDAPSearchFree(&request, &source), 0);
    EXPECT_EQ(PairsIn(entry_), kGroup);
}

TEST_P(ResultEntry, IsClonedPartlyWhenAnAppendFails) {
    ZAFOLDAP_RESULT source{};
    ASSERT_EQ(ZAFOLDAPResultInit(&source), 0);
    Fill(source, kGroup);
    for (const int nth : {1, 2, 3, 14}) {
        platform().Fail("QLIBCSzListPush", nth, -1, 0x0200);
        EXPECT_EQ(ZAFOLDAPResultClone(&entry_, &source), -1) << nth;
    }
    EXPECT_EQ(PairsIn(source), kGroup);
    EXPECT_EQ(ZAFOLDAPResultFree(&source), 0);
}

TEST_P(ResultEntry, ChecksBothRecordsOfAClone) {
    ZAFOLDAP_RESULT empty{};
    ExpectArgumentFailure("((void *)0) != pDst",
                          [] { return ZAFOLDAPResultClone(nullptr, nullptr); });
    ExpectArgumentFailure("((void *)0) != pSrc",
                          [&] { return ZAFOLDAPResultClone(&empty, nullptr); });
    ExpectArgumentFailure("((void *)0) != pDst->plistAttr",
                          [&] { return ZAFOLDAPResultClone(&empty, &entry_); });
    List names;
    empty.plistAttr = names;
    ExpectArgumentFailure("NULL != pDst->plistValue",
                          [&] { return ZAFOLDAPResultClone(&empty, &entry_); });
}

TEST_P(ResultEntry, ClosesAnOpenSearchWhenFreedAndLeavesItsErrorFile) {
    platform().On("ldapsearch").Prints("cn: x\n").Exits(32);
    Host host;
    ZAFOLDAP_SEARCH_REQUEST request{};
    ZAFOLDAP_RESULT source{};
    ASSERT_EQ(ZAFOLDAPSearchInit(host, &request, &source), 0);
    const std::string error_file = source.szErrFile;
    WriteFile(error_file, "what\n");
    EXPECT_EQ(ZAFOLDAPResultFree(&source), 0);
    EXPECT_TRUE(platform().Runs().at(0).closed);
    EXPECT_TRUE(AllZero(source));
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
    EXPECT_EQ(FileText(error_file), "what\n");
    EXPECT_EQ(unlink(error_file.c_str()), 0);
}

TEST_P(ResultEntry, MayBeFreedAgainAndWithoutARecord) {
    ZAFOLDAP_RESULT entry{};
    EXPECT_EQ(ZAFOLDAPResultFree(&entry), 0);
    ASSERT_EQ(ZAFOLDAPResultInit(&entry), 0);
    EXPECT_EQ(ZAFOLDAPResultFree(&entry), 0);
    EXPECT_EQ(ZAFOLDAPResultFree(&entry), 0);
    EXPECT_EQ(ZAFOLDAPResultFree(nullptr), 0);
    EXPECT_EQ(Log(), Strings{});
    EXPECT_EQ(PlatformError(), kStalePlatformError);
}

}  // namespace zafo::foreign
