// SPDX-License-Identifier: Apache-2.0
//
// Backup and restore by the appliance's backup program, which takes its settings from the
// environment and gives its reasons as exit codes.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>

#include "base/appliance_paths.h"
#include "core/ldap_browser_conf.h"
#include "frame/guard.h"
#include "frame/log.h"
#include "platform/process.h"
#include "platform/schedule.h"
#include "server/cleared_environment.h"
#include "zafoldap/backup.h"
#include "zafoldap/error.h"
#include "zafoldap/server.h"

namespace {

constexpr int kProgramOptions = 0xB3;
constexpr const char *kPrefix = "zafoldap";

class BackupConfig {
  public:
    BackupConfig() = default;
    BackupConfig(const BackupConfig &) = delete;
    BackupConfig &operator=(const BackupConfig &) = delete;
    ~BackupConfig() { ZAFOLDAPBackupConfigFree(&config); }

    ZAFOLDAP_BACKUP_CONFIG config{};
};

// --- Exit codes ---------------------------------------------------------------

struct REASON {
    int nAfterBackup;
    int nAfterRestore;
};

constexpr int kBusy = 1;

// By exit code. That the two columns differ is part of the interface.
constexpr REASON kReasons[] = {
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

// Another run holds the job; its progress tells which kind it is.
int BusyReason() {
    ZAFOLDAP_PROGRESS progress;
    int nReason = ZAFOLDAP_ERR_OCCUPIED;
    if (ZAFOLDAPServerProgressGet(&progress) == 1 && progress.szOperation != nullptr) {
        if (std::strcmp(progress.szOperation, "backup") == 0) {
            nReason = ZAFOLDAP_ERR_BACKUP_LOCKED;
        } else if (std::strcmp(progress.szOperation, "restore") == 0) {
            nReason = ZAFOLDAP_ERR_RESTORE_LOCKED;
        }
    }
    ZAFOLDAPServerProgressFree(&progress);
    return nReason;
}

void SetReason(int nCode, int REASON::*pColumn) {
    if (nCode == kBusy) {
        ZAFOLDAPErrSet(BusyReason());
    } else if (nCode > 0 && nCode < static_cast<int>(std::size(kReasons))) {
        ZAFOLDAPErrSet(kReasons[nCode].*pColumn);
    } else {
        ZAFOLDAPErrSet(ZAFOLDAP_ERR_SYSTEM);
    }
}

int ExitCodeOf(int nWaitStatus) {
    return WIFEXITED(nWaitStatus) ? WEXITSTATUS(nWaitStatus) : -1;
}

// --- The program --------------------------------------------------------------

// Whether there was room for it.
bool SetVariable(const char *szName, const char *szValue) {
    return (szValue != nullptr ? setenv(szName, szValue, 1) : unsetenv(szName)) == 0;
}

bool SetVariables(const ZAFOLDAP_BACKUP_CONFIG *pConfig) {
    const bool blSet = SetVariable("LDAP_BROWSER_CONF", zafo::kConnectionFile) &&
                       SetVariable("LDAP_BKP_PROGRESS_FILE", zafo::kProgressFile) &&
                       SetVariable("LDAP_BKP_PREFIX", kPrefix);
    if (pConfig == nullptr) return blSet;
    char szMaxFile[sizeof "-2147483648"];
    std::snprintf(szMaxFile, sizeof szMaxFile, "%d", pConfig->nMaxFile);
    return blSet && SetVariable("LDAP_BKP_TASK", pConfig->szTask) &&
           SetVariable("LDAP_BKP_DEST_DIR", pConfig->szDestDir) &&
           SetVariable("LDAP_BKP_SCHEDULE_ENABLED", pConfig->blEnabled != 0 ? "yes" : "no") &&
           SetVariable("LDAP_BKP_MAX_BACKUP_FILE", szMaxFile);
}

// Runs the program in an environment of these variables alone. Its wait status.
template <class... Argument>
int Run(const ZAFOLDAP_BACKUP_CONFIG *pConfig, Argument... szArguments) {
    const zafo::ClearedEnvironment cleared;
    if (!SetVariables(pConfig)) throw std::bad_alloc();
    return QLIBCExecl(zafo::kBackupProgram, kProgramOptions, szArguments...,
                      static_cast<const char *>(nullptr));
}

int Backup() {
    BackupConfig own;
    if (ZAFOLDAPBackupConfigGet(&own.config, nullptr) != 0) return -1;
    if (ZAFOLDAPServerDBIsEmpty() != 0) return -1;
    ZAFOLDAPBackupIsValidDest(own.config.szDestDir);
    // The program's wait status counts as its exit code here.
    const int nResult = Run(&own.config);
    if (nResult == 0) return 0;
    ZAFOLDAPServerBackupSetError(nResult);
    return -1;
}

int Restore(const char *szBackupFile) {
    if (access(szBackupFile, R_OK) != 0) {
        ZAFOLDAPErrSet(ZAFOLDAP_ERR_INVALID_BACKUP_FILE);
        return -1;
    }
    const int nResult = Run(nullptr, "-r", szBackupFile);
    if (nResult == 0) return 0;
    ZAFO_LOG("zafoldapbackup -r \"%s\" failed: %d", szBackupFile, nResult);
    SetReason(ExitCodeOf(nResult), &REASON::nAfterRestore);
    unlink(zafo::kProgressFile);
    return -1;
}

}  // namespace

int ZAFOLDAPServerBackup(void) {
    return zafo::Guarded(-1, Backup);
}

int ZAFOLDAPServerRestore(const char *szBackupFile) {
    if (szBackupFile == nullptr || *szBackupFile == '\0') {
        return ZAFO_BAD_ARGUMENT("((void *)0) != szBackupFile && '\\0' != *szBackupFile");
    }
    return zafo::Guarded(-1, [&] { return Restore(szBackupFile); });
}

int ZAFOLDAPServerBackupSchedule(int blEnable) {
    BackupConfig own;
    if (ZAFOLDAPBackupConfigGet(&own.config, nullptr) != 0) return -1;
    if (blEnable != 0) {
        if (ZAFOScheduleSet(&own.config.schedule, 0) >= 0) return 0;
        ZAFO_LOG("add ldap backup schedule failed, [0x%04X]", zafo::PlatformError());
        return -1;
    }
    if (ZAFOScheduleRemove(zafo::kBackupCommand) >= 0) return 0;
    ZAFO_LOG("remove ldap backup schedule failed, [0x%04X]", zafo::PlatformError());
    return -1;
}

int ZAFOLDAPServerBackupSetEnv(const ZAFOLDAP_BACKUP_CONFIG *pConfig) {
    SetVariables(pConfig);
    return 0;
}

int ZAFOLDAPServerBackupSetError(int nCode) {
    SetReason(nCode, &REASON::nAfterBackup);
    return 0;
}
