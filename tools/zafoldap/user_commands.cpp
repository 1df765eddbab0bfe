// SPDX-License-Identifier: Apache-2.0
//
// user list, show and groups.
#include "tools/cli/ldap_filter.h"
#include "tools/zafoldap/account_checks.h"
#include "tools/zafoldap/account_list.h"
#include "tools/zafoldap/handlers.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <string>
#include <unordered_set>

namespace zafo::cli {

namespace {

using Names = std::unordered_set<std::string>;

struct FreeUser {
    void operator()(ZAFOUSER *user) const { ZAFOUserFree(user); }
};

Names AsSet(const NameList &list) {
    Names names;
    for (std::string &name : list.Names())
        names.insert(std::move(name));
    return names;
}

// Members of a group, listed ones and those with it as their primary group.
Names MembersOf(const AccountDirectory &directory, const std::string &group,
                std::optional<Failure> &cut) {
    const std::string dn = directory.Need(kGroupKind, group);
    NameList listed;
    directory.Run(group, [&] {
        return ZAFOLDAPBrowserUserEnumByGroupDN(directory.Record(), dn.c_str(), listed.Address());
    });
    NameList primary;
    cut = Attempt(directory.Out(), directory.Known(group), [&] {
        return ZAFOLDAPBrowserUserEnumByPrimaryGroup(directory.Record(), dn.c_str(), nullptr,
                                                     primary.Address());
    });
    if (cut && !IsCutOff(*cut)) throw *cut;
    Names names = AsSet(listed);
    names.merge(AsSet(primary));
    return names;
}

Names NotIn(const AccountDirectory &directory, const std::string &group) {
    const std::string dn = directory.Need(kGroupKind, group);
    NameList others;
    directory.Run(group, [&] {
        return ZAFOLDAPBrowserUserEnumNotInGroupDN(directory.Record(), dn.c_str(),
                                                   others.Address());
    });
    return AsSet(others);
}

const Fields kGroupRowFields = {
    {"name", "GROUP"}, {"gid", "GID"}, {"primary", "PRIMARY"}, {"listed", "LISTED"}, {"dn", "DN"}};

// The groups that match a filter, as rows without what makes the user one of them.
std::vector<Json> GroupsMatching(const AccountDirectory &directory, const std::string &name,
                                 const std::string &filter) {
    Search search(directory.Out(), directory.TheHost(),
                  {.base = std::nullopt,
                   .filter = fmt::format("(&({})({}))", kGroupKind.filter, filter),
                   .attributes = {"cn", "gidNumber"}},
                  directory.Known(name));
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
    const std::unique_ptr<ZAFOUSER, FreeUser> user(read);
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

}  // namespace

int ListUsers(Session &session) {
    const std::string *in = session.invocation.Find("group");
    const std::string *out = session.invocation.Find("not-in-group");
    if (in != nullptr && out != nullptr)
        RefuseUsage(session, "--group and --not-in-group cannot be used together");
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

int ShowUser(Session &session) {
    CheckName(session.Argument("NAME"));
    const AccountDirectory directory(session);
    const auto [name, dn] = directory.NeedAccount(kUserKind, session.Argument("NAME"));
    if (ShowRaw(directory, kUserKind, dn)) return 0;
    Search search(session.streams, directory.TheHost(),
                  {.base = dn, .filter = std::string(kUserKind.filter), .scope = "base"},
                  directory.Known(dn));
    const Entry *entry = search.Next();
    if (entry == nullptr) throw OwnFailure("user_missing", directory.Known(name));
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
    const auto [name, dn] = directory.NeedAccount(kUserKind, session.Argument("NAME"));
    const std::string gid = directory.ValueOf(dn, std::string(kUserKind.filter), "gidNumber");
    const std::vector<Json> rows = GroupsOf(directory, name, gid);
    PrintList(session.streams, session.document, kGroupRowFields, rows);
    if (rows.empty()) session.streams.Note(fmt::format("{} is not in any group", name));
    return 0;
}

}  // namespace zafo::cli
