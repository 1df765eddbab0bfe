// SPDX-License-Identifier: Apache-2.0
//
// Fills in a connection record from a saved connection or the appliance's own client binding, and
// then from the server's description of itself.
#include <strings.h>

#include <cstring>
#include <string>

#include "base/appliance_paths.h"
#include "platform/crypt.h"
#include "platform/error.h"
#include "platform/file.h"
#include "platform/ldap.h"
#include "src/core/directive.h"
#include "src/core/ldap_browser_conf.h"
#include "src/core/list.h"
#include "src/core/object_classes.h"
#include "src/frame/guard.h"
#include "src/frame/log.h"
#include "src/frame/text.h"
#include "zafoldap/connection.h"
#include "zafoldap/error.h"
#include "zafoldap/search.h"

namespace {

using zafo::kBindConf;

constexpr size_t kMaxText = 1024;

// Saved connection ------------------------------------------------------------

int SetPassword(ZAFOLDAP_HOST *host, const QLIBSZHASH *map) {
    const char *cipher = QLIBCSzHashGetValue(map, zafo::kKeyBindPasswd);
    if (cipher == nullptr) return 0;
    char clear[kMaxText] = "";
    if (zafo::Ended(clear, QLIBCryptSzDecrypt(cipher, clear, sizeof clear)) < 0) {
        return ZAFO_FAILURE("Decrypt password failed! [0x%04X]", zafo::PlatformError());
    }
    const int result = ZAFOLDAPHostSet(host, LDAP_HOST_ATTR_BINDPW, clear);
    explicit_bzero(clear, sizeof clear);
    return result;
}

int SetFromSection(ZAFOLDAP_HOST *host, const QLIBSZHASH *map) {
    for (const zafo::BrowserConfKey &row : zafo::kBrowserConfKeys) {
        const char *value = QLIBCSzHashGetValue(map, row.key);
        if (value != nullptr && ZAFOLDAPHostSet(host, row.attribute, value) != 0) return -1;
    }
    if (SetPassword(host, map) != 0) return -1;
    const char *ssl = QLIBCSzHashGetValue(map, zafo::kKeySSL);
    host->nSSLType = ssl != nullptr ? ZAFOLDAPSSLToType(ssl) : ZAFOLDAP_SSL_OFF;
    return 0;
}

// Client binding --------------------------------------------------------------

struct BindConfKey {
    const char *key;
    int attribute;
};

constexpr BindConfKey kBindConfKeys[] = {
    {"uri", LDAP_HOST_ATTR_URI},
    {"binddn", LDAP_HOST_ATTR_BINDDN},
    {"base", LDAP_HOST_ATTR_BASEDN},
};

int SetFromBindConf(ZAFOLDAP_HOST *host) {
    for (const BindConfKey &row : kBindConfKeys) {
        char value[kMaxText];
        const int found = zafo::ReadDirective(kBindConf, row.key, value);
        if (found < 0) {
            return ZAFO_FAILURE("ZAFOLDAPInfoGetFromConf [%s] [%s] failed. [0x%04X]", kBindConf,
                                row.key, zafo::PlatformError());
        }
        if (ZAFOLDAPHostSet(host, row.attribute, found > 0 ? value : nullptr) != 0) return -1;
    }
    return 0;
}

// The record keeps addresses without their scheme; in a list of addresses only the first loses it.
int CutScheme(ZAFOLDAP_HOST *host) {
    if (host->szUri == nullptr) return 0;
    for (const char *scheme : {"ldap://", "ldaps://"}) {
        const size_t scheme_size = std::strlen(scheme);
        if (strncasecmp(host->szUri, scheme, scheme_size) == 0) {
            return ZAFOLDAPHostSet(host, LDAP_HOST_ATTR_URI, host->szUri + scheme_size);
        }
    }
    return 0;
}

int SetLoginSuffix(ZAFOLDAP_HOST *host) {
    char suffix[kMaxText] = "";
    if (zafo::Ended(suffix, ZAFOLDAPLoginSuffixGet(suffix, sizeof suffix)) < 0) {
        ZAFO_LOG("get login suffix failed[0x%04X]", zafo::PlatformError());
        ZAFOLDAPErrSet(ZAFOLDAP_ERR_SERVER_NOT_SUPPORT);
        return -1;
    }
    return ZAFOLDAPHostSet(host, LDAP_HOST_ATTR_LOGIN_SUFFIX, suffix);
}

// A binding without a stored password is an anonymous one.
int SetSecret(ZAFOLDAP_HOST *host) {
    char secret[kMaxText] = "";
    QLIBCErrSet(QLIB_ERR_NONE);
    if (zafo::Ended(secret, ZAFOLDAPSecretGet(secret, sizeof secret)) < 0) {
        const int reason = QLIBCErrGet();
        if (reason == QLIB_ERR_OPEN_FAILED || reason == QLIB_ERR_READ_FAILED) return 0;
        return ZAFO_FAILURE("ZAFOLDAPSecretGet failed. [0x%04X]", zafo::PlatformError());
    }
    const int result = ZAFOLDAPHostSet(host, LDAP_HOST_ATTR_BINDPW, secret);
    explicit_bzero(secret, sizeof secret);
    return result;
}

// Schema ----------------------------------------------------------------------

// Whether an object class definition (RFC 4512 section 4.1.1) mentions a class, as its own name or
// its superior.
bool Mentions(const char *definition, const char *name) {
    return std::strstr(definition, std::string("'").append(name).append("'").c_str()) != nullptr;
}

void AddSchemaBits(const char *definition, unsigned int *schema) {
    for (const zafo::ObjectClass &row : zafo::kObjectClasses) {
        if ((*schema & row.bit) == 0 && Mentions(definition, row.name)) *schema |= row.bit;
    }
}

}  // namespace

