// SPDX-License-Identifier: Apache-2.0
//
// Recognises the kind of server by an entry that only that kind has.
#include <cstdio>

#include "src/core/check_connection.h"
#include "src/core/dn_length.h"
#include "src/core/open_search.h"
#include "src/frame/log.h"
#include "zafoldap/connection.h"
#include "zafoldap/error.h"

namespace {

// Whether a search finds an entry: 1, 0 (also when its base does not exist) or -1. The base is a
// complete DN; NULL: the base DN.
int FindsEntry(const ZAFOLDAP_HOST &host, const char *base, const char *scope, const char *filter) {
    zafo::OpenSearch search;
    if (ZAFOLDAPSearchRequestInit(&search.request, 1) != 0) return -1;
    if (QLIBCSzListPush(&search.request.plistAttr, "dn") < 0) return -1;
    search.request.szBase = base;
    search.request.blBaseAsIs = base != nullptr ? 1 : 0;
    search.request.szScope = scope;
    search.request.szFilter = filter;
    return search.Open(&host) == 0 ? search.NextIfThere() : -1;
}

// The appliance's own server keeps its bookkeeping directly below the base DN.
int FindZafoMarker(const ZAFOLDAP_HOST &host) {
    zafo::FoundText marker;
    snprintf(marker, sizeof marker, "%s=%s,%s", "cn", "zafoconf",
             host.szBaseDN != nullptr ? host.szBaseDN : "");
    return zafo::FitsDN(marker) ? FindsEntry(host, marker, "base", nullptr) : -1;
}

// Apple Open Directory keeps its configuration in an organizational unit.
int FindAppleMarker(const ZAFOLDAP_HOST &host) {
    return FindsEntry(host, nullptr, "sub",
                      "(&(objectClass=organizationalUnit)(ou=macosxodconfig))");
}

}  // namespace

int ZAFOLDAPBrowserCheckServerType(ZAFOLDAP_HOST *host) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;

    const int own = FindZafoMarker(*host);
    if (own < 0) {
        return ZAFO_DEBUG_FAILURE("ZAFOLDAPBrowserCheckZafoSchema failed, %s (%d)",
                                  zafo::ErrorKey(), ZAFOLDAPErrGet());
    }
    int type = ZAFOLDAP_SERVER_ZAFO;
    if (own == 0) {
        const int apple = FindAppleMarker(*host);
        if (apple < 0) {
            return ZAFO_DEBUG_FAILURE("ZAFOLDAPBrowserCheckMacSchema failed, %s (%d)",
                                      zafo::ErrorKey(), ZAFOLDAPErrGet());
        }
        type = apple > 0 ? ZAFOLDAP_SERVER_APPLE : ZAFOLDAP_SERVER_GENERIC;
    }
    host->nServerType = type;
    ZAFO_DEBUG_LOG("Server [%s] type is %d", host->szUri, type);
    return 0;
}
