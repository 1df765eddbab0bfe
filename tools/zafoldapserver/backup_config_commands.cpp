// SPDX-License-Identifier: Apache-2.0
//
// backup config show, backup config set.

#include <fmt/format.h>

#include "tools/cli/change_log.h"
#include "tools/cli/display_text.h"
#include "tools/cli/listing.h"
#include "tools/zafoldapserver/backup_reading.h"
#include "tools/zafoldapserver/backup_settings.h"
#include "tools/zafoldapserver/commands.h"
#include "tools/zafoldapserver/server_lock.h"

namespace zafo::cli {

namespace {

const Fields kSettingsFields = {{"enabled", "SCHEDULED"}, {"schedule", "SCHEDULE"},
                                {"next_run", "NEXT RUN"}, {"share", "SHARE"},
                                {"dir", "FOLDER"},        {"destination", "DESTINATION"},
                                {"keep", "BACKUPS KEPT"}, {"scheduler", "SCHEDULER"}};

std::string_view Name(Registration registration) {
    constexpr std::string_view kNames[] = {"as set", "lacks the schedule",
                                           "has a schedule that is off", "has another schedule",
                                           "cannot be asked"};
    return kNames[static_cast<int>(registration)];
}

Json NextRunFor(const Session &session, const BackupSettings &settings) {
    const std::time_t now = std::time(nullptr);
    const auto next = settings.enabled ? NextRun(settings.schedule, now) : std::nullopt;
    if (!next) return {};
    return session.Options().form == Form::kTable ? MomentInWords(*next, now)
                                                  : backup::UtcText(*next);
}

Json RecordOf(const Session &session, const BackupSettings &settings) {
    const std::string fault = FaultOfDestination(settings);
    return {{"enabled", settings.enabled},
            {"schedule", ScheduleInWords(settings.schedule)},
            {"next_run", NextRunFor(session, settings)},
            {"share", TextOrNull(settings.share)},
            {"dir", TextOrNull(settings.folder)},
            {"destination", fault.empty() ? "usable" : fault},
            {"keep", settings.keep},
            {"scheduler", Name(RegistrationOf(settings))}};
}

void Show(Session &session) {
    PrintRecord(session.streams, session.document, kSettingsFields,
                RecordOf(session, ReadBackupSettings()));
}

bool TakeDestination(Session &session, BackupSettings &settings) {
    const std::string *share = session.invocation.Find("share");
    const std::string *folder = session.invocation.Find("dir");
    if ((share != nullptr && share->empty()) || (folder != nullptr && folder->empty()))
        RefuseUsage(session, "the destination is empty");
    if (share != nullptr) settings.share = *share;
    if (folder != nullptr) {
        settings.share.clear();
        settings.folder = *folder;
    }
    return share != nullptr || folder != nullptr;
}

bool TakeSchedule(Session &session, BackupSettings &settings) {
    const std::string *words = session.invocation.Find("schedule");
    if (words == nullptr) return false;
    settings.enabled = *words != "off";
    if (!settings.enabled) return true;
    const ScheduleReading reading = ReadSchedule(*words);
    if (!reading.numbers)
        RefuseUsage(session, fmt::format("--schedule cannot be \"{}\": {}", OneLine(*words),
                                         reading.reason));
    settings.schedule = *reading.numbers;
    return true;
}

bool TakeKeep(Session &session, BackupSettings &settings) {
    const std::optional<int> keep = session.invocation.Number("keep");
    if (!keep) return false;
    if (*keep == 0) RefuseUsage(session, "--keep must be at least 1");
    settings.keep = *keep;
    return true;
}

void NoteExposure(Session &session, const BackupSettings &settings) {
    const ExposureInWords exposure = ExposureOf(settings);
    if (exposure.words.empty()) return;
    session.streams.Note("warning: " + exposure.words + "\nhint: " + exposure.remedy);
}

struct Change {
    BackupSettings before = {};
    BackupSettings after = {};
    bool destination = false;
    bool schedule = false;
};

// Restores the previous schedule; the first failure is the one to report.
void GoBack(const Change &change) {
    BackupSettings settings = change.after;
    settings.enabled = change.before.enabled;
    settings.schedule = change.before.schedule;
    try {
        WriteBackupSettings(settings, /*with_destination=*/false);
        Register(settings.enabled);
    } catch (const Failure &) {
    }
}

// The scheduler is told first what stops running and last what starts: an interruption in between
// leaves a schedule that does not run, which the check reports, never one that nobody set.
void Apply(const Change &change) {
    if (change.schedule && !change.after.enabled) Register(false);
    try {
        WriteBackupSettings(change.after, change.destination);
        if (change.after.enabled && change.schedule) Register(true);
    } catch (const Failure &) {
        if (change.schedule) GoBack(change);
        throw;
    }
}

std::string InWords(const Change &change) {
    return fmt::format("enabled={} schedule=\"{}\" share=\"{}\" folder=\"{}\" keep={}",
                       change.after.enabled ? "yes" : "no", ScheduleInWords(change.after.schedule),
                       OneLine(change.after.share), OneLine(change.after.folder),
                       change.after.keep);
}

int ShowBackupConfig(Session &session) {
    RequireRoot(session);
    Show(session);
    return 0;
}

Command BackupConfigShowCommand() {
    return {.noun = "backup",
            .verb = "config show",
            .run = ShowBackupConfig,
            .summary = "Show where and when backups are made",
            .description =
                "Shows the backup settings, whether the destination can be used and whether the "
                "scheduler agrees. Fields: enabled, schedule, next_run, share, dir, destination "
                "(usable, or what is wrong), keep, scheduler (as set, or what it has instead).",
            .examples = {{"zafoldapserver backup config show", "everything"}},
            .exits = {4, 8}};
}

int SetBackupConfig(Session &session) {
    RequireRoot(session);
    BackupSettings asked{};
    const bool destination = TakeDestination(session, asked);
    const bool schedule = TakeSchedule(session, asked);
    const bool keep = TakeKeep(session, asked);
    if (!destination && !schedule && !keep)
        throw OwnFailure(Message::kNothingToChange,
                         {.subject = "zafoldapserver backup config set"});
    const ServerLock lock;
    Change change{.before = ReadBackupSettings(), .destination = destination, .schedule = schedule};
    change.after = change.before;
    TakeDestination(session, change.after);
    TakeSchedule(session, change.after);
    TakeKeep(session, change.after);
    if (destination || (schedule && change.after.enabled))
        RequireDestination(ResolvedDestination(change.after));
    if (session.Options().dry_run) {
        TellResult(session, {{"would_set", InWords(change)}},
                   "dry run: would set " + InWords(change));
        return 0;
    }
    LoggedChange(session, kLoggedServer, InWords(change), [&] { Apply(change); });
    Show(session);
    if (destination) NoteExposure(session, ResolvedDestination(change.after));
    return 0;
}

Command BackupConfigSetCommand() {
    return {
        .noun = "backup",
        .verb = "config set",
        .run = SetBackupConfig,
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
        .exclusive = {{"share", "dir"}},
        .examples = {{"zafoldapserver backup config set --dir /volume1/backups --schedule 'daily "
                      "04:00'",
                      "every night"},
                     {"zafoldapserver backup config set --schedule 'daily 00:00-20:00 every 4 "
                      "hours' --keep 42",
                      "six a day, kept for a week"},
                     {"zafoldapserver backup config set --schedule off", "no more backups"}},
        .exits = {3, 4, 8}};
}

}  // namespace

std::vector<Command> BackupConfigCommands() {
    return {BackupConfigShowCommand(), BackupConfigSetCommand()};
}

}  // namespace zafo::cli
