// SPDX-License-Identifier: Apache-2.0
#include "src/core/ldap_browser_conf.h"

#include "platform/crypt.h"
#include "platform/error.h"
#include "platform/file.h"
#include "platform/ldap.h"
#include "src/core/list.h"
#include "src/frame/guard.h"
#include "src/frame/log.h"
#include "src/frame/text.h"
#include "zafoldap/connection.h"

namespace {

constexpr size_t kMaxCipher = 1369;  // an encrypted text of 1023 bytes and the final zero
constexpr size_t kMaxSetting = 1024;

// A name for the local server that its certificate is also valid for.
constexpr const char *kLocalServer = "localhost";

// Loads the section, adding an empty one if it does not exist.
int LoadOrAddSection(const char *section, QLIBSZHASH *map) {
    if (QLIBCFileGetSection(zafo::kConnectionFile, section, map) > 0) return 0;
    if (QLIBCFileAddSection(zafo::kConnectionFile, section, map, 0) >= 0) return 0;
    return ZAFO_FAILURE("save borwser conf [%s] failed! [0x%04X]", section, zafo::PlatformError());
}

// A field that is NULL leaves its key in the file unchanged.
int SetPlainFields(const ZAFOLDAP_HOST &host, QLIBSZHASH *map) {
    for (const zafo::BrowserConfKey &row : zafo::kBrowserConfKeys) {
        const char *value = host.*row.field;
        if (value != nullptr && QLIBCSzHashSetValue(map, row.key, value) < 0) return -1;
    }
    return 0;
}

int SetPassword(const ZAFOLDAP_HOST &host, QLIBSZHASH *map) {
    if (host.szBindPasswd == nullptr) return 0;
    char cipher[kMaxCipher] = "";
    if (zafo::Ended(cipher, QLIBCryptSzEncrypt(host.szBindPasswd, cipher, sizeof cipher)) < 0) {
        return ZAFO_FAILURE("Encrypt password failed! [0x%04X]", zafo::PlatformError());
    }
    return QLIBCSzHashSetValue(map, zafo::kKeyBindPasswd, cipher) >= 0 ? 0 : -1;
}

int SetSSL(const ZAFOLDAP_HOST &host, QLIBSZHASH *map) {
    char ssl[kMaxSetting] = "";
    if (zafo::Ended(ssl, ZAFOLDAPSSLToString(host.nSSLType, ssl, sizeof ssl)) < 0) {
        return ZAFO_FAILURE("Bad parameters.");
    }
    return QLIBCSzHashSetValue(map, zafo::kKeySSL, ssl) >= 0 ? 0 : -1;
}

}  // namespace

int ZAFOLDAPBrowserConfSet(const ZAFOLDAP_HOST *host, const char *section) {
    if (host == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost");
    if (section == nullptr) section = zafo::kOwnConnection;

    const zafo::Map map = zafo::MakeMap();
    if (map == nullptr) return zafo::FailWith(QLIB_ERR_OUT_OF_MEMORY);
    if (LoadOrAddSection(section, map.get()) != 0) return -1;
    if (SetPlainFields(*host, map.get()) != 0) return -1;
    if (SetPassword(*host, map.get()) != 0) return -1;
    if (SetSSL(*host, map.get()) != 0) return -1;
    if (QLIBCFileSetSection(zafo::kConnectionFile, section, nullptr, map.get(), 0) < 0) {
        return ZAFO_FAILURE("save borwser conf failed! [0x%04X]", zafo::PlatformError());
    }
    return 0;
}

int ZAFOLDAPBrowserConfSetByServerParam(const ZAFOLDAP_SERVER_PARAM *params) {
    if (params == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pParam");

    ZAFOLDAP_HOST host{};
    char domain[kMaxSetting] = "";
    host.szUri = kLocalServer;
    host.szBaseDN = params->szSuffix;
    host.szBindDN = params->szRootDN;
    host.szBindPasswd = params->szRootPW;
    host.nSSLType = ZAFOLDAP_SSL_START_TLS;
    if (params->szSuffix != nullptr &&
        zafo::Ended(domain, ZAFOLDAPDNDomainName(params->szSuffix, domain, sizeof domain)) == 0) {
        host.szLoginSuffix = domain;
    }
    return ZAFOLDAPBrowserConfSet(&host, nullptr);
}
