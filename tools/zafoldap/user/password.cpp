// SPDX-License-Identifier: Apache-2.0
//
// user passwd.
#include <fmt/format.h>

#include "tools/cli/change_log.h"
#include "tools/cli/display_text.h"
#include "tools/cli/secret.h"
#include "tools/zafoldap/account_change.h"
#include "tools/zafoldap/account_checks.h"
#include "tools/zafoldap/account_directory.h"
#include "tools/zafoldap/user/commands.h"

namespace zafo::cli {

namespace {

// What the change affects besides the server's password, depending on the entry's classes.
struct Touched {
    bool samba;
    bool shadow;
};

Touched TouchedBy(const AccountDirectory &directory, const std::string &dn) {
    unsigned int classes = 0;
    directory.Run(dn, [&] {
        return ZAFOLDAPSearchObjectClasses(directory.Record(), dn.c_str(),
                                           std::string(kUserKind.filter).c_str(), &classes);
    });
    const auto has = [&](unsigned int bit) {
        return (classes & bit) != 0 && directory.HasClass(bit);
    };
    return {has(ZAFOLDAP_CLASS_SAMBA_SAM_ACCOUNT), has(ZAFOLDAP_CLASS_SHADOW_ACCOUNT)};
}

// The library changes the entry before it has the server set the password; a failure of the second
// step has no code of its own.
void SetPassword(const AccountDirectory &directory, const std::string &name, const std::string &dn,
                 std::string password, const Touched &touched,
                 const std::vector<std::string> &attributes) {
    ZAFOUSER user{};
    user.pw_uid = UID_ERR;
    user.pw_gid = GID_ERR;
    user.szPasswd = password.data();
    const std::optional<Failure> failure = directory.Try(name, [&] {
        return ZAFOLDAPBrowserUserEdit(directory.Record(), dn.c_str(), &user, nullptr, nullptr);
    });
    const Session &session = directory.TheSession();
    if (!failure) {
        LogEntryChange(session, dn, attributes, "done");
        return;
    }
    const bool entry_changed = ZAFOLDAPErrGet() == 0;
    const bool partly = entry_changed && touched.samba;
    LogEntryChange(session, dn, attributes,
                   fmt::format("{} ({})", partly ? "partly" : "failed", failure->Key()));
    if (!entry_changed) throw *failure;
    if (!partly) {
        Failure refused =
            OwnFailure(Message::kPasswordRefused, directory.FactsAbout(name), failure->detail);
        refused.exit_code = failure->exit_code;  // 4 or 6 if that is the cause
        refused.ldap_code = failure->ldap_code;
        throw refused;
    }
    Leftovers left;
    left.Add("the server did not accept it as the Unix password",
             CommandLine(session, "user passwd", {name}), failure->detail);
    left.ThrowIfAny(fmt::format("the Samba password of {} may be the new one", name));
}

int SetUserPassword(Session &session) {
    CheckName(session.Argument("NAME"));
    const AccountDirectory directory(session, kUserKind);
    const auto [name, dn] = directory.RequireAccount(kUserKind, session.Argument("NAME"));
    const Touched touched = TouchedBy(directory, dn);
    ChangePlan plan;
    plan.Check(fmt::format("the user {} exists", name));
    plan.Record(dn, "modify");
    const std::string now = "set by the actual change";
    if (touched.samba) {
        for (const char *attribute : {"sambaNTPassword", "sambaLMPassword", "sambaPwdLastSet"})
            plan.Replace(attribute, now);
    }
    if (touched.shadow) plan.Replace("shadowLastChange", now);
    plan.Remark("userPassword: set through the server (ldappasswd)");
    std::vector<std::string> attributes = plan.Attributes();
    attributes.insert(attributes.begin(), "userPassword");
    if (plan.PrintInstead(session)) return 0;
    const std::string password = TakeUserPassword(session, name);
    SetPassword(directory, name, dn, password, touched, attributes);
    PrintRandomPassword(session, password);
    if (session.WantsJson()) {
        Json record = {{"name", name}, {"dn", dn}, {"unix", true}, {"samba", touched.samba}};
        if (session.invocation.Has("random-password")) record["password"] = password;
        session.document.Whole(record);
    }
    session.streams.Note(fmt::format(
        "{} of {} set", touched.samba ? "Unix and Samba password" : "password", OneLine(name)));
    return 0;
}

}  // namespace

Command UserPasswdCommand() {
    return {.noun = "user",
            .verb = "passwd",
            .run = SetUserPassword,
            .summary = "Set a user's password",
            .description =
                "Sets a new password, for Unix and Samba together if the entry has both. It is "
                "prompted for twice unless an option supplies it. It must have at least 8 "
                "characters and must not be the user's name.",
            .arguments = {kUserArgument},
            .options = {kPasswordStdin, kPasswordFile, kRandomPassword, kWeakPassword},
            .exclusive = {{"password-stdin", "password-file", "random-password"}},
            .examples = {{"zafoldap user passwd anna", "prompts twice"},
                         {"zafoldap user passwd anna --random-password",
                          "generates and prints a password"}},
            .exits = {3, 4, 6, 7, 8, 130}};
}

}  // namespace zafo::cli
