// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldapbackup/restore_job.h"

#include "tools/backup/problem.h"

namespace zafo::backup {

int RunRestore(const Environment &, const std::string &file) {
    throw Problem(Exit::kSystem, "cannot restore " + file + ": restore is not built");
}

}  // namespace zafo::backup
