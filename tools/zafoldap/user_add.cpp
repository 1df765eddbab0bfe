// SPDX-License-Identifier: Apache-2.0
//
// user add. Everything that can be checked is checked before the entry is made; what fails
// after that leaves the entry, and the message says how to finish.
#include "tools/cli/change_log.h"
#include "tools/cli/display_text.h"
#include "tools/zafoldap/account_change.h"
#include "tools/zafoldap/account_checks.h"
#include "tools/zafoldap/handlers.h"
#include "tools/zafoldap/membership.h"
#include "tools/zafoldap/stale_membership.h"
#include "tools/zafoldap/user_home.h"
#include "tools/zafoldap/user_password.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace zafo::cli {

namespace {

struct NewUser {
    std::string name = {};
    std::string dn = {};
    std::string container = {};
    std::optional<std::uint32_t> uid = {};
    std::string primary_group = {};  // its name, for the message
    std::uint32_t gid = 0;
    std::string full_name = {}, mail = {}, shell = {}, home = {};
    long expires = kNeverExpires;
    bool may_change_password = true;
    std::vector<std::string> extra = {};  // name, value, name, value
    std::vector<Account> groups = {};
    std::vector<Account> kept = {};  // groups that list the name before there is anybody of it
};

// What the command line says, checked as far as it can be without the directory.
NewUser ReadOptions(const Session &session) {
    const Invocation &invocation = session.invocation;
    const auto text = [&](std::string_view name) {
        const std::string *value = invocation.Find(name);
        return value != nullptr ? *value : std::string();
    };
    NewUser user;
    user.name = session.Argument("NAME");
    const bool any = invocation.Has("any-name");
    CheckNewName(user.name, any);
    if (!any && IsLocalUser(user.name)) throw OwnFailure("name_local", {.subject = user.name});
    user.container = ContainerOf(session, kUserKind);
    if (invocation.Has("uid")) user.uid = ParseAccountNumber("--uid", text("uid"));
    user.full_name = text("full-name");
    CheckText("--full-name", user.full_name);
    user.mail = text("mail");
    if (!user.mail.empty()) CheckMail(user.mail);
    user.shell = text("shell");
    if (!user.shell.empty()) CheckPath("--shell", user.shell);
    user.home = text("home");
    if (!user.home.empty()) CheckPath("--home", user.home);
    if (invocation.Has("expires")) user.expires = ParseDate(text("expires"));
    user.may_change_password = !invocation.Has("no-password-change");
    for (const std::string &setting : invocation.All("set")) {
        auto [attribute, value] = ParseSetting(session, setting);
        user.extra.insert(user.extra.end(), {std::move(attribute), std::move(value)});
    }
    for (const std::string &group : SplitNames(invocation.All("groups")))
        CheckName(group);
    CheckPasswordOptions(session);
    return user;
}

// --gid takes a group's name or its number.
void FindPrimaryGroup(const AccountDirectory &directory, const std::string *given, NewUser &user) {
    if (given == nullptr) {
        const auto dn = directory.Find(kGroupKind, "users");
        if (!dn) throw OwnFailure("gid_needed", {});
        user.primary_group = "users";
        user.gid = GidOf(directory, "users", *dn);
        return;
    }
    std::tie(user.primary_group, user.gid) = NeedPrimaryGroup(directory, *given);
}

// Options that the server could only ignore are refused.
void CheckSchema(const AccountDirectory &directory, const Invocation &invocation) {
    NeedClassFor(directory, invocation, "mail", ZAFOLDAP_CLASS_INET_ORG_PERSON, ~0U);
    for (const char *option : {"expires", "no-password-change"})
        NeedClassFor(directory, invocation, option, ZAFOLDAP_CLASS_SHADOW_ACCOUNT, ~0U);
}

ChangePlan CheckAgainst(AccountDirectory &directory, NewUser &user) {
    const Session &session = directory.Of();
    ChangePlan plan;
    directory.LearnServer(kUserKind);
    CheckSchema(directory, session.invocation);
    user.dn =
        fmt::format("uid={},{}", EscapedForDn(user.name), NeedContainer(directory, kUserKind));
    if (directory.Find(kUserKind, user.name))
        throw LibraryRefusal(kUserKind.name_taken, directory.Known(user.name));
    plan.Check(fmt::format("the name {} is free", user.name));
    if (user.uid) {
        CheckNumberIsFree(directory, kUserKind, *user.uid);
        plan.Check(fmt::format("the number {} is free", *user.uid));
    }
    FindPrimaryGroup(directory, session.invocation.Find("gid"), user);
    plan.Check(fmt::format("the primary group is {} ({})", user.primary_group, user.gid));
    user.groups = directory.NeedAll(kGroupKind, SplitNames(session.invocation.All("groups")));
    if (!user.groups.empty())
        plan.Check(fmt::format("these groups exist: {}", Enumerated(NamesOf(user.groups))));
    user.kept = CheckMembershipsLeft(directory, user.name, user.dn, user.groups);
    plan.Check(user.kept.empty() ? fmt::format("no other group lists {}", user.name)
                                 : fmt::format("{} stays in {}, where the name is already listed",
                                               user.name, Enumerated(NamesOf(user.kept))));
    return plan;
}

void PlanEntry(const AccountDirectory &directory, const NewUser &user, ChangePlan &plan) {
    plan.Record(user.dn, "add");
    plan.Line("uid", user.name);
    plan.Line("cn", user.name);
    if (user.uid) {
        plan.Line("uidNumber", std::to_string(*user.uid));
    } else {
        plan.Remark("uidNumber: the next free one");
    }
    plan.Line("gidNumber", std::to_string(user.gid));
    if (!user.full_name.empty()) plan.Line("gecos", user.full_name);
    plan.Line("homeDirectory", user.home.empty() ? "/home/" + user.name : user.home);
    plan.Line("loginShell", user.shell.empty() ? "/bin/sh" : user.shell);
    if (!user.mail.empty()) plan.Line("mail", user.mail);
    if (directory.HasClass(ZAFOLDAP_CLASS_SHADOW_ACCOUNT)) {
        plan.Line("shadowExpire", std::to_string(user.expires));
        plan.Line("shadowMin", user.may_change_password ? "0" : "100000");
    }
    for (size_t i = 0; i + 1 < user.extra.size(); i += 2)
        plan.Line(user.extra[i], user.extra[i + 1]);
    plan.Remark(
        "userPassword: set through the server; object classes, ageing and Samba attributes "
        "according to the server's schema");
    for (const Account &group : user.groups)
        plan.Member(group.dn, "add", user.name, directory.Saved().base);
}

// One request for all groups; when that was not all of it, group by group.
void JoinGroups(const AccountDirectory &directory, const NewUser &user, Leftovers &left) {
    if (user.groups.empty()) return;
    std::vector<std::string> dns;
    for (const Account &group : user.groups)
        dns.push_back(group.dn);
    const NameList groups(dns);
    if (!Attempt(directory.Out(), directory.Known(user.name), [&] {
            return ZAFOLDAPBrowserGroupEditByUserUID(directory.Record(), user.name.c_str(),
                                                     groups.Get(), nullptr);
        })) {
        return;
    }
    NameList joined;
    Attempt(directory.Out(), {}, [&] {
        return ZAFOLDAPBrowserGroupEnumByUserUID(directory.Record(), user.name.c_str(), nullptr,
                                                 joined.Address());
    });
    const std::vector<std::string> in = joined.Names();
    for (const Account &group : user.groups) {
        if (std::ranges::count(in, group.name) > 0) continue;
        const std::optional<Failure> failure = ChangeMembers(directory, group, {}, {user.name});
        if (!failure) continue;
        left.Add(fmt::format("it is not in the group {}", group.name),
                 CommandLine(directory.Of(), "member add", {group.name, user.name}),
                 Reason(*failure));
    }
}

// The library makes the home folder and does not say whether it could; asking again finds out.
void CheckHome(const AccountDirectory &directory, const ZAFOUSER &record, Leftovers &left) {
    std::optional<Failure> failure;
    std::string what = "its home folder could not be created";
    try {
        const std::string value = PublishedHomes(directory);
        if (value.empty()) return;
        if (const std::string fault = FaultOfAutomountValue(value); !fault.empty())
            what += fmt::format(": auto_home has \"{}\", and {}", OneLine(value), fault);
        failure = Attempt(directory.Out(), {}, [&] {
            return ZAFOLDAPBrowserUserHomeCreate(directory.Record(), &record);
        });
    } catch (const Failure &unseen) {
        failure = unseen;
    }
    if (!failure) return;
    left.Add(what, CommandLine(directory.Of(), "user home create", {record.szName}),
             Reason(*failure));
}

ZAFOUSER RecordOfUser(NewUser &user, std::string &password) {
    ZAFOUSER record{};
    record.szName = user.name.data();
    record.szPasswd = password.data();
    record.pw_gid = user.gid;
    record.szFullname = user.full_name.data();
    record.pw_dir = user.home.empty() ? nullptr : user.home.data();
    record.pw_shell = user.shell.empty() ? nullptr : user.shell.data();
    record.nExpire = user.expires;
    record.blDisallowChangePasswd = user.may_change_password ? 0 : 1;
    record.szMail = user.mail.data();
    return record;
}

// Whether the number is the user's alone: a suggested one is replaced until it is, a wanted one
// that somebody else took at the same moment is told.
std::uint32_t Settle(const AccountDirectory &directory, const NewUser &user, std::uint32_t number,
                     Leftovers &left) {
    try {
        if (!user.uid) {
            return SettleNumber(directory, kUserKind, number, [&](std::uint32_t next) {
                ZAFOUSER change{};
                change.pw_uid = next;
                change.pw_gid = GID_ERR;
                return ZAFOLDAPBrowserUserEdit(directory.Record(), user.dn.c_str(), &change,
                                               nullptr, nullptr);
            });
        }
        if (directory.WithNumber(kUserKind, number).size() > 1) {
            left.Add(
                "somebody else took its number at the same moment",
                fmt::format("{} --uid $({})", CommandLine(directory.Of(), "user edit", {user.name}),
                            CommandLine(directory.Of(), "id next uid", {})));
        }
    } catch (const Failure &failure) {
        left.Add(
            fmt::format("it could not be verified that no other user has the number {}", number),
            CommandLine(directory.Of(), "id check", {}), failure.message);
    }
    return number;
}

// Makes the entry and all that belongs to it; gives its number.
std::uint32_t Make(const AccountDirectory &directory, NewUser &user, std::string &password,
                   Leftovers &left) {
    std::vector<std::string> texts = user.extra;
    for (size_t i = 1; i < texts.size(); i += 2)
        texts[i] = PercentsDoubled(texts[i]);
    const NameList extra(texts);
    ZAFOUSER record = RecordOfUser(user, password);
    const Created created =
        CreateAccount(directory, kUserKind, user.name, user.dn, user.uid, [&](std::uint32_t uid) {
            record.pw_uid = uid;
            return ZAFOLDAPBrowserUserCreate(directory.Record(), &record, extra.Get(),
                                             user.container.c_str());
        });
    if (created.after) {
        left.Add("its password could not be set",
                 CommandLine(directory.Of(), "user passwd", {user.name}), Reason(*created.after));
    }
    record.pw_uid = Settle(directory, user, created.number, left);
    JoinGroups(directory, user, left);
    CheckHome(directory, record, left);
    return record.pw_uid;
}

Json Result(const NewUser &user, std::uint32_t uid) {
    return {{"name", user.name},
            {"uid", uid},
            {"gid", user.gid},
            {"dn", user.dn},
            {"groups", NamesOf(user.groups)},
            {"kept_groups", NamesOf(user.kept)}};
}

}  // namespace

