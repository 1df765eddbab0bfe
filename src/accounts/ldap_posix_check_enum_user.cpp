// SPDX-License-Identifier: Apache-2.0
//
// Whether users can be listed at all, and the name of one account.
#include "accounts/account_kind.h"
#include "core/check_connection.h"
#include "core/open_search.h"
#include "core/result_codes.h"
#include "frame/log.h"
#include "zafoldap/browser.h"
#include "zafoldap/error.h"

namespace {

// Several names are as bad as a failure: nobody could say which one is meant.
int NameOf(const ZAFOLDAP_HOST *pHost, const zafo::ACCOUNT_KIND &kind, const char *szDN,
           char *szBuf, size_t cbBuf) {
    const int nValues =
        ZAFOLDAPSearchGetValueByDN(pHost, szDN, kind.szFilter, kind.szNameAttr, szBuf, cbBuf);
    return nValues == 0 || nValues == 1 ? nValues : -1;
}

}  // namespace

int ZAFOLDAPPosixGetUserUID(const ZAFOLDAP_HOST *pHost, const char *szDN, char *szBuf,
                            size_t cbBuf) {
    return NameOf(pHost, zafo::kUsers, szDN, szBuf, cbBuf);
}

int ZAFOLDAPPosixGetGroupCN(const ZAFOLDAP_HOST *pHost, const char *szDN, char *szBuf,
                            size_t cbBuf) {
    return NameOf(pHost, zafo::kGroups, szDN, szBuf, cbBuf);
}

int ZAFOLDAPPosixCheckEnumUser(const ZAFOLDAP_HOST *pHost) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;

    zafo::OpenSearch search;
    if (ZAFOLDAPBrowserUserEnumRequestInit(&search.request) != 0) {
        ZAFO_LOG("init user enum request failed[0x%04X]", zafo::PlatformError());
        return -1;
    }
    search.request.nSizeLimit = 1;
    if (search.Open(pHost) != 0) {
        ZAFO_LOG("search init failed[0x%04X]", zafo::PlatformError());
        return -1;
    }
    int nFound = 1;
    while (nFound == 1)
        nFound = search.Next();
    // Of many users the server gives one and says that it stopped there.
    if (nFound < 0 && search.result.nExitCode != zafo::kSizeLimitExceeded) return -1;
    ZAFOLDAPErrReset();
    return 0;
}
