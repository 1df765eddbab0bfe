// SPDX-License-Identifier: Apache-2.0
//
// Lists and maps of the platform: the capacities that the library requests, and its behaviour when
// an allocation fails. A platform may leave its error slot alone; the library sets what it
// documents.
#include "tests/seam/seam.h"
#include "tests/server/backup_fixture.h"

namespace zafo::seam_test {
namespace {

using core_test::Items;
using core_test::kStaleLdapCode;
using core_test::kStalePlatformCode;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

class Lists : public server_test::BackupTest, public SeamTest {
  protected:
    Lists() {
        hooks_.list_alloc = [this](int capacity) {
            lists_.push_back(capacity);
            return RealListAlloc(capacity);
        };
        hooks_.map_alloc = [this](int capacity) {
            maps_.push_back(capacity);
            return RealMapAlloc(capacity);
        };
    }
    ~Lists() override { ZAFOLDAPHostFree(&record_); }

    void ExpectCapacities(const std::vector<int> &lists, const std::vector<int> &maps = {}) {
        EXPECT_EQ(lists_, lists);
        EXPECT_EQ(maps_, maps);
        lists_.clear();
        maps_.clear();
    }

    // Fails every push of this text.
    void RefuseToPush(const std::string &text) {
        hooks_.list_push = [text](QLIBSZLIST **list, const char *pushed) {
            return text == pushed ? -1 : RealListPush(list, pushed);
        };
    }

    std::vector<int> lists_, maps_;
    ZAFOLDAP_HOST record_{};
};

// --- Capacities ---------------------------------------------------------------

TEST_F(Lists, OfRecordsHave1024) {
    EXPECT_EQ(ZAFOLDAPHostInit(&record_), 0);
    ExpectCapacities({1024});

    ZAFOLDAP_RESULT result;
    EXPECT_EQ(ZAFOLDAPResultInit(&result), 0);
    ExpectCapacities({1024, 1024});
    ZAFOLDAPResultFree(&result);

    ZAFOLDAP_SEARCH_REQUEST request;
    EXPECT_EQ(ZAFOLDAPSearchRequestInit(&request, 1), 0);
    ExpectCapacities({1024});
    ZAFOLDAPSearchRequestFree(&request);
    EXPECT_EQ(ZAFOLDAPBrowserUserEnumRequestInit(&request), 0);
    ExpectCapacities({1024});
    ZAFOLDAPSearchRequestFree(&request);
    EXPECT_EQ(ZAFOLDAPBrowserGroupEnumRequestInit(&request), 0);
    ExpectCapacities({1024});
    ZAFOLDAPSearchRequestFree(&request);
}

TEST_F(Lists, OfClonesHaveTheirSources) {
    record_.plistBuffer = RealListAlloc(77);
    ZAFOLDAP_HOST clone{};
    EXPECT_EQ(ZAFOLDAPHostClone(&clone, &record_), 0);
    ExpectCapacities({77});
    ZAFOLDAPHostFree(&clone);

    ZAFOLDAP_SEARCH_REQUEST request{}, copy{};
    request.plistAttr = RealListAlloc(33);
    EXPECT_EQ(ZAFOLDAPSearchRequestClone(&copy, &request), 0);
    ExpectCapacities({33});
    ZAFOLDAPSearchRequestFree(&request);
    ZAFOLDAPSearchRequestFree(&copy);
}

TEST_F(Lists, OfMarksAreMadeForEveryEntryWith1024) {
    ZAFOLDAP_SEARCH_REQUEST request{};
    ZAFOLDAP_RESULT result;
    hooks_.open = [](const Texts &, const std::string &) {
        return ToolSaying({"dn: a\n\ndn: b\n\n"});
    };
    EXPECT_EQ(ZAFOLDAPSearchInit(&host_, &request, &result), 0);
    ExpectCapacities({1024, 1024});
    EXPECT_EQ(ZAFOLDAPSearchGetNext(&request, &result), 1);
    ExpectCapacities({1024});
    EXPECT_EQ(ZAFOLDAPSearchGetNext(&request, &result), 1);
    ExpectCapacities({1024});
    ZAFOLDAPSearchFree(&request, &result);
}

TEST_F(Lists, OfAccountFunctionsHave1024) {
    const Texts answers = {"dn: cn=staff,cn=groups\ncn: staff\ngidNumber: 5\nmemberUid: ann\n\n"};
    tools_.On("ldapsearch").Output(answers[0]);
    ZAFOGROUP *group = nullptr;
    EXPECT_EQ(ZAFOLDAPBrowserGroupGet(&host_, "cn=staff", &group, nullptr, 0), 1);
    ZAFOGroupFree(group);
    EXPECT_EQ(lists_.size(), 4u) << "an entry's two, its marks, the members";

    core_test::List users;
    EXPECT_EQ(ZAFOLDAPBrowserUserEnumByPrimaryGroup(&host_, "cn=staff", nullptr, users.Address()),
              1);
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditByUserUID(&host_, "bob", users.Get(), nullptr), 0);
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditWhenUserUIDChange(&host_, "bob", "rob"), 0);
    EXPECT_THAT(lists_, Each(1024));
}

