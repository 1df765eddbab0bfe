// SPDX-License-Identifier: Apache-2.0
#include "core/ldap_browser_conf.h"

#include "core/list.h"
#include "frame/guard.h"
#include "frame/log.h"
#include "frame/text.h"
#include "platform/crypt.h"
#include "platform/error.h"
#include "platform/file.h"
#include "platform/ldap.h"
#include "zafoldap/connection.h"

namespace {

constexpr size_t kMaxCipher = 1369;  // a text of 1023 bytes, enciphered, and the final zero
constexpr size_t kMaxText = 1024;

// A host name for the local server that its certificate carries too.
constexpr const char *kLocalServer = "localhost";

// Loads the section, making an empty one when there is none.
int LoadOrAddSection(const char *szSection, QLIBSZHASH *pMap) {
    if (QLIBCFileGetSection(zafo::kConnectionFile, szSection, pMap) > 0) return 0;
    if (QLIBCFileAddSection(zafo::kConnectionFile, szSection, pMap, 0) >= 0) return 0;
    ZAFO_LOG("save borwser conf [%s] failed! [0x%04X]", szSection, zafo::PlatformError());
    return -1;
}

// Fields that are NULL leave their key as the file had it.
int SetPlainFields(const ZAFOLDAP_HOST &host, QLIBSZHASH *pMap) {
    for (const zafo::BROWSER_CONF_KEY &row : zafo::kBrowserConfKeys) {
        const char *szValue = host.*row.pszField;
        if (szValue != nullptr && QLIBCSzHashSetValue(pMap, row.szKey, szValue) < 0) return -1;
    }
    return 0;
}

int SetPassword(const ZAFOLDAP_HOST &host, QLIBSZHASH *pMap) {
    if (host.szBindPasswd == nullptr) return 0;
    char szCipher[kMaxCipher] = "";
    if (zafo::Ended(szCipher, QLIBCryptSzEncrypt(host.szBindPasswd, szCipher, sizeof szCipher)) <
        0) {
        ZAFO_LOG("Encrypt password failed! [0x%04X]", zafo::PlatformError());
        return -1;
    }
    return QLIBCSzHashSetValue(pMap, zafo::kKeyBindPasswd, szCipher) >= 0 ? 0 : -1;
}

int SetSSL(const ZAFOLDAP_HOST &host, QLIBSZHASH *pMap) {
    char szSSL[kMaxText] = "";
    if (zafo::Ended(szSSL, ZAFOLDAPSSLToString(host.nSSLType, szSSL, sizeof szSSL)) < 0) {
        ZAFO_LOG("Bad parameters.");
        return -1;
    }
    return QLIBCSzHashSetValue(pMap, zafo::kKeySSL, szSSL) >= 0 ? 0 : -1;
}

}  // namespace

int ZAFOLDAPBrowserConfSet(const ZAFOLDAP_HOST *pHost, const char *szSection) {
    if (pHost == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost");
    if (szSection == nullptr) szSection = zafo::kDefaultSection;

    const zafo::Map map = zafo::MakeMap();
    if (map == nullptr) {
        QLIBCErrSet(QLIB_ERR_OUT_OF_MEMORY);
        return -1;
    }
    if (LoadOrAddSection(szSection, map.get()) != 0) return -1;
    if (SetPlainFields(*pHost, map.get()) != 0) return -1;
    if (SetPassword(*pHost, map.get()) != 0) return -1;
    if (SetSSL(*pHost, map.get()) != 0) return -1;
    if (QLIBCFileSetSection(zafo::kConnectionFile, szSection, nullptr, map.get(), 0) < 0) {
        ZAFO_LOG("save borwser conf failed! [0x%04X]", zafo::PlatformError());
        return -1;
    }
    return 0;
}

int ZAFOLDAPBrowserConfSetByServerParam(const ZAFOLDAP_SERVER_PARAM *pParam) {
    if (pParam == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pParam");

    ZAFOLDAP_HOST host{};
    char szDomain[kMaxText] = "";
    host.szUri = kLocalServer;
    host.szBaseDN = pParam->szSuffix;
    host.szBindDN = pParam->szRootDN;
    host.szBindPasswd = pParam->szRootPW;
    host.nSSLType = ZAFOLDAP_SSL_START_TLS;
    if (pParam->szSuffix != nullptr &&
        zafo::Ended(szDomain, ZAFOLDAPDNDomainName(pParam->szSuffix, szDomain, sizeof szDomain)) ==
            0) {
        host.szLoginSuffix = szDomain;
    }
    return ZAFOLDAPBrowserConfSet(&host, nullptr);
}
