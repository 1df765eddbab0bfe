// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldap/migration_plan.h"

#include <algorithm>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "base/ascii.h"

namespace zafo::cli {

namespace {

constexpr std::string_view kNoPassword =
    "the password is not a {crypt} hash: nobody can log in with a password until one is set";

// The library creates a user before it stores the Samba hashes: a run killed in between leaves the
// user without them. They may also have been removed on purpose, so they are not restored unasked.
constexpr std::string_view kNoSambaHashes =
    "it has no Samba password on this system, but has one in the directory; smbpasswd -a sets one";

// Why a user cannot be created although its name and number are free.
std::string Obstacle(const Candidate &account, const Target &target) {
    if (!account.number) return "it has no number";
    if (!target.local || !account.group || target.groups.contains(*account.group)) return {};
    return fmt::format(
        "its primary group {0} is not on this system; groupadd -g {0} NAME creates it",
        *account.group);
}

// A name that groups list becomes a member as soon as its entry exists.
std::string MembershipsOf(const Candidate &account, const Target &target) {
    if (target.keep_memberships || account.listed.empty()) return {};
    return fmt::format(
        "the directory's {} already {} it, but the groups of this system do not; zafoldap member "
        "remove removes it, --keep-memberships keeps it",
        fmt::join(account.listed, ", "), account.listed.size() == 1 ? "lists" : "list");
}

std::string Remark(const Candidate &account, const Target &target) {
    if (target.local) return std::string(account.foreign_hash ? kNoPassword : "");
    if (!account.group || target.groups.contains(*account.group)) return {};
    return fmt::format("its primary group {} is not in the directory", *account.group);
}

Decision Decide(const Candidate &account, Target &target, bool &full) {
    if (target.taken.Has(account)) {
        const bool lost = account.samba_hashes && !account.foreign_hash &&
                          target.without_samba_hashes.contains(account.name);
        return {account, Result::kThere, std::string(lost ? kNoSambaHashes : "")};
    }
    std::string refusal = Refusal(account, target);
    if (!refusal.empty()) return {account, Result::kRefuse, std::move(refusal)};
    std::string conflict = target.taken.Conflict(account);
    if (!conflict.empty()) return {account, Result::kSkip, std::move(conflict)};
    full = full || (target.remained && *target.remained <= 0);
    if (full) return {account, Result::kSkip, "no more local users are allowed"};
    std::string obstacle = Obstacle(account, target);
    if (obstacle.empty()) obstacle = MembershipsOf(account, target);
    if (!obstacle.empty()) return {account, Result::kSkip, std::move(obstacle)};
    target.taken.Add(account.name, account.number);
    if (target.remained) --*target.remained;
    return {account, Result::kAdd, Remark(account, target)};
}

}  // namespace

std::string TakenAccounts::Key(const std::string &name) const {
    return fold_case_ ? Folded(name) : name;
}

void TakenAccounts::Add(const std::string &name, std::optional<std::uint32_t> number) {
    numbers_.emplace(Key(name), number);
    if (number) names_.emplace(*number, name);
}

bool TakenAccounts::Has(const Candidate &candidate) const {
    const auto found = numbers_.find(Key(candidate.name));
    return found != numbers_.end() && candidate.number && found->second == candidate.number;
}

std::string TakenAccounts::Conflict(const Candidate &candidate) const {
    const auto name = numbers_.find(Key(candidate.name));
    if (name != numbers_.end()) {
        return name->second ? fmt::format("the name is taken, with number {}", *name->second)
                            : std::string("the name is taken");
    }
    if (!candidate.number) return {};
    const auto number = names_.find(*candidate.number);
    return number == names_.end() ? std::string()
                                  : fmt::format("the number is taken by {}", number->second);
}

std::string Refusal(const Candidate &account, const Target &target) {
    if (target.allowed.contains(account.name)) return {};
    std::string reason = RoleOfName(target.kind, account.name);
    if (!reason.empty()) return fmt::format("the name belongs to the system: {}", reason);
    if (account.number) reason = FaultOfNumber(target.kind, *account.number, target.bounds);
    if (!reason.empty() || !target.local || &target.kind != &kUserKind) return reason;
    const bool users = account.group && target.for_users.contains(*account.group);
    if (account.group && !users && *account.group < target.bounds.first_gid)
        return fmt::format("its primary group {} belongs to the system", *account.group);
    reason = FaultOfHome(account.home);
    return reason.empty() ? FaultOfShell(account.shell, target.bounds) : reason;
}

std::vector<Decision> PlanMigration(const std::vector<Candidate> &accounts, Target target) {
    std::vector<Decision> plan;
    bool full = false;  // the library stops there, even for accounts it would have skipped
    for (const Candidate &account : accounts)
        plan.push_back(Decide(account, target, full));
    return plan;
}

void Settle(std::vector<Decision> &plan, const TakenAccounts &now, std::string_view reason) {
    for (Decision &decision : plan) {
        if (decision.result == Result::kAdd && !now.Has(decision.account)) {
            decision.result = Result::kSkip;
            decision.reason = reason;
        }
    }
}

size_t CountOf(const std::vector<Decision> &plan, Result result) {
    return static_cast<size_t>(std::ranges::count(plan, result, &Decision::result));
}

}  // namespace zafo::cli
