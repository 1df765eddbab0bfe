// SPDX-License-Identifier: Apache-2.0
#include "accounts/account_kind.h"
#include "accounts/account_search.h"
#include "frame/guard.h"
#include "frame/log.h"
#include "zafoldap/browser.h"

int ZAFOLDAPBrowserUserEnumAll(const ZAFOLDAP_HOST *pHost, QLIBSZLIST **ppUserDNList,
                               QLIBSZLIST **ppUserUIDList) {
    if (pHost == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost");
    if (pHost->szUri == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pHost->szUri");
    if (ppUserDNList != nullptr && *ppUserDNList == nullptr) {
        return ZAFO_BAD_ARGUMENT("((void *)0) == ppUserDNList || ((void *)0) != *ppUserDNList");
    }
    if (ppUserUIDList != nullptr && *ppUserUIDList == nullptr) {
        return ZAFO_BAD_ARGUMENT("NULL == ppUserUIDList || NULL != *ppUserUIDList");
    }
    return zafo::Guarded(-1, [&] {
        return zafo::ListAccounts(pHost, zafo::kUserFilter,
                                  {zafo::kUsers.szNameAttr, ppUserDNList, ppUserUIDList});
    });
}

int ZAFOLDAPBrowserUserEnumByUIDNumber(const ZAFOLDAP_HOST *pHost, unsigned int uid,
                                       QLIBSZLIST **ppUserDNList) {
    if (pHost == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost");
    if (pHost->szUri == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pHost->szUri");
    return zafo::Guarded(
        -1, [&] { return zafo::ListAccountsByNumber(pHost, zafo::kUsers, uid, ppUserDNList); });
}
