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
    .name = "PATTERN", .help = "names to list; * matches any text (quote it)", .required = false};
const Argument kNewName{
    .name = "NAME",
    .help =
        "at most 32 of a to z, 0 to 9, \"_\", \".\" and \"-\", starting with a letter or \"_\""};
const Argument kRenamed{.name = "NEW", .help = "the new name; the rules of \"add\" apply"};

const Option kLimit{
    .name = "limit", .value = "N", .help = "print at most N", .kind = Kind::kNumber};
const Option kRaw{.name = "raw",
                  .help =
                      "print the entry as the directory has it, with all readable attributes; "
                      "--fields then names attributes"};
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
    .help = "keep the name in groups that already list it, making the user a member"};

Option Container(std::string_view help) {
    return {.name = "container", .value = "RDN", .help = help};
}

Option Number(std::string_view name, std::string_view help) {
    return {.name = name, .value = "N", .help = help};
}

// What user add and user edit share.
std::vector<Option> UserOptions() {
    return {
        Number("uid", "user number"),
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
         .help = "the first day on which the account cannot be used, such as 2027-12-31, or never"},
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
             "Lists users as they arrive, in the directory's order. On a terminal prints a table "
             "of name, uid, gid and full name, elsewhere only the names, one per line; --format "
             "and --fields override this. Fields: name, uid, gid, full_name, mail, home, shell, "
             "expires, dn.\n\n"
             "--group selects the users that the group lists and those whose primary group it is, "
             "--not-in-group all others. If the server cuts the list off at a size limit, the "
             "received part is printed and marked as incomplete, and the exit code is 1.",
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
         .description = "Shows a user with the groups that list it. The password is shown only "
                        "with --raw, as the directory's hash, if it is readable. --format ldif "
                        "prints the entry as --raw does.",
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
                      {"zafoldap user groups anna --format plain --fields name", "only the names"}},
         .exits = {3, 4, 6, 8, 130}},
    };
}

