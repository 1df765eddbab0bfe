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
#include "platform/error.h"
#include "platform/file.h"
#include "platform/share.h"
#include "src/core/list.h"
#include "src/frame/log.h"
#include "src/frame/text.h"
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
    explicit ConfLock(int kind) : fd_(ZAFOLDAPLock(kConfLock, kind)) {}
    ConfLock(const ConfLock &) = delete;
    ConfLock &operator=(const ConfLock &) = delete;
    ~ConfLock() { ZAFOLDAPUnLock(fd_); }

    bool IsHeld() const { return fd_ >= 0; }

  private:
    int fd_;
};

enum class Section { kRead, kNone, kNoMemory };

// An unreadable section counts as missing, except when memory ran out, which says nothing about the
// file. The error slot is cleared first because not every platform sets it here, and an old error
// must not be taken for the reason.
Section LoadSection(const char *task, QLIBSZHASH *map) {
    const int earlier = QLIBCErrGet();
    QLIBCErrSet(QLIB_ERR_NONE);
    const int pairs = QLIBCFileGetSection(kBackupConf, task, map);
    const int reason = QLIBCErrGet();
    if (reason == QLIB_ERR_NONE) QLIBCErrSet(earlier);
    if (pairs > 0) return Section::kRead;
    return pairs < 0 && reason == QLIB_ERR_OUT_OF_MEMORY ? Section::kNoMemory : Section::kNone;
}

// --- Reading ------------------------------------------------------------------

bool ParseSchedule(const char *text, ZAFOSCHEDULE *schedule) {
    *schedule = {};
    zafo::CopyText(zafo::kBackupCommand, schedule->szCommand, sizeof schedule->szCommand);
    int *fields = schedule->rgField;
    return std::sscanf(text, "%d,%d,%d,%d,%d,%d", fields, fields + 1, fields + 2, fields + 3,
                       fields + 4, fields + 5) == 6;
}

int ReadSchedule(const char *text, ZAFOSCHEDULE *schedule) {
    if (text == nullptr) {
        if (ParseSchedule(kDefaultSchedule, schedule)) return 0;
        return ZAFO_FAILURE("set default schedule error");
    }
    if (ParseSchedule(text, schedule)) return 0;
    return ZAFO_FAILURE("invalid schedule setting: [%s]", text);
}

int MaxFileOf(const char *text) {
    if (text == nullptr) return kDefaultMaxFile;
    const long n = std::strtol(text, nullptr, 10);
    return n > 0 ? static_cast<int>(std::min<long>(n, INT_MAX)) : kDefaultMaxFile;
}

// Stores a string and refreshes the record's fields, in the order in which they were added: each
// push may move the list. If an item is lost the call fails, because the indexes of later items are
// wrong.
int SetText(ZAFOLDAP_BACKUP_CONFIG *config, const char *ZAFOLDAP_BACKUP_CONFIG::*field,
            const char *text) {
    const char *ZAFOLDAP_BACKUP_CONFIG::*const kFields[] = {&ZAFOLDAP_BACKUP_CONFIG::szTask,
                                                            &ZAFOLDAP_BACKUP_CONFIG::szDestShare,
                                                            &ZAFOLDAP_BACKUP_CONFIG::szDestDir};
    if (QLIBCSzListPush(&config->plistBuffer, text) < 0) return -1;
    config->*field = text;
    int i = 0;
    bool all = true;
    for (const auto other : kFields) {
        if (config->*other == nullptr) continue;
        config->*other = QLIBCSzListGet(config->plistBuffer, i++);
        if (config->*other == nullptr) all = false;
    }
    return all ? 0 : zafo::FailWith(QLIB_ERR_OUT_OF_MEMORY);
}

int ReadDestination(const QLIBSZHASH *map, ZAFOLDAP_BACKUP_CONFIG *config) {
    if (const char *share = QLIBCSzHashGetValue(map, kKeyDestShare)) {
        if (SetText(config, &ZAFOLDAP_BACKUP_CONFIG::szDestShare, share) != 0) return -1;
        SharePath path = "";
        if (zafo::Ended(path, ZAFOSharePathGet(share, path, sizeof path)) != 0) return 0;
        return SetText(config, &ZAFOLDAP_BACKUP_CONFIG::szDestDir, path);
    }
    const char *dir = QLIBCSzHashGetValue(map, kKeyDestDir);
    return dir != nullptr ? SetText(config, &ZAFOLDAP_BACKUP_CONFIG::szDestDir, dir) : 0;
}

int ReadSection(const QLIBSZHASH *map, ZAFOLDAP_BACKUP_CONFIG *config) {
    const char *enabled = QLIBCSzHashGetValue(map, kKeyEnabled);
    config->blEnabled = enabled != nullptr && strcasecmp(enabled, kYes) == 0 ? 1 : 0;
    if (ReadSchedule(QLIBCSzHashGetValue(map, kKeySchedule), &config->schedule) != 0) return -1;
    if (ReadDestination(map, config) != 0) return -1;
    config->nMaxFile = MaxFileOf(QLIBCSzHashGetValue(map, kKeyMaxFile));
    return 0;
}

