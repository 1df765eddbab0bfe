// SPDX-License-Identifier: Apache-2.0
#include "accounts/account_record.h"

#include <stdlib.h>

#include <cstring>
#include <memory>
#include <new>

#include "accounts/account_kind.h"
#include "base/dn.h"
#include "core/list.h"
#include "platform/crypt.h"

namespace zafo {

namespace {

struct FREE {
    void operator()(char *p) const { free(p); }
};

// Blanks of the C locale, which ldapmodify(1) skips between colon and value.
bool BeginsWithBlank(const char *szText) {
    return szText[0] != '\0' && std::strchr(" \t\v\f", szText[0]) != nullptr;
}

void WriteEncoded(ZAFOLDAP_LDIF *pLDIF, const char *szAttr, const char *szValue) {
    const std::unique_ptr<char, FREE> encoded(SzBase64EncodeOneLine(szValue, std::strlen(szValue)));
    if (encoded == nullptr) throw std::bad_alloc();
    ZAFOLDAPLdifAttr(pLDIF, (std::string(szAttr) + ':').c_str(), "%s", encoded.get());
}

}  // namespace

bool IsOneLine(const char *szText) {
    return szText == nullptr || std::strpbrk(szText, "\r\n") == nullptr;
}

bool AreOneLineEach(const QLIBSZLIST *pList) {
    for (int i = 0; pList != nullptr && i < pList->nItem; ++i) {
        const char *szItem = QLIBCSzListGet(pList, i);
        if (szItem == nullptr || !IsOneLine(szItem)) return false;
    }
    return true;
}

void WriteValue(ZAFOLDAP_LDIF *pLDIF, const char *szAttr, const char *szValue) {
    if (BeginsWithBlank(szValue)) {
        WriteEncoded(pLDIF, szAttr, szValue);
    } else {
        ZAFOLDAPLdifAttr(pLDIF, szAttr, "%s", szValue);
    }
}

void WriteFormatText(ZAFOLDAP_LDIF *pLDIF, const char *szAttr, const char *szText) {
    std::string value;
    for (const char *p = szText; *p != '\0'; ++p) {
        value += *p;
        if (p[0] == '%' && p[1] == '%') ++p;
    }
    WriteValue(pLDIF, szAttr, value.c_str());
}

void ReplaceValue(ZAFOLDAP_LDIF *pLDIF, const char *szAttr, const char *szValue) {
    ZAFOLDAPLdifSepAttr(pLDIF);
    ZAFOLDAPLdifAttr(pLDIF, "replace", "%s", szAttr);
    WriteValue(pLDIF, szAttr, szValue);
}

void WriteModRDN(ZAFOLDAP_LDIF *pLDIF, const char *szDN, std::string_view attr,
                 std::string_view name) {
    ZAFOLDAPLdifTargetDN(pLDIF, szDN);
    ZAFOLDAPLdifChangeType(pLDIF, "modrdn");
    const std::string rdn = std::string(attr).append("=").append(EscapedForDn(name));
    WriteValue(pLDIF, "newrdn", rdn.c_str());
    WriteValue(pLDIF, "deleteoldrdn", "1");
}

void WriteExtra(ZAFOLDAP_LDIF *pLDIF, const QLIBSZLIST *plistExtra) {
    if (plistExtra == nullptr) return;
    for (int i = 0; i + 1 < plistExtra->nItem; i += 2) {
        WriteFormatText(pLDIF, ItemAt(plistExtra, i), ItemAt(plistExtra, i + 1));
    }
}

std::string AccountDN(std::string_view attr, std::string_view name, std::string_view container,
                      std::string_view base) {
    std::string dn(attr);
    dn.append("=").append(EscapedForDn(name)).append(",").append(container);
    return dn.append(",").append(base);
}

std::string MemberDN(const ZAFOLDAP_HOST &host, std::string_view uid) {
    const char *szBase = host.szBaseDN != nullptr ? host.szBaseDN : "";
    return AccountDN(kUsers.szNameAttr, uid, kUsers.szContainer, szBase);
}

}  // namespace zafo
