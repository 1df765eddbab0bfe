// SPDX-License-Identifier: Apache-2.0
//
// The settings of backup tasks.
#include <strings.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>

#include "base/appliance_paths.h"
#include "core/list.h"
#include "frame/log.h"
#include "frame/text.h"
#include "platform/error.h"
#include "platform/file.h"
#include "platform/share.h"
#include "zafoldap/backup.h"
#include "zafoldap/error.h"
#include "zafoldap/lock.h"

namespace {

using zafo::kBackupConf;

constexpr const char *kConfLock = "/tmp/.zafoldap_conf.lock";
constexpr const char *kDefaultTask = "backup";

constexpr const char *kKeyEnabled = "enabled";
constexpr const char *kKeySchedule = "schedule";
constexpr const char *kKeyDestShare = "dest_share";
constexpr const char *kKeyDestDir = "dest_dir";
constexpr const char *kKeyMaxFile = "max_file";

constexpr const char *kYes = "yes";
constexpr const char *kNo = "no";
constexpr const char *kDefaultSchedule = "1,4,0,4,0,0";
constexpr int kDefaultMaxFile = 10;

using SharePath = char[558];

class ConfLock {
  public:
    explicit ConfLock(int nKind) : fd_(ZAFOLDAPLock(kConfLock, nKind)) {}
    ConfLock(const ConfLock &) = delete;
    ConfLock &operator=(const ConfLock &) = delete;
    ~ConfLock() { ZAFOLDAPUnLock(fd_); }

    bool IsHeld() const { return fd_ >= 0; }

