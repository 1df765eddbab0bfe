// SPDX-License-Identifier: Apache-2.0
//
// Filling a connection record: from a saved connection or the appliance's own
// client binding, and then from what the server says of itself.
#include <strings.h>

#include <cstring>
#include <string>

#include "base/appliance_paths.h"
#include "core/directive.h"
#include "core/ldap_browser_conf.h"
#include "core/list.h"
#include "core/object_classes.h"
#include "frame/guard.h"
#include "frame/log.h"
#include "frame/text.h"
#include "platform/crypt.h"
#include "platform/error.h"
#include "platform/file.h"
#include "platform/ldap.h"
#include "zafoldap/connection.h"
#include "zafoldap/debug.h"
#include "zafoldap/error.h"
#include "zafoldap/search.h"

namespace {

using zafo::kBindConf;

constexpr size_t kMaxText = 1024;

// Saved connection ------------------------------------------------------------

int SetPassword(ZAFOLDAP_HOST *pHost, const QLIBSZHASH *pMap) {
    const char *szCipher = QLIBCSzHashGetValue(pMap, zafo::kKeyBindPasswd);
    if (szCipher == nullptr) return 0;
    char szClear[kMaxText] = "";
    if (zafo::Ended(szClear, QLIBCryptSzDecrypt(szCipher, szClear, sizeof szClear)) < 0) {
        ZAFO_LOG("Decrypt password failed! [0x%04X]", zafo::PlatformError());
        return -1;
    }
    const int nResult = ZAFOLDAPHostSet(pHost, LDAP_HOST_ATTR_BINDPW, szClear);
    explicit_bzero(szClear, sizeof szClear);
    return nResult;
}

int SetFromSection(ZAFOLDAP_HOST *pHost, const QLIBSZHASH *pMap) {
    for (const zafo::BROWSER_CONF_KEY &row : zafo::kBrowserConfKeys) {
        const char *szValue = QLIBCSzHashGetValue(pMap, row.szKey);
        if (szValue != nullptr && ZAFOLDAPHostSet(pHost, row.nAttr, szValue) != 0) return -1;
    }
    if (SetPassword(pHost, pMap) != 0) return -1;
    const char *szSSL = QLIBCSzHashGetValue(pMap, zafo::kKeySSL);
    pHost->nSSLType = szSSL != nullptr ? ZAFOLDAPSSLToType(szSSL) : ZAFOLDAP_SSL_OFF;
    return 0;
}

// Client binding --------------------------------------------------------------

struct BIND_CONF_KEY {
    const char *szKey;
    int nAttr;
};

constexpr BIND_CONF_KEY kBindConfKeys[] = {
    {"uri", LDAP_HOST_ATTR_URI},
    {"binddn", LDAP_HOST_ATTR_BINDDN},
    {"base", LDAP_HOST_ATTR_BASEDN},
};

int SetFromBindConf(ZAFOLDAP_HOST *pHost) {
    for (const BIND_CONF_KEY &row : kBindConfKeys) {
        char szValue[kMaxText];
        const int nFound = zafo::ReadDirective(kBindConf, row.szKey, szValue);
        if (nFound < 0) {
            ZAFO_LOG("ZAFOLDAPInfoGetFromConf [%s] [%s] failed. [0x%04X]", kBindConf, row.szKey,
                     zafo::PlatformError());
            return -1;
        }
        if (ZAFOLDAPHostSet(pHost, row.nAttr, nFound > 0 ? szValue : nullptr) != 0) return -1;
    }
    return 0;
}

// The record keeps addresses without scheme; only the first of a list loses its.
int CutScheme(ZAFOLDAP_HOST *pHost) {
    if (pHost->szUri == nullptr) return 0;
    for (const char *szScheme : {"ldap://", "ldaps://"}) {
        const size_t cbScheme = std::strlen(szScheme);
        if (strncasecmp(pHost->szUri, szScheme, cbScheme) == 0) {
            return ZAFOLDAPHostSet(pHost, LDAP_HOST_ATTR_URI, pHost->szUri + cbScheme);
        }
    }
    return 0;
}

int SetLoginSuffix(ZAFOLDAP_HOST *pHost) {
    char szSuffix[kMaxText] = "";
    if (zafo::Ended(szSuffix, ZAFOLDAPLoginSuffixGet(szSuffix, sizeof szSuffix)) < 0) {
        ZAFO_LOG("get login suffix failed[0x%04X]", zafo::PlatformError());
        ZAFOLDAPErrSet(ZAFOLDAP_ERR_SERVER_NOT_SUPPORT);
        return -1;
    }
    return ZAFOLDAPHostSet(pHost, LDAP_HOST_ATTR_LOGIN_SUFFIX, szSuffix);
}

// A binding without a stored password is an anonymous one.
int SetSecret(ZAFOLDAP_HOST *pHost) {
    char szSecret[kMaxText] = "";
    QLIBCErrSet(QLIB_ERR_NONE);
    if (zafo::Ended(szSecret, ZAFOLDAPSecretGet(szSecret, sizeof szSecret)) < 0) {
        const int nReason = QLIBCErrGet();
        if (nReason == QLIB_ERR_OPEN_FAILED || nReason == QLIB_ERR_READ_FAILED) return 0;
        ZAFO_LOG("ZAFOLDAPSecretGet failed. [0x%04X]", zafo::PlatformError());
        return -1;
    }
    const int nResult = ZAFOLDAPHostSet(pHost, LDAP_HOST_ATTR_BINDPW, szSecret);
    explicit_bzero(szSecret, sizeof szSecret);
    return nResult;
}

// Schema ----------------------------------------------------------------------

// Whether an object class definition (RFC 4512 section 4.1.1) names a class, its own or as
// its superior.
bool Mentions(const char *szDefinition, const char *szClass) {
    return std::strstr(szDefinition, std::string("'").append(szClass).append("'").c_str()) !=
           nullptr;
}

void AddSchemaBits(const char *szDefinition, unsigned int *pSchema) {
    for (const zafo::OBJECT_CLASS &row : zafo::kObjectClasses) {
        if ((*pSchema & row.nBit) == 0 && Mentions(szDefinition, row.szName)) *pSchema |= row.nBit;
    }
}

}  // namespace

