// SPDX-License-Identifier: Apache-2.0
#include "core/list.h"
#include "frame/log.h"
#include "zafoldap/search.h"

int ZAFOLDAPSearchRequestInit(ZAFOLDAP_SEARCH_REQUEST *pRequest, int blWithAttrList) {
    if (pRequest == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pRequest");
    *pRequest = {};
    if (blWithAttrList == 0) return 0;
    pRequest->plistAttr = QLIBCSzListAlloc(zafo::kListCapacity);
    return pRequest->plistAttr != nullptr ? 0 : -1;
}

int ZAFOLDAPSearchRequestFree(ZAFOLDAP_SEARCH_REQUEST *pRequest) {
    if (pRequest == nullptr) return 0;
    zafo::FreeList(pRequest->plistAttr);
    *pRequest = {};
    return 0;
}

int ZAFOLDAPSearchRequestClone(ZAFOLDAP_SEARCH_REQUEST *pDst, const ZAFOLDAP_SEARCH_REQUEST *pSrc) {
    if (pDst == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pDst");
    if (pSrc == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pSrc");
    *pDst = *pSrc;
    if (pSrc->plistAttr == nullptr) return 0;
    pDst->plistAttr = zafo::CloneList(pSrc->plistAttr);
    return pDst->plistAttr != nullptr ? 0 : -1;
}
