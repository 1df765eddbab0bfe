// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldapserver/program.h"

#include "tools/zafoldapserver/backup_program.h"

#include <algorithm>

namespace zafo::cli {

namespace {

Command EnableCommand() {
    return {
        .noun = "enable",
        .summary = "Set the directory server up and start it",
        .description =
            "Goes from nothing to a running server: enables the service, writes its configuration "
            "and access rules, saves the connection \"root\" for zafoldap, makes the database and "
            "the certificates, starts the server and adds the groups users, Directory Operators "
            "and administrators and the user admin, who has the administrator's password.\n\n"
            "Everything that can be checked is checked before anything is changed: the names, the "
            "password, the folders, the space, the ports, and slapd itself must accept the "
            "configuration.\n\n"
            "On a server that is set up it says what differs from what is asked for and mends "
            "that, or says that there is nothing to do. Accounts are never touched. The password "
            "stays unless one is given. Files that were changed by hand are kept with \".before\" "
            "at the end of their names.\n\n"
            "The suffix stays: another one needs zafoldapserver reset first.",
        .options = {{.name = "suffix",
                     .value = "DN",
                     .help = "the directory's suffix, such as dc=example,dc=com: it begins with "
                             "\"dc=\" and is made of dc, o, ou, c, l, st and cn",
                     .required = true},
                    {.name = "admin-dn",
                     .value = "DN",
                     .help = "the administrator, below the suffix (default: cn=admin,SUFFIX, or "
                             "the one that the server has)"},
                    PasswordStdinOption(),
                    PasswordFileOption(),
                    RandomPasswordOption()},
        .examples = {{"zafoldapserver enable --suffix dc=example,dc=com",
                      "asks for the administrator's password"},
                     {"zafoldapserver enable --suffix dc=example,dc=com --random-password",
                      "makes one and prints it"},
                     {"zafoldapserver enable --suffix dc=example,dc=com --dry-run",
                      "what would be checked, written and mended"}},
        .exits = {4, 5, 7, 8, 130}};
}

std::vector<Command> ServiceCommands() {
    return {
        {.noun = "start",
         .summary = "Start the server",
         .description = "Starts the server and looks two seconds later whether it still runs. One "
                        "that runs already is left alone.",
         .examples = {{"zafoldapserver start", "until the next zafoldapserver stop"}},
         .exits = {4, 8}},
        {.noun = "stop",
         .summary = "Stop the server",
         .description = "Ends the server and waits until it is gone. It is never killed: one that "
                        "does not end in time is left to finish its work.",
         .examples = {{"zafoldapserver stop", "clients cannot log in until it is started"}},
         .exits = {4, 8}},
        {.noun = "restart",
         .summary = "Stop the server and start it again",
         .description = "What is changed in slapd.conf, in the access rules or in a certificate "
                        "takes effect. Starts a server that is stopped.",
         .examples = {{"zafoldapserver restart", "a few seconds without answers"}},
         .exits = {4, 8}},
        {.noun = "status",
         .summary = "Show whether the server runs",
         .description =
             "Shows the server's state without asking it. The exit code is 0 when it runs, 3 when "
             "it is stopped, 4 when it is not set up. Fields: state (running, stopped, not set "
             "up), pid, since, enabled, suffix, admin_dn, addresses, database_bytes (on disk), "
             "certificate_ends, starts_again (somebody starts the server when it ends by itself), "
             "crashes (how often it did).",
         .examples = {{"zafoldapserver status", "everything"},
                      {"zafoldapserver status --format plain --fields state", "one word"}},
         .exits = {3, 4}},
        {.noun = "reset",
         .summary = "Delete the directory with all accounts",
         .description =
             "Stops the server and deletes its database with all users and groups, its "
             "configuration and its access rules. Says first what that is, and has the suffix "
             "typed. Without a terminal --yes is needed. Certificates and the saved connection "
             "\"root\" are kept.",
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
         .summary = "Publish where the home folders are",
         .description =
             "Publishes HOST:PATH as the place of all users' home folders, in the maps auto_master "
             "and auto_home that automounters read (autofs(5)), and makes the folder of every user "
             "there that has none. A folder that cannot be made is in the system log.",
         .arguments = {{.name = "HOST", .help = "the NFS server, by name or address"},
                       {.name = "PATH", .help = "the exported folder"}},
         .examples = {{"zafoldapserver automount set nas.example.com /volume1/homes",
                       "homes of all users on one export"}},
         .exits = {3, 4, 6}},
        {.noun = "automount",
         .verb = "show",
         .summary = "Show where the home folders are",
         .description = "Lists the keys of the automount maps. Fields: map, key, value.",
         .examples = {{"zafoldapserver automount show", "what clients are told"}},
         .exits = {3, 4, 6}},
    };
}

Command CheckCommand() {
    return {
        .noun = "check",
        .summary = "Check the server's health",
        .description =
            "Makes these checks, also on a server that is stopped: set-up, configuration (slapd "
            "accepts it), access-rules (not changed by hand), enabled, running, answer (over "
            "StartTLS with the saved connection \"root\"), restart (somebody starts it again when "
            "it ends by itself), crashes (a warning for a week after one), operators (the group "
            "Directory Operators is there, and lists nobody who is not), certificate-chain (signed "
            "by the "
            "authority that is trusted here), certificate-names (for this host and localhost), "
            "certificate-end and authority-end (a warning 30 days before), database-space (a "
            "warning at 80 %), id-pool-uid and id-pool-gid (a warning when fewer than 5 % are "
            "free), writers (one server only takes changes), administrator-dn (no entry bears it), "
            "passwords (one hash of moderate cost an account), backup-destination (can be "
            "written), "
            "backup-schedule (as set, in the scheduler too), backup-last (the newest one is "
            "whole, not older than two periods, and the last run did not fail), debug-switch "
            "(passwords go to the system log while /tmp/zafoldap_debug is there).\n\n"
            "Fields: severity (ok, warning, error, skipped), id, cause, fix. The ids stay the "
            "same. "
            "The exit code is 1 when there is an error.",
        .examples = {{"zafoldapserver check", "for a person"},
                     {"zafoldapserver check --json", "for a monitor"}},
        .exits = {4, 130}};
}

Command CompletionCommand() {
    return {.noun = "completion",
            .summary = "Print a completion script for a shell",
            .description = "Prints the script that makes the shell complete commands and options.",
            .arguments = {{.name = "SHELL",
                           .help = "bash, zsh or fish",
                           .choices = {"bash", "zsh", "fish"}}},
            .examples = {{"source <(zafoldapserver completion bash)",
                          "in this bash, and in ~/.bashrc for every one"},
                         {"zafoldapserver completion fish | source", "in this fish"}}};
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
        if (code.code == 3) code.meaning = "not found; of status: the server is stopped";
        if (code.code == 4)
            code.meaning = "authentication failed or not permitted; the server is not set up";
    }
    return codes;
}

std::vector<Topic> Topics() {
    return {
        {"SET-UP",
         "zafoldapserver enable --suffix dc=example,dc=com makes everything that a directory "
         "needs; "
         "accounts are then kept with zafoldap(1). Clients need the certificate of the authority, "
         "/usr/zafo/etc/ssl/ca.pem, and connect with StartTLS or ldaps://.\n\n"
         "Certificates are made at the start of the server where there are none, and made anew "
         "when "
         "this machine's own authority has signed them and they end soon. An administrator's own "
         "certificate, put under the names that the configuration gives, is never touched."},
        {"PASSWORDS",
         "No option takes a password, because command lines can be read by everybody. It is "
         "asked for twice on the terminal, or read from --password-stdin (one line) or "
         "--password-file (which group and others must not be able to read), or made by "
         "--random-password."},
        {"BACKUPS",
         "zafoldapserver backup config set says where and when, zafoldapserver check says whether "
         "they are made, and zafoldapserver restore puts one back. A backup is a tar archive, "
         "compressed by zstd, of LDIF (slapadd(8)) and configuration, with digests of both; tar "
         "--zstd reads it. It holds password hashes: keep it where only root can read."},
        {"LOG",
         "Every change is one line in the system log: who, what, and the result; never a "
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
                "OpenLDAP's "
                "slapd as the service ldap-server. \"zafoldapserver enable\" is where to begin; "
                "what is in the directory is kept with zafoldap(1). Run it as root.",
            .nouns = {{"enable", "set the directory server up"},
                      {"start", "start the server"},
                      {"stop", "stop the server"},
                      {"restart", "stop and start the server"},
                      {"status", "whether the server runs"},
                      {"reset", "delete the directory"},
                      {"acl", "access rules"},
                      {"config", "configuration"},
                      {"backup", "backups of the directory"},
                      {"restore", "put a backup in place of the directory"},
                      {"progress", "what a backup or restore is doing"},
                      {"automount", "where home folders are"},
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
                      {"/etc/cron.d/zafo", "The schedule, as cron has it."},
                      {"/var/log/zafoldap.progress",
                       "What a backup or restore is doing, or has done last."},
                      {"/usr/zafo/etc/service/ldap-server.conf",
                       "Settings of the service, such as \"listen\" with the URLs to answer on "
                       "(default: ldap:/// ldaps:///)."},
                      {"/usr/zafo/etc/ssl/ca.pem",
                       "The certificate of the authority that clients trust."},
                      {"/usr/zafo/etc/private/ldapbrowser.conf",
                       "The saved connections; \"root\" is this server."}},
            .variables = {{"NO_COLOR", "Not empty: no colours (see --color)."}}};
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
