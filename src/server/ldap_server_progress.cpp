// SPDX-License-Identifier: Apache-2.0
//
// What the backup program says about its work.
#include <cstdlib>
#include <utility>

#include "base/appliance_paths.h"
#include "core/list.h"
#include "frame/guard.h"
#include "frame/log.h"
#include "platform/error.h"
#include "platform/file.h"
#include "platform/process.h"
#include "zafoldap/backup.h"

namespace {

struct TEXT_KEY {
    const char *szKey;
    const char *ZAFOLDAP_PROGRESS::*pszField;
};

struct NUMBER_KEY {
    const char *szKey;
    int ZAFOLDAP_PROGRESS::*pField;
};

constexpr TEXT_KEY kTexts[] = {
    {"operation", &ZAFOLDAP_PROGRESS::szOperation},
    {"task", &ZAFOLDAP_PROGRESS::szTask},
    {"action", &ZAFOLDAP_PROGRESS::szAction},
};

constexpr NUMBER_KEY kNumbers[] = {
    {"pid", &ZAFOLDAP_PROGRESS::nPid},
    {"total", &ZAFOLDAP_PROGRESS::nTotal},
    {"stage", &ZAFOLDAP_PROGRESS::nStage},
    {"status", &ZAFOLDAP_PROGRESS::nStatus},
};

void TakeNumbers(const QLIBSZHASH *pMap, ZAFOLDAP_PROGRESS *pProgress) {
    for (const NUMBER_KEY &row : kNumbers) {
        const char *szValue = QLIBCSzHashGetValue(pMap, row.szKey);
        if (szValue == nullptr) continue;
        pProgress->*row.pField = static_cast<int>(std::strtoll(szValue, nullptr, 10));
    }
}

// The list may move with each string, so the fields come last. Throws std::bad_alloc.
void TakeTexts(const QLIBSZHASH *pMap, zafo::List list, ZAFOLDAP_PROGRESS *pProgress) {
    for (const TEXT_KEY &row : kTexts) {
        if (const char *szValue = QLIBCSzHashGetValue(pMap, row.szKey)) list.Push(szValue);
    }
    int i = 0;
    for (const TEXT_KEY &row : kTexts) {
        if (QLIBCSzHashGetValue(pMap, row.szKey) != nullptr) pProgress->*row.pszField = list[i++];
    }
    pProgress->plistBuffer = std::exchange(*list.address(), nullptr);
}

int Read(ZAFOLDAP_PROGRESS *pProgress) {
    zafo::List list;
    const zafo::Map map = zafo::MakeMap();
    if (map == nullptr) {
        QLIBCErrSet(QLIB_ERR_OUT_OF_MEMORY);
        return -1;
    }
    if (QLIBCFileGetPair(zafo::kProgressFile, map.get()) < 0) {
        if (QLIBCErrGet() != QLIB_ERR_OPEN_FAILED) return -1;
        QLIBCErrSet(QLIB_ERR_NONE);
        return 0;
    }
    TakeTexts(map.get(), std::move(list), pProgress);
    TakeNumbers(map.get(), pProgress);
    const bool blAlive = QLIBCProcAlive(pProgress->nPid) != 0;
    pProgress->blRunning = pProgress->nStatus == 0 && blAlive ? 1 : 0;
    return 1;
}

}  // namespace

int ZAFOLDAPServerProgressGet(ZAFOLDAP_PROGRESS *pProgress) {
    if (pProgress == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pProgress");
    *pProgress = {};
    const int nResult = zafo::Guarded(-1, [&] { return Read(pProgress); });
    if (nResult != 1) *pProgress = {};
    return nResult;
}

int ZAFOLDAPServerProgressFree(ZAFOLDAP_PROGRESS *pProgress) {
    if (pProgress == nullptr) return 0;
    zafo::FreeList(pProgress->plistBuffer);
    *pProgress = {};
    return 0;
}
