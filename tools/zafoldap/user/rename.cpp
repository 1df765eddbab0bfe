// SPDX-License-Identifier: Apache-2.0
#include <strings.h>

#include <utility>

#include <fmt/format.h>

#include "base/dn.h"
#include "tools/cli/change_log.h"
#include "tools/cli/display_text.h"
#include "tools/zafoldap/account_change.h"
#include "tools/zafoldap/account_checks.h"
#include "tools/zafoldap/membership.h"
#include "tools/zafoldap/stale_membership.h"
#include "tools/zafoldap/user/commands.h"

namespace zafo::cli {

namespace {

// A failed rename has changed nothing, or the entry but not all groups; this changes those.
void FinishRename(const AccountDirectory &directory, const Account &user,
                  const std::string &new_name, const Failure &failure) {
    bool renamed = false, gone = false;
    try {
        renamed = directory.Find(kUserKind, new_name).has_value();
        gone = !directory.IsThere(user.dn);
    } catch (const Failure &) {
        ThrowUnknown(directory, failure,
                     CommandLine(directory.TheSession(), "user show", {new_name}));
    }
    if (renamed && !gone) throw OwnFailure(kUserKind.name_taken, directory.FactsAbout(new_name));
    if (!renamed && Interrupted()) throw OwnFailure(Message::kInterrupted, {});
    if (!renamed) throw failure;
    Leftovers left;
    FinishMemberships(directory, user.name, new_name, left);
    left.ThrowIfAny(fmt::format("the user {} is now called {}", user.name, new_name));
}

std::string RdnOf(const Account &user, const std::string &new_name) {
    return fmt::format("{}={}", user.dn.substr(0, user.dn.find('=')), EscapedForDn(new_name));
}

// No group may list the new name or the renamed entry's DN, unless the command line has
// --keep-memberships.
void CheckNewNameIsInNoGroup(const AccountDirectory &directory, const Account &user,
                             const std::string &new_name, ChangePlan &plan) {
    const std::vector<Account> kept = CheckMembershipsLeft(
        directory, new_name, RdnOf(user, new_name) + user.dn.substr(EndOfRdn(user.dn)), {});
    plan.Check(kept.empty() ? fmt::format("no group lists {}", new_name)
                            : fmt::format("{} stays in {}, where the name is already listed",
                                          new_name, Enumerated(NamesOf(kept))));
}

// The attribute of the entry's RDN changes with it; the other one of "uid" and "cn" is replaced.
void PlanRename(const Account &user, const std::string &new_name, ChangePlan &plan) {
    const std::string rdn = user.dn.substr(0, user.dn.find('='));
    plan.Record(user.dn, "modify");
    for (const char *attribute : {"uid", "cn"}) {
        if (strcasecmp(rdn.c_str(), attribute) != 0) plan.Replace(attribute, new_name);
    }
    plan.Record(user.dn, "modrdn");
    plan.Line("newrdn", RdnOf(user, new_name));
    plan.Line("deleteoldrdn", "1");
}

int RenameUser(Session &session) {
    const std::string &new_name = session.Argument("NEW");
    CheckChangeableName(session.Argument("OLD"));
    CheckNewName(session, kUserKind, new_name);
    const AccountDirectory directory(session, kUserKind);
    const Account user = directory.RequireAccount(kUserKind, session.Argument("OLD"));
    if (strcasecmp(user.name.c_str(), new_name.c_str()) == 0)
        RefuseUsage(session, "the new name is the old one, or differs only in letter case");
    if (directory.Find(kUserKind, new_name))
        throw OwnFailure(kUserKind.name_taken, directory.FactsAbout(new_name));
    ChangePlan plan;
    plan.Check(fmt::format("the user {} exists", user.name));
    plan.Check(fmt::format("the name {} is free", new_name));
    CheckNewNameIsInNoGroup(directory, user, new_name, plan);
    PlanRename(user, new_name, plan);
    const std::vector<Account> groups = GroupsListing(directory, user.name);
    for (const Account &group : groups) {
        plan.Member(group.dn, "delete", user.name, directory.Saved().base);
        plan.Member(group.dn, "add", new_name, directory.Saved().base);
    }
    if (session.Options().dry_run) {
        plan.Print(session);
        return 0;
    }
    std::string name = new_name;
    ZAFOUSER record{};
    record.szName = name.data();
    record.pw_uid = UID_ERR;
    record.pw_gid = GID_ERR;
    Logged(session, user.dn, plan.Attributes(), [&] {
        const std::optional<Failure> failure =
            Attempt(session.streams, directory.FactsAbout(user.name), [&] {
                return ZAFOLDAPBrowserUserEdit(directory.Record(), user.dn.c_str(), &record,
                                               nullptr, nullptr);
            });
        if (failure) FinishRename(directory, user, new_name, *failure);
    });
    if (session.Options().form == Form::kJson) {
        session.document.Whole({{"name", new_name},
                                {"old_name", user.name},
                                {"dn", directory.DnOrNull(kUserKind, new_name)},
                                {"groups", NamesOf(groups)}});
    }
    session.streams.Note(
        fmt::format("user {} is now {}{}", OneLine(user.name), OneLine(new_name),
                    groups.empty() ? "" : ", also in " + Enumerated(NamesOf(groups))));
    return 0;
}

}  // namespace

Command UserRenameCommand() {
    return {.noun = "user",
            .verb = "rename",
            .run = RenameUser,
            .summary = "Rename a user",
            .description =
                "Renames the entry, including its cn, and the old name in all groups. Number, "
                "password and home folder stay; \"user edit --home\" changes the home folder's "
                "path. A new name that a group already lists is refused, as for \"user add\". If "
                "groups cannot be changed after the entry was renamed, the exit code is 7 and the "
                "message shows the commands that finish the work.",
            .arguments = {{.name = "OLD", .help = "current login name", .kind = Kind::kUser},
                          kRenamedArgument},
            .options = {kAnyNameOption, kKeepMembershipsOption},
            .examples = {{"zafoldap user rename anna anna.smith", "memberships are kept"},
                         {"zafoldap user rename anna anna.smith -n", "the changes it would make"}},
            .exits = {3, 4, 5, 6, 7, 8, 130}};
}

}  // namespace zafo::cli
