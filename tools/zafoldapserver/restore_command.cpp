// SPDX-License-Identifier: Apache-2.0
//
// restore: replaces the directory with the contents of a backup.
#include <filesystem>
#include <sstream>

#include <fmt/format.h>

#include "base/dn.h"
#include "tools/backup/confirmed_backup.h"
#include "tools/backup/job_error.h"
#include "tools/backup/job_lock.h"
#include "tools/cli/change_log.h"
#include "tools/cli/display_text.h"
#include "tools/cli/progress.h"
#include "tools/zafoldapserver/backup_reading.h"
#include "tools/zafoldapserver/backup_settings.h"
#include "tools/zafoldapserver/commands.h"
#include "tools/zafoldapserver/database_census.h"
#include "tools/zafoldapserver/job_run.h"
#include "tools/zafoldapserver/local_server.h"
#include "tools/zafoldapserver/server_lock.h"
#include "zafoldap/backup.h"
#include "zafoldap/error.h"
#include "zafoldap/server.h"

namespace zafo::cli {

namespace {

// The newest backup that can be restored; newer ones that cannot are reported.
WholeBackup NewestWhole(Session &session) {
    const BackupSettings settings = ReadBackupSettings();
    for (const backup::FoundBackup &found : FoundBackups(session, settings)) {
        try {
            return ReadWholeBackup(found.path);
        } catch (const Failure &failure) {
            if (failure.exit_code == 130) throw;
            session.streams.Note(fmt::format("left out: {}", OneLine(failure.detail)));
        }
    }
    throw OwnFailure(Message::kBackupNone, {.subject = OneLine(settings.folder)});
}

WholeBackup ChosenBackup(Session &session) {
    const std::string *file = session.invocation.Find("FILE");
    const bool latest = session.invocation.Has("latest");
    if ((file != nullptr) == latest)
        RefuseUsage(session, latest ? "FILE and --latest cannot be used together"
                                    : "FILE is missing; --latest takes the newest backup");
    if (latest) return NewestWhole(session);
    return ReadWholeBackup(std::filesystem::absolute(*file).string());
}

void RequireSameSuffix(const LocalServer &server, const WholeBackup &whole) {
    if (server.suffix.empty() || SameDn(server.suffix, whole.manifest.suffix)) return;
    throw OwnFailure(Message::kBackupOtherSuffix,
                     {.subject = OneLine(whole.manifest.suffix), .reason = OneLine(server.suffix)});
}

std::string WhatThereIs(const LocalServer &server) {
    if (ZAFOLDAPServerDBIsEmpty() != 0) return "there is no directory here yet";
    return DirectoryInWords(server, TakeCensus()) + " is replaced";
}

std::string BackupInWords(const WholeBackup &whole) {
    return fmt::format("the backup {} of {}: {}", OneLine(whole.path),
                       whole.created ? TimeText(*whole.created) : "an unknown time",
                       ContentInWords(whole));
}

void Confirm(Session &session, const WholeBackup &whole, const std::string &replaced) {
    const std::string passwords = ClearPasswordsInWords(whole);
    ConfirmByTyping(
        session, whole.manifest.suffix, "restoring " + BackupInWords(whole),
        fmt::format("{}.\n"
                    "{}{}{}: changes made since then are lost. The server stops briefly.\n"
                    "Type the suffix ({}) to continue: ",
                    BackupInWords(whole), passwords, passwords.empty() ? "" : ".\n", replaced,
                    OneLine(whole.manifest.suffix)),
        replaced);
}

// The library would remove the progress of the running job.
void RequireNoOtherJob() {
    if (backup::JobRuns())
        throw FailureOfExit(backup::Operation::kBackup, static_cast<int>(backup::Exit::kBusy), {});
}

Json ResultOf(const WholeBackup &whole) {
    return {{"file", whole.path},
            {"created", whole.created ? Json(backup::UtcText(*whole.created)) : Json()},
            {"suffix", whole.manifest.suffix},
            {"entries", whole.manifest.entries},
            {"users", whole.census.users},
            {"groups", whole.census.groups}};
}

std::string StateAfter(const LocalServer &before, const std::string &suffix) {
    const LocalServer now = LookAtServer();
    if (now.Running()) return "the server is running";
    if (!now.enabled)
        return fmt::format("the server is not enabled: zafoldapserver enable --suffix {} starts it",
                           OneLine(suffix));
    return before.SetUp() ? "the server is stopped, as before; zafoldapserver start starts it"
                          : "zafoldapserver start starts the server";
}

// Restores exactly what was read and shown: passes on the open descriptor and the digest, because
// the name may refer to another file by now, or the file hold other bytes. Runs in a separate
// process, which waits for the end.
int RestoreConfirmed(const WholeBackup &whole, bool without_admin) {
    try {
        const zafo::UniqueFd confirmation =
            backup::MakeConfirmation({.name = whole.path,
                                      .file = backup::PathOfDescriptor(whole.file.Get()),
                                      .seal = whole.seal,
                                      .without_administrator = without_admin});
        return ZAFOLDAPServerRestore(backup::PathOfDescriptor(confirmation.Get()).c_str());
    } catch (const backup::JobError &) {
        ZAFOLDAPErrSet(ZAFOLDAP_ERR_SYSTEM);
        return -1;
    }
}

// Passes on the backup program's warnings about a completed restore.
void NoteWarnings(Session &session) {
    constexpr std::string_view kProgram = "zafoldapbackup: ";
    std::istringstream lines(session.streams.ToolWords());
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(kProgram))
            session.streams.Note("note: " + OneLine(line.substr(kProgram.size())));
    }
}