TEST_F(Lists, AndMapsOfSettingsHave1024AndTheServersConfiguration512) {
    EXPECT_EQ(ZAFOLDAPHostInitByBrowserConfig(&record_, "nobody"), -1);
    ExpectCapacities({1024}, {1024});
    ZAFOLDAP_HOST without_password = host_;  // not every build has a cipher to save it
    without_password.szBindPasswd = nullptr;
    EXPECT_EQ(ZAFOLDAPBrowserConfSet(&without_password, "ann"), 0);
    ExpectCapacities({}, {1024});
    EXPECT_EQ(ZAFOLDAPBackupConfigGet(&config_, nullptr), 0);
    ExpectCapacities({1024}, {1024});
    EXPECT_EQ(ZAFOLDAPBackupConfigSet(&config_), 0);
    ExpectCapacities({}, {1024});
    hooks_.get_pair = [](const char *, QLIBSZHASH *) { return 0; };
    ZAFOLDAP_PROGRESS progress;
    EXPECT_EQ(ZAFOLDAPServerProgressGet(&progress), 1);
    ExpectCapacities({1024}, {1024});
    ZAFOLDAPServerProgressFree(&progress);
    parms_ = {};
    server_test::Write(server_test::kTemplate, "database mdb\n");
    EXPECT_EQ(ZAFOLDAPServerConfSet(&parms_), 0);
    ExpectCapacities({}, {512});
    std::filesystem::remove(server_test::kSavedConnections);
}

// --- What cannot be had -------------------------------------------------------

class NoMemory : public Lists {
  protected:
    void ExpectOutOfMemory() {
        EXPECT_EQ(QLIBCErrGet(), 0x0200);
        EXPECT_EQ(ZAFOLDAPErrGet(), kStaleLdapCode);
        core_test::SetStaleCodes();
    }
};

TEST_F(NoMemory, LeavesANewConnectionWithoutABuffer) {
    record_.szUri = "stale";
    hooks_.list_alloc = NoListAt(1);
    EXPECT_EQ(ZAFOLDAPHostInit(&record_), -1);
    EXPECT_EQ(record_.plistBuffer, nullptr);
    EXPECT_EQ(record_.szUri, nullptr);
    ExpectOutOfMemory();
    hooks_.list_alloc = nullptr;
    hooks_.list_insert = [](QLIBSZLIST **, int, const char *) { return -1; };
    EXPECT_EQ(ZAFOLDAPHostInit(&record_), -1);
    EXPECT_EQ(record_.plistBuffer, nullptr) << "the list is released";
    ExpectOutOfMemory();
}

