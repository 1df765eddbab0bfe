// SPDX-License-Identifier: Apache-2.0
//
// What a migration plans for each account.
#include "tools/zafoldap/migration_plan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace zafo::cli;
using testing::ElementsAre;
using testing::HasSubstr;

Candidate User(const std::string &name, std::optional<std::uint32_t> number,
               std::optional<std::uint32_t> group = 100) {
    return {.name = name, .number = number, .group = group};
}

Target Local(std::optional<int> remained = std::nullopt) {
    Target target{.kind = kUserKind, .local = true, .taken = TakenAccounts(/*fold_case=*/false)};
    target.groups = target.for_users = {100};
    target.remained = remained;
    return target;
}

Target Directory() {
    Target target{.kind = kUserKind, .local = false, .taken = TakenAccounts(/*fold_case=*/true)};
    target.groups = {100};
    return target;
}

// "add", "there", or the reason.
std::vector<std::string> Results(const std::vector<Candidate> &accounts, const Target &target) {
    std::vector<std::string> results;
    for (const Decision &decision : PlanMigration(accounts, target)) {
        const char *const words[] = {"add", "there", "skip"};
        results.push_back(decision.reason.empty() ? words[static_cast<int>(decision.result)]
                                                  : decision.reason);
    }
    return results;
}

TEST(MigrationPlan, AddsWhatIsFree) {
    EXPECT_THAT(Results({User("anna", 1000), User("bob", 1001)}, Local()),
                ElementsAre("add", "add"));
}

TEST(MigrationPlan, RecognisesExistingAccountsByNameAndNumber) {
    Target target = Local();
    target.taken.Add("anna", 1000);
    EXPECT_THAT(Results({User("anna", 1000)}, target), ElementsAre("there"));
}

TEST(MigrationPlan, SaysWhoseSambaHashesAnEarlierRunDidNotReach) {
    Target target = Local();
    for (const char *name : {"anna", "bob", "carl", "dora"})
        target.taken.Add(name, 1000 + target.taken.Count());
    target.without_samba_hashes = {"anna", "carl", "dora"};
    std::vector<Candidate> users = {User("anna", 1000), User("bob", 1001), User("carl", 1002),
                                    User("dora", 1003)};
    users[0].samba_hashes = users[1].samba_hashes = users[2].samba_hashes = true;
    users[2].foreign_hash = true;
    EXPECT_THAT(Results(users, target), ElementsAre(HasSubstr("no Samba password on this system"),
                                                    "there", "there", "there"));
}

TEST(MigrationPlan, SkipsANameOrNumberThatIsTaken) {
    Target target = Local();
    target.taken.Add("anna", 1000);
    target.taken.Add("carl", std::nullopt);
    EXPECT_THAT(Results({User("anna", 1001), User("bob", 1000), User("carl", 1002)}, target),
                ElementsAre("the name is taken, with number 1000", "the number is taken by anna",
                            "the name is taken"));
}

TEST(MigrationPlan, SkipsTheSecondOfTwoWithOneNameOrNumber) {
    EXPECT_THAT(
        Results({User("anna", 1000), User("bob", 1000), User("anna", 1001)}, Local()),
        ElementsAre("add", "the number is taken by anna", "the name is taken, with number 1000"));
}

TEST(MigrationPlan, IsCaseSensitiveOnThisSystemOnly) {
    Target local = Local();
    local.taken.Add("Anna", 1000);
    EXPECT_THAT(Results({User("anna", 1001)}, local), ElementsAre("add"));
    Target directory = Directory();
    directory.taken.Add("Anna", 1000);
    EXPECT_THAT(Results({User("anna", 1001), User("ANNA", 1000)}, directory),
                ElementsAre("the name is taken, with number 1000", "there"));
}

TEST(MigrationPlan, EndsAtTheLimitForAllFollowingUsers) {
    Target target = Local(1);
    target.taken.Add("taken", 2001);
    EXPECT_THAT(
        Results({User("anna", 1000), User("taken", 2002), User("bob", 1001), User("carl", 1002)},
                target),
        ElementsAre("add", "the name is taken, with number 2001", "no more local users are allowed",
                    "no more local users are allowed"));
}

TEST(MigrationPlan, DoesNotCountSkippedUsersAgainstTheLimit) {
    EXPECT_THAT(Results({User("anna", 1000, 4711), User("bob", 1001)}, Local(1))[1], "add");
}

TEST(MigrationPlan, NeedsAPrimaryGroupOnThisSystemOnly) {
    EXPECT_THAT(Results({User("anna", 1000, 4711)}, Local())[0],
                HasSubstr("its primary group 4711 is not on this system"));
    const std::vector<Decision> plan = PlanMigration({User("anna", 1000, 4711)}, Directory());
    EXPECT_EQ(plan[0].result, Result::kAdd);
    EXPECT_EQ(plan[0].reason, "its primary group 4711 is not in the directory");
}