// 1 if the section exists; 0 if it does not or cannot be read; -1 if the lock is not available.
int LoadUnderLock(const char *task, QLIBSZHASH *map) {
    const ConfLock lock(LOCK_SH);
    if (!lock.IsHeld()) return -1;
    return QLIBCFileGetSection(kBackupConf, task, map) > 0 ? 1 : 0;
}

int Get(ZAFOLDAP_BACKUP_CONFIG *config, const char *task) {
    *config = {};
    config->nMaxFile = kDefaultMaxFile;
    config->plistBuffer = QLIBCSzListAlloc(zafo::kListCapacity);
    if (config->plistBuffer == nullptr) return zafo::FailWith(QLIB_ERR_OUT_OF_MEMORY);
    if (SetText(config, &ZAFOLDAP_BACKUP_CONFIG::szTask, task) != 0) return -1;
    const zafo::Map map = zafo::MakeMap();
    if (map == nullptr) return zafo::FailWith(QLIB_ERR_OUT_OF_MEMORY);
    const int loaded = LoadUnderLock(task, map.get());
    if (loaded == 1) return ReadSection(map.get(), config);
    return loaded;
}

// --- Writing ------------------------------------------------------------------

int SetSchedule(const ZAFOLDAP_BACKUP_CONFIG &config, QLIBSZHASH *map) {
    if (QLIBCSzHashSetValue(map, kKeyEnabled, config.blEnabled != 0 ? kYes : kNo) < 0) return -1;
    if (config.blEnabled == 0) return 0;
    char text[6 * sizeof "-2147483648,"];
    const int *fields = config.schedule.rgField;
    std::snprintf(text, sizeof text, "%d,%d,%d,%d,%d,%d", fields[0], fields[1], fields[2],
                  fields[3], fields[4], fields[5]);
    return QLIBCSzHashSetValue(map, kKeySchedule, text);
}

int SetDestination(QLIBSZHASH *map, const char *key, const char *value, const char *path,
                   const char *other_key) {
    if (path == nullptr || ZAFOLDAPBackupIsValidDest(path) != 1) {
        ZAFOLDAPErrSet(ZAFOLDAP_ERR_INVALID_SHARE);
        return -1;
    }
    QLIBCSzHashRemoveKey(map, other_key);  // some platforms fail if the key is missing
    return QLIBCSzHashSetValue(map, key, value);
}

int SetDestination(const ZAFOLDAP_BACKUP_CONFIG &config, QLIBSZHASH *map) {
    if (config.szDestShare != nullptr) {
        SharePath path = "";
        const bool found =
            zafo::Ended(path, ZAFOSharePathGet(config.szDestShare, path, sizeof path)) == 0;
        return SetDestination(map, kKeyDestShare, config.szDestShare, found ? path : nullptr,
                              kKeyDestDir);
    }
    if (config.szDestDir == nullptr) return 0;
    return SetDestination(map, kKeyDestDir, config.szDestDir, config.szDestDir, kKeyDestShare);
}

int SetMaxFile(int max_file, QLIBSZHASH *map) {
    if (max_file <= 0) return 0;
    char text[sizeof "2147483647"];
    std::snprintf(text, sizeof text, "%d", max_file);
    return QLIBCSzHashSetValue(map, kKeyMaxFile, text);
}

int LogSaveFailure(const char *task) {
    return ZAFO_FAILURE("save backup conf [%s] failed! [0x%04X]", task, zafo::PlatformError());
}

int Set(const ZAFOLDAP_BACKUP_CONFIG &config, const char *task) {
    const zafo::Map map = zafo::MakeMap();
    if (map == nullptr) return zafo::FailWith(QLIB_ERR_OUT_OF_MEMORY);
    const ConfLock lock(LOCK_EX);
    if (!lock.IsHeld()) return -1;
    const Section section = LoadSection(task, map.get());
    if (section == Section::kNoMemory) return -1;
    if (section == Section::kNone && QLIBCFileAddSection(kBackupConf, task, map.get(), 0) < 0) {
        return LogSaveFailure(task);
    }
    if (SetSchedule(config, map.get()) < 0) return -1;
    if (SetDestination(config, map.get()) < 0) return -1;
    if (SetMaxFile(config.nMaxFile, map.get()) < 0) return -1;
    if (QLIBCFileSetSection(kBackupConf, task, nullptr, map.get(), 0) < 0) {
        return LogSaveFailure(task);
    }
    return 0;
}

}  // namespace

int ZAFOLDAPBackupConfigGet(ZAFOLDAP_BACKUP_CONFIG *config, const char *task) {
    if (config == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pConfig");
    return Get(config, task != nullptr ? task : kDefaultTask);
}

int ZAFOLDAPBackupConfigSet(const ZAFOLDAP_BACKUP_CONFIG *config) {
    if (config == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pConfig");
    return Set(*config, config->szTask != nullptr ? config->szTask : kDefaultTask);
}

int ZAFOLDAPBackupConfigFree(ZAFOLDAP_BACKUP_CONFIG *config) {
    if (config == nullptr) return 0;
    zafo::FreeList(config->plistBuffer);
    *config = {};
    return 0;
}

int ZAFOLDAPBackupIsValidDest(const char *path) {
    struct stat status {};
    if (path == nullptr || lstat(path, &status) != 0 || !S_ISDIR(status.st_mode)) return 0;
    return access(path, R_OK | W_OK | X_OK) == 0 ? 1 : 0;
}