TEST_F(NoMemory, LeavesACloneWithoutItsBuffer) {
    EXPECT_EQ(ZAFOLDAPHostInit(&record_), 0);
    ZAFOLDAPHostSet(&record_, LDAP_HOST_ATTR_URI, "server");
    record_.nSchema = 5;
    for (int nth = 1; nth <= 5; ++nth) {
        hooks_.list_push = NoPushAt(nth);
        ZAFOLDAP_HOST clone{};
        EXPECT_EQ(ZAFOLDAPHostClone(&clone, &record_), -1);
        EXPECT_EQ(clone.plistBuffer, nullptr);
        EXPECT_EQ(clone.nSchema, 5u);
    }
    hooks_.list_push = nullptr;
    hooks_.list_alloc = NoListAt(1);
    ZAFOLDAP_HOST clone{};
    EXPECT_EQ(ZAFOLDAPHostClone(&clone, &record_), -1);
    EXPECT_EQ(clone.plistBuffer, nullptr);
}

TEST_F(NoMemory, LeavesARequestWithoutItsAttributes) {
    ZAFOLDAP_SEARCH_REQUEST request{}, copy{};
    request.szFilter = "stale";
    hooks_.list_alloc = NoListAt(1);
    EXPECT_EQ(ZAFOLDAPSearchRequestInit(&request, 1), -1);
    EXPECT_EQ(request.plistAttr, nullptr);
    EXPECT_EQ(request.szFilter, nullptr);

    hooks_.list_alloc = nullptr;
    core_test::Request source({"cn", "uid"});
    source.szFilter = "(a=b)";
    hooks_.list_push = NoPushAt(2);
    EXPECT_EQ(ZAFOLDAPSearchRequestClone(&copy, &source), -1);
    EXPECT_EQ(copy.plistAttr, nullptr);
    EXPECT_STREQ(copy.szFilter, "(a=b)");
}

TEST_F(NoMemory, LeavesAnEnumerationWithTheAttributesThatItHas) {
    hooks_.list_push = NoPushAt(3);
    ZAFOLDAP_SEARCH_REQUEST request{};
    EXPECT_EQ(ZAFOLDAPBrowserUserEnumRequestInit(&request), -1);
    EXPECT_THAT(Items(request.plistAttr), ElementsAre("dn", "cn"));
    ZAFOLDAPSearchRequestFree(&request);
}

TEST_F(NoMemory, LeavesANewEntryWithoutLists) {
    for (const int nth : {1, 2}) {
        hooks_.list_alloc = NoListAt(nth);
        ZAFOLDAP_RESULT result;
        EXPECT_EQ(ZAFOLDAPResultInit(&result), -1);
        EXPECT_EQ(result.plistAttr, nullptr);
        EXPECT_EQ(result.plistValue, nullptr);
    }
}

class EntryWithoutMemory : public NoMemory {
  protected:
    EntryWithoutMemory() {
        ZAFOLDAPResultInit(&result_);
        ZAFOLDAPResultSet(&result_, "cn", "a");
        ZAFOLDAPResultSet(&result_, "cn", "b");
    }
    ~EntryWithoutMemory() override { ZAFOLDAPResultFree(&result_); }

    ZAFOLDAP_RESULT result_{};
};

TEST_F(EntryWithoutMemory, LosesTheNameOfAValueThatItCannotHold) {
    hooks_.list_push = NoPushAt(2);
    EXPECT_EQ(ZAFOLDAPResultSet(&result_, "uid", "ann"), -1);
    EXPECT_THAT(Items(result_.plistAttr), ElementsAre("cn", "cn"));
    EXPECT_THAT(Items(result_.plistValue), ElementsAre("a", "b"));
    hooks_.list_push = NoPushAt(1);
    EXPECT_EQ(ZAFOLDAPResultSet(&result_, "uid", "ann"), -1);
    EXPECT_THAT(Items(result_.plistAttr), ElementsAre("cn", "cn"));
}

