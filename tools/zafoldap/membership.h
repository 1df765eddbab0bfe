// SPDX-License-Identifier: Apache-2.0
//
// Membership in groups of any directory. The library lists a member twice, by name
// (memberUid) and by DN (member), in one request. Groups that were made by other programs often
// have names only: their classes do not allow "member", or a member's DN is not there. The server
// refuses the request then and nothing is changed; such a group is changed by name alone.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/zafoldap/account_change.h"

namespace zafo::cli {

// Takes users out of a group and puts others in, all or none; only several who are listed in
// different forms are taken out one after the other. The failure, or nothing.
std::optional<Failure> ChangeMembers(const AccountDirectory &directory, const Account &group,
                                     const std::vector<std::string> &out,
                                     const std::vector<std::string> &in);

// Does for each group that still lists `name` what the library did not come to: puts `new_name`
// in its place, or takes it out when that is empty. What fails is added to `left`.
void FinishMemberships(const AccountDirectory &directory, const std::string &name,
                       const std::string &new_name, Leftovers &left);

}  // namespace zafo::cli
