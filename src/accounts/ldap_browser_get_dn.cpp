// SPDX-License-Identifier: Apache-2.0
#include "accounts/account_search.h"
#include "core/check_connection.h"
#include "frame/guard.h"
#include "frame/log.h"
#include "frame/text.h"
#include "zafoldap/browser.h"
#include "zafoldap/error.h"

namespace {

int FirstDNByName(const ZAFOLDAP_HOST *pHost, const char *szCondition, const char *szAttr,
                  const char *szName, char *szDN, size_t cbDN) {
    return zafo::Guarded(-1, [&] {
        const auto filter = zafo::AccountFilter(szCondition, szAttr, szName);
        if (!filter) return -1;
        return ZAFOLDAPBrowserGetFirstDN(pHost, filter->c_str(), szDN, cbDN);
    });
}

}  // namespace

int ZAFOLDAPBrowserGetFirstDN(const ZAFOLDAP_HOST *pHost, const char *szFilter, char *szDN,
                              size_t cbDN) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    if (szFilter == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szFilter");

    zafo::OpenSearch search;
    search.request.szFilter = szFilter;
    if (search.Open(pHost) != 0) return -1;
    int nCount = 0;
    int nFound = 0;
    while ((nFound = search.Next()) == 1) {
        const char *szFound = search.First("dn");
        if (szFound == nullptr) continue;
        if (szDN != nullptr && cbDN > 0) zafo::CopyText(szFound, szDN, cbDN);
        ++nCount;
    }
    if (nFound < 0) {
        ZAFO_LOG("ZAFOLDAPSearchGetNext get next failed, %s (%d)", zafo::ErrorKey(),
                 ZAFOLDAPErrGet());
        return -1;
    }
    return nCount;
}

int ZAFOLDAPBrowserGetDNByUserUIDEx(const ZAFOLDAP_HOST *pHost, const char *szUserUID, char *szDN,
                                    size_t cbDN, const ZAFOLDAP_BROWSER_OPTIONS *pOptions) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    if (szUserUID == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szUserUID");

    const ZAFOLDAP_BROWSER_OPTIONS rule = zafo::UserRule(pOptions);
    return FirstDNByName(pHost, rule.szFilter, rule.szNameAttr, szUserUID, szDN, cbDN);
}

int ZAFOLDAPBrowserGetDNByUserUID(const ZAFOLDAP_HOST *pHost, const char *szUserUID, char *szDN,
                                  size_t cbDN) {
    return ZAFOLDAPBrowserGetDNByUserUIDEx(pHost, szUserUID, szDN, cbDN, nullptr);
}

int ZAFOLDAPBrowserGetDNByGroupCN(const ZAFOLDAP_HOST *pHost, const char *szGroupCN, char *szDN,
                                  size_t cbDN) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    if (szGroupCN == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szGroupCN");
    return FirstDNByName(pHost, zafo::kGroups.szFilter, zafo::kGroups.szNameAttr, szGroupCN, szDN,
                         cbDN);
}
