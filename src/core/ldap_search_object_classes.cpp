// SPDX-License-Identifier: Apache-2.0
#include <strings.h>

#include "core/check_connection.h"
#include "core/list.h"
#include "core/object_classes.h"
#include "frame/guard.h"
#include "frame/log.h"
#include "zafoldap/search.h"

namespace {

unsigned int ClassBit(const char *szName) {
    for (const zafo::OBJECT_CLASS &row : zafo::kObjectClasses) {
        if (strcasecmp(row.szName, szName) == 0) return row.nBit;
    }
    return 0;
}

int AddClassBits(const ZAFOLDAP_HOST *, const ZAFOLDAP_SEARCH_REQUEST *,
                 const ZAFOLDAP_RESULT *pResult, void *pData) {
    auto *pSchema = static_cast<unsigned int *>(pData);
    const int nPairs = ZAFOLDAPResultGetAttrCount(pResult);
    for (int i = 0; i < nPairs; ++i) {
        const char *szValue = nullptr;
        const char *szAttr = ZAFOLDAPResultGetAt(pResult, i, &szValue);
        if (szAttr == nullptr || szValue == nullptr) return -1;
        if (strcasecmp(szAttr, "objectClass") == 0) *pSchema |= ClassBit(szValue);
    }
    return 1;  // only the first entry counts
}

}  // namespace

int ZAFOLDAPSearchObjectClasses(const ZAFOLDAP_HOST *pHost, const char *szDN, const char *szFilter,
                                unsigned int *pSchema) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    if (szDN == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szDN");
    if (pSchema == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pSchema");

    *pSchema = 0;
    return zafo::Guarded(-1, [&] {
        zafo::List attributes;
        attributes.Push("objectClass");
        ZAFOLDAP_SEARCH_REQUEST request{};
        request.szBase = szDN;
        request.blBaseAsIs = 1;
        request.szFilter = szFilter;
        request.plistAttr = attributes.get();
        return ZAFOLDAPSearchResultGet(pHost, &request, AddClassBits, pSchema);
    });
}
