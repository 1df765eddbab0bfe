// SPDX-License-Identifier: Apache-2.0
//
// user show and user groups.
#include <algorithm>
#include <memory>
#include <string>

#include <fmt/format.h>

#include "tools/cli/ldap_filter.h"
#include "tools/zafoldap/account_checks.h"
#include "tools/zafoldap/account_list.h"
#include "tools/zafoldap/user/commands.h"

namespace zafo::cli {

namespace {

const Fields kGroupRowFields = {
    {"name", "GROUP"}, {"gid", "GID"}, {"primary", "PRIMARY"}, {"listed", "LISTED"}, {"dn", "DN"}};

// The groups that match a filter, as rows without the reason for the membership.
std::vector<Json> GroupsMatching(const AccountDirectory &directory, const std::string &name,
                                 const std::string &filter) {
    Search search(directory.Out(), directory.TheHost(),
                  {.base = std::nullopt,
                   .filter = fmt::format("(&({})({}))", kGroupKind.filter, filter),
                   .attributes = {"cn", "gidNumber"}},
                  directory.FactsAbout(name));
    std::vector<Json> rows;
    while (const Entry *entry = search.Next()) {
        rows.push_back(RecordOf(GroupFields(), *entry));
        rows.back()["primary"] = false;
        rows.back()["listed"] = false;
    }
    return rows;
}

// Every group that lists the user or has its primary number.
std::vector<Json> GroupsOf(const AccountDirectory &directory, const std::string &name,
                           const std::string &gid) {
    std::vector<Json> rows = GroupsMatching(directory, name, "memberUid=" + EscapedForFilter(name));
    for (Json &row : rows)
        row["listed"] = true;
    if (gid.empty()) return rows;
    for (Json &primary : GroupsMatching(directory, name, "gidNumber=" + EscapedForFilter(gid))) {
        const auto known =
            std::ranges::find_if(rows, [&](const Json &row) { return row["dn"] == primary["dn"]; });
        Json &row = known == rows.end() ? rows.emplace_back(std::move(primary)) : *known;
        row["primary"] = true;
    }
    return rows;
}

bool MayChangePassword(const AccountDirectory &directory, const std::string &dn) {
    ZAFOUSER *read = nullptr;
    directory.Run(
        dn, [&] { return ZAFOLDAPBrowserUserGet(directory.Record(), dn.c_str(), &read, nullptr); });
    const std::unique_ptr<ZAFOUSER, UserFree> user(read);
    return user == nullptr || user->blDisallowChangePasswd == 0;
}

const Fields kUserShowFields = [] {
    Fields fields;
    for (const AccountField &row : UserFields())
        fields.push_back(row.field);
    fields.insert(fields.end(), {{"primary_group", "PRIMARY GROUP"},
                                 {"groups", "GROUPS"},
                                 {"password_change", "MAY CHANGE PASSWORD"},
                                 {"sid", "SID"}});
    return fields;
}();

int ShowUser(Session &session) {
    CheckName(session.Argument("NAME"));
    const AccountDirectory directory(session);
    const auto [name, dn] = directory.RequireAccount(kUserKind, session.Argument("NAME"));
    if (ShowRaw(directory, kUserKind, dn)) return 0;
    Search search(session.streams, directory.TheHost(),
                  {.base = dn, .filter = std::string(kUserKind.filter), .scope = "base"},
                  directory.FactsAbout(dn));
    const Entry *entry = search.Next();
    if (entry == nullptr) throw OwnFailure(Message::kUserMissing, directory.FactsAbout(name));
    Json record = RecordOf(UserFields(), *entry);
    const std::string sid(FirstValue(*entry, "sambaSID"));
    const std::string gid(FirstValue(*entry, "gidNumber"));
    record["primary_group"] = nullptr;
    record["groups"] = Json::array();
    for (const Json &row : GroupsOf(directory, name, gid)) {
        if (row["primary"] == true) record["primary_group"] = row["name"];
        if (row["listed"] == true) record["groups"].push_back(row["name"]);
    }
    record["password_change"] = MayChangePassword(directory, dn);
    record["sid"] = sid.empty() ? Json() : Json(sid);
    PrintRecord(session.streams, session.document, kUserShowFields, record);
    return 0;
}

int ListUserGroups(Session &session) {
    CheckName(session.Argument("NAME"));
    const AccountDirectory directory(session);
    const auto [name, dn] = directory.RequireAccount(kUserKind, session.Argument("NAME"));
    const std::string gid = directory.ValueOf(dn, std::string(kUserKind.filter), "gidNumber");
    const std::vector<Json> rows = GroupsOf(directory, name, gid);
    PrintList(session.streams, session.document, kGroupRowFields, rows);
    if (rows.empty()) session.streams.Note(fmt::format("{} is not in any group", name));
    return 0;
}

}  // namespace

Command UserShowCommand() {
    return {.noun = "user",
            .verb = "show",
            .run = ShowUser,
            .summary = "Show one user",
            .description =
                "Shows a user with the groups that list it. The password is shown only with --raw, "
                "as the directory's hash, if it is readable. --format ldif prints the entry as "
                "--raw does.",
            .arguments = {kUserArgument},
            .options = {kRawOption},
            .examples = {{"zafoldap user show anna", "the user and its groups"},
                         {"zafoldap user show anna --raw", "every attribute of the entry"}},
            .exits = {3, 4, 6, 8, 130},
            .entries = true};
}

Command UserGroupsCommand() {
    return {
        .noun = "user",
        .verb = "groups",
        .run = ListUserGroups,
        .summary = "List the groups of a user",
        .description =
            "Lists the groups that list the user and the one that is its primary "
            "group. Fields: name, gid, primary, listed, dn.",
        .arguments = {kUserArgument},
        .examples = {{"zafoldap user groups anna", "a table"},
                     {"zafoldap user groups anna --format plain --fields name", "only the names"}},
        .exits = {3, 4, 6, 8, 130}};
}

}  // namespace zafo::cli
