// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldapserver/program.h"

#include "tools/zafoldapserver/backup_program.h"

#include <algorithm>

namespace zafo::cli {

namespace {

Command EnableCommand() {
    return {.noun = "enable",
            .summary = "Set up and start the directory server",
            .description =
                "Sets up a running server from nothing: enables the service, writes its "
                "configuration and access rules, saves the connection \"root\" for zafoldap, "
                "creates the database and the certificates, starts the server and adds the groups "
                "users, Directory Operators and administrators and the user admin, who has the "
                "administrator's password.\n\n"
                "Everything is checked before anything changes: the names, the password, the "
                "folders, the space, the ports, and whether slapd accepts the configuration.\n\n"
                "On a server that is already set up it reports and fixes what differs from the "
                "request, or says that there is nothing to do. Accounts never change. The password "
                "stays unless a new one is given. Files changed by hand are kept with \".before\" "
                "appended to their names.\n\n"
                "The suffix cannot be changed: another one needs zafoldapserver reset first.",
            .options = {{.name = "suffix",
                         .value = "DN",
                         .help = "the directory's suffix, such as dc=example,dc=com: it starts "
                                 "with \"dc=\" and consists of dc, o, ou, c, l, st and cn",
                         .required = true},
                        {.name = "admin-dn",
                         .value = "DN",
                         .help = "the administrator, below the suffix (default: the server's "
                                 "current one, or cn=admin,SUFFIX)"},
                        PasswordStdinOption(),
                        PasswordFileOption(),
                        RandomPasswordOption()},
            .examples = {{"zafoldapserver enable --suffix dc=example,dc=com",
                          "prompts for the administrator's password"},
                         {"zafoldapserver enable --suffix dc=example,dc=com --random-password",
                          "generates a password and prints it"},
                         {"zafoldapserver enable --suffix dc=example,dc=com --dry-run",
                          "what would be checked, written and fixed"}},
            .exits = {4, 5, 7, 8, 130}};
}

std::vector<Command> ServiceCommands() {
    return {
        {.noun = "start",
         .summary = "Start the server",
         .description = "Starts the server and checks two seconds later that it is still running. "
                        "A running server is left alone.",
         .examples = {{"zafoldapserver start", "runs until zafoldapserver stop"}},
         .exits = {4, 8}},
        {.noun = "stop",
         .summary = "Stop the server",
         .description = "Stops the server and waits until it has ended. It is never killed: a "
                        "server that does not end in time is left to finish its work.",
         .examples = {{"zafoldapserver stop", "clients cannot log in until it is started"}},
         .exits = {4, 8}},
        {.noun = "restart",
         .summary = "Restart the server",
         .description = "Applies changes to slapd.conf, the access rules or a certificate. Starts "
                        "a stopped server.",
         .examples = {{"zafoldapserver restart", "unavailable for a few seconds"}},
         .exits = {4, 8}},
        {.noun = "status",
         .summary = "Show whether the server is running",
         .description =
             "Shows the server's state without contacting it. The exit code is 0 when it is "
             "running, 3 when it is stopped, 4 when it is not set up. Fields: state (running, "
             "stopped, not set up), pid, since, enabled, suffix, admin_dn, addresses, "
             "database_bytes (on disk), certificate_ends, starts_again (the server is restarted "
             "when it ends by itself), crashes (how often it did).",
         .examples = {{"zafoldapserver status", "everything"},
                      {"zafoldapserver status --format plain --fields state", "only the state"}},
         .exits = {3, 4}},
        {.noun = "reset",
         .summary = "Delete the directory with all accounts",
         .description = "Stops the server and deletes its database with all users and groups, its "
                        "configuration and its access rules. Shows what will be lost and asks for "
                        "the suffix to be typed. Without a terminal, --yes is required. "
                        "Certificates and the saved connection \"root\" are kept.",
         .examples = {{"zafoldapserver reset --dry-run", "what would be lost"},
                      {"zafoldapserver reset", "asks for the suffix"}},
         .exits = {4, 7, 8}},
    };
}

std::vector<Command> ShowCommands() {
    return {
        {.noun = "acl",
         .verb = "show",
         .summary = "Show the access rules",
         .description = "Prints the access rules (slapd.access(5)) and says whether they were "
                        "changed by hand. JSON members: path, state (as written, changed by hand), "
                        "text.",
         .examples = {{"zafoldapserver acl show", "who may read and write what"}},
         .exits = {4}},
        {.noun = "config",
         .verb = "show",
         .summary = "Show the configuration",
         .description = "Lists the directives of slapd.conf (slapd.conf(5)). The administrator's "
                        "password is not shown, not even its hash. Fields: key, value.",
         .examples = {{"zafoldapserver config show", "all directives"},
                      {"zafoldapserver config show --json", "the same for a script"}},
         .exits = {4}},
    };
}

std::vector<Command> AutomountCommands() {
    return {
        {.noun = "automount",
         .verb = "set",
         .summary = "Publish the location of the home folders",
         .description =
             "Publishes HOST:PATH as the location of all users' home folders, in the maps "
             "auto_master and auto_home that automounters read (autofs(5)), and creates the "
             "missing ones there. The system log names folders that cannot be created.",
         .arguments = {{.name = "HOST", .help = "the NFS server, by name or address"},
                       {.name = "PATH", .help = "the exported folder"}},
         .examples = {{"zafoldapserver automount set nas.example.com /volume1/homes",
                       "homes of all users on one export"}},
         .exits = {3, 4, 6}},
        {.noun = "automount",
         .verb = "show",
         .summary = "Show the location of the home folders",
         .description = "Lists the keys of the automount maps. Fields: map, key, value.",
         .examples = {{"zafoldapserver automount show", "what clients read"}},
         .exits = {3, 4, 6}},
    };
}

Command CheckCommand() {
    return {
        .noun = "check",
        .summary = "Check the server's health",
        .description =
            "Makes these checks, even on a stopped server: set-up, configuration (slapd accepts "
            "it), access-rules (not changed by hand), enabled, running, answer (over StartTLS with "
            "the saved connection \"root\"), restart (it is restarted when it ends by itself), "
            "crashes (a warning for a week after one), operators (the group Directory Operators "
            "exists and lists only existing users), certificate-chain (signed by the authority "
            "trusted here), certificate-names (for this host and localhost), certificate-end and "
            "authority-end (a warning 30 days before), database-space (a warning at 80 %), "
            "id-pool-uid and id-pool-gid (a warning when fewer than 5 % are free), writers (only "
            "one server accepts changes), administrator-dn (no entry has it), passwords (one hash "
            "of moderate cost per account), backup-destination (writable), backup-schedule (as "
            "set, also in the scheduler), backup-last (the newest one is complete, not older than "
            "two periods, and the last run did not fail), debug-switch (passwords go to the system "
            "log while /tmp/zafoldap_debug exists).\n\n"
            "Fields: severity (ok, warning, error, skipped), id, cause, fix. The ids never change. "
            "The exit code is 1 when there is an error.",
        .examples = {{"zafoldapserver check", "for a person"},
                     {"zafoldapserver check --json", "for a monitor"}},
        .exits = {4, 130}};
}

Command CompletionCommand() {
    return {.noun = "completion",
            .summary = "Print a completion script for a shell",
            .description = "Prints a script that lets the shell complete commands and options.",
            .arguments = {{.name = "SHELL",
                           .help = "bash, zsh or fish",
                           .choices = {"bash", "zsh", "fish"}}},
            .examples = {{"source <(zafoldapserver completion bash)",
                          "in this shell; put it into ~/.bashrc for every shell"},
                         {"zafoldapserver completion fish | source", "in this shell"}}};
}

// There is one server here, and its connection is "root".
std::vector<Option> GlobalOptions() {
    std::vector<Option> options = CommonOptions();
    std::erase_if(options, [](const Option &option) { return option.name == "connection"; });
    return options;
}

std::vector<ExitCode> ExitCodes() {
    std::vector<ExitCode> codes = CommonExitCodes();
    for (ExitCode &code : codes) {
        if (code.code == 3) code.meaning = "not found; for status: the server is stopped";
        if (code.code == 4)
            code.meaning = "authentication failed or not permitted; the server is not set up";
    }
    return codes;
}

std::vector<Topic> Topics() {
    return {
        {"SET-UP",
         "zafoldapserver enable --suffix dc=example,dc=com creates everything that a directory "
         "needs; zafoldap(1) then manages the accounts. Clients need the authority's certificate, "
         "/usr/zafo/etc/ssl/ca.pem, and connect with StartTLS or ldaps://.\n\n"
         "Missing certificates are created when the server starts; those signed by this machine's "
         "own authority are renewed when they end soon. An administrator's own certificate, stored "
         "under the names in the configuration, is never changed."},
        {"PASSWORDS",
         "No option takes a password, because anyone can read command lines. Passwords are "
         "prompted for twice on the terminal, or read from --password-stdin (one line) or "
         "--password-file (which group and others must not be able to read), or made by "
         "--random-password."},
        {"BACKUPS",
         "zafoldapserver backup config set sets where and when they are made, zafoldapserver check "
         "says whether they are, and zafoldapserver restore restores one. A backup is a "
         "zstd-compressed tar archive of LDIF (slapadd(8)) and configuration, with digests of "
         "both; tar --zstd reads it. It contains password hashes: keep it where only root can read "
         "it."},
        {"LOG",
         "Every change is one line in the system log: who, what, and the result, but never a "
         "password."},
    };
}

}  // namespace

const Program &Zafoldapserver() {
    static const Program kProgram = [] {
        Program program{
            .name = "zafoldapserver",
            .summary = "the appliance's own directory server",
            .description =
                "Sets up, starts, stops and checks the directory server of this machine, "
                "OpenLDAP's slapd as the service ldap-server. Begin with \"zafoldapserver "
                "enable\"; manage the accounts with zafoldap(1). Run it as root.",
            .nouns = {{"enable", "set up the directory server"},
                      {"start", "start the server"},
                      {"stop", "stop the server"},
                      {"restart", "restart the server"},
                      {"status", "show whether the server is running"},
                      {"reset", "delete the directory"},
                      {"acl", "access rules"},
                      {"config", "configuration"},
                      {"backup", "backups of the directory"},
                      {"restore", "restore the directory from a backup"},
                      {"progress", "progress of a backup or restore"},
                      {"automount", "location of the home folders"},
                      {"check", "the server's health"},
                      {"completion", "completion scripts for shells"}},
            .global_options = GlobalOptions(),
            .commands = {EnableCommand()},
            .exits = ExitCodes(),
            .topics = Topics(),
            .files = {{"/usr/zafo/etc/openldap/slapd.conf",
                       "The configuration, made from its template in /usr/zafo/etc.defaults."},
                      {"/usr/zafo/etc/openldap/slapd-acls.conf", "The access rules."},
                      {"/usr/zafo/etc/openldap/data", "The database."},
                      {"/usr/zafo/etc/ldapbackup.conf", "Where and when backups are made."},
                      {"/etc/cron.d/zafo", "The schedule in cron's form."},
                      {"/var/log/zafoldap.progress",
                       "Progress of the current or last backup or restore."},
                      {"/usr/zafo/etc/service/ldap-server.conf",
                       "Settings of the service, such as \"listen\" the URLs to listen on "
                       "(default: ldap:/// ldaps:///)."},
                      {"/usr/zafo/etc/ssl/ca.pem",
                       "The certificate of the authority that clients trust."},
                      {"/usr/zafo/etc/private/ldapbrowser.conf",
                       "The saved connections; \"root\" is this server."}},
            .variables = {{"NO_COLOR", "If not empty, no colours are used (see --color)."}}};
        for (auto commands :
             {ServiceCommands(), ShowCommands(), BackupCommands(), AutomountCommands()}) {
            for (Command &command : commands)
                program.commands.push_back(std::move(command));
        }
        program.commands.push_back(CheckCommand());
        program.commands.push_back(CompletionCommand());
        return program;
    }();
    return kProgram;
}

}  // namespace zafo::cli
