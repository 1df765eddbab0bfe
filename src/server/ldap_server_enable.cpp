// SPDX-License-Identifier: Apache-2.0
#include "src/frame/log.h"
#include "src/server/server_files.h"
#include "zafoldap/connection.h"
#include "zafoldap/server.h"

namespace {

// Well above the numbers that the appliance and its clients assign themselves. The counters start
// after the default accounts.
constexpr unsigned kFirstId = 1000000;
constexpr unsigned kLastId = 0x1FFFFF;
constexpr unsigned kNextUid = 1000001;
constexpr unsigned kNextGid = 1000003;

ZAFOLDAP_SERVER_PARAM WithPool(ZAFOLDAP_SERVER_PARAM params) {
    params.nMinUid = kFirstId;
    params.nMinGid = kFirstId;
    params.nCurUid = kNextUid;
    params.nCurGid = kNextGid;
    params.nMaxUid = kLastId;
    params.nMaxGid = kLastId;
    return params;
}

int Prepare(const ZAFOLDAP_SERVER_PARAM &parms) {
    if (ZAFOLDAPServerConfSet(&parms) != 0) return -1;
    if (ZAFOLDAPBrowserConfSetByServerParam(&parms) != 0) return -1;
    ZAFO_DEBUG_LOG("write acl conf to %s", zafo::kAccessRules);
    if (ZAFOLDAPServerACLConfGen(&parms) != 0) return ZAFO_FAILURE("generate acl conf failed.");
    if (ZAFOLDAPServerDBCreate(&parms) != 0) {
        return ZAFO_FAILURE("db create failed[0x%04X]", zafo::PlatformError());
    }
    return 0;
}

}  // namespace

int ZAFOLDAPServerEnable(const ZAFOLDAP_SERVER_PARAM *params) {
    ZAFOLDAPServerStop();
    if (params != nullptr && Prepare(WithPool(*params)) != 0) return -1;
    if (ZAFOLDAPServerStart() != 0) {
        return ZAFO_FAILURE("Start LDAP server failed. [0x%04X]", zafo::PlatformError());
    }
    return params == nullptr ? 0 : ZAFOLDAPServerDefaultAdd();
}
