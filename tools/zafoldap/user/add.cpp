// SPDX-License-Identifier: Apache-2.0
//
// user add. Everything possible is checked before the entry is created; a later failure leaves the
// entry in place, and the message says how to finish.
#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "tools/cli/change_log.h"
#include "tools/cli/display_text.h"
#include "tools/cli/secret.h"
#include "tools/zafoldap/account_change.h"
#include "tools/zafoldap/account_checks.h"
#include "tools/zafoldap/membership.h"
#include "tools/zafoldap/new_account.h"
#include "tools/zafoldap/stale_membership.h"
#include "tools/zafoldap/user/commands.h"
#include "tools/zafoldap/user/home.h"
#include "tools/zafoldap/user/input.h"

namespace zafo::cli {

namespace {

struct NewUser {
    NewAccount account = {};
    UserInput input = {};
    ZAFOUSER &record = input.record;  // from which the library creates the entry
    std::vector<std::string> group_names = {};
    std::string dn = {};
    PrimaryGroup primary = {};
    std::vector<Account> groups = {};
    std::vector<Account> kept = {};  // groups that listed the name before it existed
};

// Parses the command line and checks what can be checked without the directory.
void ReadOptions(const Session &session, NewUser &user) {
    user.account = ReadNewAccount(session, kUserKind);
    ReadUserInput(session, /*edits=*/false, user.input);
    if (session.invocation.Has("groups"))
        user.group_names = SplitNames(session.invocation.All("groups"));
    for (const std::string &group : user.group_names)
        CheckName(group);
    user.record.szName = user.account.name.data();
    user.record.nExpire = user.input.expires.value_or(kNeverExpires);
    user.record.blDisallowChangePasswd = user.input.may_change_password.value_or(true) ? 0 : 1;
}

ChangePlan CheckAgainst(const AccountDirectory &directory, NewUser &user) {
    const std::string &name = user.account.name;
    ChangePlan plan;
    user.dn = directory.RequireNew(kUserKind, user.account);
    plan.Check(fmt::format("the name {} is free", name));
    if (user.account.number) plan.Check(fmt::format("the number {} is free", *user.account.number));
    user.primary = directory.RequirePrimaryGroup(directory.TheSession().invocation.Find("gid"));
    user.record.pw_gid = user.primary.gid;
    plan.Check(fmt::format("the primary group is {} ({})", user.primary.name, user.primary.gid));
    if (!user.group_names.empty()) {
        user.groups = directory.RequireAll(kGroupKind, user.group_names);
        plan.Check(fmt::format("these groups exist: {}", Enumerated(NamesOf(user.groups))));
    }
    user.kept = CheckMembershipsLeft(directory, name, user.dn, user.groups);
    plan.Check(user.kept.empty() ? fmt::format("no other group lists {}", name)
                                 : fmt::format("{} stays in {}, where the name is already listed",
                                               name, Enumerated(NamesOf(user.kept))));
    return plan;
}

// Derived from the record that the library gets.
void PlanEntry(const AccountDirectory &directory, const NewUser &user, ChangePlan &plan) {
    const std::string &name = user.account.name;
    const ZAFOUSER &record = user.record;
    plan.Record(user.dn, "add");
    plan.Line("uid", name);
    plan.Line("cn", name);
    if (user.account.number) {
        plan.Line("uidNumber", std::to_string(*user.account.number));
    } else {
        plan.Remark("uidNumber: the next free one");
    }
    plan.Line("gidNumber", std::to_string(record.pw_gid));
    if (record.szFullname != nullptr) plan.Line("gecos", record.szFullname);
    plan.Line("homeDirectory", record.pw_dir != nullptr ? record.pw_dir : "/home/" + name);
    plan.Line("loginShell", record.pw_shell != nullptr ? record.pw_shell : "/bin/sh");
    if (record.szMail != nullptr) plan.Line("mail", record.szMail);
    if (directory.HasClass(ZAFOLDAP_CLASS_SHADOW_ACCOUNT)) {
        plan.Line("shadowExpire", std::to_string(record.nExpire));
        plan.Line("shadowMin", record.blDisallowChangePasswd == 0 ? "0" : "100000");
    }
    for (const auto &[attribute, value] : user.input.settings)
        plan.Line(attribute, value);
    plan.Remark(
        "userPassword: set through the server; object classes, ageing and Samba attributes "
        "according to the server's schema");
    for (const Account &group : user.groups)
        plan.Member(group.dn, "add", name, directory.Saved().base);
}

// One request for all groups; if that did not cover all, group by group.
void JoinGroups(const AccountDirectory &directory, const NewUser &user, Leftovers &left) {
    if (user.groups.empty()) return;
    std::vector<std::string> dns;
    for (const Account &group : user.groups)
        dns.push_back(group.dn);
    const NameList groups(dns);
    if (!directory.Try(user.account.name, [&] {
            return ZAFOLDAPBrowserGroupEditByUserUID(directory.Record(), user.account.name.c_str(),
                                                     groups.Get(), nullptr);
        })) {
        return;
    }
    NameList joined;
    Attempt(directory.Out(), {}, [&] {
        return ZAFOLDAPBrowserGroupEnumByUserUID(directory.Record(), user.account.name.c_str(),
                                                 nullptr, joined.Address());
    });
    const std::vector<std::string> in = joined.Names();
    for (const Account &group : user.groups) {
        if (std::ranges::count(in, group.name) > 0) continue;
        const std::optional<Failure> failure =
            ChangeMembers(directory, group, {}, {user.account.name});
        if (!failure) continue;
        left.Add(fmt::format("it is not in the group {}", group.name),
                 directory.CommandLine("member add", {group.name, user.account.name}),
                 Reason(*failure));
    }
}

// The library creates the home folder without reporting success; creating it again finds out.
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
    left.Add(what, directory.CommandLine("user home create", {record.szName}), Reason(*failure));
}

// Makes sure that the number is the user's alone: a suggested one is replaced until it is, a
// requested one that someone else took at the same moment is reported.
std::uint32_t Settle(const AccountDirectory &directory, const NewUser &user, std::uint32_t number,
                     Leftovers &left) {
    try {
        if (!user.account.number) {
            return SettleNumber(directory, kUserKind, number, [&](std::uint32_t next) {
                ZAFOUSER change{};
                change.pw_uid = next;
                change.pw_gid = GID_ERR;
                return ZAFOLDAPBrowserUserEdit(directory.Record(), user.dn.c_str(), &change,
                                               nullptr, nullptr);
            });
        }
        if (directory.WithNumber(kUserKind, number).size() > 1) {
            left.Add("somebody else took its number at the same moment",
                     fmt::format("{} --uid $({})",
                                 directory.CommandLine("user edit", {user.account.name}),
                                 directory.CommandLine("id next uid", {})));
        }
    } catch (const Failure &failure) {
        left.Add(
            fmt::format("it could not be verified that no other user has the number {}", number),
            directory.CommandLine("id check", {}), failure.message);
    }
    return number;
}

// Creates the entry and everything that goes with it; returns its number.
std::uint32_t Make(const AccountDirectory &directory, NewUser &user, Leftovers &left) {
    std::vector<std::string> texts;
    for (const auto &[attribute, value] : user.input.settings)
        texts.insert(texts.end(), {attribute, PercentsDoubled(value)});
    const NameList extra(texts);
    const Created created =
        CreateAccount(directory, kUserKind, user.account, user.dn, [&](std::uint32_t uid) {
            user.record.pw_uid = uid;
            return ZAFOLDAPBrowserUserCreate(directory.Record(), &user.record, extra.Get(),
                                             user.account.container.c_str());
        });
    if (created.after) {
        left.Add("its password could not be set",
                 directory.CommandLine("user passwd", {user.account.name}), Reason(*created.after));
    }
    user.record.pw_uid = Settle(directory, user, created.number, left);
    JoinGroups(directory, user, left);
    CheckHome(directory, user.record, left);
    return user.record.pw_uid;
}

Json Result(const NewUser &user, std::uint32_t uid) {
    return {{"name", user.account.name},      {"uid", uid},
            {"gid", user.primary.gid},        {"dn", user.dn},
            {"groups", NamesOf(user.groups)}, {"kept_groups", NamesOf(user.kept)}};
}

void Tell(Session &session, const NewUser &user, std::uint32_t uid, const std::string &password,
          const Leftovers &left) {
    PrintRandomPassword(session, password);
    if (session.WantsJson()) {
        Json result = Result(user, uid);
        if (session.invocation.Has("random-password")) result["password"] = password;
        session.document.Whole(result, /*ok=*/left.None());
    }
    left.ThrowIfAny(
        fmt::format("the user {} was added with the number {}", user.account.name, uid));
    std::vector<std::string> in = NamesOf(user.groups);
    for (const Account &group : user.kept)
        in.push_back(group.name);
    session.streams.Note(fmt::format("user {} added: number {}, primary group {} ({}){}",
                                     OneLine(user.account.name), uid, OneLine(user.primary.name),
                                     user.primary.gid,
                                     in.empty() ? "" : fmt::format(", in {}", Enumerated(in))));
}

int AddUser(Session &session) {
    NewUser user;
    ReadOptions(session, user);
    const AccountDirectory directory(session, kUserKind);
    ChangePlan plan = CheckAgainst(directory, user);
    PlanEntry(directory, user, plan);
    if (plan.PrintInstead(session)) return 0;
    std::string password = TakeUserPassword(session, user.account.name);
    user.record.szPasswd = password.data();
    const auto log = [&](const std::string &result) {
        std::vector<std::string> attributes = plan.Attributes();
        attributes.insert(attributes.end(), {"uidNumber", "userPassword"});
        LogEntryChange(session, user.dn, attributes, result);
    };
    Leftovers left;
    std::uint32_t uid = 0;
    try {
        uid = Make(directory, user, left);
    } catch (const Failure &failure) {
        log(fmt::format("failed ({})", failure.Key()));
        throw;
    }
    log(left.None() ? "done" : "partly");
    Tell(session, user, uid, password, left);
    return 0;
}

}  // namespace

