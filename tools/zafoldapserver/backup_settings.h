// SPDX-License-Identifier: Apache-2.0
//
// The settings of the server's backups, and whether the scheduler agrees with them.
#pragma once

#include <string>
#include <string_view>

#include "base/appliance_paths.h"
#include "tools/cli/failure.h"
#include "tools/zafoldapserver/schedule_words.h"

namespace zafo::cli {

// What the scheduler runs (zafoldap/backup.h).
constexpr std::string_view kBackupPrefix = "zafoldap";

struct BackupSettings {
    bool enabled = false;
    std::string share = {};
    std::string folder = {};  // empty: none is set, or the share has none
    ScheduleNumbers schedule = {};
    int keep = 10;

    bool HasDestination() const { return !share.empty() || !folder.empty(); }
};

// Throws Failure, also when the settings are damaged.
BackupSettings ReadBackupSettings();

// Stores them. The destination is written and checked only when `with_destination`, so that the
// schedule can be switched off while the destination is unavailable. Throws Failure.
void WriteBackupSettings(const BackupSettings &settings, bool with_destination);

// The settings with the share, if any, resolved to its current folder.
BackupSettings ResolvedDestination(BackupSettings settings);

// Why backups cannot be written there; empty if they can.
std::string FaultOfDestination(const BackupSettings &settings);

// Throws Failure ("backup_no_destination", or the library's refusal of a destination).
void RequireDestination(const BackupSettings &settings);

// Whether the scheduler matches the settings.
enum class Registration { kAsSet, kMissing, kLeftOver, kOtherwise, kUnreadable };

Registration RegistrationOf(const BackupSettings &settings);

// Registers the schedule from the settings, or removes it. Throws Failure ("schedule_failed").
void Register(bool enable);

}  // namespace zafo::cli
