// SPDX-License-Identifier: Apache-2.0
//
// Pools of uid and gid numbers, and Samba SIDs, against a scripted directory.
#include <signal.h>

#include "platform/error.h"
#include "tests/accounts/accounts_fixture.h"

namespace zafo::core_test {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char *kPool = "cn=zafoconf,dc=example,dc=com";

// --- reading a value ---------------------------------------------------------

class SambaXid : public AccountsTest {
  protected:
    int Get(int type) { return ZAFOLDAPSambaXidGet(&host_, value_, sizeof value_, type); }
    char value_[32] = "untouched";
};

struct Xid {
    int type;
    std::string dn;
    const char *attribute;
};

const Xid kXids[] = {
    {0, std::string("cn=MaxNum,") + kPool, "uidNumber"},
    {1, std::string("cn=MaxNum,") + kPool, "gidNumber"},
    {2, std::string("cn=MinID,") + kPool, "uidNumber"},
    {3, std::string("cn=MaxID,") + kPool, "uidNumber"},
    {4, std::string("cn=CurID,") + kPool, "uidNumber"},
    {5, std::string("cn=MinID,") + kPool, "gidNumber"},
    {6, std::string("cn=MaxID,") + kPool, "gidNumber"},
    {7, std::string("cn=CurID,") + kPool, "gidNumber"},
    {8, "sambaDomainName=example,dc=example,dc=com", "sambaSID"},
};

TEST_F(SambaXid, EveryTypeReadsItsAttributeOfItsEntry) {
    for (const Xid &xid : kXids) {
        SCOPED_TRACE(xid.type);
        tools_.Reset();
        Answer({Entry1(xid.attribute, "4711")});
        EXPECT_EQ(Get(xid.type), 0);
        EXPECT_STREQ(value_, "4711");
        EXPECT_THAT(CallsOf("ldapsearch"), ElementsAre(Searched({"-b", xid.dn, xid.attribute})));
    }
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(SambaXid, UnknownTypesFail) {
    for (int type : {9, 1000, -1}) {
        log_.Clear();
        EXPECT_EQ(Get(type), -1);
        EXPECT_THAT(LoggedTexts(), ElementsAre("unknown type [" + std::to_string(type) + "]"));
    }
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

TEST_F(SambaXid, BufferStaysAsItWasWithoutValueOrEntry) {
    Answer({"dn: cn=entry\n\n", ""});
    Refuse(32);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Get(2), 0);
        EXPECT_STREQ(value_, "untouched");
    }
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(SambaXid, ValueIsCutToTheBuffer) {
    Answer({Entry1("uidNumber", "4711")});
    EXPECT_EQ(ZAFOLDAPSambaXidGet(&host_, value_, 3, 2), 0);
    EXPECT_STREQ(value_, "47");
}

TEST_F(SambaXid, FailedSearchIsAFailure) {
    Refuse(50);
    EXPECT_EQ(Get(7), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre("get gidNumber [7] failed."));
    EXPECT_EQ(ZAFOLDAPErrGet(), 50);
    EXPECT_STREQ(value_, "untouched");
}

// The library error of an earlier call must not affect this one.
TEST_F(SambaXid, StaleErrorIsNotTakenForAMissingEntry) {
    tools_.On("ldapsearch").Die(SIGKILL);
    ZAFOLDAPErrSet(32);
    EXPECT_EQ(Get(2), -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), 32);
}

TEST_F(SambaXid, DomainNeedsABaseDNWithADomainComponent) {
    for (const char *base : {"o=example", "", static_cast<const char *>(nullptr)}) {
        log_.Clear();
        host_.szBaseDN = base;
        EXPECT_EQ(Get(8), -1);
        EXPECT_THAT(LoggedTexts(), ElementsAre(testing::MatchesRegex(
                                       std::string(R"(ZAFOLDAPDNFirstDomainComponent \[)") +
                                       (base ? base : "") + R"(\] failed\. \[0x0[DF]00\])")));
    }
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

TEST_F(SambaXid, DNThatIsTooLongIsNotCut) {
    const std::string base = "dc=" + std::string(1000, 'a');
    host_.szBaseDN = base.c_str();
    for (int type : {0, 8}) {
        QLIBCErrSet(0);
        EXPECT_EQ(Get(type), -1);
        EXPECT_EQ(QLIBCErrGet(), 0x0E00);
    }
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

class SambaIDFromDB : public AccountsTest {};

TEST_F(SambaIDFromDB, IsTheNumberOrZeroWhenThereIsNone) {
    const std::pair<std::string, uint64_t> kAnswers[] = {
        {Entry1("uidNumber", "4711"), 4711},
        {Entry1("uidNumber", "18446744073709551615"), UINT64_MAX},
        {Entry1("uidNumber", "none"), 0},
        {"dn: cn=entry\n\n", 0},
        {"", 0}};
    for (const auto &[answer, number] : kAnswers) {
        tools_.Reset();
        Answer({answer});
        uint64_t value = 5;
        EXPECT_EQ(ZAFOLDAPSambaGetIDFromDB(&host_, &value, ZAFOLDAP_XID_MAX_UID), 0);
        EXPECT_EQ(value, number);
    }
}

TEST_F(SambaIDFromDB, FailureLeavesTheNumberAlone) {
    Refuse(1);
    uint64_t value = 5;
    EXPECT_EQ(ZAFOLDAPSambaGetIDFromDB(&host_, &value, ZAFOLDAP_XID_MIN_UID), -1);
    EXPECT_EQ(value, 5u);
    EXPECT_THAT(LoggedTexts(), ElementsAre("get uidNumber [2] failed.", "get xid failed."));
}

// --- allocating a number -----------------------------------------------------

// Users and groups work alike.
struct Kind {
    const char *title;
    const char *attribute;
    const char *filter;
    int (*generate)(const ZAFOLDAP_HOST *);
};

void PrintTo(const Kind &kind, std::ostream *out) {
    *out << kind.title;
}

class SambaIDGen : public AccountsTest, public testing::WithParamInterface<Kind> {
  protected:
    const Kind kind_ = GetParam();

    std::string Number(const std::string &number) const { return Entry1(kind_.attribute, number); }
    // Scripts the pool's values; the answers that follow concern its counter.
    void AnswerPool(const char *lowest, const char *highest, const char *counter) {
        Answer({Number(lowest), Number(highest), Number(counter)});
    }
    // The counter's number is taken; these are all used numbers.
    void AnswerTaken(const Texts &used) {
        std::string all;
        for (const std::string &number : used)
            all += Number(number);
        Answer({"dn: uid=somebody\n\n", all});
    }
    int Generate() { return kind_.generate(&host_); }
    // Replaces "U" and "u" in the text with the kind.
    std::string Of(std::string text) const {
        for (char &c : text) {
            if (c == '~') c = kind_.attribute[0];
        }
        return text;
    }
    std::string Swapped(const std::string &from, const std::string &to) const {
        return Of(
            "dn: cn=CurID,cn=zafoconf,dc=example,dc=com\nchangetype: modify\n"
            "delete: ~idNumber\n~idNumber: " +
            from + "\n-\nadd: ~idNumber\n~idNumber: " + to + "\n");
    }
    void ExpectRefused(const Texts &logged) {
        EXPECT_EQ(Generate(), -1);
        EXPECT_THAT(LoggedTexts(), ElementsAreArray(logged));
        EXPECT_THAT(Changes(), IsEmpty()) << "the counter stays";
    }
};

TEST_P(SambaIDGen, FreeCounterIsHandedOut) {
    AnswerPool("1000", "2000", "1000");
    Answer({""});
    EXPECT_EQ(Generate(), 1000);
    EXPECT_THAT(Changes(), ElementsAre(Swapped("1000", "1001")));
    EXPECT_THAT(
        CallsOf("ldapsearch"),
        ElementsAre(Searched({"-b", std::string("cn=MinID,") + kPool, kind_.attribute}),
                    Searched({"-b", std::string("cn=MaxID,") + kPool, kind_.attribute}),
                    Searched({"-b", std::string("cn=CurID,") + kPool, kind_.attribute}),
                    Searched({"-b", "dc=example,dc=com",
                              Of(std::string("(&(") + kind_.filter + ")(~idNumber=1000))")})));
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

struct Pool {
    const char *lowest, *highest, *counter;
    Texts used;
    int number;
    const char *next;
};

TEST_P(SambaIDGen, TakenNumbersAreSteppedOver) {
    const Pool kPools[] = {
        {"1000", "2000", "1000", {"1000", "1001", "1003"}, 1002, "1003"},
        {"1000", "2000", "1000", {"1003", "1001", "1000"}, 1002, "1003"},  // in any order
        {"1000", "1002", "1001", {"1001"}, 1002, "1000"},                  // the highest
        {"1000", "1002", "1002", {"1002", "1001"}, 1000, "1001"},  // wraps around at the end
        {"1000", "1002", "1002", {"1000", "1002"}, 1001, "1002"},
        {"1000", "2000", "500", {"500", "501"}, 502, "503"},  // below the lowest
        {"1000", "2000", "9000", {"9000"}, 1000, "1001"},     // above the highest
    };
    for (const Pool &pool : kPools) {
        SCOPED_TRACE(std::string(pool.counter) + " of " + pool.lowest + " to " + pool.highest);
        tools_.Reset();
        AnswerPool(pool.lowest, pool.highest, pool.counter);
        AnswerTaken(pool.used);
        EXPECT_EQ(Generate(), pool.number);
        EXPECT_THAT(Changes(), ElementsAre(Swapped(pool.counter, pool.next)));
    }
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_P(SambaIDGen, AllNumbersAreReadByOneSearch) {
    AnswerPool("1000", "2000", "1000");
    AnswerTaken({"1000", "1001", "1002", "1003"});
    EXPECT_EQ(Generate(), 1004);
    ASSERT_THAT(CallsOf("ldapsearch"), SizeIs(5));
    EXPECT_EQ(CallsOf("ldapsearch").back(),
              Searched({"-b", "dc=example,dc=com", kind_.filter, "dn", kind_.attribute}));
}

TEST_P(SambaIDGen, FreeCounterOutsideThePoolIsHandedOutAsItIs) {
    const Pool kPools[] = {{"1000", "2000", "7", {}, 7, "8"},
                           {"1000", "2000", "9000", {}, 9000, "9001"},
                           {"1000", "2000", "2000", {}, 2000, "1000"}};
    for (const Pool &pool : kPools) {
        tools_.Reset();
        AnswerPool(pool.lowest, pool.highest, pool.counter);
        Answer({""});
        EXPECT_EQ(Generate(), pool.number);
        EXPECT_THAT(Changes(), ElementsAre(Swapped(pool.counter, pool.next)));
    }
}

TEST_P(SambaIDGen, FullPoolFailsWhereverTheCounterStands) {
    for (const char *counter : {"1000", "1001", "1002"}) {
        SCOPED_TRACE(counter);
        tools_.Reset();
        log_.Clear();
        AnswerPool("1000", "1002", counter);
        AnswerTaken({"1000", "1001", "1002"});
        ExpectRefused({Of("get ~idNumber from cn=CurID,") + kPool + " failed."});
    }
}

TEST_P(SambaIDGen, LostSwapLooksForAFreeNumberAgain) {
    AnswerPool("1000", "2000", "1000");
    Answer({""});
    Answer({Number("1001")});
    AnswerTaken({"1000", "1001"});
    tools_.On("ldapmodify").Exit(16);
    tools_.On("ldapmodify").Exit(0);
    EXPECT_EQ(Generate(), 1002);
    EXPECT_THAT(Changes(), ElementsAre(Swapped("1000", "1001"), Swapped("1001", "1003")));
}

TEST_P(SambaIDGen, BoundsThatMakeNoPoolAreRefused) {
    const std::string title = kind_.title;
    const std::pair<Texts, const char *> kBounds[] = {{{"2000", "1000"}, "min(2000), max(1000)"},
                                                      {{"1000", "1000"}, "min(1000), max(1000)"}};
    for (const auto &[bounds, logged] : kBounds) {
        tools_.Reset();
        log_.Clear();
        AnswerPool(bounds[0].c_str(), bounds[1].c_str(), "1000");
        ExpectRefused({"Bad " + title + " " + logged + " value."});
    }
}

TEST_P(SambaIDGen, MissingHighestReadsAsZero) {
    for (bool entry : {true, false}) {
        SCOPED_TRACE(entry ? "entry without value" : "no entry");
        tools_.Reset();
        log_.Clear();
        Answer({Number("1000")});
        if (entry) {
            Answer({"dn: cn=MaxID\n\n"});
        } else {
            Refuse(32);
        }
        ExpectRefused({std::string("Bad ") + kind_.title + " min(1000), max(0) value."});
    }
}

// If either bound cannot be read, neither counts: the pool is 0 to 4294967295.
TEST_P(SambaIDGen, BoundThatCannotBeReadMakesBothTheDefault) {
    for (bool lowest_fails : {true, false}) {
        SCOPED_TRACE(lowest_fails);
        tools_.Reset();
        log_.Clear();
        if (!lowest_fails) Answer({Number("1000")});
        Refuse(52);
        Answer({Number("4294967295")});
        AnswerTaken({"4294967295"});
        EXPECT_EQ(Generate(), 0);
        EXPECT_THAT(Changes(), ElementsAre(Swapped("4294967295", "1")));
    }
}

TEST_P(SambaIDGen, NumberAboveTheRangeOfIntIsStillHandedOut) {
    AnswerPool("0", "4294967295", "4294967294");
    Answer({""});
    EXPECT_EQ(Generate(), -2);
    EXPECT_THAT(Changes(), ElementsAre(Swapped("4294967294", "4294967295")));
}

TEST_P(SambaIDGen, EveryFailedStepIsLoggedAndChangesNothing) {
    const std::string failed = Of("get ~idNumber from cn=CurID,") + kPool + " failed.";
    const std::string counter_filter = Of(std::string("(&(") + kind_.filter + ")(~idNumber=1000))");

    Answer({Number("1000"), Number("2000")});
    Refuse(50);
    ExpectRefused({Of("get [~idNumber] failed."), failed});

    tools_.Reset();
    log_.Clear();
    AnswerPool("1000", "2000", "1000");
    Refuse(50);
    ExpectRefused({"ZAFOLDAPSearchGetNext get next failed, ldap_insufficient_access (50)",
                   "get [" + counter_filter + "] failed.", failed});

    tools_.Reset();
    log_.Clear();
    AnswerPool("1000", "2000", "1000");
    Answer({"dn: uid=somebody\n\n"});
    Refuse(4);
    ExpectRefused({Of("search ~idNumber failed."), failed});
    EXPECT_EQ(ZAFOLDAPErrGet(), 4);

    tools_.Reset();
    log_.Clear();
    AnswerPool("1000", "2000", "1000");
    AnswerTaken({"999", "1001"});
    ExpectRefused({"cannot find 1000", failed});
}

TEST_P(SambaIDGen, EntryWithoutANumberIsLoggedAndCountsAsZero) {
    AnswerPool("0", "2000", "2000");
    Answer({"dn: uid=somebody\n\n", "dn: uid=odd\n\n" + Number("2000")});
    EXPECT_EQ(Generate(), 1);
    EXPECT_THAT(LoggedTexts(), ElementsAre(Of("No ~idNumber found for uid=odd")));
}

INSTANTIATE_TEST_SUITE_P(
    Twins, SambaIDGen,
    testing::Values(Kind{"UID", "uidNumber", "objectClass=posixAccount", ZAFOLDAPSambaUIDGen},
                    Kind{"GID", "gidNumber", "objectClass=posixGroup", ZAFOLDAPSambaGIDGen}),
    [](const auto &test) { return test.param.title; });

// --- Samba SIDs --------------------------------------------------------------

constexpr const char *kDomain = "sambaDomainName=example,dc=example,dc=com";

class SambaSIDGen : public AccountsTest {
  protected:
    int Generate(size_t size = sizeof sid_) { return ZAFOLDAPSambaSIDGen(&host_, sid_, size); }
    const std::string sid_answer_ = Entry1("sambaSID", "S-1-5-21-1-2-3");
    char sid_[64] = "untouched";
};

TEST_F(SambaSIDGen, IsTheDomainsWithTheNextRelativeIdentifier) {
    Answer({sid_answer_, sid_answer_, Entry1("sambaNextUserRid", "1000")});
    EXPECT_EQ(Generate(), 0);
    EXPECT_STREQ(sid_, "S-1-5-21-1-2-3-1000");
    EXPECT_THAT(CallsOf("ldapsearch"),
                ElementsAre(Searched({"-b", kDomain, "objectClass=sambaDomain", "sambaSID"}),
                            Searched({"-b", kDomain, "sambaSID"}),
                            Searched({"-b", kDomain, "sambaNextUserRid"})));
    EXPECT_THAT(Changes(), ElementsAre(std::string("dn: ") + kDomain +
                                       "\nchangetype: modify\ndelete: sambaNextUserRid\n"
                                       "sambaNextUserRid: 1000\n-\nadd: sambaNextUserRid\n"
                                       "sambaNextUserRid: 1001\n"));
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(SambaSIDGen, IsCutToTheBuffer) {
    Answer({sid_answer_, sid_answer_, Entry1("sambaNextUserRid", "1000")});
    EXPECT_EQ(Generate(11), 0);
    EXPECT_STREQ(sid_, "S-1-5-21-1");
}

TEST_F(SambaSIDGen, DomainsPartHas255Characters) {
    char sid[512] = "";
    const std::string answer = Entry1("sambaSID", std::string(300, '1'));
    Answer({answer, answer, Entry1("sambaNextUserRid", "1000")});
    EXPECT_EQ(ZAFOLDAPSambaSIDGen(&host_, sid, sizeof sid), 0);
    EXPECT_EQ(sid, std::string(255, '1') + "-1000");
}

TEST_F(SambaSIDGen, BaseDNWithoutDomainComponentFails) {
    host_.szBaseDN = "o=example";
    EXPECT_EQ(Generate(), -1);
    EXPECT_THAT(LoggedTexts(),
                ElementsAre("ZAFOLDAPDNFirstDomainComponent [o=example] failed. [0x0F00]"));
}

TEST_F(SambaSIDGen, EveryFailedStepIsLoggedAndChangesNothing) {
    const std::string next_failed =
        std::string("get sambaNextUserRid from ") + kDomain + " failed.";
    const std::pair<Texts, Texts> kSteps[] = {
        {{}, {"get sambaSID failed."}},
        {{sid_answer_}, {"get sambaSID [8] failed.", "get domain SID failed."}},
        {{sid_answer_, sid_answer_}, {"get [sambaNextUserRid] failed.", next_failed}}};
    for (const auto &[answers, logged] : kSteps) {
        tools_.Reset();
        log_.Clear();
        Answer(answers);
        Refuse(50);
        EXPECT_EQ(Generate(), -1);
        EXPECT_THAT(LoggedTexts(), ElementsAreArray(logged));
    }
    EXPECT_THAT(Changes(), IsEmpty());
    EXPECT_STREQ(sid_, "untouched");
}

TEST_F(SambaSIDGen, OfADomainWithoutSIDIsTheRelativeIdentifierAlone) {
    Answer({"", "", Entry1("sambaNextUserRid", "1000")});
    EXPECT_EQ(Generate(), 0);
    EXPECT_STREQ(sid_, "-1000");
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(SambaSIDGen, LostCounterFails) {
    Answer({sid_answer_, sid_answer_, Entry1("sambaNextUserRid", "1000")});
    tools_.On("ldapmodify").Exit(16);
    EXPECT_EQ(Generate(), -1);
    EXPECT_THAT(LoggedTexts(),
                ElementsAre("replace [sambaNextUserRid] from [1000] -> [1001] failed. ",
                            std::string("get sambaNextUserRid from ") + kDomain + " failed."));
    EXPECT_STREQ(sid_, "untouched");
}

}  // namespace
}  // namespace zafo::core_test
