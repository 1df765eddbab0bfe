// SPDX-License-Identifier: Apache-2.0
#include <cstring>

#include "frame/log.h"
#include "frame/text.h"
#include "zafoldap/dn.h"

int ZAFOLDAPDNParserParentDN(const char *szDN, char *szParentDN, size_t cbParentDN) {
    if (szDN == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szDN");
    if (szParentDN == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szParentDN");
    if (cbParentDN == 0) return ZAFO_BAD_ARGUMENT("0 < cbParentDN");

    const char *szComma = std::strchr(szDN, ',');
    zafo::CopyText(szComma == nullptr ? "" : szComma + 1, szParentDN, cbParentDN);
    return 0;
}
