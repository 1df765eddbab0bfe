// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldapbackup/warning.h"

#include <syslog.h>

#include <cstdio>

#include "tools/cli/display_text.h"

namespace zafo::backup {

void Warn(const std::string &words) {
    const std::string line = cli::OneLine(words);
    std::fprintf(stderr, "zafoldapbackup: %s\n", line.c_str());
    syslog(LOG_WARNING, "%s", line.c_str());
}

}  // namespace zafo::backup
