// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldap/user/input.h"

#include <algorithm>

#include "tools/zafoldap/account_checks.h"
#include "tools/zafoldap/account_options.h"

namespace zafo::cli {

const std::array<TextField, kTextFieldCount> kTextFields = {{
    {"full-name", "gecos", &ZAFOUSER::szFullname, CheckText, true},
    {"shell", "loginShell", &ZAFOUSER::pw_shell, CheckPath, true},
    {"home", "homeDirectory", &ZAFOUSER::pw_dir, CheckPath, false},
    {"mail", "mail", &ZAFOUSER::szMail, CheckMail, true},
}};

bool UserInput::None() const {
    const auto given = [this](const TextField &row) { return record.*row.member != nullptr; };
    return std::ranges::none_of(kTextFields, given) && !expires && !may_change_password;
}

std::vector<Option> UserFieldOptions() {
    return {
        NumberOption("uid", "user number"),
        {.name = "gid",
         .value = "GROUP",
         .help = "primary group, by name or number",
         .kind = Kind::kGroup},
        {.name = "full-name", .value = "TEXT", .help = "full name (gecos)"},
        {.name = "mail", .value = "ADDRESS", .help = "mail address"},
        {.name = "shell", .value = "PATH", .help = "login shell"},
        {.name = "home", .value = "PATH", .help = "home folder"},
        {.name = "expires",
         .value = "DATE",
         .help = "the first day on which the account cannot be used, such as 2027-12-31, or never"},
        {.name = "no-password-change", .help = "the user may not change the password"},
        {.name = "set",
         .value = "ATTR=VALUE",
         .help = "another attribute of the entry, stored exactly as given",
         .repeatable = true}};
}

void ReadUserInput(const Session &session, bool edits, UserInput &input) {
    const Invocation &invocation = session.invocation;
    for (size_t i = 0; i < kTextFields.size(); ++i) {
        const TextField &row = kTextFields[i];
        const std::string *text = invocation.Find(row.option);
        if (text == nullptr || (text->empty() && !edits)) continue;
        if (!text->empty() || !row.removable) row.check(fmt::format("--{}", row.option), *text);
        input.texts[i] = *text;
        input.record.*row.member = input.texts[i].data();
    }
    if (const std::string *date = invocation.Find("expires")) input.expires = ParseDate(*date);
    if (invocation.Has("no-password-change")) input.may_change_password = false;
    if (invocation.Has("password-change")) input.may_change_password = true;
    for (const std::string &setting : invocation.All("set"))
        input.settings.push_back(ParseSetting(session, setting));
    if (const std::string *group = invocation.Find("gid")) CheckName(*group);
}

}  // namespace zafo::cli