Command UserAddCommand() {
    return {
        .noun = "user",
        .verb = "add",
        .summary = "Add a user",
        .description =
            "Adds a user with a password, which is prompted for twice unless an option supplies "
            "it. It must have at least 8 characters and not be the name. It is set as the Unix "
            "password and, if the server's schema has sambaSamAccount, as the Samba password.\n\n"
            "Without --uid the user gets the next free number: from the pool on the appliance's "
            "own kind of server, otherwise one more than the highest in use. If somebody else "
            "takes that number at the same moment, the next one is used. Numbers that are reserved "
            "(0, 65534, 65535, 4294967295), belong to a local account of this system or are "
            "outside the pool are refused. Without --gid the primary group is \"users\", which "
            "must exist.\n\n"
            "Groups may already list the name, left over from an earlier user or listed in "
            "advance, and would have the user as a member. If --groups does not name them, the "
            "name is refused and the groups are shown, unless --keep-memberships is given.\n\n"
            "Everything is checked before the entry is added: names, numbers, groups, its place, "
            "the schema. If a later step fails (password, groups, home folder), the user stays, "
            "the exit code is 7, and the message shows the commands that finish the work. The home "
            "folder is created if the directory publishes an auto_home map.\n\n"
            "--dry-run makes the checks and prints the requested entry as LDIF; comments name what "
            "the library adds according to the server's schema (object classes, ageing, Samba "
            "attributes), the password, and a number that is yet to be taken.",
        .arguments = {kNewName},
        .options =
            With(UserOptions(),
                 {{.name = "groups",
                   .value = "A,B,…",
                   .help = "groups to add the user to",
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
              "prompts for the password"},
             {"zafoldap user add anna --random-password", "generates and prints a password"},
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
             "Changes only what the options name. An empty text removes a full name, mail address, "
             "shell or --set attribute. Member lists stay unchanged, even when the primary group "
             "changes. --mail requires an entry of the class inetOrgPerson, --expires and the "
             "password options one of the class shadowAccount. \"user rename\" changes the name, "
             "\"user passwd\" the password.",
         .arguments = {kUser},
         .options = std::move(edit),
         .examples = {{"zafoldap user edit anna --mail anna.smith@example.com", "a new address"},
                      {"zafoldap user edit anna --expires 2027-12-31 --set title=Engineer",
                       "an expiry date and another attribute"},
                      {"zafoldap user edit anna --shell ''", "removes the shell"}},
         .exits = {3, 4, 5, 6, 7, 8, 130}},
        {.noun = "user",
         .verb = "rename",
         .summary = "Rename a user",
         .description =
             "Renames the entry, including its cn, and the old name in all groups. Number, "
             "password and home folder stay; \"user edit --home\" changes the home folder's path. "
             "A new name that a group already lists is refused, as for \"user add\". If groups "
             "cannot be changed after the entry was renamed, the exit code is 7 and the message "
             "shows the commands that finish the work.",
         .arguments = {{.name = "OLD", .help = "current login name", .kind = Kind::kUser},
                       kRenamed},
         .options = {kAnyName, kKeepMemberships},
         .examples = {{"zafoldap user rename anna anna.smith", "memberships are kept"},
                      {"zafoldap user rename anna anna.smith -n", "the changes it would make"}},
         .exits = {3, 4, 5, 6, 7, 8, 130}},
        {.noun = "user",
         .verb = "delete",
         .aliases = {"rm"},
         .summary = "Delete users",
         .description =
             "Shows which groups list each user, asks for confirmation, then deletes the entries "
             "one by one and removes their names from all groups. Home folders stay. All names are "
             "looked up before the first is deleted; the command stops at the first one that "
             "cannot be deleted and says what was done. Without a terminal, --yes is required.",
         .arguments = {kUsers},
         .examples = {{"zafoldap user delete anna", "asks first"},
                      {"zafoldap user rm anna bob --yes", "does not ask"}},
         .exits = {3, 4, 6, 7, 8, 130}},
        {.noun = "user",
         .verb = "passwd",
         .summary = "Set a user's password",
         .description = "Sets a new password, for Unix and Samba together if the entry has both. "
                        "It is prompted for twice unless an option supplies it. It must have at "
                        "least 8 characters and not be the name.",
         .arguments = {kUser},
         .options = {PasswordStdinOption(), PasswordFileOption(), RandomPasswordOption(),
                     WeakPasswordOption()},
         .examples = {{"zafoldap user passwd anna", "prompts twice"},
                      {"zafoldap user passwd anna --random-password",
                       "generates and prints a password"}},
         .exits = {3, 4, 6, 7, 8, 130}},
        {.noun = "user",
         .verb = "home create",
         .summary = "Create a user's home folder",
         .description = "Briefly mounts the NFS export of the home folders and creates the user's "
                        "folder in it, owned by the user, mode 0700. An existing folder is left "
                        "unchanged. Only root can do this.",
         .arguments = {kUser},
         .options = {kExport},
         .examples = {{"zafoldap user home create anna",
                       "in the export that the directory publishes"},
                      {"zafoldap user home create anna --export nas:/volume1/homes",
                       "in an export of your choice"}},
         .exits = {3, 4, 6, 8, 130}},
        {.noun = "user",
         .verb = "home create-all",
         .summary = "Create all missing home folders",
         .description = "Briefly mounts the NFS export of the home folders and creates a folder "
                        "for every user without one. A folder that cannot be created is skipped "
                        "and named in the system log. Only root can do this.",
         .options = {kExport},
         .examples = {{"zafoldap user home create-all",
                       "in the export that the directory publishes"}},
         .exits = {3, 4, 6, 8, 130}},
    };
}

// A table, however long.
// NOLINTNEXTLINE(readability-function-size)
std::vector<Command> GroupCommands() {
    const Option description{
        .name = "description", .value = "TEXT", .help = "what the group is for"};
    return {
        {.noun = "group",
         .verb = "list",
         .aliases = {"ls"},
         .summary = "List groups",
         .description = "Lists groups as they arrive, in the directory's order. On a terminal "
                        "prints a table of name, gid and description, elsewhere only the names, "
                        "one per line. Fields: name, gid, description, members, dn.",
         .arguments = {kPattern},
         .options = {kLimit},
         .examples = {{"zafoldap group list", "all groups"},
                      {"zafoldap group ls 'dev*' --json", "matching groups with their members"}},
         .exits = {4, 6, 8, 130}},
        {.noun = "group",
         .verb = "show",
         .summary = "Show one group",
         .description = "Shows a group, the members that it lists and the users whose primary "
                        "group it is.",
         .arguments = {kGroup},
         .options = {kRaw},
         .examples = {{"zafoldap group show staff", "the group and its members"},
                      {"zafoldap group show staff --format ldif", "the entry"}},
         .exits = {3, 4, 6, 8, 130},
         .entries = true},
        {.noun = "group",
         .verb = "add",
         .summary = "Add a group",
         .description = "Adds a group without members. Without --gid it gets the next free number, "
                        "as users do (zafoldap user add). --dry-run makes the checks and prints "
                        "the requested entry as LDIF.",
         .arguments = {kNewName},
         .options = {Number("gid", "group number"), description,
                     Container("where the entry goes, relative to the base DN (default: "
                               "cn=groups)"),
                     kAnyName},
         .examples = {{"zafoldap group add staff --description 'Everybody'",
                       "the next free number"},
                      {"zafoldap group add staff --gid 5000", "a number of your choice"}},
         .exits = {3, 4, 5, 6, 7, 8, 130}},
        {.noun = "group",
         .verb = "edit",
         .summary = "Change a group",
         .description = "Changes the number or description; an empty description removes it. Users "
                        "whose primary group it is keep the old number; their count is shown.",
         .arguments = {kGroup},
         .options = {Number("gid", "group number"), description},
         .examples = {{"zafoldap group edit staff --description 'Everybody here'",
                       "a new description"}},
         .exits = {3, 4, 5, 6, 8, 130}},
        {.noun = "group",
         .verb = "rename",
         .summary = "Rename a group",
         .description = "Renames the group. Its number and its members stay.",
         .arguments = {{.name = "OLD", .help = "current name", .kind = Kind::kGroup}, kRenamed},
         .options = {kAnyName},
         .examples = {{"zafoldap group rename staff everybody", "members are kept"}},
         .exits = {3, 4, 5, 6, 8, 130}},
        {.noun = "group",
         .verb = "delete",
         .aliases = {"rm"},
         .summary = "Delete groups",
         .description =
             "Shows how many members each group lists and how many users have it as their primary "
             "group, asks for confirmation, then deletes the entries. Users and other groups do "
             "not change. Without a terminal, --yes is required.",
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
         .description = "Lists the members that the group names. --primary adds the users whose "
                        "primary group it is, and shows which of the two applies to each user. "
                        "Fields: name, and with --primary listed and primary.",
         .arguments = {kMembersGroup},
         .options = {{.name = "primary", .help = "include users whose primary group it is"}},
         .examples = {{"zafoldap member list staff", "listed members"},
                      {"zafoldap member list staff --primary", "all users in it"}},
         .exits = {3, 4, 6, 8, 130}},
        {.noun = "member",
         .verb = "add",
         .summary = "Add users to a group",
         .description = "Adds users to a group, all of them or none. Existing members stay. Group "
                        "and users must exist. A member is listed by name (memberUid) and by DN "
                        "(member), or by name only where the group's classes allow no DN.",
         .arguments = {kMembersGroup, kMembers},
         .examples = {{"zafoldap member add staff anna bob", "two users"}},
         .exits = {3, 4, 6, 8, 130}},
        {.noun = "member",
         .verb = "remove",
         .aliases = {"rm"},
         .summary = "Remove users from a group",
         .description = "Removes users from a group, all of them or none, including names that it "
                        "lists, by name or by DN, without such a user. Does not ask for "
                        "confirmation: \"member add\" brings users back.",
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
         .description = "Prints a number that is free, not reserved and not used by a local "
                        "account. On the appliance's own kind of server it is taken from the pool "
                        "and not given out again; --dry-run prints the pool's counter. Elsewhere "
                        "it is one more than the highest in use, and it is not reserved.",
         .arguments = {{.name = "WHICH",
                        .help = "uid for a user, gid for a group",
                        .choices = {"uid", "gid"}}},
         .examples = {{"zafoldap id next uid", "a number for a new user"}},
         .exits = {4, 6, 8, 130}},
        {.noun = "id",
         .verb = "pool show",
         .summary = "Show the number pool",
         .description = "Shows the limits of the number pools on the appliance's own kind of "
                        "server, the next numbers, and how many are used and free. Fields: which, "
                        "lowest, highest, next, used, free.",
         .examples = {{"zafoldap id pool show", "both pools"}},
         .exits = {3, 4, 6, 8, 130}},
        {.noun = "id",
         .verb = "check",
         .summary = "Check the numbers of users and groups",
         .description =
             "Looks for numbers that several users or several groups share, reserved ones, those "
             "of systems (1 to 999) and of local accounts, those outside the pool, and a counter "
             "that lags behind the numbers in use; for names that systems and packages use (root, "
             "sudo, docker and the like) or that local accounts have with another number; and for "
             "groups that list users who do not exist, so that a new user of that name would be a "
             "member. For duplicates, reserved numbers, users with a system's number or name, and "
             "such a member of Directory Operators or administrators the exit code is 1; the rest "
             "are warnings.\n\n"
             "In a directory with several writable servers, take numbers from only one of them: "
             "two counters that change at the same time give out the same numbers.",
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
            "directory, or those of the directory to this system, and reports the result for each. "
            "Nothing is deleted or changed on either side: an account whose name or number is "
            "taken is skipped. The command can be repeated; it adds what is missing. Copy groups "
            "to this system first: a user needs its primary group there.\n\n"
            "Accounts that would be part of the system are refused: names that systems and "
            "packages use (root, sudo, docker, disk, shadow and the like), numbers below UID_MIN "
            "and GID_MIN of /etc/login.defs, above 2147483647 or with a special meaning, and on "
            "this system a primary group that belongs to the system, a home folder like / or "
            "/root, and a login shell that is not in /etc/shells. --allow NAME copies one account "
            "anyway, as far as this system permits. A user is not copied to the directory if "
            "groups there already list the name but groups here do not, unless --keep-memberships "
            "is given.\n\n"
            "Password hashes are copied unchanged, including Samba's if the directory has "
            "sambaSamAccount. This system cannot use a hash that is not of the kind {crypt}: such "
            "users are named and have no password until passwd(1) sets one. Mail addresses and "
            "full names are copied both ways, group descriptions only to the directory. No home "
            "folders are created.\n\n"
            "Asks for confirmation before adding anything; --dry-run shows what would be added and "
            "what skipped, and why. Fields: name, number, result (added, or add with --dry-run; "
            "there; skipped; refused), reason. The exit code is 7 when accounts were skipped or "
            "refused.",
        .arguments = {{.name = "WHAT", .help = "users or groups", .choices = {"users", "groups"}}},
        .options = {{.name = "to",
                     .value = "WHERE",
                     .help = "directory, or local (this system)",
                     .choices = {"directory", "local"},
                     .required = true},
                    {.name = "allow",
                     .value = "NAME",
                     .help = "copy this account even though it would be refused",
                     .repeatable = true},
                    {.name = "keep-memberships",
                     .help = "copy users whom groups of the directory already list"},
                    ProgressOption()},
        .examples = {{"zafoldap migrate users --to directory --dry-run", "what would be added"},
                     {"zafoldap migrate groups --to local --yes", "without confirmation"}},
        .exits = {4, 6, 7, 8, 130}};
}

Command StatCommand() {
    return {
        .noun = "stat",
        .summary = "Count users or groups",
        .description = "Prints the number of users or groups.",
        .arguments = {{.name = "WHAT", .help = "users or groups", .choices = {"users", "groups"}}},
        .examples = {{"zafoldap stat users", "the number of users"}},
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
