// SPDX-License-Identifier: Apache-2.0
#include <initializer_list>

#include "src/accounts/account_kind.h"
#include "src/frame/log.h"
#include "zafoldap/browser.h"

namespace {

int InitRequest(ZAFOLDAP_SEARCH_REQUEST *request, const char *filter,
                std::initializer_list<const char *> attributes) {
    if (ZAFOLDAPSearchRequestInit(request, 1) != 0) return -1;
    request->szFilter = filter;
    for (const char *attribute : attributes) {
        if (QLIBCSzListPush(&request->plistAttr, attribute) < 0) return -1;
    }
    return 0;
}

}  // namespace

int ZAFOLDAPBrowserUserEnumRequestInit(ZAFOLDAP_SEARCH_REQUEST *request) {
    if (request == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pRequest");
    return InitRequest(request, zafo::kUsers.filter,
                       {"dn", "cn", "uid", "gecos", "shadowExpire", "mail"});
}

int ZAFOLDAPBrowserGroupEnumRequestInit(ZAFOLDAP_SEARCH_REQUEST *request) {
    if (request == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pRequest");
    return InitRequest(request, zafo::kGroups.filter, {"dn", "cn", "description"});
}
