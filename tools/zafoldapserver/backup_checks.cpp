// SPDX-License-Identifier: Apache-2.0
//
// The checks of backups: an unnoticed failure would only be discovered on the day the backup is
// needed.
#include "tools/zafoldapserver/backup_checks.h"

#include <fmt/format.h>

#include "platform/process.h"
#include "tools/backup/exit_code.h"
#include "tools/cli/display_text.h"
#include "tools/zafoldapserver/backup_reading.h"
#include "tools/zafoldapserver/local_server.h"
#include "tools/zafoldapserver/server_checks.h"

namespace zafo::cli {

namespace {

// Written by cron itself, also by crons other than Debian's.
constexpr const char *kCronPidFile = "/var/run/crond.pid";
constexpr const char *kBackUp = "zafoldapserver backup now";
constexpr const char *kSetDestination =
    "zafoldapserver backup config set --dir DIR (or --share NAME) --schedule \"daily 04:00\"";
constexpr const char *kShowConfig = "zafoldapserver backup config show";
// Allows for small clock differences between a machine and its file server.
constexpr std::time_t kClockSlack = 600;

std::string SetAgain(const BackupSettings &settings) {
    return fmt::format("zafoldapserver backup config set --schedule \"{}\"",
                       settings.enabled ? ScheduleInWords(settings.schedule) : "off");
}

std::string AgeInWords(std::time_t seconds) {
    constexpr std::time_t kMinute = 60, kHour = 60 * kMinute, kDay = 24 * kHour;
    if (seconds < kMinute) return "less than a minute";
    if (seconds < kHour) return Counted(static_cast<std::uint64_t>(seconds / kMinute), "minute");
    if (seconds < 2 * kDay) return Counted(static_cast<std::uint64_t>(seconds / kHour), "hour");
    return Counted(static_cast<std::uint64_t>(seconds / kDay), "day");
}

// A settings file that cannot be read is one finding, not three.
CheckStep FromFailure(const Failure &failure) {
    if (failure.exit_code == 130) throw failure;
    std::string cause = failure.message;
    if (!failure.detail.empty()) cause += ": " + failure.detail;
    return Wrong(OneLine(cause), failure.hint);
}

LastBackup LookAtLast(const BackupSettings &settings) {
    const backup::FolderContents contents = ContentsOfDestination(settings);
    LastBackup last;
    if (!contents.passed_over.empty()) last.stray = backup::InWords(contents.passed_over).front();
    if (contents.backups.empty()) return last;
    last.written = contents.backups.front().written;
    last.path = contents.backups.front().path;
    try {
        const WholeBackup whole = ReadWholeBackup(last.path);
        if (whole.created) last.written = whole.created;
        last.content = ContentInWords(whole);
    } catch (const Failure &failure) {
        if (failure.exit_code == 130) throw;
        last.fault = failure.detail;
    }
    return last;
}

// std::nullopt: no objection.
std::optional<CheckStep> JudgeJob(const std::optional<JobProgress> &job) {
    if (!job || job->IsRestore()) return std::nullopt;
    const std::string log =
        fmt::format("see /var/log/messages for its own messages, then {}", kBackUp);
    if (job->State() == JobState::kFailed)
        return Wrong(fmt::format("the last backup failed while {}: {}", job->action,
                                 backup::WordsFor(backup::Operation::kBackup, job->status)),
                     log);
    if (job->State() == JobState::kLost)
        return Wrong(fmt::format("the last backup was killed while {}", job->action), log);
    return std::nullopt;
}

}  // namespace

CheckStep JudgeSchedule(const BackupSettings &settings, Registration registration,
                        bool scheduler_runs, std::time_t now) {
    const std::string again = SetAgain(settings);
    switch (registration) {
        case Registration::kAsSet:
            break;
        case Registration::kMissing:
            return Wrong(
                "the schedule is on, but the scheduler does not have it: no backups are made",
                again);
        case Registration::kLeftOver:
            return Wrong("the schedule is off, but the scheduler still runs backups", again);
        case Registration::kOtherwise:
            return Wrong("the scheduler runs backups at other times than the settings say", again);
        case Registration::kUnreadable:
            return Wrong("the scheduler's table /etc/cron.d/zafo cannot be read",
                         "make sure that it is a file owned by root with mode 0644");
    }
    if (!settings.enabled)
        return Warned("no backups are scheduled",
                      settings.HasDestination()
                          ? "zafoldapserver backup config set --schedule \"daily 04:00\""
                          : kSetDestination);
    const auto next = NextRun(settings.schedule, now);
    if (!next)
        return Wrong("the schedule has no time: no backups are made",
                     "zafoldapserver backup config set --schedule \"daily 04:00\"");
    if (!scheduler_runs)
        return Wrong("backups are scheduled, but cron is not running: none are made",
                     "start cron: systemctl enable --now cron");
    return Good(
        fmt::format("{}, next {}", ScheduleInWords(settings.schedule), MomentInWords(*next, now)));
}

CheckStep JudgeLast(const BackupSettings &settings, const LastBackup &last,
                    const std::optional<JobProgress> &job, std::time_t now) {
    if (auto step = JudgeJob(job)) return *step;
    if (!last.written && !last.stray.empty())
        return Wrong("there is no backup, and " + last.stray, kBackUp);
    if (!last.written)
        return settings.enabled ? Warned("there is no backup yet", kBackUp)
                                : Warned("there is no backup", kBackUp);
    if (!last.fault.empty())
        return Wrong(fmt::format("the newest backup cannot be restored: {}", OneLine(last.fault)),
                     fmt::format("check the disk, then {}", kBackUp));
    const std::time_t age = now - *last.written;
    if (age < -kClockSlack)
        return Warned(
            fmt::format(
                "the newest backup is dated in the future ({}): the clock was wrong then or is now",
                TimeText(*last.written)),
            fmt::format("set the clock, then {}", kBackUp));
    const std::time_t gap = LongestGap(settings.schedule);
    if (settings.enabled && gap > 0 && age > 2 * gap)
        return Wrong(
            fmt::format("the newest backup is {} old, but one is scheduled {}", AgeInWords(age),
                        ScheduleInWords(settings.schedule)),
            fmt::format("check that cron is running and what /var/log/messages says, then {}",
                        kBackUp));
    if (!last.stray.empty())
        return Warned(last.stray,
                      "find out who put it there: zafoldapserver backup list names all such files");
    return Good(fmt::format("{} old, {}; {}", AgeInWords(age), last.content, OneLine(last.path)));
}

CheckStep CheckBackupDestination(CheckedServer &) {
    try {
        const BackupSettings settings = ReadBackupSettings();
        if (!settings.HasDestination())
            return Warned("no backup destination is set", kSetDestination);
        const std::string fault = FaultOfDestination(settings);
        if (!fault.empty()) return Wrong(fault, kShowConfig);
        const ExposureInWords exposure = ExposureOf(settings);
        if (!exposure.words.empty()) return Warned(exposure.words, exposure.remedy);
        return Good(OneLine(settings.folder));
    } catch (const Failure &failure) {
        return FromFailure(failure);
    }
}

CheckStep CheckBackupSchedule(CheckedServer &) {
    try {
        const BackupSettings settings = ReadBackupSettings();
        return JudgeSchedule(settings, RegistrationOf(settings), QLIBCReadPidFile(kCronPidFile) > 0,
                             std::time(nullptr));
    } catch (const Failure &failure) {
        return FromFailure(failure);
    }
}

CheckStep CheckLastBackup(CheckedServer &) {
    try {
        const BackupSettings settings = ReadBackupSettings();
        if (!settings.HasDestination()) return Skipped("no backup destination is set");
        if (!FaultOfDestination(settings).empty())
            return Skipped("the backup destination cannot be used");
        return JudgeLast(settings, LookAtLast(settings), ReadProgress(), std::time(nullptr));
    } catch (const Failure &failure) {
        return FromFailure(failure);
    }
}

}  // namespace zafo::cli
