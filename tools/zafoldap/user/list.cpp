// SPDX-License-Identifier: Apache-2.0
#include <string>
#include <unordered_set>

#include "tools/zafoldap/account_checks.h"
#include "tools/zafoldap/account_list.h"
#include "tools/zafoldap/user/commands.h"

namespace zafo::cli {

namespace {

using Names = std::unordered_set<std::string>;

Names AsSet(const std::vector<std::string> &names) {
    return {names.begin(), names.end()};
}

// Members of a group: those it lists and those with it as their primary group.
Names MembersOf(const AccountDirectory &directory, const std::string &group,
                std::optional<Failure> &cut) {
    const Account account{group, directory.Require(kGroupKind, group)};
    Names names = AsSet(ListedUsers(directory, account));
    names.merge(AsSet(PrimaryUsers(directory, account, &cut)));
    return names;
}

Names NotIn(const AccountDirectory &directory, const std::string &group) {
    const std::string dn = directory.Require(kGroupKind, group);
    NameList others;
    directory.Run(group, [&] {
        return ZAFOLDAPBrowserUserEnumNotInGroupDN(directory.Record(), dn.c_str(),
                                                   others.Address());
    });
    return AsSet(others.Names());
}

int ListUsers(Session &session) {
    const std::string *in = session.invocation.Find("group");
    const std::string *out = session.invocation.Find("not-in-group");
    for (const std::string *group : {in, out}) {
        if (group != nullptr) CheckName(*group);
    }
    const AccountDirectory directory(session);
    ListRequest request{.kind = kUserKind, .fields = UserFields()};
    if (in != nullptr || out != nullptr) {
        const Names names =
            in != nullptr ? MembersOf(directory, *in, request.cut) : NotIn(directory, *out);
        request.wanted = [names](std::string_view name) {
            return names.contains(std::string(name));
        };
    }
    return ListAccounts(directory, request);
}

}  // namespace

Command UserListCommand() {
    return {.noun = "user",
            .verb = "list",
            .aliases = {"ls"},
            .run = ListUsers,
            .summary = "List users",
            .description =
                "Lists users as they arrive, in the directory's order. On a terminal prints a "
                "table of name, uid, gid and full name, elsewhere only the names, one per line; "
                "--format and --fields override this. Fields: name, uid, gid, full_name, mail, "
                "home, shell, expires, dn.\n\n"
                "--group selects the users that the group lists and those whose primary group it "
                "is, --not-in-group all others. If the server cuts the list off at a size limit, "
                "the received part is printed and marked as incomplete, and the exit code is 1.",
            .arguments = {kPatternArgument},
            .options = {{.name = "group",
                         .value = "GROUP",
                         .help = "only users in this group",
                         .kind = Kind::kGroup},
                        {.name = "not-in-group",
                         .value = "GROUP",
                         .help = "only users who are not in this group",
                         .kind = Kind::kGroup},
                        kLimitOption},
            .exclusive = {{"group", "not-in-group"}},
            .examples = {{"zafoldap user list 'anna*'", "users whose names begin with anna"},
                         {"zafoldap user list --group staff --format csv", "for a spreadsheet"},
                         {"zafoldap user list --fields name,mail", "two columns"}},
            .exits = {3, 4, 6, 8, 130}};
}

}  // namespace zafo::cli
