// SPDX-License-Identifier: Apache-2.0
//
// user edit and rename.
#include "tools/cli/change_log.h"
#include "tools/cli/display_text.h"
#include "tools/zafoldap/account_change.h"
#include "tools/zafoldap/account_checks.h"
#include "tools/zafoldap/handlers.h"
#include "tools/zafoldap/membership.h"
#include "tools/zafoldap/stale_membership.h"

#include <strings.h>

#include <fmt/format.h>

#include <utility>

namespace zafo::cli {

namespace {

// Fields of the record that texts of the command line set.
struct TextOption {
    std::string_view option;
    std::string_view attribute;
    char *ZAFOUSER::*field;
    bool removable;  // by an empty text
};

constexpr TextOption kTextOptions[] = {
    {"full-name", "gecos", &ZAFOUSER::szFullname, true},
    {"shell", "loginShell", &ZAFOUSER::pw_shell, true},
    {"home", "homeDirectory", &ZAFOUSER::pw_dir, false},
    {"mail", "mail", &ZAFOUSER::szMail, true},
};

struct Edit {
    ZAFOUSER record{};
    std::vector<std::string> texts;  // what the record points to
    std::optional<int> no_password_change;
    std::optional<long> expires;
    std::vector<std::pair<std::string, std::string>> settings;
    bool touches_record = false;
};

void CheckTextOption(const TextOption &row, const std::string &text) {
    const std::string shown = fmt::format("--{}", row.option);
    if (text.empty() && row.removable) return;
    if (row.option == "mail") {
        CheckMail(text);
    } else if (row.option == "full-name") {
        CheckText(shown, text);
    } else {
        CheckPath(shown, text);
    }
}

Edit ReadOptions(const Session &session) {
    const Invocation &invocation = session.invocation;
    Edit edit;
    edit.record.pw_uid = UID_ERR;
    edit.record.pw_gid = GID_ERR;
    edit.texts.reserve(std::size(kTextOptions));
    for (const TextOption &row : kTextOptions) {
        const std::string *text = invocation.Find(row.option);
        if (text == nullptr) continue;
        CheckTextOption(row, *text);
        edit.record.*row.field = edit.texts.emplace_back(*text).data();
    }
    if (const std::string *uid = invocation.Find("uid"))
        edit.record.pw_uid = ParseAccountNumber("--uid", *uid);
    if (const std::string *date = invocation.Find("expires")) edit.expires = ParseDate(*date);
    if (invocation.Has("no-password-change") && invocation.Has("password-change"))
        RefuseUsage(session, "--password-change and --no-password-change cannot be used together");
    if (invocation.Has("no-password-change")) edit.no_password_change = 1;
    if (invocation.Has("password-change")) edit.no_password_change = 0;
    for (const std::string &setting : invocation.All("set"))
        edit.settings.push_back(ParseSetting(session, setting));
    edit.touches_record = !edit.texts.empty() || edit.record.pw_uid != UID_ERR ||
                          invocation.Has("gid") || edit.expires || edit.no_password_change;
    if (!edit.touches_record && edit.settings.empty())
        throw OwnFailure("nothing_to_change", {.subject = "zafoldap user edit"});
    return edit;
}

unsigned int ClassesOf(const AccountDirectory &directory, const std::string &dn) {
    unsigned int classes = 0;
    directory.Run(dn, [&] {
        return ZAFOLDAPSearchObjectClasses(directory.Record(), dn.c_str(), nullptr, &classes);
    });
    return classes;
}

// Options that the library could only pass over are refused.
void CheckAgainst(const AccountDirectory &directory, const Account &user, Edit &edit) {
    const Invocation &invocation = directory.Of().invocation;
    const unsigned int classes = ClassesOf(directory, user.dn);
    NeedClassFor(directory, invocation, "mail", ZAFOLDAP_CLASS_INET_ORG_PERSON, classes);
    for (const char *option : {"expires", "no-password-change", "password-change"})
        NeedClassFor(directory, invocation, option, ZAFOLDAP_CLASS_SHADOW_ACCOUNT, classes);
    const std::string now = directory.ValueOf(user.dn, std::string(kUserKind.filter), "uidNumber");
    if (edit.record.pw_uid != UID_ERR && std::to_string(edit.record.pw_uid) != now)
        CheckNumberIsFree(directory, kUserKind, edit.record.pw_uid);
    if (const std::string *gid = invocation.Find("gid"))
        edit.record.pw_gid = NeedPrimaryGroup(directory, *gid).second;
}

ChangePlan PlanOf(const Account &user, const Edit &edit) {
    ChangePlan plan;
    plan.Check(fmt::format("the user {} exists", user.name));
    plan.Record(user.dn, "modify");
    if (edit.record.pw_uid != UID_ERR)
        plan.Replace("uidNumber", std::to_string(edit.record.pw_uid));
    if (edit.record.pw_gid != GID_ERR)
        plan.Replace("gidNumber", std::to_string(edit.record.pw_gid));
    for (const TextOption &row : kTextOptions) {
        if (const char *text = edit.record.*row.field) plan.Replace(row.attribute, text);
    }
    if (edit.no_password_change)
        plan.Replace("shadowMin", *edit.no_password_change == 1 ? "100000" : "0");
    if (edit.expires) plan.Replace("shadowExpire", std::to_string(*edit.expires));
    for (const auto &[attribute, value] : edit.settings)
        plan.Replace(attribute, value);
    return plan;
}

// The attributes of --set, as one change of their own.
std::optional<Failure> ApplySettings(const AccountDirectory &directory, const Account &user,
                                     const Edit &edit) {
    ChangeFile file(user.dn, "modify");
    for (const auto &[attribute, value] : edit.settings)
        file.Replace(attribute, value);
    return Attempt(directory.Out(), directory.Known(user.name),
                   [&] { return file.Apply(directory.Record()); });
}

void Apply(const AccountDirectory &directory, const Account &user, const Edit &edit) {
    if (edit.touches_record) {
        const std::optional<Failure> failure =
            Attempt(directory.Out(), directory.Known(user.name), [&] {
                return ZAFOLDAPBrowserUserEdit(
                    directory.Record(), user.dn.c_str(), &edit.record,
                    edit.no_password_change ? &*edit.no_password_change : nullptr,
                    edit.expires ? &*edit.expires : nullptr);
            });
        if (failure && failure->key == kUserKind.number_taken)
            throw LibraryRefusal(failure->key, directory.Known(std::to_string(edit.record.pw_uid)));
        if (failure) throw *failure;
    }
    if (edit.settings.empty()) return;
    const std::optional<Failure> failure = ApplySettings(directory, user, edit);
    if (!failure) return;
    if (!edit.touches_record) throw *failure;
    Leftovers left;
    std::vector<std::string> words = {user.name};
    for (const auto &[attribute, value] : edit.settings)
        words.insert(words.end(), {"--set", fmt::format("{}={}", attribute, value)});
    left.Add("the server did not accept the attributes of --set",
             CommandLine(directory.Of(), "user edit", words), failure->detail);
    left.ThrowIfAny(fmt::format("the other changes to {} were made", user.name));
}

// A rename that failed has changed nothing, or the entry but not all groups: those are done here.
void FinishRename(const AccountDirectory &directory, const Account &user,
                  const std::string &new_name, const Failure &failure) {
    bool renamed = false, gone = false;
    try {
        renamed = directory.Find(kUserKind, new_name).has_value();
        gone = !directory.IsThere(user.dn);
    } catch (const Failure &) {
        ThrowUnknown(directory, failure, CommandLine(directory.Of(), "user show", {new_name}));
    }
    if (renamed && !gone) throw LibraryRefusal(kUserKind.name_taken, directory.Known(new_name));
    if (!renamed && Interrupted()) throw OwnFailure("interrupted", {});
    if (!renamed) throw failure;
    Leftovers left;
    FinishMemberships(directory, user.name, new_name, left);
    left.ThrowIfAny(fmt::format("the user {} is now called {}", user.name, new_name));
}

std::string RdnOf(const Account &user, const std::string &new_name) {
    return fmt::format("{}={}", user.dn.substr(0, user.dn.find('=')), EscapedForDn(new_name));
}

// Nobody waits for the new name in a group; the DN there is that of the renamed entry.
void CheckNewNameIsInNoGroup(const AccountDirectory &directory, const Account &user,
                             const std::string &new_name, ChangePlan &plan) {
    const std::vector<Account> kept = CheckMembershipsLeft(
        directory, new_name, RdnOf(user, new_name) + user.dn.substr(EndOfRdn(user.dn)), {});
    plan.Check(kept.empty() ? fmt::format("no group lists {}", new_name)
                            : fmt::format("{} stays in {}, where the name is already listed",
                                          new_name, Enumerated(NamesOf(kept))));
}

// The attribute of the entry's RDN follows with it, the other one of "uid" and "cn" is replaced.
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

}  // namespace

int EditUser(Session &session) {
    CheckName(session.Argument("NAME"));
    Edit edit = ReadOptions(session);
    AccountDirectory directory(session);
    directory.LearnServer(kUserKind);
    const Account user = directory.NeedAccount(kUserKind, session.Argument("NAME"));
    CheckAgainst(directory, user, edit);
    const ChangePlan plan = PlanOf(user, edit);
    if (session.Options().dry_run) {
        plan.Print(session);
        return 0;
    }
    Logged(session, user.dn, plan.Attributes(), [&] { Apply(directory, user, edit); });
    if (session.Options().form == Form::kJson)
        session.document.Whole(
            {{"name", user.name}, {"dn", user.dn}, {"changed", plan.Attributes()}});
    session.streams.Note(fmt::format("user {} changed", OneLine(user.name)));
    return 0;
}

int RenameUser(Session &session) {
    const std::string &new_name = session.Argument("NEW");
    CheckChangeableName(session.Argument("OLD"));
    CheckNewName(new_name, session.invocation.Has("any-name"));
    if (!session.invocation.Has("any-name") && IsLocalUser(new_name))
        throw OwnFailure("name_local", {.subject = new_name});
    AccountDirectory directory(session);
    directory.LearnServer(kUserKind);
    const Account user = directory.NeedAccount(kUserKind, session.Argument("OLD"));
    if (strcasecmp(user.name.c_str(), new_name.c_str()) == 0)
        RefuseUsage(session, "the new name differs from the old one at most in letter case");
    if (directory.Find(kUserKind, new_name))
        throw LibraryRefusal(kUserKind.name_taken, directory.Known(new_name));
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
            Attempt(session.streams, directory.Known(user.name), [&] {
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

}  // namespace zafo::cli
