// SPDX-License-Identifier: Apache-2.0
//
// Arguments and options shared by several commands on accounts.
#pragma once

#include "tools/cli/command.h"

namespace zafo::cli {

inline const Argument kUserArgument{
    .name = "NAME", .help = "login name of the user", .kind = Kind::kUser};
inline const Argument kUsersArgument{
    .name = "NAME", .help = "login names", .kind = Kind::kUser, .repeatable = true};
inline const Argument kGroupArgument{
    .name = "NAME", .help = "name of the group", .kind = Kind::kGroup};
inline const Argument kGroupsArgument{
    .name = "NAME", .help = "names of groups", .kind = Kind::kGroup, .repeatable = true};
inline const Argument kPatternArgument{
    .name = "PATTERN", .help = "names to list; * matches any text (quote it)", .required = false};
inline const Argument kNewNameArgument{
    .name = "NAME",
    .help =
        "at most 32 of a to z, 0 to 9, \"_\", \".\" and \"-\", starting with a letter or \"_\""};
inline const Argument kRenamedArgument{.name = "NEW",
                                       .help = "the new name; the rules of \"add\" apply"};
inline const Option kLimitOption{
    .name = "limit", .value = "N", .help = "print at most N", .kind = Kind::kNumber};
inline const Option kRawOption{.name = "raw",
                               .help =
                                   "print the entry as the directory has it, with all readable "
                                   "attributes; --fields then names attributes"};
inline const Option kAnyNameOption{
    .name = "any-name",
    .help =
        "accept names outside the usual rules (other letters, blanks, "
        "longer ones) and names of local accounts; never * ( ) \\ : or /"};
inline const Option kKeepMembershipsOption{
    .name = "keep-memberships",
    .help = "keep the name in groups that already list it, making the user a member"};

inline Option ContainerOption(std::string_view help) {
    return {.name = "container", .value = "RDN", .help = help};
}

inline Option NumberOption(std::string_view name, std::string_view help) {
    return {.name = name, .value = "N", .help = help};
}

}  // namespace zafo::cli
