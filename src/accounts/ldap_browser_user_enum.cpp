// SPDX-License-Identifier: Apache-2.0
#include "src/accounts/account_kind.h"
#include "src/accounts/account_search.h"
#include "src/core/check_connection.h"
#include "src/frame/guard.h"
#include "src/frame/log.h"
#include "zafoldap/browser.h"

int ZAFOLDAPBrowserUserEnumAll(const ZAFOLDAP_HOST *host, QLIBSZLIST **user_dns,
                               QLIBSZLIST **user_uids) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    if (user_dns != nullptr && *user_dns == nullptr) {
        return ZAFO_BAD_ARGUMENT("((void *)0) == ppUserDNList || ((void *)0) != *ppUserDNList");
    }
    if (user_uids != nullptr && *user_uids == nullptr) {
        return ZAFO_BAD_ARGUMENT("NULL == ppUserUIDList || NULL != *ppUserUIDList");
    }
    return zafo::Guarded(-1, [&] {
        return zafo::ListAccounts(host, zafo::kUsers.filter,
                                  {zafo::kUsers.name_attribute, user_dns, user_uids});
    });
}

int ZAFOLDAPBrowserUserEnumByUIDNumber(const ZAFOLDAP_HOST *host, unsigned int uid,
                                       QLIBSZLIST **user_dns) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    return zafo::Guarded(
        -1, [&] { return zafo::ListAccountsByNumber(host, zafo::kUsers, uid, user_dns); });
}
