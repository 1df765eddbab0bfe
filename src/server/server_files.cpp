// SPDX-License-Identifier: Apache-2.0
#include "src/server/server_files.h"

#include "src/core/directive.h"
#include "src/frame/log.h"

namespace zafo {

int ReadSuffix(char (&suffix)[kServerText]) {
    if (ReadDirective(kSlapdConf, kSuffix, suffix) > 0) return 0;
    return ZAFO_FAILURE("ZAFOLDAPInfoGetFromConf [%s] [%s] failed. [0x%04X]", kSlapdConf, kSuffix,
                        PlatformError());
}

}  // namespace zafo
