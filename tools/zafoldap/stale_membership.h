// SPDX-License-Identifier: Apache-2.0
//
// Groups that list a user who does not exist. Anyone given that name later is immediately a member,
// even of "Directory Operators", without anyone having decided so.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "tools/cli/ldap_dn.h"
#include "tools/zafoldap/account_change.h"

namespace zafo::cli {

// The attributes by which groups list members: by name, and by DN.
inline constexpr const char *kMemberAttributes[] = {"memberUid", "member", "uniqueMember"};

// The groups, found in one search, that list a user before it is created or renamed to this name;
// throws Failure ("memberships_left") for them unless the command line has --keep-memberships.
// `wanted`: groups that may list it.
std::vector<Account> CheckMembershipsLeft(const AccountDirectory &directory,
                                          const std::string &name, const std::string &dn,
                                          const std::vector<Account> &wanted);

// The values of a group that name a user.
struct ListedValues {
    std::vector<std::string> of[std::size(kMemberAttributes)];
    bool None() const;
    void Take(ListedValues more);
};
ListedValues ValuesNaming(const AccountDirectory &directory, const Account &group,
                          const std::string &name);

// Calls `visit` with every group and each user it lists, in one search.
void EachMember(const AccountDirectory &directory,
                const std::function<void(const Account &group, const std::string &user)> &visit);

struct StaleMembership {
    Account group;
    std::vector<std::string> names;
};

// All groups that list someone not in `users` (folded names), those that give rights over the
// directory first. One search.
std::vector<StaleMembership> StaleMemberships(const AccountDirectory &directory,
                                              const std::unordered_set<std::string> &users);

// "Directory Operators" and "administrators".
bool GivesRights(std::string_view group);

}  // namespace zafo::cli
