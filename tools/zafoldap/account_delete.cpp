// SPDX-License-Identifier: Apache-2.0
//
// user delete and group delete: shows what is affected, asks, deletes one by one and stops at the
// first failure.

#include <fmt/format.h>

#include "tools/cli/change_log.h"
#include "tools/cli/display_text.h"
#include "tools/zafoldap/account_change.h"
#include "tools/zafoldap/account_checks.h"
#include "tools/zafoldap/account_options.h"
#include "tools/zafoldap/commands.h"
#include "tools/zafoldap/membership.h"

namespace zafo::cli {

namespace {

using Delete = int (*)(const ZAFOLDAP_HOST *, const char *);

struct Doomed {
    Account account;
    std::string touches;          // for the question
    std::vector<Account> groups;  // that list a user
};

Doomed DoomedUser(const AccountDirectory &directory, const Account &user) {
    Doomed doomed{user, {}, GroupsListing(directory, user.name)};
    doomed.touches =
        doomed.groups.empty()
            ? fmt::format("{} ({}) is not listed in any group", user.name, user.dn)
            : fmt::format("{} ({}) is removed from the group{} {}", user.name, user.dn,
                          doomed.groups.size() == 1 ? "" : "s", Enumerated(NamesOf(doomed.groups)));
    return doomed;
}

Doomed DoomedGroup(const AccountDirectory &directory, const Account &group) {
    std::string touches = fmt::format("{} ({}) lists {}", group.name, group.dn,
                                      Counted(ListedUsers(directory, group).size(), "member"));
    if (const size_t users = PrimaryUsers(directory, group).size(); users > 0)
        touches +=
            fmt::format("; {} whose primary group it is will keep the number of a deleted group",
                        Counted(users, "user"));
    return {group, std::move(touches), {}};
}

ChangePlan PlanOf(const AccountDirectory &directory, const std::vector<Doomed> &all) {
    ChangePlan plan;
    for (const Doomed &one : all) {
        plan.Check(one.touches);
        plan.Record(one.account.dn, "delete");
        for (const Account &group : one.groups)
            plan.Member(group.dn, "delete", one.account.name, directory.Saved().base);
    }
    return plan;
}

// A failed deletion has changed nothing, or has removed the entry while groups still list the user;
// this cleans those up.
void FinishDelete(const AccountDirectory &directory, const AccountKind &kind, const Doomed &one,
                  const Failure &failure) {
    const std::optional<bool> exists = directory.Exists(one.account.dn);
    if (!exists) {
        ThrowUnknown(directory, failure,
                     directory.CommandLine(fmt::format("{} show", kind.noun), {one.account.name}));
    }
    if (*exists && Interrupted()) throw OwnFailure(Message::kInterrupted, {});
    if (*exists || &kind != &kUserKind) throw failure;
    Leftovers left;
    FinishMemberships(directory, one.account.name, "", left);
    left.ThrowIfAny(fmt::format("the user {} was deleted", one.account.name));
}

// Reports the failure of one of several, with what was done before it and what remains.
[[noreturn]] void StopAt(const AccountDirectory &directory, const AccountKind &kind,
                         const std::vector<Doomed> &all, size_t at, const Failure &failure) {
    if (at == 0) throw failure;
    std::vector<std::string> done, undone;
    for (size_t i = 0; i < all.size(); ++i)
        (i < at ? done : undone).push_back(all[i].account.name);
    Leftovers left;
    left.Add(fmt::format("then {}: {}", undone.front(), failure.message),
             directory.CommandLine(fmt::format("{} delete", kind.noun), undone), failure.detail);
    left.ThrowIfAny(fmt::format("deleted: {}", Enumerated(done)),
                    failure.exit_code == 130 ? 130 : 7);
    throw failure;
}

void DeleteOne(const AccountDirectory &directory, const AccountKind &kind, const Doomed &one,
               Delete remove) {
    std::vector<std::string> attributes;
    if (!one.groups.empty()) attributes = {"memberUid", "member"};
    Logged(directory.TheSession(), one.account.dn, attributes, [&] {
        if (Interrupted()) throw OwnFailure(Message::kInterrupted, {});
        const std::optional<Failure> failure = directory.Try(
            one.account.name, [&] { return remove(directory.Record(), one.account.name.c_str()); });
        if (failure) FinishDelete(directory, kind, one, *failure);
    });
}

int DeleteAccounts(Session &session, const AccountKind &kind,
                   Doomed (*doom)(const AccountDirectory &, const Account &), Delete remove) {
    const std::vector<std::string> names = NamesGiven(session, "NAME", CheckChangeableName);
    const AccountDirectory directory(session, kind);
    std::vector<Doomed> all;
    for (const Account &account : directory.RequireAll(kind, names))
        all.push_back(doom(directory, account));
    if (PlanOf(directory, all).PrintInstead(session)) return 0;
    std::vector<std::string> touches;
    touches.reserve(all.size());
    for (const Doomed &one : all)
        touches.push_back(one.touches);
    const std::string whom =
        fmt::format("{}{} {}", kind.noun, all.size() == 1 ? "" : "s", Enumerated(names));
    ConfirmDeleting(session, "the " + whom, touches);
    for (size_t i = 0; i < all.size(); ++i) {
        try {
            DeleteOne(directory, kind, all[i], remove);
        } catch (const Failure &failure) {
            StopAt(directory, kind, all, i, failure);
        }
    }
    TellResult(session, {{"deleted", names}}, fmt::format("{} deleted", OneLine(whom)));
    return 0;
}

int DeleteUsers(Session &session) {
    return DeleteAccounts(session, kUserKind, DoomedUser, ZAFOLDAPBrowserDeleteUser);
}

int DeleteGroups(Session &session) {
    return DeleteAccounts(session, kGroupKind, DoomedGroup, ZAFOLDAPBrowserDeleteGroup);
}

}  // namespace

Command UserDeleteCommand() {
    return {
        .noun = "user",
        .verb = "delete",
        .aliases = {"rm"},
        .run = DeleteUsers,
        .summary = "Delete users",
        .description =
            "Shows which groups list each user, asks for confirmation, then deletes the entries "
            "one by one and removes their names from all groups. Home folders stay. All names are "
            "looked up before the first is deleted; the command stops at the first one that cannot "
            "be deleted and says what was done. Without a terminal, --yes is required.",
        .arguments = {kUsersArgument},
        .examples = {{"zafoldap user delete anna", "asks first"},
                     {"zafoldap user rm anna bob --yes", "does not ask"}},
        .exits = {3, 4, 6, 7, 8, 130}};
}

Command GroupDeleteCommand() {
    return {.noun = "group",
            .verb = "delete",
            .aliases = {"rm"},
            .run = DeleteGroups,
            .summary = "Delete groups",
            .description =
                "Shows how many members each group lists and how many users have it as their "
                "primary group, asks for confirmation, then deletes the entries. Users and other "
                "groups do not change. Without a terminal, --yes is required.",
            .arguments = {kGroupsArgument},
            .examples = {{"zafoldap group delete staff", "asks first"},
                         {"zafoldap group rm staff --yes", "does not ask"}},
            .exits = {3, 4, 6, 7, 8, 130}};
}

}  // namespace zafo::cli
