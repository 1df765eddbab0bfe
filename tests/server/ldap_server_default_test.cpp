// SPDX-License-Identifier: Apache-2.0
//
// The default accounts: what is written, what is left as it is, and the effect of each possible
// failure.
#include <csignal>
#include <filesystem>

#include "tests/server/default_accounts.h"

namespace zafo::server_test {
namespace {

const std::string kTaken = "dn: cn=somebody,dc=example,dc=com\n\n";
const std::string kOperatorsDN = "cn=Directory Operators,cn=groups,dc=example,dc=com";
const std::string kAdministratorsDN = "cn=administrators,cn=groups,dc=example,dc=com";

std::string GroupFailed(const std::string &name, const std::string &reason) {
    return "create default group [" + name + "] failed, " + reason;
}
std::string JoinFailed(const std::string &dn, const std::string &reason) {
    return "add [admin] to [" + dn + "] failed, " + reason;
}

class DefaultAdd : public ServerTest {
  protected:
    void SetUp() override {
        SKIP_WITHOUT_CIPHER();
        EXPECT_EQ(ZAFOLDAPBrowserConfSet(&host_, nullptr), 0);
    }
    int Add() { return ZAFOLDAPServerDefaultAdd(); }

    // The runs with these searches answered by an existing entry.
    static std::vector<Step> With(std::vector<Step> steps, const std::vector<size_t> &taken) {
        for (const size_t at : taken)
            steps.at(at).output = kTaken;
        return steps;
    }
    // Only the memberships are missing.
    void PrepareAllExist(int join_code) {
        Prepare({kDefaultSteps[0], kDefaultSteps[1], kDefaultSteps[2], {"ldapsearch", kTaken}});
        tools_.On("ldapmodify").Exit(join_code);
    }
};

TEST_F(DefaultAdd, WritesTheseRecords) {
    Prepare(kDefaultSteps);
    const time_t start = std::time(nullptr);
    EXPECT_EQ(Add(), 0);
    std::string written;
    for (const std::string &change : Changes())
        written += (written.empty() ? "" : "\n") + change;
    EXPECT_EQ(Frozen(written, start), GoldenFile("default_accounts.ldif"));
    EXPECT_THAT(LoggedTexts(), ElementsAre(kNoHomes));
    ExpectSlots(0, kStalePlatformCode);
}

TEST_F(DefaultAdd, RunsTheseToolsInThisOrder) {
    Prepare(kDefaultSteps);
    EXPECT_EQ(Add(), 0);
    Texts expected;
    for (const Step &step : kDefaultSteps)
        expected.emplace_back(step.tool);
    EXPECT_EQ(Tools(), expected);
}

TEST_F(DefaultAdd, PasswordIsTheDirectoryAdministrators) {
    Prepare(kDefaultSteps);
    EXPECT_EQ(Add(), 0);
    EXPECT_EQ(Commands().at(14), HashCommand("geheim"));
    EXPECT_EQ(Commands().at(16), PasswdCommand("geheim", "uid=admin,cn=users,dc=example,dc=com"));
}

TEST_F(DefaultAdd, NothingIsAddedWhereAllExists) {
    PrepareAllExist(20);
    EXPECT_EQ(Add(), 0);
    EXPECT_THAT(Tools(),
                ElementsAre("ldapsearch", "ldapsearch", "ldapsearch", "ldapsearch", "ldapsearch",
                            "ldapsearch", "ldapsearch", "ldapmodify", "ldapmodify"));
    EXPECT_THAT(log_.Messages(), IsEmpty());
    ExpectSlots(0, kStalePlatformCode);
}

TEST_F(DefaultAdd, EachNameThatExistsIsSkippedAlone) {
    for (const size_t at : {3U, 6U, 9U, 12U}) {
        std::vector<Step> steps = With(kDefaultSteps, {at});
        const auto rest = steps.begin() + static_cast<long>(at) + 1;
        steps.erase(rest, rest + (at == 12 ? 5 : 2));
        Prepare(steps);
        EXPECT_EQ(Add(), 0);
        Texts expected;
        for (const Step &step : steps)
            expected.emplace_back(step.tool);
        EXPECT_EQ(Tools(), expected) << at;
        EXPECT_EQ(LoggedTexts(), at == 12 ? Texts{} : Texts{kNoHomes});
        ExpectSlots(0, kStalePlatformCode);
    }
}

TEST_F(DefaultAdd, NumberOfAnotherNameIsAFailure) {
    const std::tuple<size_t, Texts, int> kCases[] = {
        {4,
         {"gid [1000001] already exists", GroupFailed("users", "ldap_gid_already_exists (-65541)")},
         -65541},
        {7,
         {"gid [1000000] already exists",
          GroupFailed("Directory Operators", "ldap_gid_already_exists (-65541)")},
         -65541},
        {10,
         {"gid [1000002] already exists",
          GroupFailed("administrators", "ldap_gid_already_exists (-65541)")},
         -65541},
        {13, {"uid [1000000] already exists"}, -65540},
    };
    for (const auto &[at, texts, code] : kCases) {
        Prepare(With(kDefaultSteps, {at}));
        EXPECT_EQ(Add(), -1);
        EXPECT_EQ(LoggedTexts(), texts);
        ExpectSlots(code, kStalePlatformCode);
        EXPECT_THAT(tools_.Calls(), SizeIs(at + 1)) << "what was before stays, nothing follows";
    }
}

TEST_F(DefaultAdd, RefusalOfEachEntryIsAFailure) {
    const std::tuple<size_t, Texts> kCases[] = {
        {5,
         {"ZAFOLDAPModify failed [users] [0x1234]",
          GroupFailed("users", "ldap_insufficient_access (50)")}},
        {8,
         {"ZAFOLDAPModify failed [Directory Operators] [0x1234]",
          GroupFailed("Directory Operators", "ldap_insufficient_access (50)")}},
        {11,
         {"ZAFOLDAPModify failed [administrators] [0x1234]",
          GroupFailed("administrators", "ldap_insufficient_access (50)")}},
        {15, {"create default user [admin] failed, ldap_insufficient_access (50)"}},
        {18, {kNoHomes, JoinFailed(kOperatorsDN, "ldap_insufficient_access (50)")}},
        {19, {kNoHomes, JoinFailed(kAdministratorsDN, "ldap_insufficient_access (50)")}},
    };
    for (const auto &[at, texts] : kCases) {
        Prepare(kDefaultSteps, at, 50);
        EXPECT_EQ(Add(), -1);
        EXPECT_EQ(LoggedTexts(), texts);
        ExpectSlots(50, kStalePlatformCode);
        EXPECT_THAT(tools_.Calls(), SizeIs(at + 1));
    }
}

// A code left by an earlier step would look like that of an existing account.
TEST_F(DefaultAdd, KilledToolIsAFailureOfNoCode) {
    const std::tuple<size_t, Texts> kCases[] = {
        {5, {"ZAFOLDAPModify failed [users] [0x1234]", GroupFailed("users", " (0)")}},
        {15, {"create default user [admin] failed,  (0)"}},
        {18, {JoinFailed(kOperatorsDN, " (0)")}},
        {19, {JoinFailed(kAdministratorsDN, " (0)")}},
    };
    for (const int stale : {20, -65539, -65538}) {
        for (const auto &[at, texts] : kCases) {
            Prepare(kDefaultSteps, at, 0);
            ZAFOLDAPErrSet(stale);
            EXPECT_EQ(Add(), -1);
            Texts expected;
            if (at > 17) expected.push_back(kNoHomes);
            expected.emplace_back("ldapmodify terminate abnormal 9");
            expected.insert(expected.end(), texts.begin(), texts.end());
            EXPECT_EQ(LoggedTexts(), expected);
            ExpectSlots(0, kStalePlatformCode);
        }
    }
}

// Error 68 from the server is not the library's own "exists": the entry is in another container.
TEST_F(DefaultAdd, EntryThatTheServerAloneKnowsIsAFailure) {
    Prepare(kDefaultSteps, 5, 68);
    EXPECT_EQ(Add(), -1);
    EXPECT_EQ(LoggedTexts().back(), GroupFailed("users", "ldap_already_exists (68)"));
}

TEST_F(DefaultAdd, PasswordThatCannotBeHashedIsAFailure) {
    Prepare(kDefaultSteps, 14, 1);
    EXPECT_EQ(Add(), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre("Failed to read from popen (Success)",
                                           "create default user [admin] failed,  (0)"));
}

TEST_F(DefaultAdd, PasswordThatTheServerRefusesIsAFailure) {
    Prepare(kDefaultSteps, 16, 53);
    EXPECT_EQ(Add(), -1);
    EXPECT_THAT(
        LoggedTexts(),
        ElementsAre("Failed to set password for uid=admin,cn=users,dc=example,dc=com (err=53)",
                    "ZAFOLDAPPasswd failed. [uid=admin,cn=users,dc=example,dc=com]",
                    "create default user [admin] failed,  (0)"));
    EXPECT_THAT(tools_.Calls(), SizeIs(17));
}

TEST_F(DefaultAdd, EachMembershipMayExistAlready) {
    for (const size_t at : {18U, 19U}) {
        Prepare(kDefaultSteps, at, 20);
        EXPECT_EQ(Add(), 0);
        EXPECT_THAT(tools_.Calls(), SizeIs(20));
        EXPECT_THAT(LoggedTexts(), ElementsAre(kNoHomes));
        ExpectSlots(0, kStalePlatformCode);
    }
}

TEST_F(DefaultAdd, NeedsTheSavedConnectionAndItsServer) {
    tools_.On("ldapsearch").Exit(255);
    EXPECT_EQ(Add(), -1);
    EXPECT_THAT(Tools(), testing::Each("ldapsearch"));
    std::filesystem::remove(kSavedConnections);
    tools_.Reset();
    EXPECT_EQ(Add(), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x2200);
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

}  // namespace
}  // namespace zafo::server_test
