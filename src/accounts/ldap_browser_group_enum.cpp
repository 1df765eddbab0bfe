// SPDX-License-Identifier: Apache-2.0
#include "src/accounts/account_kind.h"
#include "src/accounts/account_search.h"
#include "src/core/check_connection.h"
#include "src/frame/guard.h"
#include "src/frame/log.h"
#include "zafoldap/browser.h"

int ZAFOLDAPBrowserGroupEnumAll(const ZAFOLDAP_HOST *host, QLIBSZLIST **group_dns,
                                QLIBSZLIST **group_cns) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    if (group_dns != nullptr && *group_dns == nullptr) {
        return ZAFO_BAD_ARGUMENT("((void *)0) == ppGroupDNList || ((void *)0) != *ppGroupDNList");
    }
    if (group_cns != nullptr && *group_cns == nullptr) {
        return ZAFO_BAD_ARGUMENT("NULL == ppGroupCNList || NULL != *ppGroupCNList");
    }
    return zafo::Guarded(-1, [&] {
        return zafo::ListAccounts(host, zafo::kGroups.filter,
                                  {zafo::kGroups.name_attribute, group_dns, group_cns});
    });
}

int ZAFOLDAPBrowserGroupEnumByGIDNumber(const ZAFOLDAP_HOST *host, unsigned int gid,
                                        QLIBSZLIST **group_dns) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    return zafo::Guarded(
        -1, [&] { return zafo::ListAccountsByNumber(host, zafo::kGroups, gid, group_dns); });
}
