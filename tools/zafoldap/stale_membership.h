// SPDX-License-Identifier: Apache-2.0
//
// Groups that list somebody who is not there. Whoever gets the name later is a member at once, of
// "Directory Operators" too, without anybody having said so.
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

// The groups that list somebody who is still to be made, or to get this name, in one search: throws Failure
// ("memberships_left") unless the command line has --keep-memberships. `wanted`: groups that
// may list it.
std::vector<Account> CheckMembershipsLeft(const AccountDirectory &directory,
                                          const std::string &name, const std::string &dn,
                                          const std::vector<Account> &wanted);

// What of a group's values names a user.
struct ListedValues {
    std::vector<std::string> of[std::size(kMemberAttributes)];
    bool None() const;
    void Take(ListedValues more);
};
ListedValues ValuesNaming(const AccountDirectory &directory, const Account &group,
                          const std::string &name);

// Calls `visit` with every group that lists somebody and each whom it lists, in one search.
void EachMember(const AccountDirectory &directory,
                const std::function<void(const Account &group, const std::string &user)> &visit);

struct StaleMembership {
    Account group;
    std::vector<std::string> names;
};

// All groups that list somebody who is none of `users` (folded names), those first that give
// rights over the directory. One search.
std::vector<StaleMembership> StaleMemberships(const AccountDirectory &directory,
                                              const std::unordered_set<std::string> &users);

// "Directory Operators" and "administrators".
bool GivesRights(std::string_view group);

}  // namespace zafo::cli
