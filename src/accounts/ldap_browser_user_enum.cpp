// SPDX-License-Identifier: Apache-2.0
#include "accounts/account_kind.h"
#include "accounts/account_search.h"
#include "core/check_connection.h"
#include "frame/guard.h"
#include "frame/log.h"
#include "zafoldap/browser.h"

int ZAFOLDAPBrowserUserEnumAll(const ZAFOLDAP_HOST *pHost, QLIBSZLIST **ppUserDNList,
                               QLIBSZLIST **ppUserUIDList) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    if (ppUserDNList != nullptr && *ppUserDNList == nullptr) {
        return ZAFO_BAD_ARGUMENT("((void *)0) == ppUserDNList || ((void *)0) != *ppUserDNList");
    }
    if (ppUserUIDList != nullptr && *ppUserUIDList == nullptr) {
        return ZAFO_BAD_ARGUMENT("NULL == ppUserUIDList || NULL != *ppUserUIDList");
    }
    return zafo::Guarded(-1, [&] {
        return zafo::ListAccounts(pHost, zafo::kUsers.szFilter,
                                  {zafo::kUsers.szNameAttr, ppUserDNList, ppUserUIDList});
    });
}

int ZAFOLDAPBrowserUserEnumByUIDNumber(const ZAFOLDAP_HOST *pHost, unsigned int uid,
                                       QLIBSZLIST **ppUserDNList) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    return zafo::Guarded(
        -1, [&] { return zafo::ListAccountsByNumber(pHost, zafo::kUsers, uid, ppUserDNList); });
}
