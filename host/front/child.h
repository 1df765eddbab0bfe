// SPDX-License-Identifier: Apache-2.0
//
// The tool as a child of the front, and the front's end in the tool's way.
#pragma once

#include <sys/resource.h>
#include <sys/types.h>

namespace zafo::front {

struct Command {
    const char *path;
    char **argv;
    char **environment;
    rlim_t memory = RLIM_INFINITY;  // that the tool may have, in bytes
};

// Where a child writes to; -1: where this process does.
struct Ends {
    int output = -1;
    int errors = -1;
};

// The child never outlives this process. Ends this process when the tool cannot be run.
pid_t StartChild(const Command &command, const Ends &ends = {});

// A descriptor that is readable when the child has ended. Ends child and process when there is none.
int WatchEnd(pid_t child);

// The wait status; in `usage`, what the child has used.
int Reap(pid_t child, rusage *usage = nullptr);
int KillAndReap(pid_t child);

// Ends this process as a child with that wait status has ended.
[[noreturn]] void EndAs(int status);

// By a signal, without a core file.
[[noreturn]] void DieOf(int number);

}  // namespace zafo::front
