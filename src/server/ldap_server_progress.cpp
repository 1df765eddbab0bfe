// SPDX-License-Identifier: Apache-2.0
//
// The progress that the backup program reports.
#include <cstdlib>
#include <utility>

#include "base/appliance_paths.h"
#include "platform/error.h"
#include "platform/file.h"
#include "platform/process.h"
#include "src/core/list.h"
#include "src/frame/guard.h"
#include "src/frame/log.h"
#include "zafoldap/backup.h"

namespace {

template <class Value>
struct Key {
    const char *key;
    Value ZAFOLDAP_PROGRESS::*field;
};

constexpr Key<const char *> kTexts[] = {
    {"operation", &ZAFOLDAP_PROGRESS::szOperation},
    {"task", &ZAFOLDAP_PROGRESS::szTask},
    {"action", &ZAFOLDAP_PROGRESS::szAction},
};

constexpr Key<int> kNumbers[] = {
    {"pid", &ZAFOLDAP_PROGRESS::nPid},
    {"total", &ZAFOLDAP_PROGRESS::nTotal},
    {"stage", &ZAFOLDAP_PROGRESS::nStage},
    {"status", &ZAFOLDAP_PROGRESS::nStatus},
};

void TakeNumbers(const QLIBSZHASH *map, ZAFOLDAP_PROGRESS *progress) {
    for (const Key<int> &row : kNumbers) {
        const char *value = QLIBCSzHashGetValue(map, row.key);
        if (value == nullptr) continue;
        progress->*row.field = static_cast<int>(std::strtoll(value, nullptr, 10));
    }
}

// Each push may move the list, so the fields are set last. Throws std::bad_alloc.
void TakeTexts(const QLIBSZHASH *map, zafo::List list, ZAFOLDAP_PROGRESS *progress) {
    for (const Key<const char *> &row : kTexts) {
        if (const char *value = QLIBCSzHashGetValue(map, row.key)) list.Push(value);
    }
    int i = 0;
    for (const Key<const char *> &row : kTexts) {
        if (QLIBCSzHashGetValue(map, row.key) != nullptr) progress->*row.field = list[i++];
    }
    progress->plistBuffer = std::exchange(*list.address(), nullptr);
}

int Read(ZAFOLDAP_PROGRESS *progress) {
    zafo::List list;
    const zafo::Map map = zafo::MakeMap();
    if (map == nullptr) return zafo::FailWith(QLIB_ERR_OUT_OF_MEMORY);
    if (QLIBCFileGetPair(zafo::kProgressFile, map.get()) < 0) {
        if (QLIBCErrGet() != QLIB_ERR_OPEN_FAILED) return -1;
        QLIBCErrSet(QLIB_ERR_NONE);
        return 0;
    }
    TakeTexts(map.get(), std::move(list), progress);
    TakeNumbers(map.get(), progress);
    const bool is_alive = QLIBCProcAlive(progress->nPid) != 0;
    progress->blRunning = progress->nStatus == 0 && is_alive ? 1 : 0;
    return 1;
}

}  // namespace

int ZAFOLDAPServerProgressGet(ZAFOLDAP_PROGRESS *progress) {
    if (progress == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pProgress");
    *progress = {};
    const int result = zafo::Guarded(-1, [&] { return Read(progress); });
    if (result != 1) *progress = {};
    return result;
}

int ZAFOLDAPServerProgressFree(ZAFOLDAP_PROGRESS *progress) {
    if (progress == nullptr) return 0;
    zafo::FreeList(progress->plistBuffer);
    *progress = {};
    return 0;
}
