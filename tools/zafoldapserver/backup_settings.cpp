// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldapserver/backup_settings.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <thread>

#include <fmt/format.h>

#include "base/appliance_paths.h"
#include "platform/error.h"
#include "platform/schedule.h"
#include "platform/share.h"
#include "tools/backup/destination.h"
#include "tools/backup/job_error.h"
#include "tools/zafoldapserver/library_record.h"
#include "zafoldap/backup.h"
#include "zafoldap/error.h"

namespace zafo::cli {

namespace {

constexpr int kReadTries = 20;
constexpr std::chrono::milliseconds kPause{50};
// The library's limit.
constexpr size_t kLongestSharePath = 558;

using ConfigRecord = LibraryRecord<ZAFOLDAP_BACKUP_CONFIG, ZAFOLDAPBackupConfigFree>;

std::string ReasonOfPlatform() {
    switch (QLIBCErrGet()) {
        case QLIB_ERR_OPEN_FAILED:
            return "it cannot be opened";
        case QLIB_ERR_WRITE_FAILED:
            return "it cannot be written; the disk may be full";
        case QLIB_ERR_BAD_FORMAT:
            return "it is damaged, and the system log names the line";
        case QLIB_ERR_BAD_ARGUMENT:
            return "it contains a schedule without a time";
        default:
            return "the system log has the reason";
    }
}

[[noreturn]] void ThrowSettings() {
    if (ZAFOLDAPErrGet() != 0) throw LibraryFailure(ZAFOLDAPErrGet(), 0, {}, {});
    if (QLIBCErrGet() == QLIB_ERR_OUT_OF_MEMORY) throw OwnFailure(Message::kOutOfMemory, {});
    throw OwnFailure(Message::kBackupSettingsFailed,
                     {.subject = kBackupConf, .reason = ReasonOfPlatform()});
}

void ForgetErrors() {
    ZAFOLDAPErrReset();
    QLIBCErrSet(QLIB_ERR_NONE);
}

}  // namespace

BackupSettings ReadBackupSettings() {
    ConfigRecord record;
    for (int left = kReadTries;; --left) {
        ForgetErrors();
        if (ZAFOLDAPBackupConfigGet(record.Address(), nullptr) == 0) break;
        // Other writers hold the settings only for a moment.
        if (ZAFOLDAPErrGet() != ZAFOLDAP_ERR_OCCUPIED || left == 1) ThrowSettings();
        ZAFOLDAPBackupConfigFree(record.Address());
        std::this_thread::sleep_for(kPause);
    }
    // The library treats an unreadable file as one without settings.
    const int reason = QLIBCErrGet();
    if (reason == QLIB_ERR_BAD_FORMAT || reason == QLIB_ERR_OPEN_FAILED ||
        reason == QLIB_ERR_OUT_OF_MEMORY)
        ThrowSettings();
    const ZAFOLDAP_BACKUP_CONFIG &config = *record;
    BackupSettings settings{.enabled = config.blEnabled != 0, .keep = config.nMaxFile};
    if (config.szDestShare != nullptr) settings.share = config.szDestShare;
    if (config.szDestDir != nullptr) settings.folder = config.szDestDir;
    std::ranges::copy(config.schedule.rgField, settings.schedule.begin());
    return settings;
}

void WriteBackupSettings(const BackupSettings &settings, bool with_destination) {
    ZAFOLDAP_BACKUP_CONFIG config{};
    if (with_destination && !settings.share.empty()) {
        config.szDestShare = settings.share.c_str();
    } else if (with_destination && !settings.folder.empty()) {
        config.szDestDir = settings.folder.c_str();
    }
    config.blEnabled = settings.enabled ? 1 : 0;
    config.nMaxFile = settings.keep;
    std::ranges::copy(settings.schedule, config.schedule.rgField);
    ForgetErrors();
    if (ZAFOLDAPBackupConfigSet(&config) != 0) ThrowSettings();
}

BackupSettings ResolvedDestination(BackupSettings settings) {
    if (settings.share.empty()) return settings;
    std::array<char, kLongestSharePath> path{};
    const bool found = ZAFOSharePathGet(settings.share.c_str(), path.data(), path.size()) == 0;
    settings.folder = found ? path.data() : "";
    return settings;
}

std::string FaultOfDestination(const BackupSettings &settings) {
    if (!settings.HasDestination()) return "none is set";
    if (settings.folder.empty())
        return fmt::format("there is no shared folder \"{}\"", settings.share);
    try {
        backup::CheckDestination(settings.folder);
        return {};
    } catch (const backup::JobError &error) {
        return error.what();
    }
}

void RequireDestination(const BackupSettings &settings) {
    if (!settings.HasDestination()) throw OwnFailure(Message::kBackupNoDestination, {});
    const std::string fault = FaultOfDestination(settings);
    if (fault.empty()) return;
    Failure failure = LibraryFailure(ZAFOLDAP_ERR_INVALID_SHARE, 0, {}, {});
    failure.message += ": " + fault;
    throw failure;
}

Registration RegistrationOf(const BackupSettings &settings) {
    ZAFOSCHEDULE schedule{};
    QLIBCErrSet(QLIB_ERR_NONE);
    if (ZAFOScheduleGet(kBackupCommand, &schedule) == 0) {
        const bool runs = schedule.rgField[0] != ZAFO_SCHEDULE_NEVER;
        if (!settings.enabled) return runs ? Registration::kLeftOver : Registration::kAsSet;
        return std::ranges::equal(schedule.rgField, settings.schedule) ? Registration::kAsSet
                                                                       : Registration::kOtherwise;
    }
    switch (QLIBCErrGet()) {
        case QLIB_ERR_SECTION_NOT_FOUND:
            return settings.enabled ? Registration::kMissing : Registration::kAsSet;
        case QLIB_ERR_BAD_FORMAT:
            return settings.enabled ? Registration::kOtherwise : Registration::kLeftOver;
        default:
            return Registration::kUnreadable;
    }
}

void Register(bool enable) {
    ForgetErrors();
    if (ZAFOLDAPServerBackupSchedule(enable ? 1 : 0) == 0) return;
    if (ZAFOLDAPErrGet() != 0) throw LibraryFailure(ZAFOLDAPErrGet(), 0, {}, {});
    const bool opening = QLIBCErrGet() == QLIB_ERR_OPEN_FAILED;
    throw OwnFailure(Message::kScheduleFailed,
                     {.subject = kScheduleTable,
                      .reason = opening ? "there is no cron here, or the file cannot be opened"
                                        : ReasonOfPlatform()});
}

}  // namespace zafo::cli
