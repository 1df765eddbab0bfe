// SPDX-License-Identifier: Apache-2.0
//
// The local server's slapd.conf(5). The file is never edited in place: it is rewritten from the
// appliance's template, with a few directives replaced.
#include "platform/error.h"
#include "platform/ldap.h"
#include "src/core/list.h"
#include "src/frame/log.h"
#include "src/server/server_files.h"
#include "zafoldap/password.h"
#include "zafoldap/server.h"

namespace {

constexpr int kMapCapacity = 512;
constexpr size_t kMaxHash = 1024;

int SetUnlessNull(QLIBSZHASH *map, const char *key, const char *value) {
    return value == nullptr || QLIBCSzHashSetValue(map, key, value) >= 0 ? 0 : -1;
}

int SetHash(QLIBSZHASH *map, const char *password) {
    if (password == nullptr) return 0;
    char hash[kMaxHash];
    if (ZAFOLDAPEncryptPasswd(password, hash, sizeof hash) != 0) {
        return ZAFO_FAILURE("Encrypt password failed! [0x%04X]", zafo::PlatformError());
    }
    return QLIBCSzHashSetValue(map, "rootpw", hash) >= 0 ? 0 : -1;
}

}  // namespace

int ZAFOLDAPServerConfSet(const ZAFOLDAP_SERVER_PARAM *params) {
    if (params == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pParms");

    const zafo::Map map(QLIBCSzHashAlloc(kMapCapacity));
    if (map == nullptr) return zafo::FailWith(QLIB_ERR_OUT_OF_MEMORY);
    if (SetUnlessNull(map.get(), zafo::kSuffix, params->szSuffix) != 0) return -1;
    if (SetUnlessNull(map.get(), "rootdn", params->szRootDN) != 0) return -1;
    if (SetHash(map.get(), params->szRootPW) != 0) return -1;
    return ZAFOLDAPConfSet(zafo::kSlapdConf, zafo::kSlapdTemplate, map.get(), 0) < 0 ? -1 : 0;
}

int ZAFOLDAPSlapdConfSetOne(const char *key, const char *value) {
    return ZAFOLDAPConfSetOne(zafo::kSlapdConf, zafo::kSlapdTemplate, key, value, 0);
}
