// SPDX-License-Identifier: Apache-2.0
//
// Group membership in any directory. The library lists a member twice, by name (memberUid) and by
// DN (member), in one request. Groups created by other programs often have only names: their
// classes do not allow "member", or a member's DN is missing. The server then refuses the request
// and nothing is changed; such a group is changed by name alone.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/zafoldap/account_change.h"

namespace zafo::cli {

// Removes users from a group and adds others, all or none, except that several users listed in
// different forms are removed one by one. Returns the failure, if any.
std::optional<Failure> ChangeMembers(const AccountDirectory &directory, const Account &group,
                                     const std::vector<std::string> &out,
                                     const std::vector<std::string> &in);

// For each group that still lists `name`, does what the library did not get to: replaces it with
// `new_name`, or removes it if that is empty. Failures are added to `left`.
void FinishMemberships(const AccountDirectory &directory, const std::string &name,
                       const std::string &new_name, Leftovers &left);

}  // namespace zafo::cli
