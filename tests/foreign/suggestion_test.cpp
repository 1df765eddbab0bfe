// SPDX-License-Identifier: Apache-2.0
#include "tests/foreign/accounts.h"

namespace zafo::foreign::suggestion_test {

struct Number {
    std::string attribute;
    std::string filter;
    int (*suggest)(const ZAFOLDAP_HOST *);
};
const Number kNumbers[] = {{"uidNumber", kUsers, ZAFOLDAPBrowserSuggestUid},
                           {"gidNumber", kGroups, ZAFOLDAPBrowserSuggestGid}};

class Suggestion : public AccountsTest {
  protected:
    template <class Body>
    void ForEachNumber(Body body) {
        for (const Number &number : kNumbers) {
            SCOPED_TRACE(number.attribute);
            platform().Forget();
            TakeLog();
            Stale();
            body(number);
        }
    }
    static std::string Numbers(const std::string &attribute, const Strings &values) {
        std::string text;
        for (const std::string &value : values)
            text += Entry("x=n" + std::to_string(text.size()) + ",c=o", {{attribute, value}});
        return text;
    }
};
ZAFO_FOREIGN_SUITE(Suggestion);

TEST_P(Suggestion, ForeignDirectoryIsAskedForItsNumbers) {
    for (const int type : {0, 2}) {
        host->nServerType = type;
        ForEachNumber([&](const Number &number) {
            Finds(Numbers(number.attribute, {"5000"}));
            EXPECT_EQ(number.suggest(host), 5001);
            EXPECT_EQ(Searches(), std::vector<Strings>{Below(number.filter, {number.attribute})});
            EXPECT_EQ(Log(), Strings{});
            ExpectSlotsUntouched();
        });
    }
}

TEST_P(Suggestion, IsOneMoreThanTheHighestAndNeverBelow1027) {
    struct {
        Strings values;
        int expected;
    } const rows[] = {
        {{}, 1027},       {{"500"}, 1027},
        {{"1025"}, 1027}, {{"1026"}, 1027},
        {{"1027"}, 1028}, {{"5000", "1030", "4999"}, 5001},
        {{"-2"}, 1027},   {{"-2", "2000", "-70000"}, 2001},
        {{"none"}, 1027}, {{"2147483646"}, 2147483647},
    };
    for (const auto &row : rows) {
        ForEachNumber([&](const Number &number) {
            Finds(Numbers(number.attribute, row.values));
            EXPECT_EQ(number.suggest(host), row.expected);
        });
    }
}

TEST_P(Suggestion, TakesTheFirstNumberOfAnEntryAndSkipsThoseWithout) {
    ForEachNumber([&](const Number &number) {
        Finds(Entry("x=a,c=o", {}) +
              Entry("x=b,c=o", {{number.attribute, "2000"}, {number.attribute, "9000"}}));
        EXPECT_EQ(number.suggest(host), 2001);
    });
}

TEST_P(Suggestion, FailsWithTheTool) {
    ForEachNumber([&](const Number &number) {
        Finds(Numbers(number.attribute, {"5000"})).Exits(4);
        EXPECT_EQ(number.suggest(host), -1);
        EXPECT_EQ(LibraryError(), 4);
        Finds().Dies(9);
        EXPECT_EQ(number.suggest(host), -1);
        ExpectAllClosed();
        Finds().CannotStart(0);
        EXPECT_EQ(number.suggest(host), -1);
        EXPECT_EQ(PlatformError(), 0x0900);
    });
}

TEST_P(Suggestion, ChecksItsArgumentsInOrder) {
    Host nowhere;
    nowhere.uri.reset();
    nowhere.server_type = 1;
    for (const Number &number : kNumbers) {
        ExpectArgumentFailure("((void *)0) != pHost", [&] { return number.suggest(nullptr); });
        ExpectArgumentFailure("NULL != pHost->szUri", [&] { return number.suggest(nowhere); });
    }
}

// The appliance's own server, whose pool allocates numbers.
class PoolSuggestion : public Suggestion {
  protected:
    void SetUp() override {
        Suggestion::SetUp();
        host.server_type = 1;
    }
    static std::string Pool(const std::string &name) {
        return "cn=" + name + ",cn=zafoconf," + kBase;
    }
    // Scripts one allocation from a counter whose value is `counter`.
    void Pools(const std::string &attribute, const std::string &counter) {
        platform().On("ldapsearch", "cn=MinID").Prints(Entry(Pool("MinID"), {{attribute, "1000"}}));
        platform().On("ldapsearch", "cn=MaxID").Prints(Entry(Pool("MaxID"), {{attribute, "9000"}}));
        platform()
            .On("ldapsearch", "cn=CurID")
            .Prints(Entry(Pool("CurID"), {{attribute, counter}}));
    }
};
ZAFO_FOREIGN_SUITE(PoolSuggestion);

TEST_P(PoolSuggestion, TakesTheNumberFromThePool) {
    ForEachNumber([&](const Number &number) {
        Pools(number.attribute, "1500");
        EXPECT_EQ(number.suggest(host), 1500);
        EXPECT_EQ(Searches(), (std::vector<Strings>{
                                  {"-b", Pool("MinID"), number.attribute},
                                  {"-b", Pool("MaxID"), number.attribute},
                                  {"-b", Pool("CurID"), number.attribute},
                                  Below(And(number.filter, number.attribute + "=1500")),
                              }));
        EXPECT_EQ(Changes(), Strings{"dn: " + Pool("CurID") +
                                     "\nchangetype: modify\ndelete: " + number.attribute + "\n" +
                                     number.attribute + ": 1500\n-\nadd: " + number.attribute +
                                     "\n" + number.attribute + ": 1501\n"});
        EXPECT_EQ(Log(), Strings{});
    });
}

TEST_P(PoolSuggestion, TwoInARowDiffer) {
    ForEachNumber([&](const Number &number) {
        Pools(number.attribute, "1500");
        EXPECT_EQ(number.suggest(host), 1500);
        Pools(number.attribute, "1501");
        EXPECT_EQ(number.suggest(host), 1501);
        EXPECT_EQ(platform().RunsOf("ldapmodify").size(), 2u);
    });
}

TEST_P(PoolSuggestion, FailsWithoutACounter) {
    ForEachNumber([&](const Number &number) {
        platform()
            .On("ldapsearch", "cn=MinID")
            .Prints(Entry(Pool("MinID"), {{number.attribute, "1000"}}));
        platform()
            .On("ldapsearch", "cn=MaxID")
            .Prints(Entry(Pool("MaxID"), {{number.attribute, "9000"}}));
        platform().On("ldapsearch", "cn=CurID").Exits(32);
        EXPECT_EQ(number.suggest(host), -1);
        EXPECT_EQ(LibraryError(), 32);
        EXPECT_EQ(Changes(), Strings{});
        TakeLog();
    });
}

class BaseDnSuggestion : public AccountsTest {
  protected:
    static std::string RootDse(const Strings &contexts) {
        std::string text = "dn:\n";
        for (const std::string &context : contexts)
            text += "namingContexts: " + context + "\n";
        return text + "\n";
    }
};
ZAFO_FOREIGN_SUITE(BaseDnSuggestion);

TEST_P(BaseDnSuggestion, AsksTheRootAnonymously) {
    List list;
    Finds(RootDse({"dc=a"}));
    EXPECT_EQ(ZAFOLDAPBrowserSuggestBaseDN(host, &list), 0);
    EXPECT_EQ(list.Items(), Strings{"dc=a"});
    ASSERT_EQ(platform().Runs().size(), 1u);
    EXPECT_EQ(platform().Runs()[0].argv, (Strings{"-LLL", "-x", "-H", "ldap://ldap.x.example", "-b",
                                                  "", "-s", "base", "namingContexts"}));
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(BaseDnSuggestion, KeepsTheTransportSecurity) {
    List list;
    host->nSSLType = 1;
    EXPECT_EQ(ZAFOLDAPBrowserSuggestBaseDN(host, &list), 0);
    host->nSSLType = 2;
    EXPECT_EQ(ZAFOLDAPBrowserSuggestBaseDN(host, &list), 0);
    ASSERT_EQ(platform().Runs().size(), 2u);
    EXPECT_EQ(platform().Runs()[0].argv, (Strings{"-LLL", "-x", "-H", "ldaps://ldap.x.example",
                                                  "-b", "", "-s", "base", "namingContexts"}));
    EXPECT_EQ(platform().Runs()[1].argv, (Strings{"-LLL", "-x", "-H", "ldap://ldap.x.example", "-Z",
                                                  "-b", "", "-s", "base", "namingContexts"}));
}

TEST_P(BaseDnSuggestion, ListsEveryContextInTheServersOrder) {
    List list;
    Finds(RootDse({"dc=z", "cn=config", "dc=a"}));
    EXPECT_EQ(ZAFOLDAPBrowserSuggestBaseDN(host, &list), 0);
    EXPECT_EQ(list.Items(), (Strings{"dc=z", "cn=config", "dc=a"}));
}

TEST_P(BaseDnSuggestion, AppendsToWhatTheListHolds) {
    List list{"dc=before"};
    Finds(RootDse({"dc=a", "dc=b"}));
    EXPECT_EQ(ZAFOLDAPBrowserSuggestBaseDN(host, &list), 0);
    EXPECT_EQ(list.Items(), (Strings{"dc=before", "dc=a", "dc=b"}));
}

TEST_P(BaseDnSuggestion, WithoutContextsIsEmpty) {
    List list;
    Finds(RootDse({}));
    EXPECT_EQ(ZAFOLDAPBrowserSuggestBaseDN(host, &list), 0);
    FindsNothing();
    EXPECT_EQ(ZAFOLDAPBrowserSuggestBaseDN(host, &list), 0);
    EXPECT_EQ(list.Items(), Strings{});
}

TEST_P(BaseDnSuggestion, AServerThatRefusesAnonymousSearchesIsNotAFailure) {
    for (const int code : {46, 47, 48, 49, 50, 51, 32, 1, 255}) {
        List list;
        SearchFails(code);
        EXPECT_EQ(ZAFOLDAPBrowserSuggestBaseDN(host, &list), code >= 47 && code <= 50 ? 0 : -1)
            << code;
        EXPECT_EQ(list.Items(), Strings{}) << code;
        ExpectAllClosed();
    }
}

TEST_P(BaseDnSuggestion, KeepsWhatCameBeforeARefusal) {
    List list;
    Finds(RootDse({"dc=a"})).Exits(50);
    EXPECT_EQ(ZAFOLDAPBrowserSuggestBaseDN(host, &list), 0);
    EXPECT_EQ(list.Items(), Strings{"dc=a"});
}

TEST_P(BaseDnSuggestion, AKilledToolIsAFailure) {
    List list;
    Finds(RootDse({"dc=a"})).Dies(9);
    EXPECT_EQ(ZAFOLDAPBrowserSuggestBaseDN(host, &list), -1);
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
}

TEST_P(BaseDnSuggestion, AToolThatCannotBeStartedIsAFailure) {
    List list;
    Finds().CannotStart(0);
    EXPECT_EQ(ZAFOLDAPBrowserSuggestBaseDN(host, &list), -1);
    EXPECT_EQ(PlatformError(), 0x0900);
}

TEST_P(BaseDnSuggestion, ChecksItsArgumentsInOrder) {
    Host nowhere;
    nowhere.uri.reset();
    QLIBSZLIST *none = nullptr;
    ExpectArgumentFailure("((void *)0) != pHost",
                          [&] { return ZAFOLDAPBrowserSuggestBaseDN(nullptr, nullptr); });
    ExpectArgumentFailure("NULL != pHost->szUri",
                          [&] { return ZAFOLDAPBrowserSuggestBaseDN(nowhere, nullptr); });
    ExpectArgumentFailure("((void *)0) != pplistBaseDN",
                          [&] { return ZAFOLDAPBrowserSuggestBaseDN(host, nullptr); });
    ExpectArgumentFailure("NULL != *pplistBaseDN",
                          [&] { return ZAFOLDAPBrowserSuggestBaseDN(host, &none); });
}

}  // namespace zafo::foreign::suggestion_test
