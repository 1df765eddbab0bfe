// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldapserver/backup_program.h"

#include "tools/zafoldapserver/job_progress.h"

namespace zafo::cli {

namespace {

Command NowCommand() {
    return {
        .noun = "backup",
        .verb = "now",
        .summary = "Back up the directory",
        .description =
            "Writes all entries and the configuration to a new file in the destination, reads it "
            "back to the last byte, and only then removes the oldest backups. The server keeps "
            "running. The file contains password hashes and is readable only by root.\n\n"
            "cron runs it as \"zafoldapserver --backup now\". Failures appear in the system log "
            "and in zafoldapserver check. Fields: file, entries, users, groups, bytes, seconds.",
        .options = {ProgressOption()},
        .examples = {{"zafoldapserver backup now", "to the configured destination"},
                     {"zafoldapserver backup now --dry-run", "whether there is enough space"},
                     {"zafoldapserver backup now --format plain --fields file",
                      "only the file name"}},
        .exits = {3, 4, 8, 130}};
}

std::vector<Command> FileCommands() {
    return {
        {.noun = "backup",
         .verb = "list",
         .aliases = {"ls"},
         .summary = "List the backups",
         .description =
             "Lists the backups in the destination, newest first, reading only the beginning and "
             "the end of each. A file that does not belong to root or is cut short does not count "
             "and is named. Fields: number, written, bytes, file.",
         .examples = {{"zafoldapserver backup list", "all backups"},
                      {"zafoldapserver backup list --json", "the same for a script"}},
         .exits = {3, 4}},
        {.noun = "backup",
         .verb = "verify",
         .summary = "Check that a backup can be restored",
         .description = "Reads a backup to its last byte and compares it with the digests and "
                        "counts stored in it. Fields: file, created, suffix, entries, users, "
                        "groups, bytes, ldif_bytes, slapd_version, product_version.",
         .arguments = {{.name = "FILE", .help = "a backup file", .kind = Kind::kFile}},
         .examples = {{"zafoldapserver backup verify "
                       "/volume1/backups/zafoldap-000042-20270228T040001Z.tar.zst",
                       "complete, or what is wrong with it"}},
         .exits = {4}},
    };
}

std::vector<Command> ConfigCommands() {
    return {
        {.noun = "backup",
         .verb = "config show",
         .summary = "Show where and when backups are made",
         .description =
             "Shows the backup settings, whether the destination can be used and whether the "
             "scheduler agrees. Fields: enabled, schedule, next_run, share, dir, destination "
             "(usable, or what is wrong), keep, scheduler (as set, or what it has instead).",
         .examples = {{"zafoldapserver backup config show", "everything"}},
         .exits = {4, 8}},
        {.noun = "backup",
         .verb = "config set",
         .summary = "Choose where and when backups are made",
         .description =
             "Changes only what is given. The destination is a shared folder or a plain folder, "
             "preferably on another disk than the database: it must exist, not be a link, be "
             "writable and lie outside the database.\n\n"
             "A schedule is \"daily 04:00\", \"weekly sunday 04:00\" or \"monthly 1 04:00\", with "
             "several runs a day \"daily 00:00-20:00 every 4 hours\", or \"off\". Times are those "
             "of this machine's clock. A schedule that is switched off is kept for later. Settings "
             "and scheduler are changed together: if one fails, both keep the previous schedule.",
         .options = {{.name = "share", .value = "NAME", .help = "a shared folder as destination"},
                     {.name = "dir",
                      .value = "DIR",
                      .help = "a folder as destination, by its absolute path",
                      .kind = Kind::kFile},
                     {.name = "keep",
                      .value = "N",
                      .help = "number of backups to keep (default: 10)",
                      .kind = Kind::kNumber},
                     {.name = "schedule",
                      .value = "WHEN",
                      .help = "when backups are made, such as \"daily 04:00\", or off"}},
         .examples = {{"zafoldapserver backup config set --dir /volume1/backups --schedule 'daily "
                       "04:00'",
                       "every night"},
                      {"zafoldapserver backup config set --schedule 'daily 00:00-20:00 every 4 "
                       "hours' --keep 42",
                       "six a day, kept for a week"},
                      {"zafoldapserver backup config set --schedule off", "no more backups"}},
         .exits = {3, 4, 8}},
    };
}

Command RestoreCommand() {
    return {
        .noun = "restore",
        .summary = "Restore the directory from a backup",
        .description =
            "Replaces all users and groups with those of a backup. Reads the backup to its last "
            "byte first, shows what it contains and what it replaces, and asks for the suffix to "
            "be typed. Without a terminal, --yes is required.\n\n"
            "The entries are loaded beside the database while the server keeps running; it stops "
            "briefly while the two are exchanged, and is queried afterwards. If anything fails, "
            "the old directory is put back and served. The configuration and the saved connection "
            "\"root\" stay unchanged; a machine without a directory gets its own configuration for "
            "the backup's suffix and administrator, and zafoldapserver enable starts it.\n\n"
            "Only what was shown is restored, whatever happens to the file meanwhile. A backup "
            "with an entry at the directory administrator's DN is refused, because its password "
            "would also work for the administrator. --without-admin-entry restores all other "
            "entries.",
        .arguments =
            {{.name = "FILE", .help = "a backup file", .kind = Kind::kFile, .required = false}},
        .options = {{.name = "latest",
                     .help = "restore the newest complete backup in the destination"},
                    {.name = "without-admin-entry",
                     .help = "skip an entry at the directory administrator's DN"},
                    ProgressOption()},
        .examples =
            {{"zafoldapserver restore --latest --dry-run", "what would be restored"},
             {"zafoldapserver restore --latest", "asks for the suffix"},
             {"zafoldapserver restore /volume1/backups/zafoldap-000042-20270228T040001Z.tar."
              "zst --yes",
              "a specific one, without confirmation"}},
        .exits = {3, 4, 8, 130}};
}

Command ProgressCommand() {
    return {
        .noun = "progress",
        .summary = "Show the progress of a backup or restore",
        .description =
            "Shows the running backup or restore, or the result of the last one. --follow shows a "
            "running one until it ends; the exit code is then that of the job's own command. "
            "Fields: operation, task, state (running, done, failed, killed), stage, total, action, "
            "status (exit code of the backup program), reason, pid.",
        .options = {{.name = "follow", .help = "follow the job until it ends"}, ProgressOption()},
        .examples = {{"zafoldapserver progress", "a look"},
                     {"zafoldapserver progress --follow", "until it is done"}},
        .exits = {3, 8, 130}};
}

}  // namespace

std::vector<Command> BackupCommands() {
    std::vector<Command> commands = {NowCommand()};
    for (auto more : {FileCommands(), ConfigCommands()}) {
        for (Command &command : more)
            commands.push_back(std::move(command));
    }
    commands.push_back(RestoreCommand());
    commands.push_back(ProgressCommand());
    return commands;
}

}  // namespace zafo::cli
