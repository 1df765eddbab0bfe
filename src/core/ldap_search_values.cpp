// SPDX-License-Identifier: Apache-2.0
#include <cstring>

#include "src/core/check_connection.h"
#include "src/core/list.h"
#include "src/core/open_search.h"
#include "src/frame/guard.h"
#include "src/frame/log.h"
#include "src/frame/text.h"
#include "zafoldap/search.h"

namespace {

// `values` is NULL if only the DN is wanted.
int AppendDNAndValue(const ZAFOLDAP_RESULT *entry, const char *attribute, QLIBSZLIST **dns,
                     QLIBSZLIST **values) {
    const char *dn = ZAFOLDAPResultGetFirst(entry, "dn");
    if (dn == nullptr) return 0;
    if (QLIBCSzListPush(dns, dn) < 0) return -1;
    if (values == nullptr) return 0;

    const char *value = ZAFOLDAPResultGetFirst(entry, attribute);
    if (QLIBCSzListPush(values, value != nullptr ? value : "") >= 0) return 0;
    QLIBCSzListPop(*dns);  // keep the lists parallel
    return -1;
}

}  // namespace

int ZAFOLDAPSearchEachValue(const ZAFOLDAP_HOST *host, const ZAFOLDAP_SEARCH_REQUEST *original,
                            const char *attribute, QLIBSZLIST **dns, QLIBSZLIST **values) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    if (original == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pRequest");
    if (attribute == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szAttr");
    if (dns == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pplistDN");
    if (*dns == nullptr) return ZAFO_BAD_ARGUMENT("NULL != *pplistDN");
    const bool only_dn = std::strcmp(attribute, "dn") == 0;
    if (!only_dn) {
        if (values == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pplistValue");
        if (*values == nullptr) return ZAFO_BAD_ARGUMENT("NULL != *pplistValue");
    }

    return zafo::Guarded(-1, [&] {
        if (QLIBCSzListRemoveAll(*dns) < 0) return -1;
        if (values != nullptr && *values != nullptr && QLIBCSzListRemoveAll(*values) < 0) {
            return -1;
        }
        zafo::List attributes{"dn"};
        if (!only_dn) attributes.Push(attribute);
        ZAFOLDAP_SEARCH_REQUEST request = *original;
        request.plistAttr = attributes.get();
        return zafo::ForEachEntry(host, request, [=](const ZAFOLDAP_RESULT *entry) {
            return AppendDNAndValue(entry, attribute, dns, only_dn ? nullptr : values);
        });
    });
}

int ZAFOLDAPSearchMultiValue(const ZAFOLDAP_HOST *host, const ZAFOLDAP_SEARCH_REQUEST *original,
                             const char *attribute, QLIBSZLIST **values) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    if (original == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pRequest");
    if (attribute == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szAttr");
    if (values == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pplistValue");
    if (*values == nullptr) return ZAFO_BAD_ARGUMENT("NULL != *pplistValue");

    return zafo::Guarded(-1, [&] {
        if (QLIBCSzListRemoveAll(*values) < 0) return -1;
        const zafo::List attributes{attribute};
        ZAFOLDAP_SEARCH_REQUEST request = *original;
        request.plistAttr = attributes.get();
        return zafo::ForEachEntry(host, request, [=](const ZAFOLDAP_RESULT *entry) {
            return ZAFOLDAPResultGetAll(entry, attribute, values) < 0 ? -1 : 1;
        });
    });
}

int ZAFOLDAPSearchGetValueByDN(const ZAFOLDAP_HOST *host, const char *dn, const char *filter,
                               const char *attribute, char *value, size_t size) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    if (dn == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szDN");
    if (attribute == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szAttr");
    if (value == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szValue");
    if (size == 0) return ZAFO_BAD_ARGUMENT("0 < cbValue");

    return zafo::Guarded(-1, [&] {
        ZAFOLDAP_SEARCH_REQUEST request{};
        request.szBase = dn;
        request.blBaseAsIs = 1;
        request.szFilter = filter;
        zafo::List values;
        if (ZAFOLDAPSearchMultiValue(host, &request, attribute, values.address()) < 0) return -1;
        zafo::CopyText(values.size() > 0 ? values[0] : "", value, size);
        return values.size();
    });
}