  private:
    int fd_;
};

// Whether the section is there and can be read; -1 when only memory was missing, which says nothing
// about the file. An earlier reason is not taken for one: not every platform gives one here.
int LoadSection(const char *szTask, QLIBSZHASH *pMap) {
    const int nEarlier = QLIBCErrGet();
    QLIBCErrSet(QLIB_ERR_NONE);
    const int nPairs = QLIBCFileGetSection(kBackupConf, szTask, pMap);
    const int nReason = QLIBCErrGet();
    if (nReason == QLIB_ERR_NONE) QLIBCErrSet(nEarlier);
    if (nPairs > 0) return 1;
    return nPairs < 0 && nReason == QLIB_ERR_OUT_OF_MEMORY ? -1 : 0;
}

int FailForMemory() {
    QLIBCErrSet(QLIB_ERR_OUT_OF_MEMORY);
    return -1;
}

// --- Reading ------------------------------------------------------------------

bool ParseSchedule(const char *szText, ZAFOSCHEDULE *pSchedule) {
    *pSchedule = {};
    zafo::CopyText(zafo::kBackupCommand, pSchedule->szCommand, sizeof pSchedule->szCommand);
    int *rg = pSchedule->rgField;
    return std::sscanf(szText, "%d,%d,%d,%d,%d,%d", rg, rg + 1, rg + 2, rg + 3, rg + 4, rg + 5) ==
           6;
}

int ReadSchedule(const char *szText, ZAFOSCHEDULE *pSchedule) {
    if (szText == nullptr) {
        if (ParseSchedule(kDefaultSchedule, pSchedule)) return 0;
        ZAFO_LOG("set default schedule error");
        return -1;
    }
    if (ParseSchedule(szText, pSchedule)) return 0;
    ZAFO_LOG("invalid schedule setting: [%s]", szText);
    return -1;
}

int MaxFileOf(const char *szText) {
    if (szText == nullptr) return kDefaultMaxFile;
    const long n = std::strtol(szText, nullptr, 10);
    return n > 0 ? static_cast<int>(std::min<long>(n, INT_MAX)) : kDefaultMaxFile;
}

// The record's strings in the order in which they come; the list's block may move with each.
int SetText(ZAFOLDAP_BACKUP_CONFIG *pConfig, const char *ZAFOLDAP_BACKUP_CONFIG::*pszField,
            const char *szText) {
    const char *ZAFOLDAP_BACKUP_CONFIG::*const kFields[] = {&ZAFOLDAP_BACKUP_CONFIG::szTask,
                                                            &ZAFOLDAP_BACKUP_CONFIG::szDestShare,
                                                            &ZAFOLDAP_BACKUP_CONFIG::szDestDir};
    if (QLIBCSzListPush(&pConfig->plistBuffer, szText) < 0) return -1;
    pConfig->*pszField = szText;
    int i = 0;
    for (const auto pszOther : kFields) {
        if (pConfig->*pszOther == nullptr) continue;
        pConfig->*pszOther = QLIBCSzListGet(pConfig->plistBuffer, i++);
    }
    return 0;
}

int ReadDestination(const QLIBSZHASH *pMap, ZAFOLDAP_BACKUP_CONFIG *pConfig) {
    if (const char *szShare = QLIBCSzHashGetValue(pMap, kKeyDestShare)) {
        if (SetText(pConfig, &ZAFOLDAP_BACKUP_CONFIG::szDestShare, szShare) != 0) return -1;
        SharePath szPath = "";
        if (zafo::Ended(szPath, ZAFOSharePathGet(szShare, szPath, sizeof szPath)) != 0) return 0;
        return SetText(pConfig, &ZAFOLDAP_BACKUP_CONFIG::szDestDir, szPath);
    }
    const char *szDir = QLIBCSzHashGetValue(pMap, kKeyDestDir);
    return szDir != nullptr ? SetText(pConfig, &ZAFOLDAP_BACKUP_CONFIG::szDestDir, szDir) : 0;
}

int ReadSection(const QLIBSZHASH *pMap, ZAFOLDAP_BACKUP_CONFIG *pConfig) {
    const char *szEnabled = QLIBCSzHashGetValue(pMap, kKeyEnabled);
    pConfig->blEnabled = szEnabled != nullptr && strcasecmp(szEnabled, kYes) == 0 ? 1 : 0;
    if (ReadSchedule(QLIBCSzHashGetValue(pMap, kKeySchedule), &pConfig->schedule) != 0) return -1;
    if (ReadDestination(pMap, pConfig) != 0) return -1;
    pConfig->nMaxFile = MaxFileOf(QLIBCSzHashGetValue(pMap, kKeyMaxFile));
    return 0;
}

// 1 when there is such a section; 0, also when it cannot be read; -1 without the lock.
int LoadUnderLock(const char *szTask, QLIBSZHASH *pMap) {
    const ConfLock lock(LOCK_SH);
    if (!lock.IsHeld()) return -1;
    return QLIBCFileGetSection(kBackupConf, szTask, pMap) > 0 ? 1 : 0;
}

int Get(ZAFOLDAP_BACKUP_CONFIG *pConfig, const char *szTask) {
    *pConfig = {};
    pConfig->nMaxFile = kDefaultMaxFile;
    pConfig->plistBuffer = QLIBCSzListAlloc(zafo::kListCapacity);
    if (pConfig->plistBuffer == nullptr) return FailForMemory();
    if (SetText(pConfig, &ZAFOLDAP_BACKUP_CONFIG::szTask, szTask) != 0) return -1;
    const zafo::Map map = zafo::MakeMap();
    if (map == nullptr) return FailForMemory();
    const int nLoaded = LoadUnderLock(szTask, map.get());
    if (nLoaded == 1) return ReadSection(map.get(), pConfig);
    return nLoaded;
}

// --- Writing ------------------------------------------------------------------

int SetSchedule(const ZAFOLDAP_BACKUP_CONFIG &config, QLIBSZHASH *pMap) {
    if (QLIBCSzHashSetValue(pMap, kKeyEnabled, config.blEnabled != 0 ? kYes : kNo) < 0) return -1;
    if (config.blEnabled == 0) return 0;
    char szText[6 * sizeof "-2147483648,"];
    const int *rg = config.schedule.rgField;
    std::snprintf(szText, sizeof szText, "%d,%d,%d,%d,%d,%d", rg[0], rg[1], rg[2], rg[3], rg[4],
                  rg[5]);
    return QLIBCSzHashSetValue(pMap, kKeySchedule, szText);
}

int SetDestination(QLIBSZHASH *pMap, const char *szKey, const char *szValue, const char *szPath,
                   const char *szOtherKey) {
    if (szPath == nullptr || ZAFOLDAPBackupIsValidDest(szPath) != 1) {
        ZAFOLDAPErrSet(ZAFOLDAP_ERR_INVALID_SHARE);
        return -1;
    }
    QLIBCSzHashRemoveKey(pMap, szOtherKey);  // that it was not there may be a failure to a platform
    return QLIBCSzHashSetValue(pMap, szKey, szValue);
}

int SetDestination(const ZAFOLDAP_BACKUP_CONFIG &config, QLIBSZHASH *pMap) {
    if (config.szDestShare != nullptr) {
        SharePath szPath = "";
        const bool blFound =
            zafo::Ended(szPath, ZAFOSharePathGet(config.szDestShare, szPath, sizeof szPath)) == 0;
        return SetDestination(pMap, kKeyDestShare, config.szDestShare, blFound ? szPath : nullptr,
                              kKeyDestDir);
    }
    if (config.szDestDir == nullptr) return 0;
    return SetDestination(pMap, kKeyDestDir, config.szDestDir, config.szDestDir, kKeyDestShare);
}

int SetMaxFile(int nMaxFile, QLIBSZHASH *pMap) {
    if (nMaxFile <= 0) return 0;
    char szText[sizeof "2147483647"];
    std::snprintf(szText, sizeof szText, "%d", nMaxFile);
    return QLIBCSzHashSetValue(pMap, kKeyMaxFile, szText);
}

int LogSaveFailure(const char *szTask) {
    ZAFO_LOG("save backup conf [%s] failed! [0x%04X]", szTask, zafo::PlatformError());
    return -1;
}

int Set(const ZAFOLDAP_BACKUP_CONFIG &config, const char *szTask) {
    const zafo::Map map = zafo::MakeMap();
    if (map == nullptr) return FailForMemory();
    const ConfLock lock(LOCK_EX);
    if (!lock.IsHeld()) return -1;
    const int nLoaded = LoadSection(szTask, map.get());
    if (nLoaded < 0) return -1;
    if (nLoaded == 0 && QLIBCFileAddSection(kBackupConf, szTask, map.get(), 0) < 0) {
        return LogSaveFailure(szTask);
    }
    if (SetSchedule(config, map.get()) < 0) return -1;
    if (SetDestination(config, map.get()) < 0) return -1;
    if (SetMaxFile(config.nMaxFile, map.get()) < 0) return -1;
    if (QLIBCFileSetSection(kBackupConf, szTask, nullptr, map.get(), 0) < 0) {
        return LogSaveFailure(szTask);
    }
    return 0;
}

}  // namespace

int ZAFOLDAPBackupConfigGet(ZAFOLDAP_BACKUP_CONFIG *pConfig, const char *szTask) {
    if (pConfig == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pConfig");
    return Get(pConfig, szTask != nullptr ? szTask : kDefaultTask);
}

int ZAFOLDAPBackupConfigSet(const ZAFOLDAP_BACKUP_CONFIG *pConfig) {
    if (pConfig == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pConfig");
    return Set(*pConfig, pConfig->szTask != nullptr ? pConfig->szTask : kDefaultTask);
}

int ZAFOLDAPBackupConfigFree(ZAFOLDAP_BACKUP_CONFIG *pConfig) {
    if (pConfig == nullptr) return 0;
    zafo::FreeList(pConfig->plistBuffer);
    *pConfig = {};
    return 0;
}

int ZAFOLDAPBackupIsValidDest(const char *szPath) {
    struct stat status {};
    if (szPath == nullptr || lstat(szPath, &status) != 0 || !S_ISDIR(status.st_mode)) return 0;
    return access(szPath, R_OK | W_OK | X_OK) == 0 ? 1 : 0;
}
