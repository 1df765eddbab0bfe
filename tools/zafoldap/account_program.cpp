// SPDX-License-Identifier: Apache-2.0
//
// The rows of the command table for accounts: user, group, member, id, migrate and stat.
#include "tools/cli/progress.h"
#include "tools/zafoldap/program.h"

namespace zafo::cli {

namespace {

const Argument kUser{.name = "NAME", .help = "login name of the user", .kind = Kind::kUser};
const Argument kUsers{
    .name = "NAME", .help = "login names", .kind = Kind::kUser, .repeatable = true};
const Argument kGroup{.name = "NAME", .help = "name of the group", .kind = Kind::kGroup};
const Argument kGroups{
    .name = "NAME", .help = "names of groups", .kind = Kind::kGroup, .repeatable = true};
const Argument kMembersGroup{.name = "GROUP", .help = "name of the group", .kind = Kind::kGroup};
const Argument kMembers{
    .name = "USER", .help = "login names", .kind = Kind::kUser, .repeatable = true};
const Argument kPattern{
    .name = "PATTERN", .help = "names to list; * stands for any text, quote it", .required = false};
const Argument kNewName{
    .name = "NAME",
    .help = "a to z, 0 to 9, \"_\", \".\" and \"-\", at most 32, first a letter or \"_\""};
const Argument kRenamed{.name = "NEW", .help = "the new name, by the rules of a new one"};

const Option kLimit{
    .name = "limit", .value = "N", .help = "print at most N", .kind = Kind::kNumber};
const Option kRaw{.name = "raw",
                  .help =
                      "print the entry as the directory has it, with all attributes that may "
                      "be read; --fields then names attributes"};
const Option kAnyName{.name = "any-name",
                      .help =
                          "accept names outside the usual rules (other letters, blanks, "
                          "longer ones) and names of local accounts; never * ( ) \\ : or /"};
const Option kExport{.name = "export",
                     .value = "HOST:PATH",
                     .help =
                         "the NFS export of the home folders (default: what the directory's "
                         "auto_home map says)"};

const Option kKeepMemberships{
    .name = "keep-memberships",
    .help = "let groups that list the name already have the user as a member"};

Option Container(std::string_view help) {
    return {.name = "container", .value = "RDN", .help = help};
}

Option Number(std::string_view name, std::string_view help) {
    return {.name = name, .value = "N", .help = help};
}

// What user add and user edit share.
std::vector<Option> UserOptions() {
    return {Number("uid", "user number"),
            {.name = "gid",
             .value = "GROUP",
             .help = "primary group, by name or number",
             .kind = Kind::kGroup},
            {.name = "full-name", .value = "TEXT", .help = "full name (gecos)"},
            {.name = "mail", .value = "ADDRESS", .help = "mail address"},
            {.name = "shell", .value = "PATH", .help = "login shell"},
            {.name = "home", .value = "PATH", .help = "home folder"},
            {.name = "expires",
             .value = "DATE",
             .help = "the day from which the account cannot be used, such as 2027-12-31, or never"},
            {.name = "no-password-change", .help = "the user may not change the password"},
            {.name = "set",
             .value = "ATTR=VALUE",
             .help = "another attribute of the entry, stored exactly as given",
             .repeatable = true}};
}

std::vector<Option> With(std::vector<Option> options, const std::vector<Option> &more) {
    options.insert(options.end(), more.begin(), more.end());
    return options;
}

std::vector<Command> UserReadingCommands() {
    return {
        {.noun = "user",
         .verb = "list",
         .aliases = {"ls"},
         .summary = "List users",
         .description =
             "Lists users as they arrive from the directory, in its order. On a terminal a table "
             "of name, uid, gid and full name; to another program just the names, one on a line. "
             "With --format or --fields what those say. Fields: name, uid, gid, full_name, mail, "
             "home, shell, expires, dn.\n\n"
             "--group takes users that the group lists and those whose primary group it is, "
             "--not-in-group all others. A list that the server cut off at a size limit is "
             "printed, marked as incomplete, and the exit code is 1.",
         .arguments = {kPattern},
         .options = {{.name = "group",
                      .value = "GROUP",
                      .help = "only users in this group",
                      .kind = Kind::kGroup},
                     {.name = "not-in-group",
                      .value = "GROUP",
                      .help = "only users who are not in this group",
                      .kind = Kind::kGroup},
                     kLimit},
         .examples = {{"zafoldap user list 'anna*'", "users whose names begin with anna"},
                      {"zafoldap user list --group staff --format csv", "for a spreadsheet"},
                      {"zafoldap user list --fields name,mail", "two columns"}},
         .exits = {3, 4, 6, 8, 130}},
        {.noun = "user",
         .verb = "show",
         .summary = "Show one user",
         .description = "Shows a user with the groups that list it. The password is not shown but "
                        "with --raw, as the hash that the directory has, when it may be read. "
                        "With --format ldif the entry is printed as with --raw.",
         .arguments = {kUser},
         .options = {kRaw},
         .examples = {{"zafoldap user show anna", "the user and its groups"},
                      {"zafoldap user show anna --raw", "every attribute of the entry"}},
         .exits = {3, 4, 6, 8, 130},
         .entries = true},
        {.noun = "user",
         .verb = "groups",
         .summary = "List the groups of a user",
         .description = "Lists the groups that list the user and the one that is its primary "
                        "group. Fields: name, gid, primary, listed, dn.",
         .arguments = {kUser},
         .examples = {{"zafoldap user groups anna", "a table"},
                      {"zafoldap user groups anna --format plain --fields name", "just the names"}},
         .exits = {3, 4, 6, 8, 130}},
    };
}

Command UserAddCommand() {
    return {
        .noun = "user",
        .verb = "add",
        .summary = "Add a user",
        .description =
            "Adds a user with a password, which is asked for twice unless an option says where it "
            "comes from. A password has at least 8 characters and is not the name. It is set as "
            "Unix and, where the server's schema has sambaSamAccount, as Samba password.\n\n"
            "Without --uid the user gets the next free number: from the pool of the appliance's "
            "own kind of server, else one more than the highest in use. A number that somebody "
            "else takes at the same moment is replaced by the next one. Numbers that are reserved "
            "(0, 65534, 65535, 4294967295), belong to a local account of this system or are "
            "outside the pool are refused. Without --gid the primary group is \"users\", which "
            "must exist.\n\n"
            "A group that --groups does not name and that lists the name all the same, left over "
            "from an earlier user or put there to wait for one, would have the user as a member at "
            "once: such a name is refused, and the groups are named, unless "
            "--keep-memberships says that they are to have it.\n\n"
            "Everything is checked before the entry is made: names, numbers, groups, the place "
            "for it, the schema. When a step after that fails (password, groups, home folder) the "
            "user stays, the exit code is 7, and the message has the commands that finish the "
            "work. The home folder is made when the directory publishes an auto_home map.\n\n"
            "With --dry-run the checks are made and what was asked for is printed as LDIF; what "
            "the library adds by the server's schema (object classes, ageing, Samba attributes), "
            "the password and a number that is still to be taken are named in comments.",
        .arguments = {kNewName},
        .options =
            With(UserOptions(),
                 {{.name = "groups",
                   .value = "A,B,…",
                   .help = "groups that are to list the user",
                   .kind = Kind::kGroup,
                   .repeatable = true},
                  Container("where the entry goes, relative to the base DN (default: cn=users)"),
                  kAnyName,
                  kKeepMemberships,
                  PasswordStdinOption(),
                  PasswordFileOption(),
                  RandomPasswordOption(),
                  WeakPasswordOption()}),
        .examples =
            {{"zafoldap user add anna --full-name 'Anna Smith' --mail anna@example.com --groups "
              "staff,printers",
              "asks for the password"},
             {"zafoldap user add anna --random-password", "prints the password it made"},
             {"zafoldap user add anna --container ou=people --gid 100 --dry-run",
              "what would be added"}},
        .exits = {3, 4, 5, 6, 7, 8, 130}};
}

// A table, however long.
// NOLINTNEXTLINE(readability-function-size)
std::vector<Command> UserChangingCommands() {
    std::vector<Option> edit = UserOptions();
    edit.push_back({.name = "password-change", .help = "the user may change the password"});
    return {
        {.noun = "user",
         .verb = "edit",
         .summary = "Change a user",
         .description =
             "Changes what the options name and leaves the rest. An empty text removes a full "
             "name, mail address, shell or attribute of --set. Lists of members stay as they are, "
             "also when the primary group changes. --mail needs an entry of the class "
             "inetOrgPerson, --expires and the password options one of the class shadowAccount: "
             "else they are refused. user rename changes the name, user passwd the password.",
         .arguments = {kUser},
         .options = std::move(edit),
         .examples = {{"zafoldap user edit anna --mail anna.smith@example.com", "a new address"},
                      {"zafoldap user edit anna --expires 2027-12-31 --set title=Engineer",
                       "a date and another attribute"},
                      {"zafoldap user edit anna --shell ''", "no shell in the directory"}},
         .exits = {3, 4, 5, 6, 7, 8, 130}},
        {.noun = "user",
         .verb = "rename",
         .summary = "Give a user another name",
         .description =
             "Renames the entry, its cn included, and every mention of the old name in groups. "
             "Number, password and home folder stay; the home folder's path is changed with user "
             "edit --home. A new name that a group lists already is refused as for user add. When "
             "groups cannot be changed after the entry was renamed, the exit code is 7 and the "
             "message has the commands that finish the work.",
         .arguments = {{.name = "OLD", .help = "login name now", .kind = Kind::kUser}, kRenamed},
         .options = {kAnyName, kKeepMemberships},
         .examples = {{"zafoldap user rename anna anna.smith", "memberships follow"},
                      {"zafoldap user rename anna anna.smith -n", "the changes it would make"}},
         .exits = {3, 4, 5, 6, 7, 8, 130}},
        {.noun = "user",
         .verb = "delete",
         .aliases = {"rm"},
         .summary = "Delete users",
         .description =
             "Says which groups list each user, asks, then deletes the entries one after the "
             "other and takes their names out of all groups. Home folders stay. All names are "
             "looked up before the first is deleted; it stops at the first that cannot be deleted "
             "and says what was done. Without a terminal --yes is needed.",
         .arguments = {kUsers},
         .examples = {{"zafoldap user delete anna", "asks first"},
                      {"zafoldap user rm anna bob --yes", "does not ask"}},
         .exits = {3, 4, 6, 7, 8, 130}},
        {.noun = "user",
         .verb = "passwd",
         .summary = "Set a user's password",
         .description =
             "Sets a new password, the Unix and the Samba one together where the entry has both. "
             "It is asked for twice unless an option says where it comes from. It has at least 8 "
             "characters and is not the name.",
         .arguments = {kUser},
         .options = {PasswordStdinOption(), PasswordFileOption(), RandomPasswordOption(),
                     WeakPasswordOption()},
         .examples = {{"zafoldap user passwd anna", "asks twice"},
                      {"zafoldap user passwd anna --random-password", "prints the one it made"}},
         .exits = {3, 4, 6, 7, 8, 130}},
        {.noun = "user",
         .verb = "home create",
         .summary = "Make a user's home folder",
         .description = "Mounts the NFS export of the home folders for a moment and makes the "
                        "user's folder in it, the user's own, mode 0700. A folder that exists is "
                        "left as it is. Only root can do this.",
         .arguments = {kUser},
         .options = {kExport},
         .examples = {{"zafoldap user home create anna", "where the directory says"},
                      {"zafoldap user home create anna --export nas:/volume1/homes",
                       "in an export of your choice"}},
         .exits = {3, 4, 6, 8, 130}},
        {.noun = "user",
         .verb = "home create-all",
         .summary = "Make every user's missing home folder",
         .description = "Mounts the NFS export of the home folders for a moment and makes the "
                        "folder of every user who has none. A folder that cannot be made is "
                        "named in the system log and passed over. Only root can do this.",
         .options = {kExport},
         .examples = {{"zafoldap user home create-all", "where the directory says"}},
         .exits = {3, 4, 6, 8, 130}},
    };
}

// A table, however long.
// NOLINTNEXTLINE(readability-function-size)
std::vector<Command> GroupCommands() {
    const Option description{.name = "description", .value = "TEXT", .help = "what it is for"};
    return {
        {.noun = "group",
         .verb = "list",
         .aliases = {"ls"},
         .summary = "List groups",
         .description = "Lists groups as they arrive from the directory. On a terminal a table of "
                        "name, gid and description; to another program just the names, one on a "
                        "line. Fields: name, gid, description, members, dn.",
         .arguments = {kPattern},
         .options = {kLimit},
         .examples = {{"zafoldap group list", "all groups"},
                      {"zafoldap group ls 'dev*' --json", "some, with their members"}},
         .exits = {4, 6, 8, 130}},
        {.noun = "group",
         .verb = "show",
         .summary = "Show one group",
         .description = "Shows a group, the members that it lists and the users whose primary "
                        "group it is.",
         .arguments = {kGroup},
         .options = {kRaw},
         .examples = {{"zafoldap group show staff", "the group and who is in it"},
                      {"zafoldap group show staff --format ldif", "the entry"}},
         .exits = {3, 4, 6, 8, 130},
         .entries = true},
        {.noun = "group",
         .verb = "add",
         .summary = "Add a group",
         .description = "Adds a group without members. Without --gid it gets the next free "
                        "number, as users do (zafoldap user add). With --dry-run the checks are "
                        "made and what was asked for is printed as LDIF.",
         .arguments = {kNewName},
         .options = {Number("gid", "group number"), description,
                     Container("where the entry goes, relative to the base DN (default: "
                               "cn=groups)"),
                     kAnyName},
         .examples = {{"zafoldap group add staff --description 'Everybody'", "the next number"},
                      {"zafoldap group add staff --gid 5000", "a number of your choice"}},
         .exits = {3, 4, 5, 6, 7, 8, 130}},
        {.noun = "group",
         .verb = "edit",
         .summary = "Change a group",
         .description = "Changes number or description; an empty description is removed. Users "
                        "whose primary group it is keep the old number, and their count is told.",
         .arguments = {kGroup},
         .options = {Number("gid", "group number"), description},
         .examples = {{"zafoldap group edit staff --description 'Everybody here'", "a new text"}},
         .exits = {3, 4, 5, 6, 8, 130}},
        {.noun = "group",
         .verb = "rename",
         .summary = "Give a group another name",
         .description = "Renames the group. Its number and its members stay.",
         .arguments = {{.name = "OLD", .help = "name now", .kind = Kind::kGroup}, kRenamed},
         .options = {kAnyName},
         .examples = {{"zafoldap group rename staff everybody", "members stay"}},
         .exits = {3, 4, 5, 6, 8, 130}},
        {.noun = "group",
         .verb = "delete",
         .aliases = {"rm"},
         .summary = "Delete groups",
         .description = "Says how many members each group lists and how many users have it as "
                        "their primary group, asks, then deletes the entries. Users and other "
                        "groups are not touched. Without a terminal --yes is needed.",
         .arguments = {kGroups},
         .examples = {{"zafoldap group delete staff", "asks first"},
                      {"zafoldap group rm staff --yes", "does not ask"}},
         .exits = {3, 4, 6, 7, 8, 130}},
    };
}

std::vector<Command> MemberCommands() {
    return {
        {.noun = "member",
         .verb = "list",
         .aliases = {"ls"},
         .summary = "List the members of a group",
         .description = "Lists the members that the group names. With --primary also the users "
                        "whose primary group it is, and of each whether it is the one, the other "
                        "or both. Fields: name, and with --primary listed and primary.",
         .arguments = {kMembersGroup},
         .options = {{.name = "primary", .help = "also users whose primary group it is"}},
         .examples = {{"zafoldap member list staff", "listed members"},
                      {"zafoldap member list staff --primary", "everybody in it"}},
         .exits = {3, 4, 6, 8, 130}},
        {.noun = "member",
         .verb = "add",
         .summary = "Add users to a group",
         .description = "Adds users to a group, all of them or none. Who is in it already stays. "
                        "Group and users must exist. A member is listed by name (memberUid) and "
                        "by DN (member), or by name only where the group's classes allow no DN.",
         .arguments = {kMembersGroup, kMembers},
         .examples = {{"zafoldap member add staff anna bob", "two users"}},
         .exits = {3, 4, 6, 8, 130}},
        {.noun = "member",
         .verb = "remove",
         .aliases = {"rm"},
         .summary = "Take users out of a group",
         .description = "Takes users out of a group, all of them or none; also names that it "
                        "lists, by name or by DN, though there is no such user. Does not ask: "
                        "member add brings users back.",
         .arguments = {kMembersGroup, kMembers},
         .examples = {{"zafoldap member remove staff bob", "one user"}},
         .exits = {3, 4, 6, 8, 130}},
    };
}

std::vector<Command> IdCommands() {
    return {
        {.noun = "id",
         .verb = "next",
         .summary = "Get a free user or group number",
         .description = "Prints a number that is free, not reserved and no local account's. On "
                        "the appliance's own kind of server it is taken out of the pool and not "
                        "handed out again; --dry-run prints where the pool's counter stands. "
                        "Elsewhere it is one more than the highest in use, and nothing is kept.",
         .arguments = {{.name = "WHICH",
                        .help = "uid for a user, gid for a group",
                        .choices = {"uid", "gid"}}},
         .examples = {{"zafoldap id next uid", "a number for a new user"}},
         .exits = {4, 6, 8, 130}},
        {.noun = "id",
         .verb = "pool show",
         .summary = "Show the pool of numbers",
         .description = "Shows the bounds of the pools of the appliance's own kind of server, "
                        "the numbers that come next, and how many are used and free. Fields: "
                        "which, lowest, highest, next, used, free.",
         .examples = {{"zafoldap id pool show", "both pools"}},
         .exits = {3, 4, 6, 8, 130}},
        {.noun = "id",
         .verb = "check",
         .summary = "Look for trouble with numbers",
         .description =
             "Looks for numbers that several users or several groups have, reserved ones, those "
             "of systems (1 to 999) and of local accounts, those outside the pool, and a counter "
             "that is behind the numbers in use; for names that systems and packages have (root, "
             "sudo, docker and their like) or that are local accounts' with another number; and "
             "for groups that list somebody who is not there, and would have whoever gets the name "
             "as a member. Duplicates, reserved numbers, users with a system's number or name, and "
             "such a member of Directory Operators or administrators make the exit code 1; the "
             "rest are warnings.\n\n"
             "On a directory with several writable servers numbers must be taken from one of "
             "them only: two counters that are changed at the same time hand out the same "
             "numbers.",
         .examples = {{"zafoldap id check", "users and groups"},
                      {"zafoldap id check --json", "the same for a monitor"}},
         .exits = {4, 6, 8, 130}},
    };
}

Command MigrateCommand() {
    return {
        .noun = "migrate",
        .summary = "Copy all users or groups to the directory, or to this system",
        .description =
            "Copies the ordinary accounts of this system (/etc/passwd and /etc/group) to the "
            "directory, or those of the directory to this system, and tells of each what came of "
            "it. Nothing is deleted or changed on either side: an account whose name or number is "
            "taken is skipped. So it may be run again; it adds what is missing. Groups go to this "
            "system first: a user needs its primary group there.\n\n"
            "What would be a part of the system is refused: names that systems and packages have "
            "(root, sudo, docker, disk, shadow and their like), numbers below UID_MIN and GID_MIN "
            "of "
            "/etc/login.defs, above 2147483647 or with a meaning of their own, and on this system "
            "a primary group of the system's own, a home folder like / or /root, and a login shell "
            "that is not in /etc/shells. --allow NAME takes one account as it is, as far as this "
            "system does. To the directory a user is skipped whose name groups there list already "
            "though they do not here (--keep-memberships: is not).\n\n"
            "Password hashes go along as they are, Samba's too where the directory has "
            "sambaSamAccount. A hash that is not of the kind {crypt} is of no use to this system: "
            "the user is told, and has no password until passwd(1) sets one. Mail addresses and "
            "full names go "
            "both ways, descriptions of groups to the directory only. No home folder is made.\n\n"
            "It asks before it adds anything; --dry-run says what would be added and what skipped, "
            "and why. Fields: name, number, result (added, or add with --dry-run; there; skipped; "
            "refused), reason. The exit code is 7 when accounts were skipped or refused.",
        .arguments = {{.name = "WHAT", .help = "users or groups", .choices = {"users", "groups"}}},
        .options = {{.name = "to",
                     .value = "WHERE",
                     .help = "directory, or local: this system",
                     .choices = {"directory", "local"},
                     .required = true},
                    {.name = "allow",
                     .value = "NAME",
                     .help = "take this account though it would be refused",
                     .repeatable = true},
                    {.name = "keep-memberships",
                     .help = "take users whom groups of the directory list already"},
                    ProgressOption()},
        .examples = {{"zafoldap migrate users --to directory --dry-run", "what would be added"},
                     {"zafoldap migrate groups --to local --yes", "without a question"}},
        .exits = {4, 6, 7, 8, 130}};
}

Command StatCommand() {
    return {
        .noun = "stat",
        .summary = "Count users or groups",
        .description = "Prints the number of users or groups.",
        .arguments = {{.name = "WHAT", .help = "users or groups", .choices = {"users", "groups"}}},
        .examples = {{"zafoldap stat users", "their number"}},
        .exits = {4, 6, 8, 130}};
}

}  // namespace

std::vector<Command> AccountCommands() {
    std::vector<Command> all = UserReadingCommands();
    const auto add = [&](std::vector<Command> commands) {
        for (Command &command : commands)
            all.push_back(std::move(command));
    };
    add({UserAddCommand()});
    add(UserChangingCommands());
    add(GroupCommands());
    add(MemberCommands());
    add(IdCommands());
    add({MigrateCommand()});
    add({StatCommand()});
    return all;
}

}  // namespace zafo::cli
