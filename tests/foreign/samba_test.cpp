// SPDX-License-Identifier: Apache-2.0
//
// Pools of numbers and security identifiers.
#include <algorithm>
#include <cstdint>
#include <cstring>

#include "tests/foreign/change_fixture.h"

namespace zafo::foreign::samba_test {

const std::string kBase = "dc=x,dc=example";
const std::string kDomain = "sambaDomainName=x," + kBase;

std::string PoolName(const std::string &entry) {
    return "cn=" + entry + ",cn=zafoconf," + kBase;
}

class Xid : public ChangeTest {
  protected:
    int Get(int type) { return ZAFOLDAPSambaXidGet(host_, text_, sizeof text_, type); }
    char text_[64] = "before";
    Host host_;
};
ZAFO_FOREIGN_SUITE(Xid);

struct Source {
    int type;
    std::string name;
    const char *attribute;
};
const Source kSources[] = {
    {0, PoolName("MaxNum"), "uidNumber"},
    {1, PoolName("MaxNum"), "gidNumber"},
    {2, PoolName("MinID"), "uidNumber"},
    {3, PoolName("MaxID"), "uidNumber"},
    {4, PoolName("CurID"), "uidNumber"},
    {5, PoolName("MinID"), "gidNumber"},
    {6, PoolName("MaxID"), "gidNumber"},
    {7, PoolName("CurID"), "gidNumber"},
    {8, kDomain, "sambaSID"},
};

TEST_P(Xid, ReadsEveryTypeFromItsEntry) {
    for (const Source &source : kSources) {
        platform().Forget();
        platform()
            .On("ldapsearch")
            .Prints(Entry(source.name, {{source.attribute, "1002"}, {source.attribute, "7"}}));
        EXPECT_EQ(Get(source.type), 0) << source.type;
        EXPECT_STREQ(text_, "1002");
        EXPECT_EQ(Searches(), std::vector<Strings>{
                                  SearchVector({"-b", source.name.c_str(), source.attribute})});
    }
    EXPECT_EQ(Log(), Strings{});
    ExpectSlotsUntouched();
}

TEST_P(Xid, AsksThePlatformForTheFirstDomainComponent) {
    Get(8);
    const auto calls = platform().CallsOf("ZAFOLDAPDNFirstDomainComponent");
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_EQ(calls[0].arguments.at(0), kBase);
}

TEST_P(Xid, SucceedsWithoutEntryOrValue) {
    EXPECT_EQ(Get(2), 0);
    EXPECT_TRUE(text_ == std::string("before") || text_ == std::string()) << text_;
    strcpy(text_, "before");
    platform().On("ldapsearch").Prints(Entry(PoolName("MinID"), {{"gidNumber", "1"}}));
    EXPECT_EQ(Get(2), 0);
    EXPECT_TRUE(text_ == std::string("before") || text_ == std::string()) << text_;
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(Xid, TreatsAMissingEntryAsNoValue) {
    platform().On("ldapsearch").Exits(32);
    EXPECT_EQ(Get(3), 0);
    EXPECT_TRUE(text_ == std::string("before") || text_ == std::string()) << text_;
    uint64_t value = 99;
    platform().On("ldapsearch").Exits(32);
    EXPECT_EQ(ZAFOLDAPSambaGetIDFromDB(host_, &value, 3), 0);
    EXPECT_EQ(value, 0U);
}

TEST_P(Xid, SurvivesAConnectionWithoutABase) {
    Host host;
    host.base.reset();
    for (int type = 0; type <= 8; ++type)
        EXPECT_LE(ZAFOLDAPSambaXidGet(host, text_, sizeof text_, type), 0) << type;
    for (const Run &run : platform().Runs())
        for (const std::string &argument : run.argv)
            EXPECT_EQ(argument.find("(null)"), std::string::npos) << argument;
}

TEST_P(Xid, CutsToTheBuffer) {
    platform().On("ldapsearch").Prints(Entry(PoolName("MinID"), {{"uidNumber", "12345"}}));
    EXPECT_EQ(ZAFOLDAPSambaXidGet(host_, text_, 4, 2), 0);
    EXPECT_STREQ(text_, "123");
    EXPECT_EQ(text_[4], 'r');
}

TEST_P(Xid, LogsATypeThatItDoesNotKnow) {
    for (const int type : {9, 10, 2147483647}) {
        EXPECT_EQ(Get(type), -1);
        EXPECT_EQ(TakeLog(), Strings{"unknown type [" + std::to_string(type) + "]"});
    }
    EXPECT_EQ(Get(-1), -1);
    EXPECT_EQ(platform().Runs().size(), 0U);
    EXPECT_STREQ(text_, "before");
}

TEST_P(Xid, LogsABaseWithoutADomain) {
    platform().Fail("ZAFOLDAPDNFirstDomainComponent", 1, -1, 0x0F00);
    EXPECT_EQ(Get(8), -1);
    EXPECT_EQ(Log(), Strings{"ZAFOLDAPDNFirstDomainComponent [" + kBase + "] failed. [0x0F00]"});
    EXPECT_EQ(platform().Runs().size(), 0U);
}

TEST_P(Xid, LogsASearchThatFails) {
    for (const Source &source : kSources) {
        platform().On("ldapsearch").Exits(50);
        EXPECT_EQ(Get(source.type), -1);
        EXPECT_EQ(TakeLog(), Strings{std::string("get ") + source.attribute + " [" +
                                     std::to_string(source.type) + "] failed."});
        EXPECT_EQ(LibraryError(), 50);
    }
}

TEST_P(Xid, SurvivesAnUnterminatedDomainComponent) {
    platform().Fills("ZAFOLDAPDNFirstDomainComponent");
    EXPECT_LE(Get(8), 0);
}

TEST_P(Xid, ChecksItsArgumentsInOrder) {
    Host nowhere;
    nowhere.uri.reset();
    ExpectArgumentFailure("((void *)0) != pHost",
                          [] { return ZAFOLDAPSambaXidGet(nullptr, nullptr, 0, 9); });
    ExpectArgumentFailure("NULL != pHost->szUri",
                          [&] { return ZAFOLDAPSambaXidGet(nowhere, nullptr, 0, 9); });
    ExpectArgumentFailure("((void *)0) != szBuf",
                          [&] { return ZAFOLDAPSambaXidGet(host_, nullptr, 0, 9); });
    ExpectArgumentFailure("0 < cbBuf", [&] { return ZAFOLDAPSambaXidGet(host_, text_, 0, 9); });
}

TEST_P(Xid, ReadsNumbersOf64Bits) {
    uint64_t value = 99;
    platform()
        .On("ldapsearch")
        .Prints(Entry(PoolName("CurID"), {{"gidNumber", "18446744073709551615"}}));
    EXPECT_EQ(ZAFOLDAPSambaGetIDFromDB(host_, &value, 7), 0);
    EXPECT_EQ(value, UINT64_MAX);
    platform().On("ldapsearch").Prints(Entry(PoolName("CurID"), {{"uidNumber", "0123x"}}));
    EXPECT_EQ(ZAFOLDAPSambaGetIDFromDB(host_, &value, 4), 0);
    EXPECT_EQ(value, 123U);
}

TEST_P(Xid, ReadsAMissingNumberAsZero) {
    uint64_t value = 99;
    EXPECT_EQ(ZAFOLDAPSambaGetIDFromDB(host_, &value, 3), 0);
    EXPECT_EQ(value, 0U);
    EXPECT_EQ(Searches(),
              std::vector<Strings>{SearchVector({"-b", PoolName("MaxID").c_str(), "uidNumber"})});
}

TEST_P(Xid, LogsANumberThatCannotBeRead) {
    uint64_t value = 99;
    platform().On("ldapsearch").Exits(50);
    EXPECT_EQ(ZAFOLDAPSambaGetIDFromDB(host_, &value, 3), -1);
    EXPECT_EQ(value, 99U);
    EXPECT_EQ(TakeLog(), (Strings{"get uidNumber [3] failed.", "get xid failed."}));
    EXPECT_EQ(ZAFOLDAPSambaGetIDFromDB(host_, &value, 9), -1);
    EXPECT_EQ(Log(), (Strings{"unknown type [9]", "get xid failed."}));
    Host nowhere;
    nowhere.uri.reset();
    ExpectArgumentFailure("((void *)0) != pHost",
                          [] { return ZAFOLDAPSambaGetIDFromDB(nullptr, nullptr, 3); });
    ExpectArgumentFailure("NULL != pHost->szUri",
                          [&] { return ZAFOLDAPSambaGetIDFromDB(nowhere, nullptr, 3); });
    ExpectArgumentFailure("((void *)0) != pValue",
                          [&] { return ZAFOLDAPSambaGetIDFromDB(host_, nullptr, 3); });
}

// The two pools, which differ only in names.
struct Kind {
    const char *attribute;
    const char *classes;
    const char *name;  // in the log
    int (*allocate)(const ZAFOLDAP_HOST *);
};
constexpr Kind kUsers{"uidNumber", "objectClass=posixAccount", "UID", ZAFOLDAPSambaUIDGen};
constexpr Kind kGroups{"gidNumber", "objectClass=posixGroup", "GID", ZAFOLDAPSambaGIDGen};

class IdPool : public ChangeTest {
  protected:
    // Scripts the pool's bounds and counter; an empty bound is missing from the directory.
    void Pool(const Kind &kind, const std::string &lowest, const std::string &highest,
              const std::string &counter) {
        Bound(kind, "MinID", lowest);
        Bound(kind, "MaxID", highest);
        Bound(kind, "CurID", counter);
    }
    void Bound(const Kind &kind, const std::string &entry, const std::string &value) {
        Tool &answer = platform().On("ldapsearch", PoolName(entry));
        if (!value.empty()) answer.Prints(Entry(PoolName(entry), {{kind.attribute, value}}));
    }
    std::string FilterOf(const Kind &kind, const std::string &number) {
        return "(&(" + std::string(kind.classes) + ")(" + kind.attribute + "=" + number + "))";
    }
    void Taken(const Kind &kind, const std::string &counter, const Strings &numbers) {
        platform().On("ldapsearch", FilterOf(kind, counter)).Prints(Entry("cn=owner," + kBase, {}));
        std::string all;
        for (const std::string &number : numbers)
            all += Entry("cn=n" + number + "," + kBase, {{kind.attribute, number}});
        platform()
            .On("ldapsearch",
                [classes = std::string(kind.classes)](const Strings &argv) {
                    return std::find(argv.begin(), argv.end(), classes) != argv.end();
                })
            .Prints(all);
    }
    std::string Swap(const Kind &kind, const std::string &old_value, const std::string &new_value) {
        return "dn: " + PoolName("CurID") + "\nchangetype: modify\ndelete: " + kind.attribute +
               "\n" + kind.attribute + ": " + old_value + "\n-\nadd: " + kind.attribute + "\n" +
               kind.attribute + ": " + new_value + "\n";
    }
    void ExpectAllocated(const Kind &kind, int number, const std::string &counter,
                         const std::string &next) {
        EXPECT_EQ(kind.allocate(host_), number);
        EXPECT_EQ(Changes(), Strings{Swap(kind, counter, next)});
    }
    void ExpectFull(const Kind &kind) {
        EXPECT_EQ(kind.allocate(host_), -1);
        EXPECT_EQ(Changes(), Strings{});
        EXPECT_EQ(Log(), Strings{"get " + std::string(kind.attribute) + " from " +
                                 PoolName("CurID") + " failed."});
    }
    Host host_;
};
ZAFO_FOREIGN_SUITE(IdPool);

TEST_P(IdPool, HandsOutACounterThatIsFree) {
    for (const Kind &kind : {kUsers, kGroups}) {
        platform().Forget();
        Pool(kind, "1000", "2000", "1000");
        ExpectAllocated(kind, 1000, "1000", "1001");
        EXPECT_EQ(Searches(),
                  (std::vector<Strings>{
                      SearchVector({"-b", PoolName("MinID").c_str(), kind.attribute}),
                      SearchVector({"-b", PoolName("MaxID").c_str(), kind.attribute}),
                      SearchVector({"-b", PoolName("CurID").c_str(), kind.attribute}),
                      SearchVector({"-b", kBase.c_str(), FilterOf(kind, "1000").c_str()})}));
    }
    EXPECT_EQ(Log(), Strings{});
    ExpectSlotsUntouched();
}

TEST_P(IdPool, StepsOverTakenNumbers) {
    for (const Kind &kind : {kUsers, kGroups}) {
        platform().Forget();
        Pool(kind, "1000", "2000", "1000");
        Taken(kind, "1000", {"1003", "1000", "1001"});
        ExpectAllocated(kind, 1002, "1000", "1003");
        const auto searches = Searches();
        ASSERT_EQ(searches.size(), 5U);
        EXPECT_EQ(searches[4],
                  SearchVector({"-b", kBase.c_str(), kind.classes, "dn", kind.attribute}));
    }
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(IdPool, FollowsTheHighestNumberWithTheLowest) {
    Pool(kUsers, "1000", "1002", "1002");
    ExpectAllocated(kUsers, 1002, "1002", "1000");
}

TEST_P(IdPool, FollowsATakenNumberWithTheHighestAndThenTheLowest) {
    Pool(kUsers, "1000", "1002", "1001");
    Taken(kUsers, "1001", {"1000", "1001"});
    ExpectAllocated(kUsers, 1002, "1001", "1000");
}

TEST_P(IdPool, WrapsToAFreeLowestNumber) {
    Pool(kGroups, "1000", "1002", "1002");
    Taken(kGroups, "1002", {"1002", "1001"});
    ExpectAllocated(kGroups, 1000, "1002", "1001");
}

TEST_P(IdPool, WrapsAndContinuesAfterATakenLowestNumber) {
    Pool(kUsers, "1000", "1003", "1003");
    Taken(kUsers, "1003", {"1003", "1000"});
    ExpectAllocated(kUsers, 1001, "1003", "1002");
}

TEST_P(IdPool, IsFullWhenTheWalkComesBack) {
    Pool(kUsers, "1000", "1002", "1001");
    Taken(kUsers, "1001", {"1000", "1001", "1002"});
    ExpectFull(kUsers);
}

TEST_P(IdPool, EndsWhenAllAreTakenAndTheCounterIsTheLowest) {
    Pool(kUsers, "1000", "1002", "1000");
    Taken(kUsers, "1000", {"1000", "1001", "1002"});
    ExpectFull(kUsers);
}

TEST_P(IdPool, EndsWhenAllAreTakenAndTheCounterIsTheHighest) {
    Pool(kGroups, "1000", "1002", "1002");
    Taken(kGroups, "1002", {"1000", "1001", "1002"});
    ExpectFull(kGroups);
}

TEST_P(IdPool, StepsOverDuplicates) {
    Pool(kUsers, "1000", "2000", "1000");
    Taken(kUsers, "1000", {"1001", "1000", "1001", "1002", "1002"});
    ExpectAllocated(kUsers, 1003, "1000", "1004");
}

TEST_P(IdPool, ComparesNumbersAsNumbersOf64Bits) {
    Pool(kUsers, "1000", "4294967295", "9999");
    Taken(kUsers, "9999",
          {"10000", "9999", "18446744073709551615", "4294967296", "99990", "10001"});
    ExpectAllocated(kUsers, 10002, "9999", "10003");
}

TEST_P(IdPool, HandsOutACounterBelowTheLowestNumber) {
    Pool(kUsers, "1000", "2000", "5");
    ExpectAllocated(kUsers, 5, "5", "6");
}

TEST_P(IdPool, HandsOutAFreeCounterAboveTheHighestNumber) {
    Pool(kUsers, "1000", "2000", "5000");
    ExpectAllocated(kUsers, 5000, "5000", "5001");
}

TEST_P(IdPool, StepsOverACounterThatIsTakenTwice) {
    Pool(kUsers, "1000", "2000", "1000");
    Taken(kUsers, "1000", {"1000", "1000"});
    ExpectAllocated(kUsers, 1001, "1000", "1002");
}

TEST_P(IdPool, HandsOutACounterThatIsMissingAsZero) {
    Pool(kUsers, "1000", "2000", "");
    ExpectAllocated(kUsers, 0, "0", "1");
}

TEST_P(IdPool, WrapsACounterAboveTheHighestNumber) {
    Pool(kUsers, "1000", "2000", "5000");
    Taken(kUsers, "5000", {"5000"});
    ExpectAllocated(kUsers, 1000, "5000", "1001");
}

TEST_P(IdPool, CountsAnEmptyNumberAsZeroAndLogsIt) {
    Pool(kUsers, "1000", "2000", "1000");
    platform().On("ldapsearch", FilterOf(kUsers, "1000")).Prints(Entry("cn=owner," + kBase, {}));
    platform()
        .On("ldapsearch", "objectClass=posixAccount")
        .Prints(Entry("cn=none," + kBase, {}) + Entry("cn=n," + kBase, {{"uidNumber", "1000"}}));
    ExpectAllocated(kUsers, 1001, "1000", "1002");
    EXPECT_EQ(Log(), Strings{"No uidNumber found for cn=none," + kBase});
}

TEST_P(IdPool, LogsACounterThatIsNotAmongTheNumbers) {
    Pool(kUsers, "1000", "2000", "1000");
    Taken(kUsers, "1000", {"1001", "1002"});
    EXPECT_EQ(ZAFOLDAPSambaUIDGen(host_), -1);
    EXPECT_EQ(Log(), (Strings{"cannot find 1000",
                              "get uidNumber from " + PoolName("CurID") + " failed."}));
    EXPECT_EQ(Changes(), Strings{});
}

TEST_P(IdPool, RefusesBoundsThatMakeNoSense) {
    for (const Kind &kind : {kUsers, kGroups}) {
        Bound(kind, "MinID", "2000");
        Bound(kind, "MaxID", "2000");
        EXPECT_EQ(kind.allocate(host_), -1);
        EXPECT_EQ(TakeLog(),
                  Strings{std::string("Bad ") + kind.name + " min(2000), max(2000) value."});
        Bound(kind, "MinID", "2000");
        Bound(kind, "MaxID", "1999");
        EXPECT_EQ(kind.allocate(host_), -1);
        EXPECT_EQ(TakeLog(),
                  Strings{std::string("Bad ") + kind.name + " min(2000), max(1999) value."});
    }
    EXPECT_EQ(Changes(), Strings{});
}

TEST_P(IdPool, RefusesAMissingHighestNumber) {
    Bound(kUsers, "MinID", "1000");
    Bound(kUsers, "MaxID", "");
    EXPECT_EQ(ZAFOLDAPSambaUIDGen(host_), -1);
    EXPECT_EQ(TakeLog(), Strings{"Bad UID min(1000), max(0) value."});
    Bound(kUsers, "MinID", "1000");
    platform().On("ldapsearch", PoolName("MaxID")).Exits(32);
    EXPECT_EQ(ZAFOLDAPSambaUIDGen(host_), -1);
    EXPECT_EQ(Log(), Strings{"Bad UID min(1000), max(0) value."});
}

TEST_P(IdPool, TakesAMissingLowestNumberAsZero) {
    Pool(kUsers, "", "10", "10");
    ExpectAllocated(kUsers, 10, "10", "0");
}

TEST_P(IdPool, KeepsBothDefaultsWhenABoundCannotBeRead) {
    platform().On("ldapsearch", PoolName("MinID")).Exits(50);
    platform().On("ldapsearch", PoolName("MaxID")).Prints("").Always();
    Bound(kUsers, "CurID", "4294967295");
    EXPECT_EQ(ZAFOLDAPSambaUIDGen(host_), -1);
    EXPECT_EQ(Changes(), Strings{Swap(kUsers, "4294967295", "0")});
}

TEST_P(IdPool, KeepsTheLowestDefaultWhenTheHighestCannotBeRead) {
    Bound(kGroups, "MinID", "1000");
    platform().On("ldapsearch", PoolName("MaxID")).Exits(50);
    Bound(kGroups, "CurID", "4294967295");
    Taken(kGroups, "4294967295", {"4294967295"});
    EXPECT_EQ(ZAFOLDAPSambaGIDGen(host_), 0);
    EXPECT_EQ(Changes(), Strings{Swap(kGroups, "4294967295", "1")});
}

TEST_P(IdPool, GivesAHighNumberAsAnInt) {
    Pool(kUsers, "1000", "4294967294", "4294967290");
    ExpectAllocated(kUsers, static_cast<int>(4294967290U), "4294967290", "4294967291");
}

TEST_P(IdPool, LooksAgainAfterALostSwap) {
    Pool(kUsers, "1000", "2000", "1000");
    Bound(kUsers, "CurID", "1001");
    Taken(kUsers, "1001", {"1001"});
    platform().On("ldapmodify").Exits(16);
    EXPECT_EQ(ZAFOLDAPSambaUIDGen(host_), 1002);
    EXPECT_EQ(Changes(), (Strings{Swap(kUsers, "1000", "1001"), Swap(kUsers, "1001", "1003")}));
}

TEST_P(IdPool, LogsACounterThatCannotBeRead) {
    Bound(kUsers, "MinID", "1000");
    Bound(kUsers, "MaxID", "2000");
    platform().On("ldapsearch", PoolName("CurID")).Exits(32);
    EXPECT_EQ(ZAFOLDAPSambaUIDGen(host_), -1);
    EXPECT_EQ(Log(), (Strings{"get [uidNumber] failed.",
                              "get uidNumber from " + PoolName("CurID") + " failed."}));
    EXPECT_EQ(LibraryError(), 32);
}

TEST_P(IdPool, LogsANumberThatCannotBeLookedUp) {
    Pool(kGroups, "1000", "2000", "1000");
    platform().On("ldapsearch", FilterOf(kGroups, "1000")).Exits(11);
    EXPECT_EQ(ZAFOLDAPSambaGIDGen(host_), -1);
    const Strings log = Log();
    ASSERT_GE(log.size(), 2U);
    EXPECT_EQ(log[log.size() - 2], "get [" + FilterOf(kGroups, "1000") + "] failed.");
    EXPECT_EQ(Last(log), "get gidNumber from " + PoolName("CurID") + " failed.");
    EXPECT_EQ(LibraryError(), 11);
    EXPECT_EQ(Changes(), Strings{});
}

TEST_P(IdPool, LogsNumbersThatCannotBeListed) {
    Pool(kUsers, "1000", "2000", "1000");
    platform().On("ldapsearch", FilterOf(kUsers, "1000")).Prints(Entry("cn=owner," + kBase, {}));
    platform()
        .On("ldapsearch", "objectClass=posixAccount")
        .Prints(Entry("cn=a", {{"uidNumber", "1000"}}))
        .Exits(4);
    EXPECT_EQ(ZAFOLDAPSambaUIDGen(host_), -1);
    EXPECT_EQ(Log(), (Strings{"search uidNumber failed.",
                              "get uidNumber from " + PoolName("CurID") + " failed."}));
}

TEST_P(IdPool, GivesUpAfterTenLostSwaps) {
    Bound(kUsers, "MinID", "1000");
    Bound(kUsers, "MaxID", "2000");
    platform()
        .On("ldapsearch", PoolName("CurID"))
        .Prints(Entry(PoolName("CurID"), {{"uidNumber", "1000"}}))
        .Always();
    platform().On("ldapmodify").Exits(16).Always();
    EXPECT_EQ(ZAFOLDAPSambaUIDGen(host_), -1);
    EXPECT_EQ(Changes().size(), 10U);
    EXPECT_EQ(Log(), (Strings{"replace [uidNumber] from [1000] -> [1001] failed. ",
                              "get uidNumber from " + PoolName("CurID") + " failed."}));
}

TEST_P(IdPool, FailsWheneverAListCannotBeMade) {
    Pool(kUsers, "1000", "2000", "1000");
    Taken(kUsers, "1000", {"1000"});
    platform().Forget();
    ASSERT_EQ(ZAFOLDAPSambaUIDGen(host_), 1001);
    // The bounds have defaults; the lists for the counter and everything after it are required.
    std::vector<int> needed;
    int number = 0;
    int searches = 0;
    for (const Call &call : platform().Calls()) {
        if (call.function == "QLIBCPopenv") ++searches;
        if (call.function != "QLIBCSzListAlloc") continue;
        ++number;
        if (searches >= 3) needed.push_back(number);
    }
    ASSERT_FALSE(needed.empty());
    for (const int nth : needed) {
        platform()
            .On("ldapsearch", PoolName("MinID"))
            .Prints(Entry("cn=a", {{"uidNumber", "1000"}}))
            .Always();
        platform()
            .On("ldapsearch", PoolName("MaxID"))
            .Prints(Entry("cn=a", {{"uidNumber", "2000"}}))
            .Always();
        platform()
            .On("ldapsearch", PoolName("CurID"))
            .Prints(Entry("cn=a", {{"uidNumber", "1000"}}))
            .Always();
        platform().On("ldapsearch", FilterOf(kUsers, "1000")).Prints(Entry("cn=a", {})).Always();
        platform().On("ldapsearch").Prints(Entry("cn=a", {{"uidNumber", "1000"}})).Always();
        platform().Forget();
        platform().Fail("QLIBCSzListAlloc", nth, -1, 0x0200);
        EXPECT_EQ(ZAFOLDAPSambaUIDGen(host_), -1) << nth;
        EXPECT_EQ(Changes(), Strings{}) << nth;
    }
}

TEST_P(IdPool, ChecksItsArgumentsInOrder) {
    Host nowhere;
    nowhere.uri.reset();
    for (const Kind &kind : {kUsers, kGroups}) {
        ExpectArgumentFailure("((void *)0) != pHost", [&] { return kind.allocate(nullptr); });
        ExpectArgumentFailure("NULL != pHost->szUri", [&] { return kind.allocate(nowhere); });
    }
}

}  // namespace zafo::foreign::samba_test
