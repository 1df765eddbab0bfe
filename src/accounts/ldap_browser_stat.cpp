// SPDX-License-Identifier: Apache-2.0
#include <cstring>

#include "src/core/check_connection.h"
#include "src/core/open_search.h"
#include "src/frame/log.h"
#include "zafoldap/browser.h"

namespace {

// With an empty window, a single read skips over all entries, counting them.
int CountAll(const ZAFOLDAP_HOST *host, zafo::OpenSearch *search) {
    ZAFOLDAP_SEARCH_REQUEST &request = search->request;
    request.nOffset = 1;
    request.nCount = 0;
    if (QLIBCSzListRemoveAll(request.plistAttr) < 0 ||
        QLIBCSzListPush(&request.plistAttr, "dn") < 0) {
        return -1;
    }
    if (search->Open(host) != 0) {
        return ZAFO_FAILURE("search init failed[0x%04X]", zafo::PlatformError());
    }
    return search->Next() < 0 ? -1 : search->result.nEntry;
}

}  // namespace

int ZAFOLDAPBrowserStatUGNum(const ZAFOLDAP_HOST *host, const char *subject) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    if (subject == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szSubject");

    const bool of_users = std::strcmp(subject, "user") == 0;
    if (!of_users && std::strcmp(subject, "group") != 0) {
        return ZAFO_FAILURE("wrong subject[0x%04X]", zafo::PlatformError());
    }
    zafo::OpenSearch search;
    const int ready = of_users ? ZAFOLDAPBrowserUserEnumRequestInit(&search.request)
                               : ZAFOLDAPBrowserGroupEnumRequestInit(&search.request);
    if (ready != 0) {
        return ZAFO_FAILURE("init %s enum request failed[0x%04X]", subject, zafo::PlatformError());
    }
    return CountAll(host, &search);
}
