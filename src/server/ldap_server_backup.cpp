// SPDX-License-Identifier: Apache-2.0
//
// Backup and restore through the appliance's backup program, which takes its settings from the
// environment and reports the reason for a failure as its exit code.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>

#include "base/appliance_paths.h"
#include "platform/process.h"
#include "platform/schedule.h"
#include "src/core/own_record.h"
#include "src/frame/guard.h"
#include "src/frame/log.h"
#include "src/server/cleared_environment.h"
#include "zafoldap/backup.h"
#include "zafoldap/error.h"
#include "zafoldap/server.h"

namespace {

constexpr int kProgramOptions = 0xB3;
constexpr const char *kPrefix = "zafoldap";

using BackupConfig = zafo::Own<ZAFOLDAP_BACKUP_CONFIG, ZAFOLDAPBackupConfigFree>;

// --- Exit codes ---------------------------------------------------------------

struct Reason {
    int after_backup;
    int after_restore;
};

constexpr int kBusy = 1;

// By exit code. The two columns differ on purpose: they are part of the interface.
constexpr Reason kReasons[] = {
    {ZAFOLDAP_ERR_SYSTEM, ZAFOLDAP_ERR_SYSTEM},      // 0
    {ZAFOLDAP_ERR_OCCUPIED, ZAFOLDAP_ERR_OCCUPIED},  // 1, see BusyReason
    {ZAFOLDAP_ERR_INVALID_SHARE, ZAFOLDAP_ERR_INVALID_BACKUP_FILE},
    {ZAFOLDAP_ERR_SYSTEM, ZAFOLDAP_ERR_SYSTEM},  // 3
    {ZAFOLDAP_ERR_DISK_FULL, ZAFOLDAP_ERR_SYSTEM},
    {ZAFOLDAP_ERR_SYSTEM, ZAFOLDAP_ERR_SYSTEM},  // 5
    {ZAFOLDAP_ERR_DISK_FULL, ZAFOLDAP_ERR_SYSTEM},
    {ZAFOLDAP_ERR_DISK_FULL, ZAFOLDAP_ERR_DISK_FULL},  // 7
    {ZAFOLDAP_ERR_DISK_FULL, ZAFOLDAP_ERR_INVALID_BACKUP_FILE},
    {ZAFOLDAP_ERR_SYSTEM, ZAFOLDAP_ERR_ROOT_PARTITION_FULL},  // 9
    {ZAFOLDAP_ERR_SYSTEM, ZAFOLDAP_ERR_INVALID_BACKUP_FILE},
    {ZAFOLDAP_ERR_SYSTEM, ZAFOLDAP_ERR_PRODUCT_VERSION},  // 11
    {ZAFOLDAP_ERR_SYSTEM, ZAFOLDAP_ERR_PACKAGE_VERSION},
    {ZAFOLDAP_ERR_SYSTEM, ZAFOLDAP_ERR_ROOT_PARTITION_FULL},  // 13
};

// Another run holds the lock; its progress says whether it is a backup or a restore.
int BusyReason() {
    ZAFOLDAP_PROGRESS progress;
    int reason = ZAFOLDAP_ERR_OCCUPIED;
    if (ZAFOLDAPServerProgressGet(&progress) == 1 && progress.szOperation != nullptr) {
        if (std::strcmp(progress.szOperation, "backup") == 0) {
            reason = ZAFOLDAP_ERR_BACKUP_LOCKED;
        } else if (std::strcmp(progress.szOperation, "restore") == 0) {
            reason = ZAFOLDAP_ERR_RESTORE_LOCKED;
        }
    }
    ZAFOLDAPServerProgressFree(&progress);
    return reason;
}

void SetReason(int code, int Reason::*column) {
    if (code == kBusy) {
        ZAFOLDAPErrSet(BusyReason());
    } else if (code > 0 && code < static_cast<int>(std::size(kReasons))) {
        ZAFOLDAPErrSet(kReasons[code].*column);
    } else {
        ZAFOLDAPErrSet(ZAFOLDAP_ERR_SYSTEM);
    }
}

int ExitCodeOf(int wait_status) {
    return WIFEXITED(wait_status) ? WEXITSTATUS(wait_status) : -1;
}

// --- The program --------------------------------------------------------------

// Returns false when out of memory.
bool SetVariable(const char *name, const char *value) {
    return (value != nullptr ? setenv(name, value, 1) : unsetenv(name)) == 0;
}

bool SetVariables(const ZAFOLDAP_BACKUP_CONFIG *config) {
    const bool is_set = SetVariable("LDAP_BROWSER_CONF", zafo::kConnectionFile) &&
                        SetVariable("LDAP_BKP_PROGRESS_FILE", zafo::kProgressFile) &&
                        SetVariable("LDAP_BKP_PREFIX", kPrefix);
    if (config == nullptr) return is_set;
    char max_file[sizeof "-2147483648"];
    std::snprintf(max_file, sizeof max_file, "%d", config->nMaxFile);
    return is_set && SetVariable("LDAP_BKP_TASK", config->szTask) &&
           SetVariable("LDAP_BKP_DEST_DIR", config->szDestDir) &&
           SetVariable("LDAP_BKP_SCHEDULE_ENABLED", config->blEnabled != 0 ? "yes" : "no") &&
           SetVariable("LDAP_BKP_MAX_BACKUP_FILE", max_file);
}

// Runs the program with only these variables in its environment; returns its wait status.
template <class... Argument>
int Run(const ZAFOLDAP_BACKUP_CONFIG *config, Argument... arguments) {
    const zafo::ClearedEnvironment cleared;
    if (!SetVariables(config)) throw std::bad_alloc();
    return QLIBCExecl(zafo::kBackupProgram, kProgramOptions, arguments...,
                      static_cast<const char *>(nullptr));
}

int Backup() {
    BackupConfig own;
    if (ZAFOLDAPBackupConfigGet(&own, nullptr) != 0) return -1;
    if (ZAFOLDAPServerDBIsEmpty() != 0) return -1;
    ZAFOLDAPBackupIsValidDest(own.szDestDir);
    // The wait status is passed on as if it were the exit code.
    const int result = Run(&own);
    if (result == 0) return 0;
    ZAFOLDAPServerBackupSetError(result);
    return -1;
}

int Restore(const char *backup_file) {
    if (access(backup_file, R_OK) != 0) {
        ZAFOLDAPErrSet(ZAFOLDAP_ERR_INVALID_BACKUP_FILE);
        return -1;
    }
    const int result = Run(nullptr, "-r", backup_file);
    if (result == 0) return 0;
    ZAFO_LOG("zafoldapbackup -r \"%s\" failed: %d", backup_file, result);
    SetReason(ExitCodeOf(result), &Reason::after_restore);
    unlink(zafo::kProgressFile);
    return -1;
}

}  // namespace

