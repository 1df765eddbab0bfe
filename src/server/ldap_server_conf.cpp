// SPDX-License-Identifier: Apache-2.0
//
// slapd.conf(5) of the local server. The file is never edited in place: it is written anew from
// the template that the appliance ships, with a few directives replaced.
#include "core/list.h"
#include "frame/log.h"
#include "platform/error.h"
#include "platform/ldap.h"
#include "server/server_files.h"
#include "zafoldap/password.h"
#include "zafoldap/server.h"

namespace {

constexpr int kMapCapacity = 512;
constexpr size_t kMaxHash = 1024;

int SetUnlessNull(QLIBSZHASH *pMap, const char *szKey, const char *szValue) {
    return szValue == nullptr || QLIBCSzHashSetValue(pMap, szKey, szValue) >= 0 ? 0 : -1;
}

int SetHash(QLIBSZHASH *pMap, const char *szPassword) {
    if (szPassword == nullptr) return 0;
    char szHash[kMaxHash];
    if (ZAFOLDAPEncryptPasswd(szPassword, szHash, sizeof szHash) != 0) {
        ZAFO_LOG("Encrypt password failed! [0x%04X]", zafo::PlatformError());
        return -1;
    }
    return QLIBCSzHashSetValue(pMap, "rootpw", szHash) >= 0 ? 0 : -1;
}

}  // namespace

int ZAFOLDAPServerConfSet(const ZAFOLDAP_SERVER_PARAM *pParms) {
    if (pParms == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pParms");

    const zafo::Map map(QLIBCSzHashAlloc(kMapCapacity));
    if (map == nullptr) {
        QLIBCErrSet(QLIB_ERR_OUT_OF_MEMORY);
        return -1;
    }
    if (SetUnlessNull(map.get(), zafo::kSuffix, pParms->szSuffix) != 0) return -1;
    if (SetUnlessNull(map.get(), "rootdn", pParms->szRootDN) != 0) return -1;
    if (SetHash(map.get(), pParms->szRootPW) != 0) return -1;
    return ZAFOLDAPConfSet(zafo::kSlapdConf, zafo::kSlapdTemplate, map.get(), 0) < 0 ? -1 : 0;
}

int ZAFOLDAPSlapdConfSetOne(const char *szKey, const char *szValue) {
    return ZAFOLDAPConfSetOne(zafo::kSlapdConf, zafo::kSlapdTemplate, szKey, szValue, 0);
}