int AddUser(Session &session) {
    NewUser user = ReadOptions(session);
    AccountDirectory directory(session);
    ChangePlan plan = CheckAgainst(directory, user);
    PlanEntry(directory, user, plan);
    if (session.Options().dry_run) {
        plan.Print(session);
        return 0;
    }
    std::string password = TakeUserPassword(session, user.name);
    std::vector<std::string> attributes = plan.Attributes();
    attributes.insert(attributes.end(), {"uidNumber", "userPassword"});
    Leftovers left;
    std::uint32_t uid = 0;
    try {
        uid = Make(directory, user, password, left);
    } catch (const Failure &failure) {
        LogEntryChange(session, user.dn, attributes, fmt::format("failed ({})", failure.key));
        throw;
    }
    LogEntryChange(session, user.dn, attributes, left.None() ? "done" : "partly");
    PrintRandomPassword(session, password);
    if (session.Options().form == Form::kJson) {
        Json result = Result(user, uid);
        if (session.invocation.Has("random-password")) result["password"] = password;
        session.document.Whole(result, /*ok=*/left.None());
    }
    left.ThrowIfAny(fmt::format("the user {} was added with the number {}", user.name, uid));
    std::vector<std::string> in = NamesOf(user.groups);
    for (const Account &group : user.kept)
        in.push_back(group.name);
    session.streams.Note(fmt::format("user {} added: number {}, primary group {} ({}){}",
                                     OneLine(user.name), uid, OneLine(user.primary_group), user.gid,
                                     in.empty() ? "" : fmt::format(", in {}", Enumerated(in))));
    return 0;
}

}  // namespace zafo::cli
