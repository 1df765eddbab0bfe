// SPDX-License-Identifier: Apache-2.0
#include "frame/log.h"
#include "zafoldap/search.h"

namespace {

// An open search over a copy of a request, ended on every path.
class Search {
  public:
    Search() = default;
    Search(const Search &) = delete;
    Search &operator=(const Search &) = delete;
    ~Search() { ZAFOLDAPSearchFree(&request, &result); }

    ZAFOLDAP_SEARCH_REQUEST request{};
    ZAFOLDAP_RESULT result{};
};

}  // namespace

int ZAFOLDAPSearchResultGet(const ZAFOLDAP_HOST *pHost, const ZAFOLDAP_SEARCH_REQUEST *pRequest,
                            ZAFOLDAP_RESULT_HANDLER pResultHandler, void *pData) {
    if (pHost == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost");
    if (pHost->szUri == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pHost->szUri");
    if (pRequest == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pRequest");
    if (pResultHandler == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pResultHandler");

    Search search;
    if (ZAFOLDAPSearchRequestClone(&search.request, pRequest) != 0 ||
        ZAFOLDAPSearchInit(pHost, &search.request, &search.result) != 0) {
        return -1;
    }
    int nFound = 0;
    while ((nFound = ZAFOLDAPSearchGetNext(&search.request, &search.result)) == 1) {
        const int nWish = pResultHandler(pHost, &search.request, &search.result, pData);
        if (nWish != 0) return nWish < 0 ? nWish : 0;
    }
    return nFound < 0 ? -1 : 0;
}
