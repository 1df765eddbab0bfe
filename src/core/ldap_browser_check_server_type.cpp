// SPDX-License-Identifier: Apache-2.0
//
// What kind of server a connection leads to, told by a marker entry of each kind.
#include <cstdio>

#include "core/dn_length.h"
#include "core/list.h"
#include "frame/guard.h"
#include "frame/log.h"
#include "zafoldap/connection.h"
#include "zafoldap/debug.h"
#include "zafoldap/error.h"
#include "zafoldap/search.h"

namespace {

constexpr int kNoSuchObject = 32;  // LDAP result code noSuchObject

// Whether a search finds an entry: 1, 0 (also when its base does not exist) or -1.
int FindsEntry(const ZAFOLDAP_HOST *pHost, ZAFOLDAP_SEARCH_REQUEST *pRequest) {
    ZAFOLDAP_RESULT result{};
    int nFound = -1;
    if (QLIBCSzListPush(&pRequest->plistAttr, "dn") >= 0 &&
        ZAFOLDAPSearchInit(pHost, pRequest, &result) == 0) {
        nFound = ZAFOLDAPSearchGetNext(pRequest, &result);
        if (nFound < 0 && result.nExitCode == kNoSuchObject) nFound = 0;
    }
    ZAFOLDAPSearchFree(pRequest, &result);
    return nFound;
}

// The appliance's own server keeps its bookkeeping directly below the base DN.
int ZAFOLDAPBrowserCheckZafoSchema(const ZAFOLDAP_HOST *pHost) {
    if (pHost == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost");
    if (pHost->szUri == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pHost->szUri");

    char szMarker[zafo::kMaxDN + 2];  // one byte more: it tells what was cut
    snprintf(szMarker, sizeof szMarker, "%s=%s,%s", "cn", "zafoconf",
             pHost->szBaseDN != nullptr ? pHost->szBaseDN : "");
    if (!zafo::FitsDN(szMarker)) return -1;
    ZAFOLDAP_SEARCH_REQUEST request;
    if (ZAFOLDAPSearchRequestInit(&request, 1) != 0) return -1;
    request.szBase = szMarker;
    request.blBaseAsIs = 1;
    request.szScope = "base";
    return FindsEntry(pHost, &request);
}

// Apple Open Directory keeps its configuration in an organizational unit.
int ZAFOLDAPBrowserCheckMacSchema(const ZAFOLDAP_HOST *pHost) {
    if (pHost == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost");
    if (pHost->szUri == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pHost->szUri");

    ZAFOLDAP_SEARCH_REQUEST request;
    if (ZAFOLDAPSearchRequestInit(&request, 1) != 0) return -1;
    request.szScope = "sub";
    request.szFilter = "(&(objectClass=organizationalUnit)(ou=macosxodconfig))";
    return FindsEntry(pHost, &request);
}

}  // namespace

int ZAFOLDAPBrowserCheckServerType(ZAFOLDAP_HOST *pHost) {
    if (pHost == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost");
    if (pHost->szUri == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pHost->szUri");

    const int nOwn = ZAFOLDAPBrowserCheckZafoSchema(pHost);
    if (nOwn < 0) {
        ZAFO_DEBUG_LOG("ZAFOLDAPBrowserCheckZafoSchema failed, %s (%d)",
                       ZAFOLDAPErrGetString(ZAFOLDAPErrGet(), nullptr), ZAFOLDAPErrGet());
        return -1;
    }
    int nType = ZAFOLDAP_SERVER_ZAFO;
    if (nOwn == 0) {
        const int nApple = ZAFOLDAPBrowserCheckMacSchema(pHost);
        if (nApple < 0) {
            ZAFO_DEBUG_LOG("ZAFOLDAPBrowserCheckMacSchema failed, %s (%d)",
                           ZAFOLDAPErrGetString(ZAFOLDAPErrGet(), nullptr), ZAFOLDAPErrGet());
            return -1;
        }
        nType = nApple > 0 ? ZAFOLDAP_SERVER_APPLE : ZAFOLDAP_SERVER_GENERIC;
    }
    pHost->nServerType = nType;
    ZAFO_DEBUG_LOG("Server [%s] type is %d", pHost->szUri, nType);
    return 0;
}