TEST_F(EntryWithoutMemory, LosesThePairWhoseLongerValueItCannotHold) {
    hooks_.list_push = NoPushAt(1);
    EXPECT_EQ(ZAFOLDAPResultConcateAttr(&result_, "more"), -1);
    EXPECT_THAT(Items(result_.plistAttr), ElementsAre("cn"));
    EXPECT_THAT(Items(result_.plistValue), ElementsAre("a"));
}

TEST_F(EntryWithoutMemory, GivesAllValuesOrNone) {
    core_test::List values{"stale"};
    hooks_.list_push = NoPushAt(2);
    EXPECT_EQ(ZAFOLDAPResultGetAll(&result_, "cn", values.Address()), -1);
    EXPECT_THAT(values.Items(), IsEmpty());
}

TEST_F(EntryWithoutMemory, IsClonedAsFarAsItGoes) {
    ZAFOLDAP_RESULT copy;
    ZAFOLDAPResultInit(&copy);
    hooks_.list_push = NoPushAt(4);
    EXPECT_EQ(ZAFOLDAPResultClone(&copy, &result_), -1);
    EXPECT_THAT(Items(copy.plistAttr), ElementsAre("cn"));
    EXPECT_THAT(Items(copy.plistValue), ElementsAre("a"));
    ZAFOLDAPResultFree(&copy);
}

TEST_F(EntryWithoutMemory, IsLeftAsItIsWhenItsLastValueCannotBeTaken) {
    hooks_.list_pop = [](QLIBSZLIST *) { return -1; };
    EXPECT_EQ(ZAFOLDAPResultConcateAttr(&result_, "more"), -1);
    EXPECT_THAT(Items(result_.plistAttr), ElementsAre("cn", "cn"));
    EXPECT_THAT(Items(result_.plistValue), ElementsAre("a", "b"));
}

TEST_F(EntryWithoutMemory, SaysThatAListCannotBeEmptied) {
    for (QLIBSZLIST *list : {result_.plistAttr, result_.plistValue}) {
        hooks_.list_remove_all = [=](QLIBSZLIST *emptied) { return emptied == list ? -1 : 0; };
        EXPECT_EQ(ZAFOLDAPResultRemoveAll(&result_), -1);
        ZAFOLDAP_SEARCH_REQUEST request{};
        EXPECT_EQ(ZAFOLDAPSearchGetNext(&request, &result_), -1);
    }
}

class SearchWithoutMemory : public NoMemory {
  protected:
    SearchWithoutMemory() {
        hooks_.open = [](const Texts &, const std::string &) {
            return ToolSaying(
                {"dn: uid=ann\ncn: ann\nuid: ann\n\ndn: uid=bob\ncn: bob\nuid: bob\n\n"});
        };
    }
    core_test::List dns_, names_;
};

TEST_F(SearchWithoutMemory, SaysThatAnEntryHasNoMarks) {
    ZAFOLDAP_SEARCH_REQUEST request{};
    ZAFOLDAP_RESULT result;
    EXPECT_EQ(ZAFOLDAPSearchInit(&host_, &request, &result), 0);
    hooks_.list_alloc = NoListAt(1);
    EXPECT_EQ(ZAFOLDAPSearchGetNext(&request, &result), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre("Memory allocation failed."));
    ExpectOutOfMemory();
    EXPECT_NE(result.pFile, nullptr) << "the search stays open";
    EXPECT_EQ(ZAFOLDAPSearchGetNext(&request, &result), 1);
    ZAFOLDAPSearchFree(&request, &result);
}

TEST_F(SearchWithoutMemory, KeepsListsOfDNsAndValuesParallel) {
    ZAFOLDAP_SEARCH_REQUEST request{};
    hooks_.list_push = [this](QLIBSZLIST **list, const char *text) {
        const bool second = list == names_.Address() && (*list)->nItem == 1;
        return second ? -1 : RealListPush(list, text);
    };
    EXPECT_EQ(ZAFOLDAPSearchEachValue(&host_, &request, "cn", dns_.Address(), names_.Address()),
              -1);
    EXPECT_THAT(dns_.Items(), ElementsAre("uid=ann"));
    EXPECT_THAT(names_.Items(), ElementsAre("ann"));
}

