// SPDX-License-Identifier: Apache-2.0
//
// What a migration will do with each account.
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
    Target target{.local = true, .taken = TakenAccounts(/*fold_case=*/false)};
    target.groups = {100};
    target.remained = remained;
    return target;
}

Target Directory() {
    Target target{.local = false, .taken = TakenAccounts(/*fold_case=*/true)};
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

TEST(MigrationPlan, KnowsWhoIsThereByNameAndNumber) {
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

TEST(MigrationPlan, TellsLettersApartOnThisSystemOnly) {
    Target local = Local();
    local.taken.Add("Anna", 1000);
    EXPECT_THAT(Results({User("anna", 1001)}, local), ElementsAre("add"));
    Target directory = Directory();
    directory.taken.Add("Anna", 1000);
    EXPECT_THAT(Results({User("anna", 1001), User("ANNA", 1000)}, directory),
                ElementsAre("the name is taken, with number 1000", "there"));
}

TEST(MigrationPlan, EndsAtTheLimitForEverybodyAfterIt) {
    Target target = Local(1);
    target.taken.Add("taken", 1);
    EXPECT_THAT(
        Results({User("anna", 1000), User("taken", 2), User("bob", 1001), User("carl", 1002)},
                target),
        ElementsAre("add", "the name is taken, with number 1", "no more local users are allowed",
                    "no more local users are allowed"));
}

TEST(MigrationPlan, DoesNotCountWhoIsSkippedAgainstTheLimit) {
    EXPECT_THAT(Results({User("anna", 1000, 4711), User("bob", 1001)}, Local(1))[1], "add");
}

TEST(MigrationPlan, NeedsAPrimaryGroupOnThisSystemOnly) {
    EXPECT_THAT(Results({User("anna", 1000, 4711)}, Local())[0],
                HasSubstr("its primary group 4711 is not on this system"));
    const std::vector<Decision> plan = PlanMigration({User("anna", 1000, 4711)}, Directory());
    EXPECT_EQ(plan[0].result, Result::kAdd);
    EXPECT_EQ(plan[0].reason, "its primary group 4711 is not in the directory");
}

TEST(MigrationPlan, SkipsWhoHasNoNumber) {
    EXPECT_THAT(Results({User("anna", std::nullopt)}, Local()), ElementsAre("it has no number"));
}

TEST(MigrationPlan, SaysWhoWillHaveARandomPassword) {
    Candidate anna = User("anna", 1000);
    anna.foreign_hash = true;
    const std::vector<Decision> plan = PlanMigration({anna}, Local());
    EXPECT_EQ(plan[0].result, Result::kAdd);
    EXPECT_THAT(plan[0].reason, HasSubstr("random"));
}

TEST(MigrationPlan, IsSettledByWhatIsThereAfterwards) {
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
