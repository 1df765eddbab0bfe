// SPDX-License-Identifier: Apache-2.0
#include "server/server_files.h"

#include "frame/log.h"
#include "platform/ldap.h"

namespace zafo {

int ReadSuffix(char *szSuffix) {
    if (ZAFOLDAPInfoGetFromConf(kSlapdConf, kSuffix, szSuffix, kServerText) > 0) return 0;
    ZAFO_LOG("ZAFOLDAPInfoGetFromConf [%s] [%s] failed. [0x%04X]", kSlapdConf, kSuffix,
             PlatformError());
    return -1;
}

}  // namespace zafo
