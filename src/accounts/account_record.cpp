// SPDX-License-Identifier: Apache-2.0
#include "src/accounts/account_record.h"

#include <cstring>
#include <memory>
#include <new>

#include "base/dn.h"
#include "platform/crypt.h"
#include "src/accounts/account_kind.h"
#include "src/core/list.h"
#include "src/frame/memory.h"

namespace zafo {

namespace {

// Blanks of the C locale, which ldapmodify(1) skips between colon and value.
bool BeginsWithBlank(const char *text) {
    return text[0] != '\0' && std::strchr(" \t\v\f", text[0]) != nullptr;
}

void WriteEncoded(ZAFOLDAP_LDIF *ldif, const char *attribute, const char *value) {
    const std::unique_ptr<char, FreeMemory> encoded(
        SzBase64EncodeOneLine(value, std::strlen(value)));
    if (encoded == nullptr) throw std::bad_alloc();
    ZAFOLDAPLdifAttr(ldif, (std::string(attribute) + ':').c_str(), "%s", encoded.get());
}

}  // namespace

bool IsOneLine(const char *text) {
    return text == nullptr || std::strpbrk(text, "\r\n") == nullptr;
}

bool AreOneLineEach(const QLIBSZLIST *list) {
    for (int i = 0; list != nullptr && i < list->nItem; ++i) {
        const char *item = QLIBCSzListGet(list, i);
        if (item == nullptr || !IsOneLine(item)) return false;
    }
    return true;
}

void WriteValue(ZAFOLDAP_LDIF *ldif, const char *attribute, const char *value) {
    if (BeginsWithBlank(value)) {
        WriteEncoded(ldif, attribute, value);
    } else {
        ZAFOLDAPLdifAttr(ldif, attribute, "%s", value);
    }
}

void WriteFormatText(ZAFOLDAP_LDIF *ldif, const char *attribute, const char *text) {
    std::string value;
    for (const char *p = text; *p != '\0'; ++p) {
        value += *p;
        if (p[0] == '%' && p[1] == '%') ++p;
    }
    WriteValue(ldif, attribute, value.c_str());
}

void ReplaceValue(ZAFOLDAP_LDIF *ldif, const char *attribute, const char *value) {
    ZAFOLDAPLdifSepAttr(ldif);
    ZAFOLDAPLdifAttr(ldif, "replace", "%s", attribute);
    WriteValue(ldif, attribute, value);
}

void WriteModRDN(ZAFOLDAP_LDIF *ldif, const char *dn, std::string_view attr,
                 std::string_view name) {
    ZAFOLDAPLdifTargetDN(ldif, dn);
    ZAFOLDAPLdifChangeType(ldif, "modrdn");
    const std::string rdn = std::string(attr).append("=").append(EscapedForDn(name));
    WriteValue(ldif, "newrdn", rdn.c_str());
    WriteValue(ldif, "deleteoldrdn", "1");
}

void WriteExtra(ZAFOLDAP_LDIF *ldif, const QLIBSZLIST *extra) {
    if (extra == nullptr) return;
    for (int i = 0; i + 1 < extra->nItem; i += 2) {
        WriteFormatText(ldif, ItemAt(extra, i), ItemAt(extra, i + 1));
    }
}

std::string AccountDN(std::string_view attr, std::string_view name, std::string_view container,
                      std::string_view base) {
    std::string dn(attr);
    dn.append("=").append(EscapedForDn(name)).append(",").append(container);
    return dn.append(",").append(base);
}

std::string MemberDN(const ZAFOLDAP_HOST &host, std::string_view uid) {
    const char *base = host.szBaseDN != nullptr ? host.szBaseDN : "";
    return AccountDN(kUsers.name_attribute, uid, kUsers.container, base);
}

}  // namespace zafo
