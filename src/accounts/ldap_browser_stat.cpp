// SPDX-License-Identifier: Apache-2.0
#include <cstring>

#include "core/check_connection.h"
#include "core/open_search.h"
#include "frame/log.h"
#include "zafoldap/browser.h"

namespace {

// A window that holds nothing: one read walks over all entries, counts them and keeps none.
int CountAll(const ZAFOLDAP_HOST *pHost, zafo::OpenSearch *pSearch) {
    ZAFOLDAP_SEARCH_REQUEST &request = pSearch->request;
    request.nOffset = 1;
    request.nCount = 0;
    if (QLIBCSzListRemoveAll(request.plistAttr) < 0 ||
        QLIBCSzListPush(&request.plistAttr, "dn") < 0) {
        return -1;
    }
    if (pSearch->Open(pHost) != 0) {
        ZAFO_LOG("search init failed[0x%04X]", zafo::PlatformError());
        return -1;
    }
    return pSearch->Next() < 0 ? -1 : pSearch->result.nEntry;
}

}  // namespace

int ZAFOLDAPBrowserStatUGNum(const ZAFOLDAP_HOST *pHost, const char *szSubject) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    if (szSubject == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szSubject");

    const bool blUsers = std::strcmp(szSubject, "user") == 0;
    if (!blUsers && std::strcmp(szSubject, "group") != 0) {
        ZAFO_LOG("wrong subject[0x%04X]", zafo::PlatformError());
        return -1;
    }
    zafo::OpenSearch search;
    const int nReady = blUsers ? ZAFOLDAPBrowserUserEnumRequestInit(&search.request)
                               : ZAFOLDAPBrowserGroupEnumRequestInit(&search.request);
    if (nReady != 0) {
        ZAFO_LOG("init %s enum request failed[0x%04X]", szSubject, zafo::PlatformError());
        return -1;
    }
    return CountAll(pHost, &search);
}
