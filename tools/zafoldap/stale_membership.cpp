// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldap/stale_membership.h"

#include <algorithm>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "base/ascii.h"
#include "base/dn.h"
#include "tools/cli/display_text.h"
#include "tools/cli/ldap_filter.h"

namespace zafo::cli {

namespace {

// The index of an attribute; their count if it is none of them.
size_t IndexOf(std::string_view attribute) {
    size_t i = 0;
    while (i < std::size(kMemberAttributes) && !EqualIgnoringCase(attribute, kMemberAttributes[i]))
        ++i;
    return i;
}

// The user that a group's value names.
std::string UserOfValue(size_t attribute, std::string_view value) {
    return attribute == 0 ? std::string(value) : UserOfDn(value);
}

// Calls visit(index of the attribute, value, user it names) for each member that a group lists.
template <typename Visit>
void EachValue(const Entry &group, Visit visit) {
    for (const Attribute &attribute : group.attributes) {
        const size_t index = IndexOf(attribute.name);
        if (index == std::size(kMemberAttributes)) continue;
        for (std::string_view value : attribute.values)
            visit(index, value, UserOfValue(index, value));
    }
}

Account GroupOf(const Entry &entry) {
    const std::string_view name = FirstValue(entry, kGroupKind.name_attr);
    return {std::string(name.empty() ? entry.dn : name), std::string(entry.dn)};
}

// A group of another kind (groupOfNames) has no name that these programs know.
struct NamingGroup {
    Account account;
    bool posix;
};

std::string NameFilter(const std::string &name, const std::vector<std::string> &dns) {
    std::string filter = fmt::format("(|(memberUid={})", EscapedForFilter(name));
    for (const std::string &dn : dns) {
        const std::string value = EscapedForFilter(dn);
        filter += fmt::format("(member={0})(uniqueMember={0})", value);
    }
    return filter + ")";
}

// The groups that list a name, or a user with one of these DNs.
std::vector<NamingGroup> GroupsNaming(const AccountDirectory &directory, const std::string &name,
                                      const std::vector<std::string> &dns) {
    Search search =
        directory.SearchFor({.filter = NameFilter(name, dns),
                             .attributes = {std::string(kGroupKind.name_attr), "objectClass"}},
                            name);
    std::vector<NamingGroup> groups;
    while (const Entry *entry = search.Next()) {
        const bool posix = std::ranges::any_of(entry->attributes, [](const Attribute &attribute) {
            return Folded(attribute.name) == "objectclass" &&
                   std::ranges::any_of(attribute.values, [](std::string_view value) {
                       return Folded(value) == "posixgroup";
                   });
        });
        groups.push_back({GroupOf(*entry), posix});
        if (!posix) groups.back().account.name = entry->dn;
    }
    std::ranges::stable_sort(groups, {}, [](const NamingGroup &group) {
        return GivesRights(group.account.name) ? 0 : 1;
    });
    return groups;
}

// The commands that remove a name from groups.
std::string RemovalOf(const AccountDirectory &directory, const std::vector<NamingGroup> &groups,
                      const std::string &name) {
    std::vector<std::string> commands;
    for (const NamingGroup &group : groups) {
        if (group.posix)
            commands.push_back(directory.CommandLine("member remove", {group.account.name, name}));
    }
    return commands.empty() ? "ldapmodify(1) changes groups of this kind"
                            : fmt::format("{}", fmt::join(commands, " && "));
}

}  // namespace

std::vector<Account> CheckMembershipsLeft(const AccountDirectory &directory,
                                          const std::string &name, const std::string &dn,
                                          const std::vector<Account> &wanted) {
    // Where the library lists members by DN, whatever the user's container.
    const std::string usual = fmt::format("uid={},{},{}", EscapedForDn(name), kUserKind.container,
                                          directory.Saved().base);
    std::vector<std::string> dns = {dn};
    if (dn != usual) dns.push_back(usual);
    std::vector<NamingGroup> naming = GroupsNaming(directory, name, dns);
    std::erase_if(naming, [&](const NamingGroup &group) {
        return std::ranges::count(wanted, group.account.dn, &Account::dn) > 0;
    });
    std::vector<Account> groups;
    for (const NamingGroup &group : naming)
        groups.push_back(group.account);
    if (groups.empty() || directory.TheSession().invocation.Has("keep-memberships")) return groups;
    Facts facts = directory.FactsAbout(name);
    facts.reason = fmt::format("{} {}", OneLine(Enumerated(NamesOf(groups))),
                               groups.size() == 1 ? "lists" : "list");
    facts.finish = RemovalOf(directory, naming, name);
    throw OwnFailure(Message::kMembershipsLeft, facts);
}

bool ListedValues::None() const {
    return std::ranges::all_of(of, [](const auto &values) { return values.empty(); });
}

void ListedValues::Take(ListedValues more) {
    for (size_t i = 0; i < std::size(of); ++i)
        for (std::string &value : more.of[i])
            of[i].push_back(std::move(value));
}

ListedValues ValuesNaming(const AccountDirectory &directory, const Account &group,
                          const std::string &name) {
    Search search = directory.SearchFor(
        ForEntry(group.dn, {std::begin(kMemberAttributes), std::end(kMemberAttributes)}),
        group.name);
    ListedValues listed;
    const Entry *entry = search.Next();
    if (entry == nullptr) return listed;
    EachValue(*entry, [&](size_t index, std::string_view value, const std::string &user) {
        if (index == 0 ? user == name : EqualIgnoringCase(user, name))
            listed.of[index].emplace_back(value);
    });
    return listed;
}

void EachMember(const AccountDirectory &directory,
                const std::function<void(const Account &group, const std::string &user)> &visit) {
    Query query{.filter = "(|(memberUid=*)(member=*)(uniqueMember=*))",
                .attributes = {std::begin(kMemberAttributes), std::end(kMemberAttributes)}};
    query.attributes.emplace_back(kGroupKind.name_attr);
    Search search = directory.SearchFor(std::move(query), directory.Saved().base);
    while (const Entry *entry = search.Next()) {
        const Account group = GroupOf(*entry);
        EachValue(*entry, [&](size_t, std::string_view, const std::string &user) {
            if (!user.empty()) visit(group, user);
        });
    }
}

std::vector<StaleMembership> StaleMemberships(const AccountDirectory &directory,
                                              const std::unordered_set<std::string> &users) {
    std::vector<StaleMembership> stale;
    std::unordered_set<std::string> seen;  // in the latest group
    EachMember(directory, [&](const Account &group, const std::string &user) {
        if (users.contains(Folded(user))) return;
        if (stale.empty() || stale.back().group.dn != group.dn) {
            stale.push_back({group, {}});
            seen.clear();
        }
        if (seen.insert(user).second) stale.back().names.push_back(user);
    });
    std::ranges::stable_sort(stale, {}, [](const StaleMembership &membership) {
        return GivesRights(membership.group.name) ? 0 : 1;
    });
    return stale;
}

bool GivesRights(std::string_view group) {
    const std::string folded = Folded(group);
    return folded == "directory operators" || folded == "administrators";
}

}  // namespace zafo::cli
