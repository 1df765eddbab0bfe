// SPDX-License-Identifier: Apache-2.0
#include "src/core/ldap_result.h"

#include <strings.h>

#include <string>

#include "platform/process.h"
#include "src/core/list.h"
#include "src/frame/guard.h"
#include "src/frame/log.h"

namespace zafo {

namespace {

// Whether pair `i` is of the attribute. A pair without a name matches nothing.
bool HasName(const ZAFOLDAP_RESULT &result, int i, const char *attribute) {
    const char *name = QLIBCSzListGet(result.plistAttr, i);
    return name != nullptr && strcasecmp(name, attribute) == 0;
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

int ReplaceLastValue(ZAFOLDAP_RESULT *result, const char *value) {
    if (QLIBCSzListPop(result->plistValue) < 0) return -1;
    if (QLIBCSzListPush(&result->plistValue, value) >= 0) return 0;
    QLIBCSzListPop(result->plistAttr);
    return -1;
}

}  // namespace zafo

int ZAFOLDAPResultInit(ZAFOLDAP_RESULT *result) {
    if (result == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pResult");
    *result = {};
    result->plistAttr = QLIBCSzListAlloc(zafo::kListCapacity);
    result->plistValue = QLIBCSzListAlloc(zafo::kListCapacity);
    if (result->plistAttr != nullptr && result->plistValue != nullptr) return 0;
    ZAFOLDAPResultFree(result);
    return -1;
}

int ZAFOLDAPResultClone(ZAFOLDAP_RESULT *target, const ZAFOLDAP_RESULT *source) {
    if (target == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pDst");
    if (source == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pSrc");
    if (target->plistAttr == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pDst->plistAttr");
    if (target->plistValue == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pDst->plistValue");
    if (target == source) return 0;

    if (ZAFOLDAPResultRemoveAll(target) != 0) return -1;
    target->pFile = nullptr;
    target->szErrFile[0] = '\0';
    target->nEntry = source->nEntry;
    target->nExitCode = source->nExitCode;
    target->nReserved = source->nReserved;
    const int pairs = source->plistAttr != nullptr && source->plistValue != nullptr
                          ? source->plistAttr->nItem
                          : 0;
    for (int i = 0; i < pairs; ++i) {
        if (ZAFOLDAPResultSet(target, QLIBCSzListGet(source->plistAttr, i),
                              QLIBCSzListGet(source->plistValue, i)) != 0) {
            return -1;
        }
    }
    return 0;
}

int ZAFOLDAPResultSet(ZAFOLDAP_RESULT *result, const char *attribute, const char *value) {
    if (!zafo::IsEntry(result)) return -1;
    if (attribute == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szAttr");
    if (value == nullptr) return ZAFO_BAD_ARGUMENT("NULL != szValue");

    return zafo::AddPair(result, attribute, value);
}

int ZAFOLDAPResultConcateAttr(ZAFOLDAP_RESULT *result, const char *value) {
    if (!zafo::IsEntry(result)) return -1;
    if (value == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szValue");

    const int pairs = result->plistValue->nItem;
    if (pairs == 0) return -1;
    return zafo::Guarded(-1, [&] {
        const std::string joined =
            std::string(zafo::ItemAt(result->plistValue, pairs - 1)).append(value);
        return zafo::ReplaceLastValue(result, joined.c_str());
    });
}

const char *ZAFOLDAPResultGetAt(const ZAFOLDAP_RESULT *result, int index, const char **value) {
    if (value != nullptr) *value = nullptr;
    if (!zafo::IsEntry(result)) return nullptr;
    if (value == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pszValue"), nullptr;
    if (index < 0) return ZAFO_BAD_ARGUMENT("0 <= index"), nullptr;
    if (index >= result->plistAttr->nItem) {
        return ZAFO_BAD_ARGUMENT("index < pResult->plistAttr->nItem"), nullptr;
    }
    *value = QLIBCSzListGet(result->plistValue, index);
    return QLIBCSzListGet(result->plistAttr, index);
}

int ZAFOLDAPResultGetAttrCount(const ZAFOLDAP_RESULT *result) {
    if (!zafo::IsEntry(result)) return -1;
    return result->plistAttr->nItem;
}

int ZAFOLDAPResultGetAll(const ZAFOLDAP_RESULT *result, const char *attribute,
                         QLIBSZLIST **values) {
    if (!zafo::IsEntry(result)) return -1;
    if (attribute == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szAttr");
    if (values == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pplistValues");
    if (*values == nullptr) return ZAFO_BAD_ARGUMENT("NULL != *pplistValues");

    if (QLIBCSzListRemoveAll(*values) < 0) return -1;
    for (int i = 0; i < result->plistAttr->nItem; ++i) {
        if (!zafo::HasName(*result, i, attribute)) continue;
        const char *value = QLIBCSzListGet(result->plistValue, i);
        if (value == nullptr || QLIBCSzListPush(values, value) < 0) {
            QLIBCSzListRemoveAll(*values);
            return -1;
        }
    }
    return (*values)->nItem;
}

const char *ZAFOLDAPResultGetFirst(const ZAFOLDAP_RESULT *result, const char *attribute) {
    if (!zafo::IsEntry(result)) return nullptr;
    if (attribute == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szAttr"), nullptr;

    for (int i = 0; i < result->plistAttr->nItem; ++i) {
        if (zafo::HasName(*result, i, attribute)) return QLIBCSzListGet(result->plistValue, i);
    }
    return nullptr;
}

int ZAFOLDAPResultRemoveAll(ZAFOLDAP_RESULT *result) {
    if (!zafo::IsEntry(result)) return -1;
    const int attributes = QLIBCSzListRemoveAll(result->plistAttr);
    const int values = QLIBCSzListRemoveAll(result->plistValue);
    return attributes < 0 || values < 0 ? -1 : 0;
}

int ZAFOLDAPResultFree(ZAFOLDAP_RESULT *result) {
    if (result == nullptr) return 0;
    zafo::FreeList(result->plistAttr);
    zafo::FreeList(result->plistValue);
    if (result->pFile != nullptr) QLIBCPclose(result->pFile);
    *result = {};
    return 0;
}
