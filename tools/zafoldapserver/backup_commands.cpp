// SPDX-License-Identifier: Apache-2.0
//
// backup now, backup list, backup verify.
#include <chrono>

#include <fmt/format.h>

#include "tools/backup/destination.h"
#include "tools/backup/job_error.h"
#include "tools/cli/change_log.h"
#include "tools/cli/display_text.h"
#include "tools/cli/listing.h"
#include "tools/cli/progress.h"
#include "tools/cli/session.h"
#include "tools/zafoldapserver/backup_reading.h"
#include "tools/zafoldapserver/backup_settings.h"
#include "tools/zafoldapserver/commands.h"
#include "tools/zafoldapserver/job_run.h"
#include "tools/zafoldapserver/local_server.h"
#include "zafoldap/backup.h"
#include "zafoldap/server.h"

namespace zafo::cli {

namespace {

const Fields kMadeFields = {{"file", "FILE"},     {"entries", "ENTRIES"}, {"users", "USERS"},
                            {"groups", "GROUPS"}, {"bytes", "SIZE"},      {"seconds", "SECONDS"}};

const Fields kListFields = {
    {"number", "NUMBER"}, {"written", "WRITTEN"}, {"bytes", "SIZE"}, {"file", "FILE"}};

const Fields kVerifyFields = {{"file", "FILE"},           {"created", "CREATED"},
                              {"suffix", "SUFFIX"},       {"entries", "ENTRIES"},
                              {"users", "USERS"},         {"groups", "GROUPS"},
                              {"bytes", "SIZE"},          {"ldif_bytes", "AS LDIF"},
                              {"slapd_version", "SLAPD"}, {"product_version", "PRODUCT"}};

void RequireDatabase() {
    RequireServer();
    if (ZAFOLDAPServerDBIsEmpty() != 0) throw OwnFailure(Message::kServerNotSetUp, {});
}

// The program checks the folder's free space itself; a dry run has only this check.
int WouldBackUp(Session &session, const BackupSettings &settings) {
    RequireDestination(settings);
    const auto found = FoundBackups(session, settings);
    try {
        backup::CheckSpace(settings.folder, found);
    } catch (const backup::JobError &error) {
        throw FailureOfExit(backup::Operation::kBackup, error);
    }
    const auto kept = static_cast<size_t>(settings.keep);
    const size_t removed = found.size() + 1 > kept ? found.size() + 1 - kept : 0;
    TellResult(session, {{"would", {{"folder", settings.folder}, {"would_remove", removed}}}},
               fmt::format("dry run: would back up into {} and remove {}", OneLine(settings.folder),
                           Counted(removed, "old backup")));
    return 0;
}

// The newest backup: the one just made, unless another has been made since.
Json Made(Session &session, const BackupSettings &settings, double seconds) {
    const auto found = FoundBackups(session, settings);
    if (found.empty())
        throw OwnFailure(Message::kBackupNone, {.subject = OneLine(settings.folder)});
    const WholeBackup whole = ReadWholeBackup(found.front().path);
    return {{"file", whole.path},
            {"entries", whole.manifest.entries},
            {"users", whole.census.users},
            {"groups", whole.census.groups},
            {"bytes", SizeFor(session, whole.bytes)},
            {"seconds", Json::parse(fmt::format("{:.1f}", seconds))}};
}

Json Row(Session &session, const backup::FoundBackup &found) {
    return {{"number", found.number},
            {"written", MomentFor(session, found.written)},
            {"bytes", SizeFor(session, found.bytes)},
            {"file", found.path}};
}

int BackUpNow(Session &session) {
    RequireRoot(session);
    if (session.Options().dry_run) {
        RequireDatabase();
        return WouldBackUp(session, ReadBackupSettings());
    }
    const auto began = std::chrono::steady_clock::now();
    BackupSettings settings;
    // Nobody sees the output of a scheduled run, so every refusal is logged as well.
    LoggedChange(
        [&] {
            RequireDatabase();
            settings = ReadBackupSettings();
            if (!settings.HasDestination()) throw OwnFailure(Message::kBackupNoDestination, {});
            const JobOutcome outcome = RunJob(session, ZAFOLDAPServerBackup);
            if (outcome.result != 0) throw BackupFailure(outcome, session.streams.ToolWords());
        },
        [&](const std::string &result) {
            LogChange("backup now", kLoggedServer,
                      fmt::format("folder=\"{}\"", OneLine(settings.folder)), result);
        });
    const std::chrono::duration<double> lasted = std::chrono::steady_clock::now() - began;
    PrintRecord(session.streams, session.document, kMadeFields,
                Made(session, settings, lasted.count()));
    return 0;
}

Command BackupNowCommand() {
    return {
        .noun = "backup",
        .verb = "now",
        .run = BackUpNow,
        .summary = "Back up the directory",
        .description =
            "Writes all entries and the configuration to a new file in the destination, reads it "
            "back to the last byte, and only then removes the oldest backups. The server keeps "
            "running. The file contains password hashes and is readable only by root.\n\n"
            "cron runs it as \"zafoldapserver --backup now\". Failures appear in the system log "
            "and in zafoldapserver check. Fields: file, entries, users, groups, bytes, seconds.",
        .options = {kProgressOption},
        .examples = {{"zafoldapserver backup now", "to the configured destination"},
                     {"zafoldapserver backup now --dry-run", "whether there is enough space"},
                     {"zafoldapserver backup now --format plain --fields file",
                      "only the file name"}},
        .exits = {3, 4, 8, 130}};
}

int ListBackups(Session &session) {
    RequireRoot(session);
    const BackupSettings settings = ReadBackupSettings();
    std::vector<Json> rows;
    for (const backup::FoundBackup &found : FoundBackups(session, settings))
        rows.push_back(Row(session, found));
    PrintList(session.streams, session.document, kListFields, rows);
    if (rows.empty())
        session.streams.Note(
            fmt::format("there is no backup in {}; zafoldapserver backup now "
                        "makes one",
                        OneLine(settings.folder)));
    return 0;
}

Command BackupListCommand() {
    return {.noun = "backup",
            .verb = "list",
            .aliases = {"ls"},
            .run = ListBackups,
            .summary = "List the backups",
            .description =
                "Lists the backups in the destination, newest first, reading only the beginning "
                "and the end of each. A file that does not belong to root or is cut short does not "
                "count and is named. Fields: number, written, bytes, file.",
            .examples = {{"zafoldapserver backup list", "all backups"},
                         {"zafoldapserver backup list --json", "the same for a script"}},
            .exits = {3, 4}};
}

int VerifyBackup(Session &session) {
    RequireRoot(session);
    const WholeBackup whole = ReadWholeBackup(session.Argument("FILE"));
    const backup::Manifest &manifest = whole.manifest;
    PrintRecord(session.streams, session.document, kVerifyFields,
                {{"file", whole.path},
                 {"created", MomentFor(session, whole.created)},
                 {"suffix", manifest.suffix},
                 {"entries", manifest.entries},
                 {"users", whole.census.users},
                 {"groups", whole.census.groups},
                 {"bytes", SizeFor(session, whole.bytes)},
                 {"ldif_bytes", SizeFor(session, manifest.ldif_bytes)},
                 {"slapd_version", manifest.slapd_version},
                 {"product_version", manifest.product_version}});
    session.streams.Note("the backup is complete: every byte was read and is as it was written");
    if (const std::string words = ClearPasswordsInWords(whole); !words.empty())
        session.streams.Note("note: " + words);
    return 0;
}

Command BackupVerifyCommand() {
    return {.noun = "backup",
            .verb = "verify",
            .run = VerifyBackup,
            .summary = "Check that a backup can be restored",
            .description =
                "Reads a backup to its last byte and compares it with the digests and counts "
                "stored in it. Fields: file, created, suffix, entries, users, groups, bytes, "
                "ldif_bytes, slapd_version, product_version.",
            .arguments = {{.name = "FILE", .help = "a backup file", .kind = Kind::kFile}},
            .examples = {{"zafoldapserver backup verify "
                          "/volume1/backups/zafoldap-000042-20270228T040001Z.tar.zst",
                          "complete, or what is wrong with it"}},
            .exits = {4}};
}

}  // namespace

std::vector<Command> BackupCommands() {
    return {BackupNowCommand(), BackupListCommand(), BackupVerifyCommand()};
}

}  // namespace zafo::cli
