// SPDX-License-Identifier: Apache-2.0
#include <cstring>

#include "core/check_connection.h"
#include "core/list.h"
#include "frame/guard.h"
#include "frame/log.h"
#include "frame/text.h"
#include "zafoldap/search.h"

namespace {

struct EACH_VALUE {
    const char *szAttr;
    QLIBSZLIST **pplistDN;
    QLIBSZLIST **pplistValue;  // nullptr: DNs only
};

int AppendDNAndValue(const ZAFOLDAP_HOST *, const ZAFOLDAP_SEARCH_REQUEST *,
                     const ZAFOLDAP_RESULT *pResult, void *pData) {
    const auto *pWanted = static_cast<const EACH_VALUE *>(pData);
    const char *szDN = ZAFOLDAPResultGetFirst(pResult, "dn");
    if (szDN == nullptr) return 0;
    if (QLIBCSzListPush(pWanted->pplistDN, szDN) < 0) return -1;
    if (pWanted->pplistValue == nullptr) return 0;

    const char *szValue = ZAFOLDAPResultGetFirst(pResult, pWanted->szAttr);
    if (QLIBCSzListPush(pWanted->pplistValue, szValue != nullptr ? szValue : "") < 0) {
        QLIBCSzListPop(*pWanted->pplistDN);  // the lists stay parallel
        return -1;
    }
    return 0;
}

struct MULTI_VALUE {
    const char *szAttr;
    QLIBSZLIST **pplistValue;
};

int TakeAllValues(const ZAFOLDAP_HOST *, const ZAFOLDAP_SEARCH_REQUEST *,
                  const ZAFOLDAP_RESULT *pResult, void *pData) {
    const auto *pWanted = static_cast<const MULTI_VALUE *>(pData);
    return ZAFOLDAPResultGetAll(pResult, pWanted->szAttr, pWanted->pplistValue) < 0 ? -1 : 1;
}

}  // namespace

int ZAFOLDAPSearchEachValue(const ZAFOLDAP_HOST *pHost, const ZAFOLDAP_SEARCH_REQUEST *pRequest,
                            const char *szAttr, QLIBSZLIST **pplistDN, QLIBSZLIST **pplistValue) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    if (pRequest == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pRequest");
    if (szAttr == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szAttr");
    if (pplistDN == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pplistDN");
    if (*pplistDN == nullptr) return ZAFO_BAD_ARGUMENT("NULL != *pplistDN");
    const bool blOnlyDN = std::strcmp(szAttr, "dn") == 0;
    if (!blOnlyDN) {
        if (pplistValue == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pplistValue");
        if (*pplistValue == nullptr) return ZAFO_BAD_ARGUMENT("NULL != *pplistValue");
    }

    return zafo::Guarded(-1, [&] {
        if (QLIBCSzListRemoveAll(*pplistDN) < 0) return -1;
        if (pplistValue != nullptr && *pplistValue != nullptr &&
            QLIBCSzListRemoveAll(*pplistValue) < 0) {
            return -1;
        }
        zafo::List attributes;
        attributes.Push("dn");
        if (!blOnlyDN) attributes.Push(szAttr);
        ZAFOLDAP_SEARCH_REQUEST request = *pRequest;
        request.plistAttr = attributes.get();
        EACH_VALUE wanted{szAttr, pplistDN, blOnlyDN ? nullptr : pplistValue};
        return ZAFOLDAPSearchResultGet(pHost, &request, AppendDNAndValue, &wanted);
    });
}

int ZAFOLDAPSearchMultiValue(const ZAFOLDAP_HOST *pHost, const ZAFOLDAP_SEARCH_REQUEST *pRequest,
                             const char *szAttr, QLIBSZLIST **pplistValue) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    if (pRequest == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pRequest");
    if (szAttr == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szAttr");
    if (pplistValue == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pplistValue");
    if (*pplistValue == nullptr) return ZAFO_BAD_ARGUMENT("NULL != *pplistValue");

    return zafo::Guarded(-1, [&] {
        if (QLIBCSzListRemoveAll(*pplistValue) < 0) return -1;
        zafo::List attributes;
        attributes.Push(szAttr);
        ZAFOLDAP_SEARCH_REQUEST request = *pRequest;
        request.plistAttr = attributes.get();
        MULTI_VALUE wanted{szAttr, pplistValue};
        return ZAFOLDAPSearchResultGet(pHost, &request, TakeAllValues, &wanted);
    });
}

int ZAFOLDAPSearchGetValueByDN(const ZAFOLDAP_HOST *pHost, const char *szDN, const char *szFilter,
                               const char *szAttr, char *szValue, size_t cbValue) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    if (szDN == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szDN");
    if (szAttr == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szAttr");
    if (szValue == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szValue");
    if (cbValue == 0) return ZAFO_BAD_ARGUMENT("0 < cbValue");

    return zafo::Guarded(-1, [&] {
        ZAFOLDAP_SEARCH_REQUEST request{};
        request.szBase = szDN;
        request.blBaseAsIs = 1;
        request.szFilter = szFilter;
        zafo::List values;
        if (ZAFOLDAPSearchMultiValue(pHost, &request, szAttr, values.address()) < 0) return -1;
        zafo::CopyText(values.size() > 0 ? values[0] : "", szValue, cbValue);
        return values.size();
    });
}
