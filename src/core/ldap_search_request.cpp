// SPDX-License-Identifier: Apache-2.0
#include "src/core/list.h"
#include "src/frame/log.h"
#include "zafoldap/search.h"

int ZAFOLDAPSearchRequestInit(ZAFOLDAP_SEARCH_REQUEST *request, int with_attributes) {
    if (request == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pRequest");
    *request = {};
    if (with_attributes == 0) return 0;
    request->plistAttr = QLIBCSzListAlloc(zafo::kListCapacity);
    return request->plistAttr != nullptr ? 0 : -1;
}

int ZAFOLDAPSearchRequestFree(ZAFOLDAP_SEARCH_REQUEST *request) {
    if (request == nullptr) return 0;
    zafo::FreeList(request->plistAttr);
    *request = {};
    return 0;
}

int ZAFOLDAPSearchRequestClone(ZAFOLDAP_SEARCH_REQUEST *target,
                               const ZAFOLDAP_SEARCH_REQUEST *source) {
    if (target == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pDst");
    if (source == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pSrc");
    *target = *source;
    if (source->plistAttr == nullptr) return 0;
    target->plistAttr = zafo::CloneList(source->plistAttr);
    return target->plistAttr != nullptr ? 0 : -1;
}
