// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldapbackup/warning.h"

#include <syslog.h>

#include <cstdio>

namespace zafo::backup {

void Warn(const std::string &words) {
    std::fprintf(stderr, "zafoldapbackup: %s\n", words.c_str());
    syslog(LOG_WARNING, "%s", words.c_str());
}

}  // namespace zafo::backup
