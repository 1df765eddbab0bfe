// SPDX-License-Identifier: Apache-2.0
#include <cstring>

#include "src/core/check_connection.h"
#include "src/core/list.h"
#include "src/frame/guard.h"
#include "src/frame/log.h"
#include "src/frame/text.h"
#include "zafoldap/search.h"

namespace {

struct EachValue {
    const char *attribute;
    QLIBSZLIST **dns;
    QLIBSZLIST **values;  // nullptr: DNs only
};

int AppendDNAndValue(const ZAFOLDAP_HOST *, const ZAFOLDAP_SEARCH_REQUEST *,
                     const ZAFOLDAP_RESULT *result, void *data) {
    const auto *wanted = static_cast<const EachValue *>(data);
    const char *dn = ZAFOLDAPResultGetFirst(result, "dn");
    if (dn == nullptr) return 0;
    if (QLIBCSzListPush(wanted->dns, dn) < 0) return -1;
    if (wanted->values == nullptr) return 0;

    const char *value = ZAFOLDAPResultGetFirst(result, wanted->attribute);
    if (QLIBCSzListPush(wanted->values, value != nullptr ? value : "") < 0) {
        QLIBCSzListPop(*wanted->dns);  // keep the lists parallel
        return -1;
    }
    return 0;
}

struct MultiValue {
    const char *attribute;
    QLIBSZLIST **values;
};

int TakeAllValues(const ZAFOLDAP_HOST *, const ZAFOLDAP_SEARCH_REQUEST *,
                  const ZAFOLDAP_RESULT *result, void *data) {
    const auto *wanted = static_cast<const MultiValue *>(data);
    return ZAFOLDAPResultGetAll(result, wanted->attribute, wanted->values) < 0 ? -1 : 1;
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
        zafo::List attributes;
        attributes.Push("dn");
        if (!only_dn) attributes.Push(attribute);
        ZAFOLDAP_SEARCH_REQUEST request = *original;
        request.plistAttr = attributes.get();
        EachValue wanted{attribute, dns, only_dn ? nullptr : values};
        return ZAFOLDAPSearchResultGet(host, &request, AppendDNAndValue, &wanted);
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
        zafo::List attributes;
        attributes.Push(attribute);
        ZAFOLDAP_SEARCH_REQUEST request = *original;
        request.plistAttr = attributes.get();
        MultiValue wanted{attribute, values};
        return ZAFOLDAPSearchResultGet(host, &request, TakeAllValues, &wanted);
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
