// SPDX-License-Identifier: Apache-2.0

#include "tools/cli/completion_command.h"
#include "tools/zafoldapserver/commands.h"

namespace zafo::cli {

namespace {

Command Completion() {
    return CompletionCommand("Prints a script that lets the shell complete commands and options.",
                             {{"source <(zafoldapserver completion bash)",
                               "in this shell; put it into ~/.bashrc for every shell"},
                              {"zafoldapserver completion fish | source", "in this shell"}});
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
         "own authority are renewed before they expire. An administrator's own certificate, stored "
         "under the names in the configuration, is never changed."},
        {"PASSWORDS",
         "No option takes a password, because anyone can read command lines. Passwords are "
         "prompted for twice on the terminal, or read from --password-stdin (one line) or "
         "--password-file (which group and others must not be able to read), or made by "
         "--random-password."},
        {"BACKUPS",
         "zafoldapserver backup config set sets where and when backups are made, zafoldapserver "
         "check says whether they are, and zafoldapserver restore restores one. A backup is a "
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
    static const Program kProgram = {
        .name = "zafoldapserver",
        .summary = "the appliance's own directory server",
        .description =
            "Sets up, starts, stops and checks the directory server of this machine, OpenLDAP's "
            "slapd as the service ldap-server. Begin with \"zafoldapserver enable\"; manage the "
            "accounts with zafoldap(1). Run it as root.",
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
        .commands = Joined({{EnableCommand()},
                            ServiceCommands(),
                            {ResetCommand()},
                            ConfigurationCommands(),
                            BackupCommands(),
                            BackupConfigCommands(),
                            {RestoreCommand(), ProgressCommand()},
                            AutomountCommands(),
                            {CheckCommand(), Completion()}}),
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
                   "Settings of the service, such as \"listen\", the URLs to listen on (default: "
                   "ldap:/// ldaps:///)."},
                  {"/usr/zafo/etc/ssl/ca.pem",
                   "The certificate of the authority that clients trust."},
                  {"/usr/zafo/etc/private/ldapbrowser.conf",
                   "The saved connections; \"root\" is this server."}},
        .variables = {{"NO_COLOR", "If not empty, no colours are used (see --color)."}}};
    return kProgram;
}

}  // namespace zafo::cli
