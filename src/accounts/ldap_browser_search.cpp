// SPDX-License-Identifier: Apache-2.0
#include <initializer_list>

#include "accounts/account_kind.h"
#include "frame/log.h"
#include "zafoldap/browser.h"

namespace {

int InitRequest(ZAFOLDAP_SEARCH_REQUEST *pRequest, const char *szFilter,
                std::initializer_list<const char *> attributes) {
    if (ZAFOLDAPSearchRequestInit(pRequest, 1) != 0) return -1;
    pRequest->szFilter = szFilter;
    for (const char *szAttr : attributes) {
        if (QLIBCSzListPush(&pRequest->plistAttr, szAttr) < 0) return -1;
    }
    return 0;
}

}  // namespace

int ZAFOLDAPBrowserUserEnumRequestInit(ZAFOLDAP_SEARCH_REQUEST *pRequest) {
    if (pRequest == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pRequest");
    return InitRequest(pRequest, zafo::kUsers.szFilter,
                       {"dn", "cn", "uid", "gecos", "shadowExpire", "mail"});
}

int ZAFOLDAPBrowserGroupEnumRequestInit(ZAFOLDAP_SEARCH_REQUEST *pRequest) {
    if (pRequest == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pRequest");
    return InitRequest(pRequest, zafo::kGroups.szFilter, {"dn", "cn", "description"});
}
