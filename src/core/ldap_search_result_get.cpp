// SPDX-License-Identifier: Apache-2.0
#include "src/core/check_connection.h"
#include "src/core/open_search.h"
#include "src/frame/log.h"
#include "zafoldap/search.h"

int ZAFOLDAPSearchResultGet(const ZAFOLDAP_HOST *host, const ZAFOLDAP_SEARCH_REQUEST *request,
                            ZAFOLDAP_RESULT_HANDLER handler, void *data) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    if (request == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pRequest");
    if (handler == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pResultHandler");

    zafo::OpenSearch search;
    if (ZAFOLDAPSearchRequestClone(&search.request, request) != 0 || search.Open(host) != 0) {
        return -1;
    }
    int found = 0;
    while ((found = search.Next()) == 1) {
        const int wish = handler(host, request, &search.result, data);
        if (wish != 0) return wish < 0 ? wish : 0;
    }
    return found < 0 ? -1 : 0;
}