TEST_F(SearchWithoutMemory, NamesWhatItCannotList) {
    const std::string line = "QLIBCSzListPush failed. [uid=bob] [0x1234]";
    host_.szLoginSuffix = "x";
    const std::function<int()> calls[] = {
        [this] { return ZAFOLDAPBrowserUserEnumAll(&host_, dns_.Address(), nullptr); },
        [this] { return ZAFOLDAPBrowserGroupEnumAll(&host_, dns_.Address(), nullptr); },
        [this] { return ZAFOLDAPBrowserUserEnumByUIDNumber(&host_, 5, dns_.Address()); },
        [this] { return ZAFOLDAPBrowserGroupEnumByGIDNumber(&host_, 5, dns_.Address()); },
        [this] { return ZAFOLDAPBrowserGroupEnumByUserUID(&host_, "u", dns_.Address(), nullptr); },
    };
    for (const auto &call : calls) {
        hooks_.list_push = [this](QLIBSZLIST **list, const char *text) {
            const bool wanted = list == dns_.Address() && std::string(text) == "uid=bob";
            return wanted ? -1 : RealListPush(list, text);
        };
        log_.Clear();
        QLIBCSzListRemoveAll(dns_.Get());
        EXPECT_EQ(call(), -1);
        EXPECT_THAT(LoggedTexts(), ElementsAre(line));
        EXPECT_THAT(dns_.Items(), ElementsAre("uid=ann")) << "what came before stays";
    }
}

TEST_F(SearchWithoutMemory, NamesTheNameThatItCannotList) {
    host_.szLoginSuffix = "x";
    const std::function<int()> calls[] = {
        [this] { return ZAFOLDAPBrowserUserEnumAll(&host_, dns_.Address(), names_.Address()); },
        [this] { return ZAFOLDAPBrowserGroupEnumAll(&host_, dns_.Address(), names_.Address()); },
        [this] {
            return ZAFOLDAPBrowserGroupEnumByUserUID(&host_, "u", dns_.Address(), names_.Address());
        },
    };
    for (const auto &call : calls) {
        hooks_.list_push = [this](QLIBSZLIST **list, const char *text) {
            return list == names_.Address() ? -1 : RealListPush(list, text);
        };
        log_.Clear();
        QLIBCSzListRemoveAll(dns_.Get());
        EXPECT_EQ(call(), -1);
        EXPECT_THAT(LoggedTexts(), ElementsAre("QLIBCSzListPush failed. [ann] [0x1234]"));
        EXPECT_THAT(dns_.Items(), ElementsAre("uid=ann"));
    }
}

// --- Missing items ---------------------------------------------------------------

TEST_F(Lists, ItemsThatAreNullAreLeftOutOfClones) {
    core_test::List source{"a", "b", "c"};
    hooks_.list_get = [&](const QLIBSZLIST *list, int index) {
        return list == source.Get() && index == 1 ? nullptr : RealListGet(list, index);
    };
    ZAFOLDAP_HOST host{}, clone{};
    host.plistBuffer = source.Get();
    EXPECT_EQ(ZAFOLDAPHostClone(&clone, &host), 0);
    EXPECT_THAT(Items(clone.plistBuffer), ElementsAre("a", "c"));
    ZAFOLDAPHostFree(&clone);

    ZAFOLDAP_SEARCH_REQUEST request{}, copy{};
    request.plistAttr = source.Get();
    EXPECT_EQ(ZAFOLDAPSearchRequestClone(&copy, &request), 0);
    EXPECT_THAT(Items(copy.plistAttr), ElementsAre("a", "c"));
    ZAFOLDAPSearchRequestFree(&copy);
}

