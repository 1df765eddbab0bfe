// SPDX-License-Identifier: Apache-2.0
#include <strings.h>

#include "src/core/check_connection.h"
#include "src/core/list.h"
#include "src/core/object_classes.h"
#include "src/core/open_search.h"
#include "src/frame/guard.h"
#include "src/frame/log.h"
#include "zafoldap/search.h"

namespace {

unsigned int ClassBit(const char *name) {
    for (const zafo::ObjectClass &row : zafo::kObjectClasses) {
        if (strcasecmp(row.name, name) == 0) return row.bit;
    }
    return 0;
}

int AddClassBits(const ZAFOLDAP_RESULT *entry, unsigned int *schema) {
    const int pairs = ZAFOLDAPResultGetAttrCount(entry);
    for (int i = 0; i < pairs; ++i) {
        const char *value = nullptr;
        const char *attribute = ZAFOLDAPResultGetAt(entry, i, &value);
        if (attribute == nullptr || value == nullptr) return -1;
        if (strcasecmp(attribute, "objectClass") == 0) *schema |= ClassBit(value);
    }
    return 1;  // only the first entry counts
}

}  // namespace

int ZAFOLDAPSearchObjectClasses(const ZAFOLDAP_HOST *host, const char *dn, const char *filter,
                                unsigned int *schema) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    if (dn == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szDN");
    if (schema == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pSchema");

    *schema = 0;
    return zafo::Guarded(-1, [&] {
        const zafo::List attributes{"objectClass"};
        ZAFOLDAP_SEARCH_REQUEST request{};
        request.szBase = dn;
        request.blBaseAsIs = 1;
        request.szFilter = filter;
        request.plistAttr = attributes.get();
        return zafo::ForEachEntry(host, request, [=](const ZAFOLDAP_RESULT *entry) {
            return AddClassBits(entry, schema);
        });
    });
}
