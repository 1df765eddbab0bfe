// SPDX-License-Identifier: Apache-2.0
//
// Runs a program that fails, or dies, at one of its system calls:
//
//   RunWithFault({"/usr/zafo/bin/zafoldapbackup"}, environment, "kill:7");
//
//   "kill:7"           SIGKILL instead of the seventh call
//   "ENOSPC:3"         the third write fails with that error
//   "EIO:1:rename"     the first call of that kind fails, or with "kill" is its last
//   "ENOSPC:3+"        so do all later ones
//   "flip:2"           the second write changes a bit in the middle, unreported
//   "lose:2"           the second write does nothing, unreported
//   ""                 nothing: for its list of calls
//
// Counted calls: "write" (also of the length), "sync", "rename", "unlink", "mkdir", "create"
// (opening with O_CREAT) and "spawn". Calls by its children or inside the C library do not count.
#pragma once

#include <string>
#include <vector>

#include "tests/rig/running_tool.h"

namespace zafo::rig {

struct CountedCall {
    std::string kind;
    std::string path;
};

struct FaultRun {
    int status = 0;  // as from waitpid
    std::string words;
    std::vector<CountedCall> calls;  // all of them, including the one that failed or was killed

    bool Died() const;
    int ExitCode() const;  // -1 if it was killed
};

FaultRun RunWithFault(std::vector<std::string> argv, std::vector<std::string> environment,
                      const std::string &fault);

}  // namespace zafo::rig