// A platform that fails to allocate an item, or reports a wrong number of items.
class LostItems : public Lists {
  protected:
    LostItems() {
        host_.szLoginSuffix = "x";
        hooks_.open = [](const Texts &, const std::string &) {
            return ToolSaying(
                {"dn: cn=staff\ncn: staff\nuid: ann\nuidNumber: 5\ngidNumber: 5\n"
                 "memberUid: ann\nobjectClass: top\ndescription:: aGVs\n bG8=\n"
                 "subschemaSubentry: cn=s\nobjectClasses: 'top'\n"
                 "namingContexts: dc=x\nsambaSID: S-1\nsambaNextUserRid: 5\n\n"});
        };
        hooks_.list_get = [](const QLIBSZLIST *, int) { return nullptr; };
    }
};

TEST_F(LostItems, DoNotCauseACrash) {
    char text[64];
    unsigned int bits = 0;
    core_test::List dns, names;
    const std::function<void()> calls[] = {
        [&] { ZAFOLDAPHostGetSchemaDN(&host_, text, sizeof text); },
        [&] { ZAFOLDAPHostGetSupportedSchema(&host_); },
        [&] { ZAFOLDAPSearchObjectClasses(&host_, "cn=x", nullptr, &bits); },
        [&] { ZAFOLDAPSearchGetValueByDN(&host_, "cn=x", nullptr, "cn", text, sizeof text); },
        [&] { ZAFOLDAPBrowserUserEnumAll(&host_, dns.Address(), names.Address()); },
        [&] { ZAFOLDAPBrowserUserEnumNotInGroupDN(&host_, "cn=staff", names.Address()); },
        [&] { ZAFOLDAPBrowserGroupEnumByUserUID(&host_, "ann", dns.Address(), names.Address()); },
        [&] { ZAFOLDAPBrowserSuggestBaseDN(&host_, dns.Address()); },
        [&] { ZAFOLDAPBrowserSuggestUid(&host_); },
        [&] { ZAFOLDAPSambaUIDGen(&host_); },
        [&] { ZAFOLDAPSambaSIDGen(&host_, text, sizeof text); },
        [&] { ZAFOLDAPBrowserCheckBindInfo(&host_, nullptr); },
        [&] { ZAFOLDAPBrowserDeleteUser(&host_, "ann"); },
        [&] { ZAFOLDAPBrowserGroupEdit(&host_, "cn=staff", "crew", "x", nullptr); },
        [&] { ZAFOLDAPBrowserGroupEditWhenUserUIDChange(&host_, "ann", "bob"); },
        [&] { ZAFOLDAPBrowserMigrateUserToLocal(&host_); },
        [&] { ZAFOLDAPBrowserMigrateGroupToLocal(&host_); },
        [&] { ZAFOLDAPBackupConfigGet(&config_, nullptr); },
        [&] { ZAFOLDAPServerDefaultAdd(); },
        [&] { ZAFOLDAPServerAutomountCreate("server", "/homes"); },
    };
    for (const auto &call : calls)
        call();
    hooks_.list_get = nullptr;
    SUCCEED() << "all of them came back";
}

TEST_F(LostItems, OfACallersListsAreRefusedAndNothingRuns) {
    hooks_.open = [](const Texts &words, const std::string &) {
        ADD_FAILURE() << words[0];
        return static_cast<FILE *>(nullptr);
    };
    const core_test::List given{"ann"};
    EXPECT_EQ(ZAFOLDAPBrowserUserEditByGroupDN(&host_, "cn=staff", given.Get(), nullptr), -1);
    ExpectSlots(kStaleLdapCode, 0x0D00);
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditByUserUID(&host_, "ann", nullptr, given.Get()), -1);
    ExpectSlots(kStaleLdapCode, 0x0D00);
}

}  // namespace
}  // namespace zafo::seam_test