TEST(MigrationPlan, SkipsUsersWithoutANumber) {
    EXPECT_THAT(Results({User("anna", std::nullopt)}, Local()), ElementsAre("it has no number"));
}

TEST(MigrationPlan, RefusesWhatWouldBeAPartOfTheSystem) {
    Target groups{.kind = kGroupKind, .local = true, .taken = TakenAccounts(/*fold_case=*/false)};
    for (const char *name :
         {"root", "wheel", "sudo", "adm", "docker", "lxd", "libvirt", "disk", "shadow", "kmem",
          "video", "staff", "netdev", "systemd-journal", "_ssh", "www-data"}) {
        const std::vector<Decision> plan =
            PlanMigration({{.name = name, .number = 5000, .group = {}}}, groups);
        EXPECT_EQ(plan[0].result, Result::kRefuse) << name;
        EXPECT_THAT(plan[0].reason, HasSubstr("belongs to the system")) << name;
    }
    for (const std::uint32_t number :
         {0U, 1U, 27U, 999U, 61184U, 65519U, 65534U, 65535U, 2147483648U, 4294967295U}) {
        for (const bool users : {false, true}) {
            Target target = Local();
            EXPECT_EQ(PlanMigration({User("anna", number)}, users ? target : groups)[0].result,
                      Result::kRefuse)
                << number;
        }
    }
    EXPECT_EQ(PlanMigration({User("root", 5000)}, Local())[0].result, Result::kRefuse);
    EXPECT_EQ(PlanMigration({User("staff", 5000)}, Local())[0].result, Result::kAdd);
    EXPECT_EQ(PlanMigration({User("users", 5000, {})}, groups)[0].result, Result::kAdd);
}

TEST(MigrationPlan, RefusesAPrimaryGroupOfTheSystemOnThisSystemOnly) {
    Target target = Local();
    target.groups = {27, 100};
    EXPECT_THAT(Results({User("anna", 1000, 27)}, target),
                ElementsAre("its primary group 27 belongs to the system"));
    EXPECT_EQ(PlanMigration({User("anna", 1000, 27)}, Directory())[0].result, Result::kAdd);
}

TEST(MigrationPlan, RefusesHomesAndShellsOfTheSystem) {
    Target target = Local();
    target.bounds.shells = {"/bin/sh"};
    const auto refused = [&](const char *home, const char *shell) {
        Candidate anna = User("anna", 1000);
        anna.home = home;
        anna.shell = shell;
        return PlanMigration({anna}, target)[0].result == Result::kRefuse;
    };
    for (const char *home : {"/", "//", "/.", "/root", "/root/x", "//etc", "/home/../etc",
                             "/home/..", "home/anna", "/tmp/anna", "/dev/shm/anna", "/usr"})
        EXPECT_TRUE(refused(home, "/bin/sh")) << home;
    for (const char *home :
         {"", "/home/anna", "/home/anna/", "/srv/..a", "/rooting", "/var/lib/anna"})
        EXPECT_FALSE(refused(home, "/bin/sh")) << home;
    EXPECT_TRUE(refused("/home/anna", "/tmp/sh"));
    EXPECT_TRUE(refused("/home/anna", "sh"));
    EXPECT_FALSE(refused("/home/anna", ""));
}

TEST(MigrationPlan, AcceptsARefusedOneThatIsNamed) {
    Target target = Local();
    target.allowed = {"root"};
    EXPECT_THAT(Results({User("root", 5000)}, target), ElementsAre("add"));
}

TEST(MigrationPlan, SkipsUsersAlreadyListedByGroupsOfTheDirectory) {
    Candidate anna = User("anna", 1000);
    anna.listed = {"Directory Operators"};
    EXPECT_THAT(Results({anna}, Directory())[0],
                HasSubstr("the directory's Directory Operators already lists it"));
    Target target = Directory();
    target.keep_memberships = true;
    EXPECT_THAT(Results({anna}, target), ElementsAre("add"));
}

TEST(MigrationPlan, SaysWhoWillHaveNoPassword) {
    Candidate anna = User("anna", 1000);
    anna.foreign_hash = true;
    const std::vector<Decision> plan = PlanMigration({anna}, Local());
    EXPECT_EQ(plan[0].result, Result::kAdd);
    EXPECT_THAT(plan[0].reason, HasSubstr("until one is set"));
}

TEST(MigrationPlan, IsResolvedByWhatExistsAfterwards) {
    std::vector<Decision> plan = PlanMigration({User("anna", 1000), User("bob", 1001)}, Local());
    TakenAccounts now(/*fold_case=*/false);
    now.Add("anna", 1000);
    now.Add("bob", 7);
    Settle(plan, now, "refused");
    EXPECT_EQ(plan[0].result, Result::kAdd);
    EXPECT_EQ(plan[1].result, Result::kSkip);
    EXPECT_EQ(plan[1].reason, "refused");
    EXPECT_EQ(CountOf(plan, Result::kAdd), 1U);
}

}  // namespace
