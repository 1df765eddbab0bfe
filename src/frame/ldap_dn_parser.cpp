// SPDX-License-Identifier: Apache-2.0
#include <cstring>

#include "src/frame/log.h"
#include "src/frame/text.h"
#include "zafoldap/dn.h"

int ZAFOLDAPDNParserParentDN(const char *dn, char *parent_dn, size_t size) {
    if (dn == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szDN");
    if (parent_dn == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szParentDN");
    if (size == 0) return ZAFO_BAD_ARGUMENT("0 < cbParentDN");

    const char *comma = std::strchr(dn, ',');
    zafo::CopyText(comma == nullptr ? "" : comma + 1, parent_dn, size);
    return 0;
}
