// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldapserver/backup_program.h"

#include "tools/zafoldapserver/job_progress.h"

namespace zafo::cli {

namespace {

Command NowCommand() {
    return {
        .noun = "backup",
        .verb = "now",
        .summary = "Back the directory up",
        .description =
            "Writes all entries and the configuration into a new file of the destination, reads it "
            "back to its last byte, and only then removes the oldest ones. The server goes on "
            "serving. The file holds password hashes and is for root only.\n\n"
            "cron runs it as \"zafoldapserver --backup now\". A failure is in the system log and "
            "in zafoldapserver check. Fields: file, entries, users, groups, bytes, seconds.",
        .options = {ProgressOption()},
        .examples = {{"zafoldapserver backup now", "into the destination that is set"},
                     {"zafoldapserver backup now --dry-run", "whether there is room for it"},
                     {"zafoldapserver backup now --format plain --fields file", "the name alone"}},
        .exits = {3, 4, 8, 130}};
}

std::vector<Command> FileCommands() {
    return {
        {.noun = "backup",
         .verb = "list",
         .aliases = {"ls"},
         .summary = "List the backups",
         .description = "Lists the backups in the destination, newest first, by a look at the "
                        "beginning and the end of each. A file that belongs to somebody else than "
                        "root, or is cut, does not count and is named. "
                        "Fields: number, written, bytes, file.",
         .examples = {{"zafoldapserver backup list", "what there is"},
                      {"zafoldapserver backup list --json", "the same for a script"}},
         .exits = {3, 4}},
        {.noun = "backup",
         .verb = "verify",
         .summary = "Check that a backup can be restored",
         .description =
             "Reads a backup to its last byte and compares it with the digests and counts that "
             "were written with it. Fields: file, created, suffix, entries, users, groups, bytes, "
             "ldif_bytes, slapd_version, product_version.",
         .arguments = {{.name = "FILE", .help = "a backup file", .kind = Kind::kFile}},
         .examples = {{"zafoldapserver backup verify "
                       "/volume1/backups/zafoldap-000042-20270228T040001Z.tar.zst",
                       "whole, or what is wrong with it"}},
         .exits = {4}},
    };
}

std::vector<Command> ConfigCommands() {
    return {
        {.noun = "backup",
         .verb = "config show",
         .summary = "Show where and when backups are made",
         .description =
             "Shows the settings of backups, whether the destination can be used and whether the "
             "scheduler agrees. Fields: enabled, schedule, next_run, share, dir, destination "
             "(usable, or what is wrong), keep, scheduler (as set, or what it has instead).",
         .examples = {{"zafoldapserver backup config show", "everything"}},
         .exits = {4, 8}},
        {.noun = "backup",
         .verb = "config set",
         .summary = "Choose where and when backups are made",
         .description =
             "Changes what is given and leaves the rest. The destination is a shared folder or a "
             "folder, best on another disk than the database: it must be there, be no link, be "
             "writable and lie outside the database.\n\n"
             "A schedule is \"daily 04:00\", \"weekly sunday 04:00\" or \"monthly 1 04:00\", with "
             "several runs on its day \"daily 00:00-20:00 every 4 hours\", or \"off\". Its times "
             "are those of this machine's clock. It is kept for later when it is switched off. "
             "Settings and scheduler are changed together: when one fails, both have the schedule "
             "that was.",
         .options = {{.name = "share", .value = "NAME", .help = "a shared folder as destination"},
                     {.name = "dir",
                      .value = "DIR",
                      .help = "a folder as destination, by its whole path",
                      .kind = Kind::kFile},
                     {.name = "keep",
                      .value = "N",
                      .help = "how many backups are kept (default: 10)",
                      .kind = Kind::kNumber},
                     {.name = "schedule",
                      .value = "WHEN",
                      .help = "when backups are made, such as \"daily 04:00\", or off"}},
         .examples = {{"zafoldapserver backup config set --dir /volume1/backups --schedule 'daily "
                       "04:00'",
                       "every night"},
                      {"zafoldapserver backup config set --schedule 'daily 00:00-20:00 every 4 "
                       "hours' --keep 42",
                       "six a day, a week of them"},
                      {"zafoldapserver backup config set --schedule off", "none any more"}},
         .exits = {3, 4, 8}},
    };
}

Command RestoreCommand() {
    return {
        .noun = "restore",
        .summary = "Put a backup in place of the directory",
        .description =
            "Replaces all users and groups by those of a backup. The backup is read to its last "
            "byte first; says what it holds and what is replaced, and has the suffix typed. "
            "Without a terminal --yes is needed.\n\n"
            "The entries are loaded beside the database while the server goes on serving; it "
            "stops for the moment in which the two are exchanged, and is asked afterwards. "
            "Whatever fails, the old directory is put back and served. Configuration and the saved "
            "connection \"root\" stay as they are; a machine without a directory gets a "
            "configuration of its own for the suffix and the administrator of the backup, and "
            "zafoldapserver enable starts it.\n\n"
            "What is shown is what is restored, whatever becomes of the file's name or content "
            "meanwhile. A backup that holds an entry at the directory administrator's DN is "
            "refused: its password would be another one of the administrator. "
            "--without-admin-entry restores all the others.",
        .arguments =
            {{.name = "FILE", .help = "a backup file", .kind = Kind::kFile, .required = false}},
        .options = {{.name = "latest",
                     .help = "take the newest backup of the destination that is whole"},
                    {.name = "without-admin-entry",
                     .help = "leave out an entry at the directory administrator's DN"},
                    ProgressOption()},
        .examples =
            {{"zafoldapserver restore --latest --dry-run", "what would be restored"},
             {"zafoldapserver restore --latest", "asks for the suffix"},
             {"zafoldapserver restore /volume1/backups/zafoldap-000042-20270228T040001Z.tar."
              "zst --yes",
              "a certain one, without a question"}},
        .exits = {3, 4, 8, 130}};
}

Command ProgressCommand() {
    return {
        .noun = "progress",
        .summary = "Show what a backup or restore is doing",
        .description =
            "Shows the backup or restore that runs, or what the last one came to. With "
            "--follow it shows one that runs until its end; the exit code is then the one that "
            "the job's own command has. Fields: operation, task, state (running, done, failed, "
            "killed), stage, total, action, status (exit code of the backup program), reason, "
            "pid.",
        .options = {{.name = "follow", .help = "stay until the job has ended"}, ProgressOption()},
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
