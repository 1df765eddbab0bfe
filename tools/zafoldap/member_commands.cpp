// SPDX-License-Identifier: Apache-2.0
//
// member list, add and remove.
#include <algorithm>
#include <unordered_set>

#include <fmt/format.h>

#include "tools/cli/change_file.h"
#include "tools/cli/change_log.h"
#include "tools/cli/display_text.h"
#include "tools/zafoldap/account_change.h"
#include "tools/zafoldap/account_checks.h"
#include "tools/zafoldap/account_record.h"
#include "tools/zafoldap/commands.h"
#include "tools/zafoldap/membership.h"
#include "tools/zafoldap/stale_membership.h"

namespace zafo::cli {

namespace {

const Argument kMembersGroup{.name = "GROUP", .help = "name of the group", .kind = Kind::kGroup};
const Argument kMembers{
    .name = "USER", .help = "login names", .kind = Kind::kUser, .repeatable = true};

const Fields kMemberFields = {{"name", "NAME"}, {"listed", "LISTED"}, {"primary", "PRIMARY GROUP"}};

void PrintMember(ListWriter &writer, bool only_name, const std::string &name, bool listed,
                 bool primary) {
    if (only_name) {
        writer.WriteText(name);
    } else {
        writer.Write({{"name", name}, {"listed", listed}, {"primary", primary}});
    }
}

struct MemberChange {
    std::string_view how;  // "add" or "delete"
    Account group;
    std::vector<std::string> users = {};    // to be changed
    std::vector<std::string> as_they = {};  // already as requested
    std::vector<std::string> gone = {};     // who do not exist but are listed
    ListedValues values = {};               // naming those and, if there are any, the others too
};

std::vector<std::string> ChangedUsers(const MemberChange &change) {
    std::vector<std::string> names = change.users;
    names.insert(names.end(), change.gone.begin(), change.gone.end());
    return names;
}

// Removes every value that names them, in one request, so that a later user of the name does not
// inherit the membership.
void TakeOutValues(const AccountDirectory &directory, const MemberChange &change) {
    ChangeFile file(change.group.dn, "modify");
    for (size_t i = 0; i < std::size(kMemberAttributes); ++i)
        file.Values("delete", kMemberAttributes[i], change.values.of[i]);
    const std::optional<Failure> failure =
        file.Apply(directory.Out(), *directory.Record(), directory.FactsAbout(change.group.name));
    if (failure) throw *failure;
}

void PlanValues(const MemberChange &change, ChangePlan &plan) {
    plan.Record(change.group.dn, "modify");
    bool first = true;
    for (size_t i = 0; i < std::size(kMemberAttributes); ++i) {
        if (change.values.of[i].empty()) continue;
        if (!first) plan.Line("-", "");
        first = false;
        plan.Line("delete", kMemberAttributes[i]);
        for (const std::string &value : change.values.of[i])
            plan.Line(kMemberAttributes[i], value);
    }
}

void RunChange(const AccountDirectory &directory, const MemberChange &change) {
    if (!change.gone.empty()) {
        TakeOutValues(directory, change);
        return;
    }
    const bool adds = change.how == "add";
    const std::vector<std::string> none;
    const std::optional<Failure> failure = ChangeMembers(
        directory, change.group, adds ? none : change.users, adds ? change.users : none);
    if (failure) throw *failure;
}

int Change(const AccountDirectory &directory, const MemberChange &change) {
    Session &session = directory.TheSession();
    ChangePlan plan;
    plan.Check(fmt::format("the group {} exists", change.group.name));
    for (const std::string &user : change.as_they)
        plan.Check(fmt::format("{} {} in the group", user, change.how == "add" ? "is" : "is not"));
    if (!change.gone.empty()) {
        PlanValues(change, plan);
    } else {
        for (const std::string &user : change.users)
            plan.Member(change.group.dn, change.how, user, directory.Saved().base);
    }
    if (plan.PrintInstead(session)) return 0;
    const std::vector<std::string> changed = ChangedUsers(change);
    if (!changed.empty()) {
        Logged(session, change.group.dn, {"memberUid", "member"},
               [&] { RunChange(directory, change); });
    }
    const bool adds = change.how == "add";
    if (session.WantsJson()) {
        session.document.Whole({{"group", change.group.name},
                                {adds ? "added" : "removed", changed},
                                {"unchanged", change.as_they}});
    }
    if (!changed.empty())
        session.streams.Note(fmt::format("{} {} the group {}", Enumerated(changed),
                                         adds ? "added to" : "removed from", change.group.name));
    for (const std::string &user : change.as_they)
        session.streams.Note(fmt::format("{} is {} the group {}", user,
                                         adds ? "already in" : "not in", change.group.name));
    return 0;
}

int ListMembers(Session &session) {
    CheckName(session.Argument("GROUP"));
    const AccountDirectory directory(session);
    const Account group = directory.RequireAccount(kGroupKind, session.Argument("GROUP"));
    const std::vector<std::string> listed = ListedUsers(directory, group);
    std::vector<std::string> primary;
    std::optional<Failure> cut;
    if (session.invocation.Has("primary")) primary = PrimaryUsers(directory, group, &cut);
    const std::unordered_set<std::string> is_listed(listed.begin(), listed.end());
    const std::unordered_set<std::string> is_primary(primary.begin(), primary.end());
    const Fields names = {kMemberFields.front()};
    const Fields &shown = session.invocation.Has("primary") ? kMemberFields : names;
    const ListLayout layout = LayoutOf(session, shown, shown);
    const bool only_name = layout.fields.size() == 1 && layout.fields.front().key == "name";
    ListWriter writer(session.streams, session.document, layout.fields, layout.heading);
    for (const std::string &name : listed)
        PrintMember(writer, only_name, name, true, is_primary.contains(name));
    for (const std::string &name : primary) {
        if (!is_listed.contains(name)) PrintMember(writer, only_name, name, false, true);
    }
    writer.Finish(/*ok=*/!cut, /*complete=*/!cut);
    if (cut) throw *cut;
    return 0;
}

Command MemberListCommand() {
    return {.noun = "member",
            .verb = "list",
            .aliases = {"ls"},
            .run = ListMembers,
            .summary = "List the members of a group",
            .description =
                "Lists the members that the group names. --primary adds the users whose primary "
                "group it is, and shows which of the two applies to each user. Fields: name, and "
                "with --primary listed and primary.",
            .arguments = {kMembersGroup},
            .options = {{.name = "primary", .help = "include users whose primary group it is"}},
            .examples = {{"zafoldap member list staff", "listed members"},
                         {"zafoldap member list staff --primary", "all users in it"}},
            .exits = {3, 4, 6, 8, 130}};
}

int AddMembers(Session &session) {
    CheckName(session.Argument("GROUP"));
    const std::vector<std::string> names = NamesGiven(session, "USER", CheckName);
    AccountDirectory directory(session);
    MemberChange change{.how = "add",
                        .group = directory.RequireAccount(kGroupKind, session.Argument("GROUP"))};
    const std::vector<std::string> listed = ListedUsers(directory, change.group);
    for (const Account &user : directory.RequireAll(kUserKind, names)) {
        const bool in = std::ranges::count(listed, user.name) > 0;
        (in ? change.as_they : change.users).push_back(user.name);
    }
    return Change(directory, change);
}

Command MemberAddCommand() {
    return {.noun = "member",
            .verb = "add",
            .run = AddMembers,
            .summary = "Add users to a group",
            .description =
                "Adds users to a group, all of them or none. Existing members stay. Group and "
                "users must exist. A member is listed by name (memberUid) and by DN (member), or "
                "by name only where the group's classes allow no DN.",
            .arguments = {kMembersGroup, kMembers},
            .examples = {{"zafoldap member add staff anna bob", "two users"}},
            .exits = {3, 4, 6, 8, 130}};
}

// A listed user who does not exist is removed; one who is neither listed nor exists is an error.
int RemoveMembers(Session &session) {
    CheckName(session.Argument("GROUP"));
    const std::vector<std::string> names = NamesGiven(session, "USER", CheckName);
    AccountDirectory directory(session);
    MemberChange change{.how = "delete",
                        .group = directory.RequireAccount(kGroupKind, session.Argument("GROUP"))};
    const std::vector<std::string> listed = ListedUsers(directory, change.group);
    std::vector<std::string> others;
    for (const std::string &name : names) {
        if (directory.Find(kUserKind, name)) {
            const auto in = [&](const std::string &word) {
                return std::ranges::count(listed, word) > 0;
            };
            const std::string own =
                in(name) ? name : directory.RequireAccount(kUserKind, name).name;
            (in(own) ? change.users : change.as_they).push_back(own);
            continue;
        }
        ListedValues values = ValuesNaming(directory, change.group, name);
        (values.None() ? others : change.gone).push_back(name);
        change.values.Take(std::move(values));
    }
    directory.RequireAll(kUserKind, others);
    if (!change.gone.empty()) {
        for (const std::string &user : change.users)
            change.values.Take(ValuesNaming(directory, change.group, user));
    }
    return Change(directory, change);
}

Command MemberRemoveCommand() {
    return {.noun = "member",
            .verb = "remove",
            .aliases = {"rm"},
            .run = RemoveMembers,
            .summary = "Remove users from a group",
            .description =
                "Removes users from a group, all of them or none, including names that it lists, "
                "by name or by DN, without such a user. Does not ask for confirmation: \"member "
                "add\" brings users back.",
            .arguments = {kMembersGroup, kMembers},
            .examples = {{"zafoldap member remove staff bob", "one user"}},
            .exits = {3, 4, 6, 8, 130}};
}

}  // namespace

std::vector<Command> MemberCommands() {
    return {MemberListCommand(), MemberAddCommand(), MemberRemoveCommand()};
}

}  // namespace zafo::cli
