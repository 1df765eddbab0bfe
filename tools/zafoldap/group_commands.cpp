// SPDX-License-Identifier: Apache-2.0
//
// group list, show, add, edit and rename.
#include <fmt/format.h>

#include "base/dn.h"
#include "tools/cli/change_log.h"
#include "tools/cli/display_text.h"
#include "tools/zafoldap/account_change.h"
#include "tools/zafoldap/account_checks.h"
#include "tools/zafoldap/account_list.h"
#include "tools/zafoldap/account_options.h"
#include "tools/zafoldap/commands.h"
#include "tools/zafoldap/local_accounts.h"
#include "tools/zafoldap/new_account.h"

namespace zafo::cli {

namespace {

const Option kDescriptionOption{
    .name = "description", .value = "TEXT", .help = "what the group is for"};

const Fields kGroupShowFields =
    WithFields(GroupFields(), {{"primary_users", "PRIMARY GROUP OF"}, {"sid", "SID"}});

// Edits a group and words the library's errors.
void RunEdit(const AccountDirectory &directory, const Account &group, const std::string *new_name,
             const std::string *description, const std::optional<std::uint32_t> &gid) {
    const std::optional<Failure> failure = directory.Try(group.name, [&] {
        return ZAFOLDAPBrowserGroupEdit(
            directory.Record(), group.dn.c_str(), new_name != nullptr ? new_name->c_str() : nullptr,
            description != nullptr ? description->c_str() : nullptr, gid ? &*gid : nullptr);
    });
    if (!failure) return;
    if (failure->id == kGroupKind.name_taken && new_name != nullptr)
        throw OwnFailure(failure->id, directory.FactsAbout(*new_name));
    if (failure->id == kGroupKind.number_taken && gid)
        throw OwnFailure(failure->id, directory.FactsAbout(std::to_string(*gid)));
    throw *failure;
}

// Adds a group and renumbers it until its number is unique.
std::uint32_t MakeGroup(const AccountDirectory &directory, NewAccount group, const std::string &dn,
                        const std::string &description, Leftovers &left) {
    ZAFOGROUP record{};
    record.szName = group.name.data();
    const Created created =
        CreateAccount(directory, kGroupKind, group, dn, [&](std::uint32_t number) {
            record.nGid = number;
            return ZAFOLDAPBrowserGroupCreate(directory.Record(), &record, description.c_str(),
                                              nullptr, group.container.c_str());
        });
    if (group.number) return created.number;
    try {
        return SettleNumber(directory, kGroupKind, created.number, [&](std::uint32_t next) {
            return ZAFOLDAPBrowserGroupEdit(directory.Record(), dn.c_str(), nullptr, nullptr,
                                            &next);
        });
    } catch (const Failure &failure) {
        left.Add("it could not be verified that no other group has its number",
                 directory.CommandLine("id check", {}), failure.message);
        return created.number;
    }
}

int ListGroups(Session &session) {
    const AccountDirectory directory(session);
    return ListAccounts(directory, {.kind = kGroupKind, .fields = GroupFields()});
}

Command GroupListCommand() {
    return {.noun = "group",
            .verb = "list",
            .aliases = {"ls"},
            .run = ListGroups,
            .summary = "List groups",
            .description =
                "Lists groups as they arrive, in the directory's order. On a terminal prints a "
                "table of name, gid and description, elsewhere only the names, one per line. "
                "Fields: name, gid, description, members, dn.",
            .arguments = {kPatternArgument},
            .options = {kLimitOption},
            .examples = {{"zafoldap group list", "all groups"},
                         {"zafoldap group ls 'dev*' --json", "matching groups with their members"}},
            .exits = {4, 6, 8, 130}};
}

int ShowGroup(Session &session) {
    const std::string &name = session.Argument("NAME");
    CheckName(name);
    const AccountDirectory directory(session);
    const std::string dn = directory.Require(kGroupKind, name);
    if (ShowRaw(directory, kGroupKind, dn)) return 0;
    Search search = directory.SearchFor(ForEntry(dn, {}, std::string(kGroupKind.filter)), dn);
    const Entry *entry = search.Next();
    if (entry == nullptr) throw OwnFailure(Message::kGroupMissing, directory.FactsAbout(dn));
    Json record = RecordOf(GroupFields(), *entry);
    record["sid"] = TextOrNull(FirstValue(*entry, "sambaSID"));
    record["primary_users"] = PrimaryUsers(directory, {name, dn});
    PrintRecord(session.streams, session.document, kGroupShowFields, record);
    return 0;
}

Command GroupShowCommand() {
    return {.noun = "group",
            .verb = "show",
            .run = ShowGroup,
            .summary = "Show one group",
            .description =
                "Shows a group, the members that it lists and the users whose primary "
                "group it is.",
            .arguments = {kGroupArgument},
            .options = {kRawOption},
            .examples = {{"zafoldap group show staff", "the group and its members"},
                         {"zafoldap group show staff --format ldif", "the entry"}},
            .exits = {3, 4, 6, 8, 130},
            .entries = true};
}

ChangePlan PlanOfGroup(const NewAccount &group, const std::string &dn,
                       const std::string &description) {
    ChangePlan plan;
    plan.Check(fmt::format("the name {} is free", group.name));
    if (group.number) plan.Check(fmt::format("the number {} is free", *group.number));
    plan.Record(dn, "add");
    plan.Line("cn", group.name);
    if (group.number) {
        plan.Line("gidNumber", std::to_string(*group.number));
    } else {
        plan.Remark("gidNumber: the next free one");
    }
    if (!description.empty()) plan.Line("description", description);
    plan.Remark("object classes and Samba attributes according to the server's schema");
    return plan;
}

int AddGroup(Session &session) {
    const NewAccount group = ReadNewAccount(session, kGroupKind);
    const std::string &name = group.name;
    const std::string *given = session.invocation.Find("description");
    const std::string description = given != nullptr ? *given : "";
    CheckOneLine("--description", description);
    const AccountDirectory directory(session, kGroupKind);
    const std::string dn = directory.RequireNew(kGroupKind, group);
    const ChangePlan plan = PlanOfGroup(group, dn, description);
    if (plan.PrintInstead(session)) return 0;
    std::vector<std::string> attributes = plan.Attributes();
    if (!group.number) attributes.emplace_back("gidNumber");
    Leftovers left;
    std::uint32_t number = 0;
    Logged(session, dn, attributes,
           [&] { number = MakeGroup(directory, group, dn, description, left); });
    if (session.WantsJson())
        session.document.Whole({{"name", name}, {"gid", number}, {"dn", dn}}, /*ok=*/left.None());
    left.ThrowIfAny(fmt::format("the group {} was added with the number {}", name, number));
    session.streams.Note(fmt::format("group {} added: number {}", OneLine(name), number));
    if (IsLocalGroup(name))
        session.streams.Note(
            "note that this system has a local group of that name, which comes first where files "
            "are consulted before the directory");
    return 0;
}

Command GroupAddCommand() {
    return {
        .noun = "group",
        .verb = "add",
        .run = AddGroup,
        .summary = "Add a group",
        .description =
            "Adds a group without members. Without --gid it gets the next free number, as users do "
            "(zafoldap user add). --dry-run makes the checks and prints the requested entry as "
            "LDIF.",
        .arguments = {kNewNameArgument},
        .options = {NumberOption("gid", "group number"), kDescriptionOption,
                    ContainerOption("where the entry goes, relative to the base DN (default: "
                                    "cn=groups)"),
                    kAnyNameOption},
        .examples = {{"zafoldap group add staff --description 'Everybody'", "the next free number"},
                     {"zafoldap group add staff --gid 5000", "a number of your choice"}},
        .exits = {3, 4, 5, 6, 7, 8, 130}};
}

int EditGroup(Session &session) {
    const Invocation &invocation = session.invocation;
    CheckName(session.Argument("NAME"));
    const std::optional<std::uint32_t> gid = ReadNumber(session, kGroupKind);
    const std::string *description = invocation.Find("description");
    if (description != nullptr) CheckOneLine("--description", *description);
    if (!gid && description == nullptr)
        throw OwnFailure(Message::kNothingToChange, {.subject = "zafoldap group edit"});
    const AccountDirectory directory(session, kGroupKind);
    const Account group = directory.RequireAccount(kGroupKind, session.Argument("NAME"));
    const std::string old =
        directory.ValueOf(group.dn, std::string(kGroupKind.filter), "gidNumber");
    const bool renumbers = gid && std::to_string(*gid) != old;
    if (renumbers) directory.RequireFreeNumber(kGroupKind, *gid);
    const std::vector<std::string> primary =
        renumbers ? PrimaryUsers(directory, group) : std::vector<std::string>();
    ChangePlan plan;
    plan.Check(fmt::format("the group {} exists", group.name));
    plan.Record(group.dn, "modify");
    if (description != nullptr) plan.Replace("description", *description);
    if (gid) plan.Replace("gidNumber", std::to_string(*gid));
    if (plan.PrintInstead(session)) return 0;
    Logged(session, group.dn, plan.Attributes(),
           [&] { RunEdit(directory, group, nullptr, description, gid); });
    TellResult(session,
               {{"name", group.name},
                {"dn", group.dn},
                {"changed", plan.Attributes()},
                {"users_with_old_number", primary}},
               fmt::format("group {} changed", OneLine(group.name)));
    if (!primary.empty())
        session.streams.Note(fmt::format(
            "{1} user{2} still {3} the primary group number {0}: zafoldap user edit NAME --gid {4} "
            "changes that",
            old, primary.size(), primary.size() == 1 ? "" : "s",
            primary.size() == 1 ? "has" : "have", *gid));
    return 0;
}

Command GroupEditCommand() {
    return {.noun = "group",
            .verb = "edit",
            .run = EditGroup,
            .summary = "Change a group",
            .description =
                "Changes the number or description; an empty description removes it. Users whose "
                "primary group it is keep the old number; their count is shown.",
            .arguments = {kGroupArgument},
            .options = {NumberOption("gid", "group number"), kDescriptionOption},
            .examples = {{"zafoldap group edit staff --description 'Everybody here'",
                          "a new description"}},
            .exits = {3, 4, 5, 6, 8, 130}};
}

int RenameGroup(Session &session) {
    const std::string &new_name = session.Argument("NEW");
    CheckChangeableName(session.Argument("OLD"));
    CheckNewName(session, kGroupKind, new_name);
    const AccountDirectory directory(session, kGroupKind);
    const Account group = directory.RequireAccount(kGroupKind, session.Argument("OLD"));
    ChangePlan plan = PlanRenaming(directory, kGroupKind, group.name, new_name);
    plan.Record(group.dn, "modrdn");
    plan.Line("newrdn", fmt::format("cn={}", EscapedForDn(new_name)));
    plan.Line("deleteoldrdn", "1");
    if (plan.PrintInstead(session)) return 0;
    Logged(session, group.dn, {"cn"},
           [&] { RunEdit(directory, group, &new_name, nullptr, std::nullopt); });
    if (session.WantsJson()) {
        session.document.Whole({{"name", new_name},
                                {"old_name", group.name},
                                {"dn", directory.DnOrNull(kGroupKind, new_name)}});
    }
    session.streams.Note(fmt::format("group {} is now {}", OneLine(group.name), OneLine(new_name)));
    return 0;
}

Command GroupRenameCommand() {
    return {.noun = "group",
            .verb = "rename",
            .run = RenameGroup,
            .summary = "Rename a group",
            .description = "Renames the group. Its number and its members stay.",
            .arguments = {{.name = "OLD", .help = "current name", .kind = Kind::kGroup},
                          kRenamedArgument},
            .options = {kAnyNameOption},
            .examples = {{"zafoldap group rename staff everybody", "members are kept"}},
            .exits = {3, 4, 5, 6, 8, 130}};
}

}  // namespace

std::vector<Command> GroupCommands() {
    return {GroupListCommand(), GroupShowCommand(),   GroupAddCommand(),
            GroupEditCommand(), GroupRenameCommand(), GroupDeleteCommand()};
}

}  // namespace zafo::cli
