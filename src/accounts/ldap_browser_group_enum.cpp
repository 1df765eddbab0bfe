// SPDX-License-Identifier: Apache-2.0
#include "accounts/account_kind.h"
#include "accounts/account_search.h"
#include "core/check_connection.h"
#include "frame/guard.h"
#include "frame/log.h"
#include "zafoldap/browser.h"

int ZAFOLDAPBrowserGroupEnumAll(const ZAFOLDAP_HOST *pHost, QLIBSZLIST **ppGroupDNList,
                                QLIBSZLIST **ppGroupCNList) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    if (ppGroupDNList != nullptr && *ppGroupDNList == nullptr) {
        return ZAFO_BAD_ARGUMENT("((void *)0) == ppGroupDNList || ((void *)0) != *ppGroupDNList");
    }
    if (ppGroupCNList != nullptr && *ppGroupCNList == nullptr) {
        return ZAFO_BAD_ARGUMENT("NULL == ppGroupCNList || NULL != *ppGroupCNList");
    }
    return zafo::Guarded(-1, [&] {
        return zafo::ListAccounts(pHost, zafo::kGroups.szFilter,
                                  {zafo::kGroups.szNameAttr, ppGroupDNList, ppGroupCNList});
    });
}

int ZAFOLDAPBrowserGroupEnumByGIDNumber(const ZAFOLDAP_HOST *pHost, unsigned int gid,
                                        QLIBSZLIST **ppGroupDNList) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    return zafo::Guarded(
        -1, [&] { return zafo::ListAccountsByNumber(pHost, zafo::kGroups, gid, ppGroupDNList); });
}
