// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>

#include "tools/zafoldap/account_directory.h"
#include "tools/zafoldap/commands.h"

namespace zafo::cli {

namespace {

int CountAccounts(Session &session) {
    const std::string &subject = session.Argument("WHAT");
    const AccountDirectory directory(session);
    const int count = directory.Run(directory.Saved().base, [&] {
        return ZAFOLDAPBrowserStatUGNum(directory.Record(), subject == "users" ? "user" : "group");
    });
    PrintResult(session, {{subject, count}}, fmt::format("{}\n", count));
    return 0;
}

}  // namespace

Command StatCommand() {
    return {
        .noun = "stat",
        .run = CountAccounts,
        .summary = "Count users or groups",
        .description = "Prints the number of users or groups.",
        .arguments = {{.name = "WHAT", .help = "users or groups", .choices = {"users", "groups"}}},
        .examples = {{"zafoldap stat users", "the number of users"}},
        .exits = {4, 6, 8, 130}};
}

}  // namespace zafo::cli