Command UserAddCommand() {
    std::vector<Option> options = UserFieldOptions();
    options.insert(
        options.end(),
        {{.name = "groups",
          .value = "A,B,…",
          .help = "groups to add the user to",
          .kind = Kind::kGroup,
          .repeatable = true},
         ContainerOption("where the entry goes, relative to the base DN (default: cn=users)"),
         kAnyNameOption,
         kKeepMembershipsOption,
         kPasswordStdin,
         kPasswordFile,
         kRandomPassword,
         kWeakPassword});
    return {
        .noun = "user",
        .verb = "add",
        .run = AddUser,
        .summary = "Add a user",
        .description =
            "Adds a user with a password, which is prompted for twice unless an option supplies "
            "it. It must have at least 8 characters and must not be the user's name. It is set as "
            "the Unix password and, if the server's schema has sambaSamAccount, as the Samba "
            "password.\n\n"
            "Without --uid the user gets the next free number: from the pool on the appliance's "
            "own kind of server, otherwise one more than the highest in use. If somebody else "
            "takes that number at the same moment, the next one is used. Numbers that are reserved "
            "(0, 65534, 65535, 4294967295), belong to a local account of this system or are "
            "outside the pool are refused. Without --gid the primary group is \"users\", which "
            "must exist.\n\n"
            "Groups may already list the name, left over from an earlier user or listed in "
            "advance, and would have the user as a member. If --groups does not name them, the "
            "name is refused and the groups are shown, unless --keep-memberships is given.\n\n"
            "Everything is checked before the entry is added: names, numbers, groups, the "
            "container, the schema. If a later step fails (password, groups, home folder), the "
            "user stays, the exit code is 7, and the message shows the commands that finish the "
            "work. The home folder is created if the directory publishes an auto_home map.\n\n"
            "--dry-run makes the checks and prints the requested entry as LDIF; comments name what "
            "the library adds according to the server's schema (object classes, ageing, Samba "
            "attributes), the password, and a number that has not been taken yet.",
        .arguments = {kNewNameArgument},
        .options = std::move(options),
        .exclusive = {{"password-stdin", "password-file", "random-password"}},
        .examples =
            {{"zafoldap user add anna --full-name 'Anna Smith' --mail anna@example.com --groups "
              "staff,printers",
              "prompts for the password"},
             {"zafoldap user add anna --random-password", "generates and prints a password"},
             {"zafoldap user add anna --container ou=people --gid 100 --dry-run",
              "what would be added"}},
        .exits = {3, 4, 5, 6, 7, 8, 130}};
}

}  // namespace zafo::cli
