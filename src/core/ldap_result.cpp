// SPDX-License-Identifier: Apache-2.0
#include "core/ldap_result.h"

#include <strings.h>

#include <string>

#include "core/list.h"
#include "frame/guard.h"
#include "frame/log.h"
#include "platform/process.h"

// Every operation checks its record first.
#define REQUIRE_ENTRY(failure)                                                               \
    do {                                                                                     \
        if (pResult == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pResult"), failure; \
        if (pResult->plistAttr == nullptr) {                                                 \
            return ZAFO_BAD_ARGUMENT("((void *)0) != pResult->plistAttr"), failure;          \
        }                                                                                    \
        if (pResult->plistValue == nullptr) {                                                \
            return ZAFO_BAD_ARGUMENT("NULL != pResult->plistValue"), failure;                \
        }                                                                                    \
    } while (false)

namespace zafo {

int ReplaceLastValue(ZAFOLDAP_RESULT *pResult, const char *szValue) {
    QLIBCSzListPop(pResult->plistValue);
    if (QLIBCSzListPush(&pResult->plistValue, szValue) >= 0) return 0;
    QLIBCSzListPop(pResult->plistAttr);
    return -1;
}

}  // namespace zafo

int ZAFOLDAPResultInit(ZAFOLDAP_RESULT *pResult) {
    if (pResult == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pResult");
    *pResult = {};
    pResult->plistAttr = QLIBCSzListAlloc(zafo::kListCapacity);
    pResult->plistValue = QLIBCSzListAlloc(zafo::kListCapacity);
    if (pResult->plistAttr != nullptr && pResult->plistValue != nullptr) return 0;
    ZAFOLDAPResultFree(pResult);
    return -1;
}

int ZAFOLDAPResultClone(ZAFOLDAP_RESULT *pDst, const ZAFOLDAP_RESULT *pSrc) {
    if (pDst == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pDst");
    if (pSrc == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pSrc");
    if (pDst->plistAttr == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pDst->plistAttr");
    if (pDst->plistValue == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pDst->plistValue");
    if (pDst == pSrc) return 0;

    ZAFOLDAPResultRemoveAll(pDst);
    pDst->pFile = nullptr;
    pDst->szErrFile[0] = '\0';
    pDst->nEntry = pSrc->nEntry;
    pDst->nExitCode = pSrc->nExitCode;
    pDst->nReserved = pSrc->nReserved;
    const int nPairs =
        pSrc->plistAttr != nullptr && pSrc->plistValue != nullptr ? pSrc->plistAttr->nItem : 0;
    for (int i = 0; i < nPairs; ++i) {
        if (ZAFOLDAPResultSet(pDst, QLIBCSzListGet(pSrc->plistAttr, i),
                              QLIBCSzListGet(pSrc->plistValue, i)) != 0) {
            return -1;
        }
    }
    return 0;
}

int ZAFOLDAPResultSet(ZAFOLDAP_RESULT *pResult, const char *szAttr, const char *szValue) {
    REQUIRE_ENTRY(-1);
    if (szAttr == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szAttr");
    if (szValue == nullptr) return ZAFO_BAD_ARGUMENT("NULL != szValue");

    if (QLIBCSzListPush(&pResult->plistAttr, szAttr) < 0) return -1;
    if (QLIBCSzListPush(&pResult->plistValue, szValue) >= 0) return 0;
    QLIBCSzListPop(pResult->plistAttr);
    return -1;
}

int ZAFOLDAPResultConcateAttr(ZAFOLDAP_RESULT *pResult, const char *szValue) {
    REQUIRE_ENTRY(-1);
    if (szValue == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szValue");

    const int nPairs = pResult->plistValue->nItem;
    if (nPairs == 0) return -1;
    return zafo::Guarded(-1, [&] {
        const std::string joined =
            std::string(zafo::ItemOf(pResult->plistValue, nPairs - 1)).append(szValue);
        return zafo::ReplaceLastValue(pResult, joined.c_str());
    });
}

const char *ZAFOLDAPResultGetAt(const ZAFOLDAP_RESULT *pResult, int index, const char **pszValue) {
    if (pszValue != nullptr) *pszValue = nullptr;
    REQUIRE_ENTRY(nullptr);
    if (pszValue == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pszValue"), nullptr;
    if (index < 0) return ZAFO_BAD_ARGUMENT("0 <= index"), nullptr;
    if (index >= pResult->plistAttr->nItem) {
        return ZAFO_BAD_ARGUMENT("index < pResult->plistAttr->nItem"), nullptr;
    }
    *pszValue = QLIBCSzListGet(pResult->plistValue, index);
    return QLIBCSzListGet(pResult->plistAttr, index);
}

int ZAFOLDAPResultGetAttrCount(const ZAFOLDAP_RESULT *pResult) {
    REQUIRE_ENTRY(-1);
    return pResult->plistAttr->nItem;
}

int ZAFOLDAPResultGetAll(const ZAFOLDAP_RESULT *pResult, const char *szAttr,
                         QLIBSZLIST **pplistValues) {
    REQUIRE_ENTRY(-1);
    if (szAttr == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szAttr");
    if (pplistValues == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pplistValues");
    if (*pplistValues == nullptr) return ZAFO_BAD_ARGUMENT("NULL != *pplistValues");

    QLIBCSzListRemoveAll(*pplistValues);
    for (int i = 0; i < pResult->plistAttr->nItem; ++i) {
        if (strcasecmp(zafo::ItemOf(pResult->plistAttr, i), szAttr) != 0) continue;
        const char *szValue = QLIBCSzListGet(pResult->plistValue, i);
        if (szValue == nullptr || QLIBCSzListPush(pplistValues, szValue) < 0) {
            QLIBCSzListRemoveAll(*pplistValues);
            return -1;
        }
    }
    return (*pplistValues)->nItem;
}

const char *ZAFOLDAPResultGetFirst(const ZAFOLDAP_RESULT *pResult, const char *szAttr) {
    REQUIRE_ENTRY(nullptr);
    if (szAttr == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szAttr"), nullptr;

    for (int i = 0; i < pResult->plistAttr->nItem; ++i) {
        if (strcasecmp(zafo::ItemOf(pResult->plistAttr, i), szAttr) == 0) {
            return QLIBCSzListGet(pResult->plistValue, i);
        }
    }
    return nullptr;
}

int ZAFOLDAPResultRemoveAll(ZAFOLDAP_RESULT *pResult) {
    REQUIRE_ENTRY(-1);
    QLIBCSzListRemoveAll(pResult->plistAttr);
    QLIBCSzListRemoveAll(pResult->plistValue);
    return 0;
}

int ZAFOLDAPResultFree(ZAFOLDAP_RESULT *pResult) {
    if (pResult == nullptr) return 0;
    zafo::FreeList(pResult->plistAttr);
    zafo::FreeList(pResult->plistValue);
    if (pResult->pFile != nullptr) QLIBCPclose(pResult->pFile);
    *pResult = {};
    return 0;
}