int ZAFOLDAPServerBackup(void) {
    return zafo::Guarded(-1, Backup);
}

int ZAFOLDAPServerRestore(const char *backup_file) {
    if (backup_file == nullptr || *backup_file == '\0') {
        return ZAFO_BAD_ARGUMENT("((void *)0) != szBackupFile && '\\0' != *szBackupFile");
    }
    return zafo::Guarded(-1, [&] { return Restore(backup_file); });
}

int ZAFOLDAPServerBackupSchedule(int enable) {
    BackupConfig own;
    if (ZAFOLDAPBackupConfigGet(&own, nullptr) != 0) return -1;
    if (enable != 0) {
        if (ZAFOScheduleSet(&own.schedule, 0) >= 0) return 0;
        return ZAFO_FAILURE("add ldap backup schedule failed, [0x%04X]", zafo::PlatformError());
    }
    if (ZAFOScheduleRemove(zafo::kBackupCommand) >= 0) return 0;
    return ZAFO_FAILURE("remove ldap backup schedule failed, [0x%04X]", zafo::PlatformError());
}

int ZAFOLDAPServerBackupSetEnv(const ZAFOLDAP_BACKUP_CONFIG *config) {
    SetVariables(config);
    return 0;
}

int ZAFOLDAPServerBackupSetError(int code) {
    SetReason(code, &Reason::after_backup);
    return 0;
}
