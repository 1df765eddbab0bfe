// SPDX-License-Identifier: Apache-2.0
#include "core/check_connection.h"
#include "core/open_search.h"
#include "frame/log.h"
#include "zafoldap/search.h"

int ZAFOLDAPSearchResultGet(const ZAFOLDAP_HOST *pHost, const ZAFOLDAP_SEARCH_REQUEST *pRequest,
                            ZAFOLDAP_RESULT_HANDLER pResultHandler, void *pData) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    if (pRequest == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pRequest");
    if (pResultHandler == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pResultHandler");

    zafo::OpenSearch search;
    if (ZAFOLDAPSearchRequestClone(&search.request, pRequest) != 0 || search.Open(pHost) != 0) {
        return -1;
    }
    int nFound = 0;
    while ((nFound = search.Next()) == 1) {
        const int nWish = pResultHandler(pHost, pRequest, &search.result, pData);
        if (nWish != 0) return nWish < 0 ? nWish : 0;
    }
    return nFound < 0 ? -1 : 0;
}