int ZAFOLDAPHostInitByBrowserConfig(ZAFOLDAP_HOST *pHost, const char *szSection) {
    if (pHost == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost");
    if (ZAFOLDAPHostInit(pHost) != 0) return -1;

    const zafo::Map map = zafo::MakeMap();
    if (map == nullptr) return -1;
    if (szSection == nullptr) szSection = zafo::kDefaultSection;
    if (QLIBCFileGetSection(zafo::kConnectionFile, szSection, map.get()) < 1) {
        ZAFO_DEBUG_LOG("conf not found: %s", zafo::kConnectionFile);
        QLIBCErrSet(QLIB_ERR_SECTION_NOT_FOUND);
        return -1;
    }
    if (SetFromSection(pHost, map.get()) != 0) return -1;

    if (ZAFOLDAPBrowserCheckServerType(pHost) != 0) {
        ZAFO_DEBUG_LOG("check server type failed, %s (%d)",
                       ZAFOLDAPErrGetString(ZAFOLDAPErrGet(), nullptr), ZAFOLDAPErrGet());
        return 0;
    }
    if (ZAFOLDAPHostGetSupportedSchema(pHost) != 0) {
        ZAFO_DEBUG_LOG("get support schema failed, %s (%d)",
                       ZAFOLDAPErrGetString(ZAFOLDAPErrGet(), nullptr), ZAFOLDAPErrGet());
        return 0;
    }
    return 1;
}

int ZAFOLDAPHostInitByBindConfig(ZAFOLDAP_HOST *pHost) {
    if (pHost == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost");
    if (ZAFOLDAPHostInit(pHost) != 0) return -1;

    if (SetFromBindConf(pHost) != 0) return -1;
    if (ZAFOLDAPSSLGetByBindConfig(pHost) != 0) {
        ZAFO_LOG("ZAFOLDAPSSLGetByBindConfig [%s] failed. [0x%04X]", kBindConf,
                 zafo::PlatformError());
        return -1;
    }
    if (CutScheme(pHost) != 0 || SetLoginSuffix(pHost) != 0 || SetSecret(pHost) != 0) return -1;
    if (ZAFOLDAPBrowserCheckServerType(pHost) != 0) return 0;
    return ZAFOLDAPHostGetSupportedSchema(pHost) == 0 ? 1 : 0;
}

int ZAFOLDAPSSLGetByBindConfig(ZAFOLDAP_HOST *pHost) {
    if (pHost == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost");
    pHost->nSSLType = ZAFOLDAPSSLTypeGetFromNslcd();
    return 0;
}

int ZAFOLDAPHostGetSchemaDN(ZAFOLDAP_HOST *pHost, char *szDN, size_t cbDN) {
    if (pHost == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost");
    if (szDN == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szDN");
    if (cbDN == 0) return ZAFO_BAD_ARGUMENT("0 < cbDN");

    return zafo::Guarded(-1, [&] {
        ZAFOLDAP_SEARCH_REQUEST request{};
        request.blBaseAsIs = 1;  // without a base: the root DSE
        request.szScope = "baseObject";
        zafo::List values;
        if (ZAFOLDAPSearchMultiValue(pHost, &request, "subschemaSubentry", values.address()) != 0 ||
            values.size() == 0) {
            return -1;
        }
        zafo::CopyText(values[0], szDN, cbDN);
        return 0;
    });
}

int ZAFOLDAPHostGetSupportedSchema(ZAFOLDAP_HOST *pHost) {
    if (pHost == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost");

    return zafo::Guarded(-1, [&] {
        zafo::List definitions;
        char szSchemaDN[kMaxText];
        if (ZAFOLDAPHostGetSchemaDN(pHost, szSchemaDN, sizeof szSchemaDN) != 0) return -2;
        ZAFOLDAP_SEARCH_REQUEST request{};
        request.szBase = szSchemaDN;
        request.blBaseAsIs = 1;
        request.szScope = "baseObject";
        if (ZAFOLDAPSearchMultiValue(pHost, &request, "objectclasses", definitions.address()) !=
            0) {
            return -3;
        }
        for (int i = 0; i < definitions.size(); ++i)
            AddSchemaBits(definitions[i], &pHost->nSchema);
        return 0;
    });
}
