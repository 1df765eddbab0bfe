// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/change_log.h"
#include "tools/cli/display_text.h"
#include "tools/zafoldap/account_change.h"
#include "tools/zafoldap/account_checks.h"
#include "tools/zafoldap/user/commands.h"

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
    if (invocation.Has("no-password-change")) edit.no_password_change = 1;
    if (invocation.Has("password-change")) edit.no_password_change = 0;
    for (const std::string &setting : invocation.All("set"))
        edit.settings.push_back(ParseSetting(session, setting));
    edit.touches_record = !edit.texts.empty() || edit.record.pw_uid != UID_ERR ||
                          invocation.Has("gid") || edit.expires || edit.no_password_change;
    if (!edit.touches_record && edit.settings.empty())
        throw OwnFailure(Message::kNothingToChange, {.subject = "zafoldap user edit"});
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
    const Invocation &invocation = directory.TheSession().invocation;
    const unsigned int classes = ClassesOf(directory, user.dn);
    RequireClassFor(directory, invocation, "mail", ZAFOLDAP_CLASS_INET_ORG_PERSON, classes);
    for (const char *option : {"expires", "no-password-change", "password-change"})
        RequireClassFor(directory, invocation, option, ZAFOLDAP_CLASS_SHADOW_ACCOUNT, classes);
    const std::string now = directory.ValueOf(user.dn, std::string(kUserKind.filter), "uidNumber");
    if (edit.record.pw_uid != UID_ERR && std::to_string(edit.record.pw_uid) != now)
        CheckNumberIsFree(directory, kUserKind, edit.record.pw_uid);
    if (const std::string *gid = invocation.Find("gid"))
        edit.record.pw_gid = RequirePrimaryGroup(directory, *gid).second;
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
    return Attempt(directory.Out(), directory.FactsAbout(user.name),
                   [&] { return file.Apply(directory.Record()); });
}

void Apply(const AccountDirectory &directory, const Account &user, const Edit &edit) {
    if (edit.touches_record) {
        const std::optional<Failure> failure =
            Attempt(directory.Out(), directory.FactsAbout(user.name), [&] {
                return ZAFOLDAPBrowserUserEdit(
                    directory.Record(), user.dn.c_str(), &edit.record,
                    edit.no_password_change ? &*edit.no_password_change : nullptr,
                    edit.expires ? &*edit.expires : nullptr);
            });
        if (failure && failure->id == kUserKind.number_taken)
            throw OwnFailure(failure->id, directory.FactsAbout(std::to_string(edit.record.pw_uid)));
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
    left.Add("the server did not take the attributes of --set",
             CommandLine(directory.TheSession(), "user edit", words), failure->detail);
    left.ThrowIfAny(fmt::format("the other changes of {} were made", user.name));
}

int EditUser(Session &session) {
    CheckName(session.Argument("NAME"));
    Edit edit = ReadOptions(session);
    AccountDirectory directory(session);
    directory.LearnServer(kUserKind);
    const Account user = directory.RequireAccount(kUserKind, session.Argument("NAME"));
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

}  // namespace

Command UserEditCommand() {
    std::vector<Option> options = UserFieldOptions();
    options.push_back({.name = "password-change", .help = "the user may change the password"});
    return {
        .noun = "user",
        .verb = "edit",
        .run = EditUser,
        .summary = "Change a user",
        .description =
            "Changes what the options name and leaves the rest. An empty text removes a full "
            "name, mail address, shell or attribute of --set. Lists of members stay as they are, "
            "also when the primary group changes. --mail needs an entry of the class "
            "inetOrgPerson, --expires and the password options one of the class shadowAccount: "
            "else they are refused. user rename changes the name, user passwd the password.",
        .arguments = {kUserArgument},
        .options = std::move(options),
        .exclusive = {{"password-change", "no-password-change"}},
        .examples = {{"zafoldap user edit anna --mail anna.smith@example.com", "a new address"},
                     {"zafoldap user edit anna --expires 2027-12-31 --set title=Engineer",
                      "a date and another attribute"},
                     {"zafoldap user edit anna --shell ''", "no shell in the directory"}},
        .exits = {3, 4, 5, 6, 7, 8, 130}};
}

}  // namespace zafo::cli
