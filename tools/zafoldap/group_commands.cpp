// SPDX-License-Identifier: Apache-2.0
//
// group list, show, add, edit and rename.
#include "tools/cli/change_log.h"
#include "tools/cli/display_text.h"
#include "tools/zafoldap/account_change.h"
#include "tools/zafoldap/account_checks.h"
#include "tools/zafoldap/account_list.h"
#include "tools/zafoldap/handlers.h"

#include <strings.h>

#include <fmt/format.h>

namespace zafo::cli {

namespace {

const Fields kGroupShowFields = [] {
    Fields fields;
    for (const AccountField &row : GroupFields())
        fields.push_back(row.field);
    fields.push_back({"primary_users", "PRIMARY GROUP OF"});
    fields.push_back({"sid", "SID"});
    return fields;
}();

// The users with this primary group.
std::vector<std::string> PrimaryUsers(const AccountDirectory &directory, const std::string &dn) {
    NameList names;
    directory.Run(dn, [&] {
        return ZAFOLDAPBrowserUserEnumByPrimaryGroup(directory.Record(), dn.c_str(), nullptr,
                                                     names.Address());
    });
    return names.Names();
}

void CheckDescription(const std::string &text) {
    if (!IsText(text) || text.find_first_of("\r\n\t") != std::string::npos)
        throw OwnFailure("bad_text", {.subject = "--description",
                                      .reason = "it contains control characters or is not UTF-8"});
}

// Runs an edit of a group and puts words to what the library says.
void RunEdit(const AccountDirectory &directory, const Account &group, const std::string *new_name,
             const std::string *description, const std::optional<std::uint32_t> &gid) {
    const std::optional<Failure> failure =
        Attempt(directory.Out(), directory.Known(group.name), [&] {
            return ZAFOLDAPBrowserGroupEdit(directory.Record(), group.dn.c_str(),
                                            new_name != nullptr ? new_name->c_str() : nullptr,
                                            description != nullptr ? description->c_str() : nullptr,
                                            gid ? &*gid : nullptr);
        });
    if (!failure) return;
    if (failure->key == kGroupKind.name_taken && new_name != nullptr)
        throw LibraryRefusal(failure->key, directory.Known(*new_name));
    if (failure->key == kGroupKind.number_taken && gid)
        throw LibraryRefusal(failure->key, directory.Known(std::to_string(*gid)));
    throw *failure;
}

// An attempt to add, made until its number is its own.
std::uint32_t Make(const AccountDirectory &directory, std::string name, const std::string &dn,
                   const std::string &description, std::optional<std::uint32_t> gid,
                   Leftovers &left) {
    ZAFOGROUP record{};
    record.szName = name.data();
    const std::string container = ContainerOf(directory.Of(), kGroupKind);
    const Created created =
        CreateAccount(directory, kGroupKind, name, dn, gid, [&](std::uint32_t number) {
            record.nGid = number;
            return ZAFOLDAPBrowserGroupCreate(directory.Record(), &record, description.c_str(),
                                              nullptr, container.c_str());
        });
    if (gid) return created.number;
    try {
        return SettleNumber(directory, kGroupKind, created.number, [&](std::uint32_t next) {
            return ZAFOLDAPBrowserGroupEdit(directory.Record(), dn.c_str(), nullptr, nullptr,
                                            &next);
        });
    } catch (const Failure &failure) {
        left.Add("it could not be verified that no other group has its number",
                 CommandLine(directory.Of(), "id check", {}), failure.message);
        return created.number;
    }
}

}  // namespace

int ListGroups(Session &session) {
    const AccountDirectory directory(session);
    return ListAccounts(directory, {.kind = kGroupKind, .fields = GroupFields()});
}

int ShowGroup(Session &session) {
    CheckName(session.Argument("NAME"));
    const AccountDirectory directory(session);
    const std::string dn = directory.Need(kGroupKind, session.Argument("NAME"));
    if (ShowRaw(directory, kGroupKind, dn)) return 0;
    Search search(session.streams, directory.TheHost(),
                  {.base = dn, .filter = std::string(kGroupKind.filter), .scope = "base"},
                  directory.Known(dn));
    const Entry *entry = search.Next();
    if (entry == nullptr) throw OwnFailure("group_missing", directory.Known(dn));
    Json record = RecordOf(GroupFields(), *entry);
    const std::string sid(FirstValue(*entry, "sambaSID"));
    record["sid"] = sid.empty() ? Json() : Json(sid);
    record["primary_users"] = PrimaryUsers(directory, dn);
    PrintRecord(session.streams, session.document, kGroupShowFields, record);
    return 0;
}

int AddGroup(Session &session) {
    const Invocation &invocation = session.invocation;
    const std::string &name = session.Argument("NAME");
    CheckNewName(name, invocation.Has("any-name"));
    std::optional<std::uint32_t> gid;
    if (const std::string *given = invocation.Find("gid"))
        gid = ParseAccountNumber("--gid", *given);
    const std::string *given = invocation.Find("description");
    const std::string description = given != nullptr ? *given : "";
    CheckDescription(description);
    AccountDirectory directory(session);
    directory.LearnServer(kGroupKind);
    const std::string dn =
        fmt::format("cn={},{}", EscapedForDn(name), NeedContainer(directory, kGroupKind));
    if (directory.Find(kGroupKind, name))
        throw LibraryRefusal(kGroupKind.name_taken, directory.Known(name));
    if (gid) CheckNumberIsFree(directory, kGroupKind, *gid);
    ChangePlan plan;
    plan.Check(fmt::format("the name {} is free", name));
    if (gid) plan.Check(fmt::format("the number {} is free", *gid));
    plan.Record(dn, "add");
    plan.Line("cn", name);
    if (gid) {
        plan.Line("gidNumber", std::to_string(*gid));
    } else {
        plan.Remark("gidNumber: the next free one");
    }
    if (!description.empty()) plan.Line("description", description);
    plan.Remark("object classes and Samba attributes according to the server's schema");
    if (session.Options().dry_run) {
        plan.Print(session);
        return 0;
    }
    std::vector<std::string> attributes = plan.Attributes();
    if (!gid) attributes.emplace_back("gidNumber");
    Leftovers left;
    std::uint32_t number = 0;
    Logged(session, dn, attributes,
           [&] { number = Make(directory, name, dn, description, gid, left); });
    if (session.Options().form == Form::kJson)
        session.document.Whole({{"name", name}, {"gid", number}, {"dn", dn}}, /*ok=*/left.None());
    left.ThrowIfAny(fmt::format("the group {} was added with the number {}", name, number));
    session.streams.Note(fmt::format("group {} added: number {}", OneLine(name), number));
    if (IsLocalGroup(name))
        session.streams.Note(
            "note that this system has a local group of that name, which comes first where files "
            "are consulted before the directory");
    return 0;
}

int EditGroup(Session &session) {
    const Invocation &invocation = session.invocation;
    CheckName(session.Argument("NAME"));
    std::optional<std::uint32_t> gid;
    if (const std::string *given = invocation.Find("gid"))
        gid = ParseAccountNumber("--gid", *given);
    const std::string *description = invocation.Find("description");
    if (description != nullptr) CheckDescription(*description);
    if (!gid && description == nullptr)
        throw OwnFailure("nothing_to_change", {.subject = "zafoldap group edit"});
    AccountDirectory directory(session);
    directory.LearnServer(kGroupKind);
    const Account group = directory.NeedAccount(kGroupKind, session.Argument("NAME"));
    const std::string old =
        directory.ValueOf(group.dn, std::string(kGroupKind.filter), "gidNumber");
    const bool renumbers = gid && std::to_string(*gid) != old;
    if (renumbers) CheckNumberIsFree(directory, kGroupKind, *gid);
    const std::vector<std::string> primary =
        renumbers ? PrimaryUsers(directory, group.dn) : std::vector<std::string>();
    ChangePlan plan;
    plan.Check(fmt::format("the group {} exists", group.name));
    plan.Record(group.dn, "modify");
    if (description != nullptr) plan.Replace("description", *description);
    if (gid) plan.Replace("gidNumber", std::to_string(*gid));
    if (session.Options().dry_run) {
        plan.Print(session);
        return 0;
    }
    Logged(session, group.dn, plan.Attributes(),
           [&] { RunEdit(directory, group, nullptr, description, gid); });
    if (session.Options().form == Form::kJson) {
        session.document.Whole({{"name", group.name},
                                {"dn", group.dn},
                                {"changed", plan.Attributes()},
                                {"users_with_old_number", primary}});
    }
    session.streams.Note(fmt::format("group {} changed", OneLine(group.name)));
    if (!primary.empty())
        session.streams.Note(fmt::format(
            "the primary group number {} stays with {} user{}: zafoldap user edit NAME --gid {}",
            old, primary.size(), primary.size() == 1 ? "" : "s", *gid));
    return 0;
}

int RenameGroup(Session &session) {
    const std::string &new_name = session.Argument("NEW");
    CheckChangeableName(session.Argument("OLD"));
    CheckNewName(new_name, session.invocation.Has("any-name"));
    AccountDirectory directory(session);
    directory.LearnServer(kGroupKind);
    const Account group = directory.NeedAccount(kGroupKind, session.Argument("OLD"));
    if (strcasecmp(group.name.c_str(), new_name.c_str()) == 0)
        RefuseUsage(session, "the new name differs from the old one at most in letter case");
    if (directory.Find(kGroupKind, new_name))
        throw LibraryRefusal(kGroupKind.name_taken, directory.Known(new_name));
    ChangePlan plan;
    plan.Check(fmt::format("the group {} exists", group.name));
    plan.Check(fmt::format("the name {} is free", new_name));
    plan.Record(group.dn, "modrdn");
    plan.Line("newrdn", fmt::format("cn={}", EscapedForDn(new_name)));
    plan.Line("deleteoldrdn", "1");
    if (session.Options().dry_run) {
        plan.Print(session);
        return 0;
    }
    Logged(session, group.dn, {"cn"},
           [&] { RunEdit(directory, group, &new_name, nullptr, std::nullopt); });
    if (session.Options().form == Form::kJson) {
        session.document.Whole({{"name", new_name},
                                {"old_name", group.name},
                                {"dn", directory.DnOrNull(kGroupKind, new_name)}});
    }
    session.streams.Note(fmt::format("group {} is now {}", OneLine(group.name), OneLine(new_name)));
    return 0;
}

}  // namespace zafo::cli
