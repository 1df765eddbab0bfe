// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldapserver/backup_reading.h"

#include <sys/stat.h>

#include <fmt/format.h>

#include "tools/backup/archive_reader.h"
#include "tools/backup/destination.h"
#include "tools/backup/job_error.h"
#include "tools/cli/display_text.h"
#include "tools/zafoldapserver/job_run.h"
#include "tools/zafoldapserver/local_server.h"

namespace zafo::cli {

namespace {

std::optional<std::time_t> TimeIn(const std::string &text) {
    std::tm utc{};
    const char *end = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%SZ", &utc);
    return end != nullptr && *end == '\0' ? std::optional(timegm(&utc)) : std::nullopt;
}

}  // namespace

WholeBackup ReadWholeBackup(const std::string &path) {
    try {
        zafo::UniqueFd file = backup::OpenBackup(path);
        CensusTaker taker;
        backup::Contents contents =
            backup::ReadArchive(file.Get(), path, [&](std::string_view block) {
                if (Interrupted()) throw OwnFailure(Message::kInterrupted, {});
                taker.Add(block);
            });
        struct stat status {};
        fstat(file.Get(), &status);
        return {.path = path,
                .bytes = static_cast<std::uint64_t>(status.st_size),
                .created = TimeIn(contents.manifest.created),
                .manifest = std::move(contents.manifest),
                .census = taker.Finish(),
                .seal = std::move(contents.seal),
                .file = std::move(file)};
    } catch (const backup::JobError &error) {
        Failure failure =
            FailureOfExit(backup::Operation::kRestore, static_cast<int>(error.code), {});
        failure.detail = error.what();
        throw failure;
    }
}

std::string ContentInWords(const WholeBackup &whole) {
    return fmt::format("{} {} with {} and {}", whole.manifest.entries,
                       whole.manifest.entries == 1 ? "entry" : "entries",
                       Counted(whole.census.users, "user"), Counted(whole.census.groups, "group"));
}

std::string ClearPasswordsInWords(const WholeBackup &whole) {
    const EntriesFound &found = whole.census.clear_passwords;
    if (found.count == 0) return {};
    return fmt::format(
        "{} in it {} a password that is not hashed (the first: {}): anyone who can read the file, "
        "or the restored database, can read {}; set new ones",
        Counted(found.count, "account"), found.count == 1 ? "has" : "have", OneLine(found.first),
        found.count == 1 ? "it" : "them");
}

backup::FolderContents ContentsOfDestination(const BackupSettings &settings) {
    if (settings.folder.empty()) RequireDestination(settings);
    try {
        return backup::LookInto(settings.folder, kBackupPrefix);
    } catch (const backup::JobError &error) {
        throw FailureOfExit(backup::Operation::kBackup, error);
    }
}

std::vector<backup::FoundBackup> FoundBackups(Session &session, const BackupSettings &settings) {
    backup::FolderContents contents = ContentsOfDestination(settings);
    for (const std::string &words : backup::InWords(contents.passed_over))
        session.streams.Note(words);
    return std::move(contents.backups);
}

ExposureInWords ExposureOf(const BackupSettings &settings) {
    ExposureInWords all;
    for (const backup::Exposure &one : backup::ExposuresOf(settings.folder)) {
        all.words += (all.words.empty() ? "" : ", ") + one.reason;
        all.remedy += (all.remedy.empty() ? "" : " && ") + one.remedy;
    }
    if (!all.words.empty()) all.words += ": others could remove or replace backups";
    return all;
}

Json MomentFor(const Session &session, std::optional<std::time_t> when) {
    if (!when) return {};
    return session.Options().form == Form::kTable ? TimeText(*when) : backup::UtcText(*when);
}

}  // namespace zafo::cli
