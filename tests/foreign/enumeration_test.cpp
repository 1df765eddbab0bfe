// SPDX-License-Identifier: Apache-2.0
#include <cstring>

#include "tests/foreign/accounts.h"

namespace zafo::foreign::enumeration_test {

struct Kind {
    const char *what;
    std::string filter;
    std::string name;
    std::string number;
    int (*all)(const ZAFOLDAP_HOST *, QLIBSZLIST **, QLIBSZLIST **);
    int (*by_number)(const ZAFOLDAP_HOST *, unsigned int, QLIBSZLIST **);
    int (*name_of)(const ZAFOLDAP_HOST *, const char *, char *, size_t);
    int (*request)(ZAFOLDAP_SEARCH_REQUEST *);
    Strings attributes;
    std::string dn_list;
    std::string name_list;
};

const Kind kKinds[] = {
    {"users",
     kUsers,
     "uid",
     "uidNumber",
     ZAFOLDAPBrowserUserEnumAll,
     ZAFOLDAPBrowserUserEnumByUIDNumber,
     ZAFOLDAPPosixGetUserUID,
     ZAFOLDAPBrowserUserEnumRequestInit,
     {"dn", "cn", "uid", "gecos", "shadowExpire", "mail"},
     "ppUserDNList",
     "ppUserUIDList"},
    {"groups",
     kGroups,
     "cn",
     "gidNumber",
     ZAFOLDAPBrowserGroupEnumAll,
     ZAFOLDAPBrowserGroupEnumByGIDNumber,
     ZAFOLDAPPosixGetGroupCN,
     ZAFOLDAPBrowserGroupEnumRequestInit,
     {"dn", "cn", "description"},
     "ppGroupDNList",
     "ppGroupCNList"},
};

class Enumeration : public AccountsTest {
  protected:
    // Runs the test's body for users and for groups, each with a clean state.
    template <class Body>
    void ForEachKind(Body body) {
        for (const Kind &kind : kKinds) {
            SCOPED_TRACE(kind.what);
            platform().Forget();
            TakeLog();
            Stale();
            body(kind);
        }
    }
    static std::string Two(const Kind &kind) {
        return Entry("x=zoe,c=o", {{kind.name, "zoe"}}) + Entry("x=ann,c=o", {{kind.name, "ann"}});
    }
};
ZAFO_FOREIGN_SUITE(Enumeration);

TEST_P(Enumeration, RequestHoldsFilterAndAttributesInTheirOrder) {
    ForEachKind([&](const Kind &kind) {
        ZAFOLDAP_SEARCH_REQUEST request;
        std::memset(&request, 0xA5, sizeof request);
        EXPECT_EQ(kind.request(&request), 0);
        EXPECT_EQ(TextOf(request.szFilter), kind.filter);
        EXPECT_EQ(Items(request.plistAttr), kind.attributes);
        ZAFOLDAPSearchRequestFree(&request);
    });
}

TEST_P(Enumeration, RequestLeavesEverythingElseUnset) {
    ForEachKind([&](const Kind &kind) {
        ZAFOLDAP_SEARCH_REQUEST request;
        std::memset(&request, 0xA5, sizeof request);
        EXPECT_EQ(kind.request(&request), 0);
        EXPECT_EQ(request.szBase, nullptr);
        EXPECT_EQ(request.szExtra, nullptr);
        EXPECT_EQ(request.szScope, nullptr);
        EXPECT_EQ(request.blBaseAsIs, 0);
        EXPECT_EQ(request.nOffset, 0);
        EXPECT_EQ(request.nCount, 0);
        EXPECT_EQ(request.nSizeLimit, 0);
        ZAFOLDAPSearchRequestFree(&request);
    });
}

TEST_P(Enumeration, RequestListHasACapacityOf1024) {
    ForEachKind([&](const Kind &kind) {
        ZAFOLDAP_SEARCH_REQUEST request;
        EXPECT_EQ(kind.request(&request), 0);
        const std::vector<Call> calls = platform().CallsOf("QLIBCSzListAlloc");
        EXPECT_EQ(calls.size(), 1u);
        for (const Call &call : calls)
            EXPECT_EQ(call.arguments, Strings{"1024"});
        ZAFOLDAPSearchRequestFree(&request);
    });
}

TEST_P(Enumeration, RequestOfNullIsAnArgumentFailure) {
    for (const Kind &kind : kKinds)
        ExpectArgumentFailure("((void *)0) != pRequest", [&] { return kind.request(nullptr); });
}

TEST_P(Enumeration, RequestFailsWithoutAList) {
    ForEachKind([&](const Kind &kind) {
        ZAFOLDAP_SEARCH_REQUEST request;
        platform().Fail("QLIBCSzListAlloc", 1, -1, 0x0200);
        EXPECT_EQ(kind.request(&request), -1);
        EXPECT_EQ(PlatformError(), 0x0200);
        EXPECT_EQ(ZAFOLDAPSearchRequestFree(&request), 0);
    });
}

TEST_P(Enumeration, RequestThatIsPartlyBuiltIsReleasedByItsFree) {
    ForEachKind([&](const Kind &kind) {
        FailEach(
            "QLIBCSzListPush",
            [&] {
                ZAFOLDAP_SEARCH_REQUEST request;
                const int result = kind.request(&request);
                ZAFOLDAPSearchRequestFree(&request);
                return result;
            },
            [&](int result) {
                EXPECT_EQ(result, -1);
                EXPECT_EQ(PlatformError(), 0x0200);
            });
    });
}

TEST_P(Enumeration, AllAsksForDnAndNameBelowTheBase) {
    ForEachKind([&](const Kind &kind) {
        Finds(Two(kind));
        EXPECT_EQ(kind.all(host, nullptr, nullptr), 2);
        EXPECT_EQ(Searches(), std::vector<Strings>{Below(kind.filter, {"dn", kind.name})});
        EXPECT_EQ(Log(), Strings{});
        ExpectSlotsUntouched();
    });
}

TEST_P(Enumeration, AllAppendsInTheServersOrder) {
    ForEachKind([&](const Kind &kind) {
        List dns{"before"};
        List names{"earlier"};
        Finds(Two(kind));
        EXPECT_EQ(kind.all(host, &dns, &names), 2);
        EXPECT_EQ(dns.Items(), (Strings{"before", "x=zoe,c=o", "x=ann,c=o"}));
        EXPECT_EQ(names.Items(), (Strings{"earlier", "zoe", "ann"}));
    });
}

TEST_P(Enumeration, AllFillsOneListAlone) {
    ForEachKind([&](const Kind &kind) {
        List dns;
        List names;
        Finds(Two(kind));
        Finds(Two(kind));
        EXPECT_EQ(kind.all(host, &dns, nullptr), 2);
        EXPECT_EQ(kind.all(host, nullptr, &names), 2);
        EXPECT_EQ(dns.Items(), (Strings{"x=zoe,c=o", "x=ann,c=o"}));
        EXPECT_EQ(names.Items(), (Strings{"zoe", "ann"}));
    });
}

TEST_P(Enumeration, AllOfAnEmptyDirectoryIsNothing) {
    ForEachKind([&](const Kind &kind) {
        List dns{"before"};
        List names{"earlier"};
        FindsNothing();
        EXPECT_EQ(kind.all(host, &dns, &names), 0);
        EXPECT_EQ(dns.Items(), Strings{"before"});
        EXPECT_EQ(names.Items(), Strings{"earlier"});
        EXPECT_EQ(Log(), Strings{});
        ExpectSlotsUntouched();
    });
}

TEST_P(Enumeration, AllSkipsEntriesWithoutDnOrName) {
    ForEachKind([&](const Kind &kind) {
        List dns;
        List names;
        Finds(Entry("x=nameless,c=o", {{"sn", "none"}}) + kind.name + ": ghost\n\n" +
              Entry("x=ann,c=o", {{kind.name, "ann"}}));
        EXPECT_EQ(kind.all(host, &dns, &names), 1);
        EXPECT_EQ(dns.Items(), Strings{"x=ann,c=o"});
        EXPECT_EQ(names.Items(), Strings{"ann"});
    });
}

TEST_P(Enumeration, AllTakesTheFirstNameAndIgnoresTheCaseOfTheAttribute) {
    ForEachKind([&](const Kind &kind) {
        List dns;
        List names;
        std::string upper = kind.name;
        for (char &letter : upper)
            letter = static_cast<char>(std::toupper(letter));
        Finds(Entry("x=ann,c=o", {{upper, "ann"}, {kind.name, "anna"}}));
        EXPECT_EQ(kind.all(host, &dns, &names), 1);
        EXPECT_EQ(names.Items(), Strings{"ann"});
    });
}

TEST_P(Enumeration, AllDecodesNamesAndJoinsFoldedOnes) {
    ForEachKind([&](const Kind &kind) {
        List dns;
        List names;
        Finds("dn:: " + Base64("x=j\xC3\xB6rg,c=o") + "\n" + kind.name + ":: " +
              Base64("j\xC3\xB6rg") + "\n\ndn: x=an\n na,c=o\n" + kind.name + ": an\n na\n\n");
        EXPECT_EQ(kind.all(host, &dns, &names), 2);
        EXPECT_EQ(dns.Items(), (Strings{"x=j\xC3\xB6rg,c=o", "x=anna,c=o"}));
        EXPECT_EQ(names.Items(), (Strings{"j\xC3\xB6rg", "anna"}));
    });
}

TEST_P(Enumeration, AllCountsThousands) {
    ForEachKind([&](const Kind &kind) {
        std::string text;
        for (int i = 0; i < 3000; ++i) {
            const std::string name = "name" + std::to_string(i);
            text += Entry("x=" + name + ",c=o", {{kind.name, name}});
        }
        List dns;
        List names;
        Finds(text);
        EXPECT_EQ(kind.all(host, &dns, &names), 3000);
        EXPECT_EQ(dns.Items().size(), 3000u);
        EXPECT_EQ(names.Items().back(), "name2999");
    });
}

TEST_P(Enumeration, AllFailsWithTheToolAndKeepsWhatCame) {
    ForEachKind([&](const Kind &kind) {
        List dns{"before"};
        List names;
        Finds(Two(kind)).Exits(4);
        EXPECT_EQ(kind.all(host, &dns, &names), -1);
        EXPECT_EQ(LibraryError(), 4);
        EXPECT_EQ(PlatformError(), kStalePlatformError);
        EXPECT_EQ(TakeLog(), Strings{kGetNextFailed});
        EXPECT_EQ(dns.Items(), (Strings{"before", "x=zoe,c=o", "x=ann,c=o"}));
        EXPECT_EQ(names.Items(), (Strings{"zoe", "ann"}));
        ExpectAllClosed();
    });
}

TEST_P(Enumeration, AllFailsWhenTheToolIsKilled) {
    ForEachKind([&](const Kind &kind) {
        Finds(Two(kind)).Dies(9);
        EXPECT_EQ(kind.all(host, nullptr, nullptr), -1);
        ExpectSlotsUntouched();
        EXPECT_EQ(TakeLog(), Strings{kGetNextFailed});
    });
}

TEST_P(Enumeration, AllFailsWhenTheOutputCannotBeRead) {
    ForEachKind([&](const Kind &kind) {
        Finds(Two(kind)).ReadFails();
        EXPECT_EQ(kind.all(host, nullptr, nullptr), -1);
        EXPECT_EQ(PlatformError(), 0x0A00);
        EXPECT_EQ(TakeLog(), Strings{kGetNextFailed});
        ExpectAllClosed();
    });
}

TEST_P(Enumeration, AllFailsWhenTheToolCannotBeStarted) {
    ForEachKind([&](const Kind &kind) {
        Finds().CannotStart(0);
        EXPECT_EQ(kind.all(host, nullptr, nullptr), -1);
        EXPECT_EQ(PlatformError(), 0x0900);
        EXPECT_EQ(LibraryError(), kStaleLibraryError);
        TakeLog();
    });
}

TEST_P(Enumeration, AllNamesTheStringThatCouldNotBeListed) {
    ForEachKind([&](const Kind &kind) {
        platform().On("ldapsearch", kind.filter).Prints(Two(kind)).Always();
        Strings seen;
        FailEach(
            "QLIBCSzListPush",
            [&] {
                List dns;
                List names;
                return kind.all(host, &dns, &names);
            },
            [&](int result) {
                EXPECT_EQ(result, -1);
                for (const std::string &line : Log())
                    seen.push_back(line);
            });
        for (const char *item : {"x=zoe,c=o", "zoe", "x=ann,c=o", "ann"}) {
            const std::string line = "QLIBCSzListPush failed. [" + std::string(item) + "] [0x0200]";
            EXPECT_EQ(std::count(seen.begin(), seen.end(), line), 1) << line;
        }
    });
}

TEST_P(Enumeration, AllFailsWithoutItsOwnLists) {
    ForEachKind([&](const Kind &kind) {
        platform().On("ldapsearch").Prints(Two(kind)).Always();
        FailEach(
            "QLIBCSzListAlloc", [&] { return kind.all(host, nullptr, nullptr); },
            [&](int result) { EXPECT_EQ(result, -1); });
    });
}

TEST_P(Enumeration, AllChecksItsArgumentsInOrder) {
    Host nowhere;
    nowhere.uri.reset();
    for (const Kind &kind : kKinds) {
        QLIBSZLIST *none = nullptr;
        List list;
        ExpectArgumentFailure("((void *)0) != pHost",
                              [&] { return kind.all(nullptr, &none, &none); });
        ExpectArgumentFailure("NULL != pHost->szUri",
                              [&] { return kind.all(nowhere, &none, &none); });
        ExpectArgumentFailure(
            "((void *)0) == " + kind.dn_list + " || ((void *)0) != *" + kind.dn_list,
            [&] { return kind.all(host, &none, &none); });
        ExpectArgumentFailure("NULL == " + kind.name_list + " || NULL != *" + kind.name_list,
                              [&] { return kind.all(host, &list, &none); });
        ExpectArgumentFailure("NULL == " + kind.name_list + " || NULL != *" + kind.name_list,
                              [&] { return kind.all(host, nullptr, &none); });
    }
}

TEST_P(Enumeration, ByNumberAsksForDnsOfTheNumber) {
    ForEachKind([&](const Kind &kind) {
        FindsNothing();
        EXPECT_EQ(kind.by_number(host, 1027, nullptr), 0);
        EXPECT_EQ(Searches(),
                  std::vector<Strings>{Below(And(kind.filter, kind.number + "=1027"), {"dn"})});
        EXPECT_EQ(Log(), Strings{});
        ExpectSlotsUntouched();
    });
}

TEST_P(Enumeration, ByNumberPrintsTheNumberUnsigned) {
    ForEachKind([&](const Kind &kind) {
        FindsNothing();
        FindsNothing();
        EXPECT_EQ(kind.by_number(host, 4294967295u, nullptr), 0);
        EXPECT_EQ(kind.by_number(host, 0, nullptr), 0);
        EXPECT_EQ(Searches(), (std::vector<Strings>{
                                  Below(And(kind.filter, kind.number + "=4294967295"), {"dn"}),
                                  Below(And(kind.filter, kind.number + "=0"), {"dn"})}));
    });
}

TEST_P(Enumeration, ByNumberCountsAndAppendsEveryEntry) {
    ForEachKind([&](const Kind &kind) {
        List dns{"before"};
        Finds(Entry("x=b,c=o", {}) + Entry("x=a,c=o", {}));
        EXPECT_EQ(kind.by_number(host, 7, &dns), 2);
        EXPECT_EQ(dns.Items(), (Strings{"before", "x=b,c=o", "x=a,c=o"}));
    });
}

TEST_P(Enumeration, ByNumberOnlyCountsWithoutAList) {
    ForEachKind([&](const Kind &kind) {
        QLIBSZLIST *none = nullptr;
        Finds(Entry("x=b,c=o", {}) + Entry("x=a,c=o", {}));
        Finds(Entry("x=b,c=o", {}));
        EXPECT_EQ(kind.by_number(host, 7, nullptr), 2);
        EXPECT_EQ(kind.by_number(host, 7, &none), 1);
        EXPECT_EQ(none, nullptr);
        EXPECT_EQ(Log(), Strings{});
    });
}

TEST_P(Enumeration, ByNumberSkipsAnEntryWithoutADn) {
    ForEachKind([&](const Kind &kind) {
        List dns;
        Finds("cn: ghost\n\n" + Entry("x=a,c=o", {}));
        EXPECT_EQ(kind.by_number(host, 7, &dns), 1);
        EXPECT_EQ(dns.Items(), Strings{"x=a,c=o"});
    });
}

TEST_P(Enumeration, ByNumberFailsWithTheToolAndKeepsWhatCame) {
    ForEachKind([&](const Kind &kind) {
        List dns;
        Finds(Entry("x=b,c=o", {})).Exits(49);
        EXPECT_EQ(kind.by_number(host, 7, &dns), -1);
        EXPECT_EQ(LibraryError(), 49);
        EXPECT_EQ(TakeLog(), Strings{kGetNextFailed});
        EXPECT_EQ(dns.Items(), Strings{"x=b,c=o"});
    });
}

TEST_P(Enumeration, ByNumberFailsWhenTheToolCannotBeStarted) {
    ForEachKind([&](const Kind &kind) {
        Finds().CannotStart(0);
        EXPECT_EQ(kind.by_number(host, 7, nullptr), -1);
        EXPECT_EQ(PlatformError(), 0x0900);
        TakeLog();
    });
}

TEST_P(Enumeration, ByNumberNamesTheDnThatCouldNotBeListed) {
    ForEachKind([&](const Kind &kind) {
        platform().On("ldapsearch").Prints(Entry("x=b,c=o", {})).Always();
        int named = 0;
        FailEach(
            "QLIBCSzListPush",
            [&] {
                List dns;
                return kind.by_number(host, 7, &dns);
            },
            [&](int result) {
                EXPECT_EQ(result, -1);
                if (Log() == Strings{"QLIBCSzListPush failed. [x=b,c=o] [0x0200]"}) ++named;
            });
        EXPECT_EQ(named, 1);
    });
}

TEST_P(Enumeration, ByNumberChecksItsArgumentsInOrder) {
    Host nowhere;
    nowhere.uri.reset();
    for (const Kind &kind : kKinds) {
        ExpectArgumentFailure("((void *)0) != pHost",
                              [&] { return kind.by_number(nullptr, 1, nullptr); });
        ExpectArgumentFailure("NULL != pHost->szUri",
                              [&] { return kind.by_number(nowhere, 1, nullptr); });
    }
}

TEST_P(Enumeration, NameOfADnIsReadAtTheDn) {
    ForEachKind([&](const Kind &kind) {
        char name[32] = "before";
        Finds(Entry("x=ann,c=o", {{kind.name, "ann"}}));
        EXPECT_EQ(kind.name_of(host, "x=ann,c=o", name, sizeof name), 1);
        EXPECT_STREQ(name, "ann");
        EXPECT_EQ(Searches(), std::vector<Strings>{At("x=ann,c=o", kind.filter, {kind.name})});
        EXPECT_EQ(Log(), Strings{});
        ExpectSlotsUntouched();
    });
}

TEST_P(Enumeration, NameOfAMissingEntryIsNotFound) {
    ForEachKind([&](const Kind &kind) {
        char name[32] = "before";
        FindsNothing();
        EXPECT_EQ(kind.name_of(host, "x=ann,c=o", name, sizeof name), 0);
        EXPECT_STREQ(name, "");
    });
}

TEST_P(Enumeration, NameOfAnEntryWithoutOneIsNotFound) {
    ForEachKind([&](const Kind &kind) {
        char name[32] = "before";
        Finds(Entry("x=ann,c=o", {}));
        EXPECT_EQ(kind.name_of(host, "x=ann,c=o", name, sizeof name), 0);
    });
}

TEST_P(Enumeration, NameOfAnEntryWithSeveralIsAFailure) {
    ForEachKind([&](const Kind &kind) {
        char name[32];
        Finds(Entry("x=ann,c=o", {{kind.name, "ann"}, {kind.name, "anna"}}));
        EXPECT_EQ(kind.name_of(host, "x=ann,c=o", name, sizeof name), -1);
    });
}

TEST_P(Enumeration, NameIsCutToTheBuffer) {
    ForEachKind([&](const Kind &kind) {
        char name[5] = "####";
        Finds(Entry("x=ann,c=o", {{kind.name, "annemarie"}}));
        Finds(Entry("x=ann,c=o", {{kind.name, "annemarie"}}));
        EXPECT_EQ(kind.name_of(host, "x=ann,c=o", name, sizeof name), 1);
        EXPECT_STREQ(name, "anne");
        EXPECT_EQ(kind.name_of(host, "x=ann,c=o", name, 1), 1);
        EXPECT_STREQ(name, "");
    });
}

TEST_P(Enumeration, NameOfADnFailsWithTheTool) {
    ForEachKind([&](const Kind &kind) {
        char name[32];
        SearchFails(32);
        EXPECT_EQ(kind.name_of(host, "x=ann,c=o", name, sizeof name), -1);
        EXPECT_EQ(LibraryError(), 32);
        TakeLog();
    });
}

TEST_P(Enumeration, NameOfADnChecksItsArgumentsInOrder) {
    Host nowhere;
    nowhere.uri.reset();
    for (const Kind &kind : kKinds) {
        char name[32];
        ExpectArgumentFailure("((void *)0) != pHost",
                              [&] { return kind.name_of(nullptr, nullptr, nullptr, 0); });
        ExpectArgumentFailure("NULL != pHost->szUri",
                              [&] { return kind.name_of(nowhere, nullptr, nullptr, 0); });
        ExpectArgumentFailure("((void *)0) != szDN",
                              [&] { return kind.name_of(host, nullptr, nullptr, 0); });
        ExpectArgumentFailure("((void *)0) != szValue",
                              [&] { return kind.name_of(host, "c=o", nullptr, 0); });
        ExpectArgumentFailure("0 < cbValue", [&] { return kind.name_of(host, "c=o", name, 0); });
    }
}

}  // namespace zafo::foreign::enumeration_test
