// SPDX-License-Identifier: Apache-2.0
#include "core/ldap_result.h"

#include <strings.h>

#include <string>

#include "core/list.h"
#include "frame/guard.h"
#include "frame/log.h"
#include "platform/process.h"

namespace zafo {

namespace {

// Whether a pair is of the attribute. A name that the list does not give is nobody's.
bool HasName(const ZAFOLDAP_RESULT &result, int i, const char *szAttr) {
    const char *szName = QLIBCSzListGet(result.plistAttr, i);
    return szName != nullptr && strcasecmp(szName, szAttr) == 0;
}

// Every operation checks its record first.
bool IsEntry(const ZAFOLDAP_RESULT *result, int line = __builtin_LINE()) {
    const char *fault = nullptr;
    if (result == nullptr) {
        fault = "((void *)0) != pResult";
    } else if (result->plistAttr == nullptr) {
        fault = "((void *)0) != pResult->plistAttr";
    } else if (result->plistValue == nullptr) {
        fault = "NULL != pResult->plistValue";
    }
    return fault == nullptr || BadArgument(__FILE_NAME__, line, fault) == 0;
}

}  // namespace

int ReplaceLastValue(ZAFOLDAP_RESULT *pResult, const char *szValue) {
    if (QLIBCSzListPop(pResult->plistValue) < 0) return -1;
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

    if (ZAFOLDAPResultRemoveAll(pDst) != 0) return -1;
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
    if (!zafo::IsEntry(pResult)) return -1;
    if (szAttr == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szAttr");
    if (szValue == nullptr) return ZAFO_BAD_ARGUMENT("NULL != szValue");

    if (QLIBCSzListPush(&pResult->plistAttr, szAttr) < 0) return -1;
    if (QLIBCSzListPush(&pResult->plistValue, szValue) >= 0) return 0;
    QLIBCSzListPop(pResult->plistAttr);
    return -1;
}

int ZAFOLDAPResultConcateAttr(ZAFOLDAP_RESULT *pResult, const char *szValue) {
    if (!zafo::IsEntry(pResult)) return -1;
    if (szValue == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szValue");

    const int nPairs = pResult->plistValue->nItem;
    if (nPairs == 0) return -1;
    return zafo::Guarded(-1, [&] {
        const std::string joined =
            std::string(zafo::ItemAt(pResult->plistValue, nPairs - 1)).append(szValue);
        return zafo::ReplaceLastValue(pResult, joined.c_str());
    });
}

const char *ZAFOLDAPResultGetAt(const ZAFOLDAP_RESULT *pResult, int index, const char **pszValue) {
    if (pszValue != nullptr) *pszValue = nullptr;
    if (!zafo::IsEntry(pResult)) return nullptr;
    if (pszValue == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pszValue"), nullptr;
    if (index < 0) return ZAFO_BAD_ARGUMENT("0 <= index"), nullptr;
    if (index >= pResult->plistAttr->nItem) {
        return ZAFO_BAD_ARGUMENT("index < pResult->plistAttr->nItem"), nullptr;
    }
    *pszValue = QLIBCSzListGet(pResult->plistValue, index);
    return QLIBCSzListGet(pResult->plistAttr, index);
}

int ZAFOLDAPResultGetAttrCount(const ZAFOLDAP_RESULT *pResult) {
    if (!zafo::IsEntry(pResult)) return -1;
    return pResult->plistAttr->nItem;
}

int ZAFOLDAPResultGetAll(const ZAFOLDAP_RESULT *pResult, const char *szAttr,
                         QLIBSZLIST **pplistValues) {
    if (!zafo::IsEntry(pResult)) return -1;
    if (szAttr == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szAttr");
    if (pplistValues == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pplistValues");
    if (*pplistValues == nullptr) return ZAFO_BAD_ARGUMENT("NULL != *pplistValues");

    if (QLIBCSzListRemoveAll(*pplistValues) < 0) return -1;
    for (int i = 0; i < pResult->plistAttr->nItem; ++i) {
        if (!zafo::HasName(*pResult, i, szAttr)) continue;
        const char *szValue = QLIBCSzListGet(pResult->plistValue, i);
        if (szValue == nullptr || QLIBCSzListPush(pplistValues, szValue) < 0) {
            QLIBCSzListRemoveAll(*pplistValues);
            return -1;
        }
    }
    return (*pplistValues)->nItem;
}

const char *ZAFOLDAPResultGetFirst(const ZAFOLDAP_RESULT *pResult, const char *szAttr) {
    if (!zafo::IsEntry(pResult)) return nullptr;
    if (szAttr == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szAttr"), nullptr;

    for (int i = 0; i < pResult->plistAttr->nItem; ++i) {
        if (zafo::HasName(*pResult, i, szAttr)) return QLIBCSzListGet(pResult->plistValue, i);
    }
    return nullptr;
}

int ZAFOLDAPResultRemoveAll(ZAFOLDAP_RESULT *pResult) {
    if (!zafo::IsEntry(pResult)) return -1;
    const int nAttr = QLIBCSzListRemoveAll(pResult->plistAttr);
    const int nValue = QLIBCSzListRemoveAll(pResult->plistValue);
    return nAttr < 0 || nValue < 0 ? -1 : 0;
}

int ZAFOLDAPResultFree(ZAFOLDAP_RESULT *pResult) {
    if (pResult == nullptr) return 0;
    zafo::FreeList(pResult->plistAttr);
    zafo::FreeList(pResult->plistValue);
    if (pResult->pFile != nullptr) QLIBCPclose(pResult->pFile);
    *pResult = {};
    return 0;
}
