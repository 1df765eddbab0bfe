// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include <fmt/format.h>

#include "tools/cli/change_file.h"
#include "tools/cli/change_log.h"
#include "tools/cli/display_text.h"
#include "tools/zafoldap/account_change.h"
#include "tools/zafoldap/account_checks.h"
#include "tools/zafoldap/user/commands.h"
#include "tools/zafoldap/user/input.h"

namespace zafo::cli {

namespace {

struct Edit {
    UserInput input;
    std::optional<int> no_password_change = {};
    bool touches_record = false;
};

// Parses the command line and checks what can be checked without the directory.
void ReadEdit(const Session &session, Edit &edit) {
    ReadUserInput(session, /*edits=*/true, edit.input);
    edit.input.record.pw_uid = ReadNumber(session, kUserKind).value_or(UID_ERR);
    edit.input.record.pw_gid = GID_ERR;
    if (edit.input.may_change_password)
        edit.no_password_change = *edit.input.may_change_password ? 0 : 1;
    edit.touches_record =
        !edit.input.None() || edit.input.record.pw_uid != UID_ERR || session.invocation.Has("gid");
    if (!edit.touches_record && edit.input.settings.empty())
        throw OwnFailure(Message::kNothingToChange, {.subject = "zafoldap user edit"});
}

unsigned int ClassesOf(const AccountDirectory &directory, const std::string &dn) {
    unsigned int classes = 0;
    directory.Run(dn, [&] {
        return ZAFOLDAPSearchObjectClasses(directory.Record(), dn.c_str(), nullptr, &classes);
    });
    return classes;
}

// Refuses options that the library would ignore.
void CheckEdit(const AccountDirectory &directory, const Account &user, Edit &edit) {
    directory.RequireClasses(kUserKind, ClassesOf(directory, user.dn));
    const std::string now = directory.ValueOf(user.dn, std::string(kUserKind.filter), "uidNumber");
    if (edit.input.record.pw_uid != UID_ERR && std::to_string(edit.input.record.pw_uid) != now)
        directory.RequireFreeNumber(kUserKind, edit.input.record.pw_uid);
    if (const std::string *gid = directory.TheSession().invocation.Find("gid"))
        edit.input.record.pw_gid = directory.RequirePrimaryGroup(gid).gid;
}

ChangePlan PlanOfEdit(const Account &user, const Edit &edit) {
    ChangePlan plan;
    plan.Check(fmt::format("the user {} exists", user.name));
    plan.Record(user.dn, "modify");
    if (edit.input.record.pw_uid != UID_ERR)
        plan.Replace("uidNumber", std::to_string(edit.input.record.pw_uid));
    if (edit.input.record.pw_gid != GID_ERR)
        plan.Replace("gidNumber", std::to_string(edit.input.record.pw_gid));
    for (const TextField &row : kTextFields) {
        if (const char *text = edit.input.record.*row.member) plan.Replace(row.attribute, text);
    }
    if (edit.no_password_change)
        plan.Replace("shadowMin", *edit.no_password_change == 1 ? "100000" : "0");
    if (edit.input.expires) plan.Replace("shadowExpire", std::to_string(*edit.input.expires));
    for (const auto &[attribute, value] : edit.input.settings)
        plan.Replace(attribute, value);
    return plan;
}

// Sets the attributes of --set, in a separate change.
std::optional<Failure> ApplySettings(const AccountDirectory &directory, const Account &user,
                                     const Edit &edit) {
    ChangeFile file(user.dn, "modify");
    for (const auto &[attribute, value] : edit.input.settings)
        file.Replace(attribute, value);
    return file.Apply(directory.Out(), *directory.Record(), directory.FactsAbout(user.name));
}

void ApplyEdit(const AccountDirectory &directory, const Account &user, const Edit &edit) {
    if (edit.touches_record) {
        const std::optional<Failure> failure = directory.Try(user.name, [&] {
            return ZAFOLDAPBrowserUserEdit(
                directory.Record(), user.dn.c_str(), &edit.input.record,
                edit.no_password_change ? &*edit.no_password_change : nullptr,
                edit.input.expires ? &*edit.input.expires : nullptr);
        });
        if (failure && failure->id == kUserKind.number_taken)
            throw OwnFailure(failure->id,
                             directory.FactsAbout(std::to_string(edit.input.record.pw_uid)));
        if (failure) throw *failure;
    }
    if (edit.input.settings.empty()) return;
    const std::optional<Failure> failure = ApplySettings(directory, user, edit);
    if (!failure) return;
    if (!edit.touches_record) throw *failure;
    Leftovers left;
    std::vector<std::string> words = {user.name};
    for (const auto &[attribute, value] : edit.input.settings)
        words.insert(words.end(), {"--set", fmt::format("{}={}", attribute, value)});
    left.Add("the server did not accept the attributes of --set",
             directory.CommandLine("user edit", words), failure->detail);
    left.ThrowIfAny(fmt::format("the other changes to {} were made", user.name));
}

int EditUser(Session &session) {
    CheckName(session.Argument("NAME"));
    Edit edit;
    ReadEdit(session, edit);
    const AccountDirectory directory(session, kUserKind);
    const Account user = directory.RequireAccount(kUserKind, session.Argument("NAME"));
    CheckEdit(directory, user, edit);
    const ChangePlan plan = PlanOfEdit(user, edit);
    if (plan.PrintInstead(session)) return 0;
    Logged(session, user.dn, plan.Attributes(), [&] { ApplyEdit(directory, user, edit); });
    TellResult(session, {{"name", user.name}, {"dn", user.dn}, {"changed", plan.Attributes()}},
               fmt::format("user {} changed", OneLine(user.name)));
    return 0;
}

}  // namespace

Command UserEditCommand() {
    std::vector<Option> options = UserFieldOptions();
    options.push_back({.name = "password-change", .help = "the user may change the password"});
    return {.noun = "user",
            .verb = "edit",
            .run = EditUser,
            .summary = "Change a user",
            .description =
                "Changes only what the options specify. An empty text removes a full name, mail "
                "address, shell or --set attribute. Member lists stay unchanged, even when the "
                "primary group changes. --mail requires an entry of the class inetOrgPerson, "
                "--expires and the password options one of the class shadowAccount. \"user "
                "rename\" changes the name, \"user passwd\" the password.",
            .arguments = {kUserArgument},
            .options = std::move(options),
            .exclusive = {{"password-change", "no-password-change"}},
            .examples = {{"zafoldap user edit anna --mail anna.smith@example.com", "a new address"},
                         {"zafoldap user edit anna --expires 2027-12-31 --set title=Engineer",
                          "an expiry date and another attribute"},
                         {"zafoldap user edit anna --shell ''", "removes the shell"}},
            .exits = {3, 4, 5, 6, 7, 8, 130}};
}

}  // namespace zafo::cli
