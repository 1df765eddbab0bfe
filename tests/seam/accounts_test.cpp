// SPDX-License-Identifier: Apache-2.0
//
// Accounts over a platform that fails in the middle of a call, and their internal functions.
#include <sys/stat.h>

#include "src/accounts/ldap_samba.h"
#include "tests/accounts/writing_fixture.h"
#include "tests/seam/seam.h"
#include "zafoldap.h"

namespace zafo::seam_test {
namespace {

using core_test::kStaleLdapCode;
using core_test::kStalePlatformCode;
using testing::ElementsAre;
using testing::IsEmpty;

class Accounts : public accounts_test::WritingTest, public SeamTest {
  protected:
    // Successive answers of ldapsearch(1); the last one is repeated.
    void Say(std::vector<std::string> answers) {
        hooks_.open = [answers = std::move(answers), next = size_t{0}](
                          const Texts &, const std::string &) mutable {
            const std::string &answer = answers[std::min(next++, answers.size() - 1)];
            return answer.empty() ? ToolSaying({}) : ToolSaying({answer});
        };
    }
};

// --- The id pools' check function ------------------------------------------------------

class FindFree : public Accounts {
  protected:
    uint64_t value_ = 5, next_ = 77;
    IdPool pool_{"uidNumber", "objectClass=posixAccount", {0, 100}};
};

TEST_F(FindFree, ChecksItsArgumentsInOrder) {
    ZAFOLDAP_HOST nowhere{};
    const std::pair<int, const char *> cases[] = {
        {ZAFOLDAPIdPoolFindFree(nullptr, nullptr, nullptr, nullptr), "((void *)0) != pHost"},
        {ZAFOLDAPIdPoolFindFree(&nowhere, nullptr, nullptr, nullptr), "NULL != pHost->szUri"},
        {ZAFOLDAPIdPoolFindFree(&host_, nullptr, nullptr, nullptr), "((void *)0) != pValue"},
        {ZAFOLDAPIdPoolFindFree(&host_, &value_, nullptr, nullptr), "((void *)0) != pNext"},
        {ZAFOLDAPIdPoolFindFree(&host_, &value_, &next_, nullptr), "NULL != pTruck"},
    };
    Texts expected;
    for (const auto &[result, condition] : cases) {
        EXPECT_EQ(result, -1);
        expected.push_back(std::string("Invaild Argument (") + condition + ")=[0]\n");
    }
    EXPECT_EQ(LoggedTexts(), expected);
    ExpectSlots(kStaleLdapCode, 0x0D00);
    EXPECT_EQ(value_, 5u);
    EXPECT_EQ(next_, 77u);
}

TEST_F(FindFree, GivesTheFreeNumberAndTheCounterAfterIt) {
    Say({""});
    EXPECT_EQ(ZAFOLDAPIdPoolFindFree(&host_, &value_, &next_, &pool_), 0);
    EXPECT_EQ(value_, 5u);
    EXPECT_EQ(next_, 6u);
}

// --- Checks of a connection ------------------------------------------------------------

TEST_F(Accounts, CheckOfAConnectionThatCannotBeClonedPassesWithoutItsClasses) {
    ZAFOLDAP_HOST record;
    ASSERT_EQ(ZAFOLDAPHostInit(&record), 0);
    ZAFOLDAPHostSet(&record, LDAP_HOST_ATTR_URI, "server");
    Say({"dn: uid=ann\nuid: ann\n\n"});
    hooks_.list_alloc = [&](int capacity) -> QLIBSZLIST * {
        return capacity == 4711 ? nullptr : RealListAlloc(capacity);
    };
    record.plistBuffer->nCapacity = 4711;  // only the clone has this capacity
    EXPECT_EQ(ZAFOLDAPBrowserCheckBindInfo(&record, nullptr), 0);
    ExpectSlots(0, kStalePlatformCode);
    EXPECT_EQ(ZAFOLDAPClientCheckBindInfo(&record), -1);
    EXPECT_THAT(log_.Messages(), IsEmpty());
    ZAFOLDAPHostFree(&record);
}

// --- Memberships -------------------------------------------------------------------------

TEST_F(Accounts, EverySubtractionMayFail) {
    const Texts answers = {"dn: uid=ann\nuid: ann\n\n", "dn: cn=staff\nmemberUid: bob\n\n",
                           "dn: cn=staff\ngidNumber: 5\n\n", ""};
    for (const int failing : {1, 2}) {
        Say(answers);
        log_.Clear();
        int turn = 0;
        hooks_.list_sub = [&](QLIBSZLIST *list, const QLIBSZLIST *other, int flags) {
            EXPECT_EQ(flags, 0);
            return ++turn == failing ? 0 : RealListSub(list, other, flags);
        };
        core_test::List users;
        EXPECT_EQ(ZAFOLDAPBrowserUserEnumNotInGroupDN(&host_, "cn=staff", users.Address()), -1);
        EXPECT_EQ(turn, failing);
        EXPECT_THAT(LoggedTexts(), ElementsAre("QLIBCSzListSub() failed!! [0x1234]"));
        EXPECT_THAT(users.Items(), ElementsAre("ann"));
    }
}

TEST_F(Accounts, MembersThatCannotBeForgottenAreNotSubtractedAgain) {
    Say({"dn: uid=ann\nuid: ann\n\n", "dn: cn=staff\nmemberUid: bob\n\n"});
    int subtractions = 0;
    hooks_.list_sub = [&](QLIBSZLIST *list, const QLIBSZLIST *other, int flags) {
        ++subtractions;
        hooks_.list_remove_all = [](QLIBSZLIST *) { return -1; };
        return RealListSub(list, other, flags);
    };
    core_test::List users;
    EXPECT_EQ(ZAFOLDAPBrowserUserEnumNotInGroupDN(&host_, "cn=staff", users.Address()), -1);
    EXPECT_EQ(subtractions, 1);
}

TEST_F(Accounts, GroupsThatCannotBeSortedAreNotChanged) {
    size_t runs = 0;
    hooks_.open = [&](const Texts &words, const std::string &) {
        ++runs;
        EXPECT_EQ(words[0], "/usr/zafo/bin/ldapsearch");
        return ToolSaying({"dn: cn=staff\ncn: staff\n\n"});
    };
    hooks_.list_sort = [](QLIBSZLIST *) { return -1; };
    const core_test::List added{"cn=staff"};
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditByUserUID(&host_, "ann", added.Get(), nullptr), -1);
    EXPECT_EQ(runs, 1u);
}

// --- Texts of missing memory -----------------------------------------------------------

TEST_F(Accounts, MigrationWithoutAListOfNamesSaysSo) {
    int (*const kBatches[])(const ZAFOLDAP_HOST *) = {
        ZAFOLDAPBrowserMigrateUserToLDAP, ZAFOLDAPBrowserMigrateGroupToLDAP,
        ZAFOLDAPBrowserMigrateUserToLocal, ZAFOLDAPBrowserMigrateGroupToLocal};
    for (const auto batch : kBatches) {
        log_.Clear();
        hooks_.list_alloc = NoListAt(1);
        EXPECT_EQ(batch(&host_), -1);
        EXPECT_THAT(LoggedTexts(), ElementsAre("QLIBCSzListAlloc failed.[0x1234]"));
    }
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

TEST_F(Accounts, HomesWithoutAListOfUsersMountNothing) {
    hooks_.exec = [](const Texts &) {
        ADD_FAILURE() << "a tool is run";
        return 0;
    };
    for (const int nth : {1, 2}) {
        core_test::SetStaleCodes();
        hooks_.list_alloc = NoListAt(nth);
        EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreateAll(&host_, "server", "/homes"), -1);
        ExpectSlots(kStaleLdapCode, 0x0200);
    }
}

// --- Order of steps ------------------------------------------------------------------------

TEST_F(Accounts, ChangeFileIsOpenBeforeThePasswordIsHashed) {
    size_t files = 0;
    Texts tools;
    hooks_.open = [&](const Texts &words, const std::string &) {
        tools.push_back(words[0].substr(words[0].rfind('/') + 1));
        if (tools.back() != "slappasswd") return ToolSaying({});
        for (const auto &entry : std::filesystem::directory_iterator("/tmp")) {
            files += entry.path().extension() == ".ldif" ? 1 : 0;
        }
        return static_cast<FILE *>(nullptr);
    };
    accounts_test::Person person;
    person.password = "secret";
    accounts_test::UserRecord user(person);
    EXPECT_EQ(ZAFOLDAPBrowserUserCreate(&host_, &user, nullptr, nullptr), -1);
    EXPECT_THAT(tools, ElementsAre("ldapsearch", "ldapsearch", "slappasswd"));
    EXPECT_EQ(files, 1u);
    EXPECT_THAT(LoggedTexts(), ElementsAre("Popen failed [0x1234]"));
}

}  // namespace
}  // namespace zafo::seam_test
