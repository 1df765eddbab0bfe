// SPDX-License-Identifier: Apache-2.0
//
// Runs the tool as a child of the front, and ends the front as the tool ended.
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

// The child's output; -1: that of this process.
struct Ends {
    int output = -1;
    int errors = -1;
};

// The child never outlives this process. Ends this process when the tool cannot be run.
pid_t StartChild(const Command &command, const Ends &ends = {});

// A descriptor that is readable when the child has ended. Ends child and process if it cannot be
// opened.
int WatchEnd(pid_t child);

// The wait status; `usage` receives the resources that the child used.
int Reap(pid_t child, rusage *usage = nullptr);
int KillAndReap(pid_t child);

// Ends this process the way a child with that wait status ended.
[[noreturn]] void EndAs(int status);

// By a signal, without a core file.
[[noreturn]] void DieOf(int number);

}  // namespace zafo::front