int RestoreBackup(Session &session) {
    RequireRoot(session);
    const WholeBackup whole = ChosenBackup(session);
    const LocalServer before = LookAtServer();
    RequireSameSuffix(before, whole);
    RequireNoOtherJob();
    const std::string replaced = WhatThereIs(before);
    if (session.Options().dry_run) {
        TellResult(session, {{"would_restore", ResultOf(whole)}, {"replaced", replaced}},
                   fmt::format("dry run: would restore {}\n{}", BackupInWords(whole), replaced));
        return 0;
    }
    Confirm(session, whole, replaced);
    const ServerLock lock;
    const std::string logged =
        fmt::format("file=\"{}\" suffix=\"{}\" entries={}", OneLine(whole.path),
                    OneLine(whole.manifest.suffix), whole.manifest.entries);
    LoggedChange(session, kLoggedServer, logged, [&] {
        const bool without_admin = session.invocation.Has("without-admin-entry");
        const JobOutcome outcome =
            RunJob(session, [&] { return RestoreConfirmed(whole, without_admin); });
        if (outcome.result != 0) throw RestoreFailure(outcome, session.streams.ToolWords());
    });
    TellResult(session, {{"restored", ResultOf(whole)}},
               fmt::format("restored {} of {} from {}\n{}", ContentInWords(whole),
                           OneLine(whole.manifest.suffix),
                           whole.created ? TimeText(*whole.created) : "an unknown time",
                           StateAfter(before, whole.manifest.suffix)));
    NoteWarnings(session);
    if (const std::string words = ClearPasswordsInWords(whole);
        !words.empty() && session.Options().yes)
        session.streams.Note("note: " + words);
    return 0;
}

}  // namespace

Command RestoreCommand() {
    return {
        .noun = "restore",
        .run = RestoreBackup,
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
                    kProgressOption},
        .examples =
            {{"zafoldapserver restore --latest --dry-run", "what would be restored"},
             {"zafoldapserver restore --latest", "asks for the suffix"},
             {"zafoldapserver restore /volume1/backups/zafoldap-000042-20270228T040001Z.tar."
              "zst --yes",
              "a specific one, without confirmation"}},
        .exits = {3, 4, 8, 130}};
}

}  // namespace zafo::cli