int ZAFOLDAPHostInitByBrowserConfig(ZAFOLDAP_HOST *host, const char *section) {
    if (host == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost");
    if (ZAFOLDAPHostInit(host) != 0) return -1;

    const zafo::Map map = zafo::MakeMap();
    if (map == nullptr) return -1;
    if (section == nullptr) section = zafo::kOwnConnection;
    if (QLIBCFileGetSection(zafo::kConnectionFile, section, map.get()) < 1) {
        ZAFO_DEBUG_LOG("conf not found: %s", zafo::kConnectionFile);
        return zafo::FailWith(QLIB_ERR_SECTION_NOT_FOUND);
    }
    if (SetFromSection(host, map.get()) != 0) return -1;

    if (ZAFOLDAPBrowserCheckServerType(host) != 0) {
        ZAFO_DEBUG_LOG("check server type failed, %s (%d)", zafo::ErrorKey(), ZAFOLDAPErrGet());
        return 0;
    }
    if (ZAFOLDAPHostGetSupportedSchema(host) != 0) {
        ZAFO_DEBUG_LOG("get support schema failed, %s (%d)", zafo::ErrorKey(), ZAFOLDAPErrGet());
        return 0;
    }
    return 1;
}

int ZAFOLDAPHostInitByBindConfig(ZAFOLDAP_HOST *host) {
    if (host == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost");
    if (ZAFOLDAPHostInit(host) != 0) return -1;

    if (SetFromBindConf(host) != 0) return -1;
    if (ZAFOLDAPSSLGetByBindConfig(host) != 0) {
        return ZAFO_FAILURE("ZAFOLDAPSSLGetByBindConfig [%s] failed. [0x%04X]", kBindConf,
                            zafo::PlatformError());
    }
    if (CutScheme(host) != 0 || SetLoginSuffix(host) != 0 || SetSecret(host) != 0) return -1;
    if (ZAFOLDAPBrowserCheckServerType(host) != 0) return 0;
    return ZAFOLDAPHostGetSupportedSchema(host) == 0 ? 1 : 0;
}

int ZAFOLDAPSSLGetByBindConfig(ZAFOLDAP_HOST *host) {
    if (host == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost");
    host->nSSLType = ZAFOLDAPSSLTypeGetFromNslcd();
    return 0;
}

int ZAFOLDAPHostGetSchemaDN(ZAFOLDAP_HOST *host, char *dn, size_t size) {
    if (host == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost");
    if (dn == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szDN");
    if (size == 0) return ZAFO_BAD_ARGUMENT("0 < cbDN");

    return zafo::Guarded(-1, [&] {
        ZAFOLDAP_SEARCH_REQUEST request{};
        request.blBaseAsIs = 1;  // with no base: the root DSE
        request.szScope = "baseObject";
        zafo::List values;
        if (ZAFOLDAPSearchMultiValue(host, &request, "subschemaSubentry", values.address()) != 0 ||
            values.size() == 0) {
            return -1;
        }
        zafo::CopyText(values[0], dn, size);
        return 0;
    });
}

int ZAFOLDAPHostGetSupportedSchema(ZAFOLDAP_HOST *host) {
    if (host == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost");

    return zafo::Guarded(-1, [&] {
        zafo::List definitions;
        char schema_dn[kMaxText];
        if (ZAFOLDAPHostGetSchemaDN(host, schema_dn, sizeof schema_dn) != 0) return -2;
        ZAFOLDAP_SEARCH_REQUEST request{};
        request.szBase = schema_dn;
        request.blBaseAsIs = 1;
        request.szScope = "baseObject";
        if (ZAFOLDAPSearchMultiValue(host, &request, "objectclasses", definitions.address()) != 0) {
            return -3;
        }
        for (int i = 0; i < definitions.size(); ++i)
            AddSchemaBits(definitions[i], &host->nSchema);
        return 0;
    });
}
