// SPDX-License-Identifier: Apache-2.0
#include "src/accounts/account_search.h"
#include "src/core/check_connection.h"
#include "src/frame/guard.h"
#include "src/frame/log.h"
#include "src/frame/text.h"
#include "zafoldap/browser.h"
#include "zafoldap/error.h"

namespace {

int FirstDNByName(const ZAFOLDAP_HOST *host, const char *condition, const char *attribute,
                  const char *name, char *dn, size_t size) {
    return zafo::Guarded(-1, [&] {
        const auto filter = zafo::AccountFilter(condition, attribute, name);
        if (!filter) return -1;
        return ZAFOLDAPBrowserGetFirstDN(host, filter->c_str(), dn, size);
    });
}

}  // namespace

int ZAFOLDAPBrowserGetFirstDN(const ZAFOLDAP_HOST *host, const char *filter, char *dn,
                              size_t size) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    if (filter == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szFilter");

    zafo::OpenSearch search;
    search.request.szFilter = filter;
    if (search.Open(host) != 0) return -1;
    int count = 0;
    int found = 0;
    while ((found = search.Next()) == 1) {
        const char *found_dn = search.First("dn");
        if (found_dn == nullptr) continue;
        if (dn != nullptr && size > 0) zafo::CopyText(found_dn, dn, size);
        ++count;
    }
    if (found < 0) {
        return ZAFO_FAILURE("ZAFOLDAPSearchGetNext get next failed, %s (%d)", zafo::ErrorKey(),
                            ZAFOLDAPErrGet());
    }
    return count;
}

int ZAFOLDAPBrowserGetDNByUserUIDEx(const ZAFOLDAP_HOST *host, const char *uid, char *dn,
                                    size_t size, const ZAFOLDAP_BROWSER_OPTIONS *options) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    if (uid == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szUserUID");

    const ZAFOLDAP_BROWSER_OPTIONS rule = zafo::UserRule(options);
    return FirstDNByName(host, rule.szFilter, rule.szNameAttr, uid, dn, size);
}

int ZAFOLDAPBrowserGetDNByUserUID(const ZAFOLDAP_HOST *host, const char *uid, char *dn,
                                  size_t size) {
    return ZAFOLDAPBrowserGetDNByUserUIDEx(host, uid, dn, size, nullptr);
}

int ZAFOLDAPBrowserGetDNByGroupCN(const ZAFOLDAP_HOST *host, const char *group_cn, char *dn,
                                  size_t size) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    if (group_cn == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szGroupCN");
    return FirstDNByName(host, zafo::kGroups.filter, zafo::kGroups.name_attribute, group_cn, dn,
                         size);
}
