// SPDX-License-Identifier: Apache-2.0
//
// Children are started with posix_spawn(3): it shares the caller's memory until the program starts,
// so its cost does not grow with the caller as fork's does, and it reports a program that cannot be
// executed.
#pragma once

#include <spawn.h>
#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace zafo {

// How to set up a child. It starts with default signal handling and no blocked signals, and
// inherits all descriptors that are not close-on-exec, as changed by the functions below in the
// order of the calls. Each of them throws std::bad_alloc.
class Spawner {
  public:
    Spawner();
    ~Spawner();
    Spawner(const Spawner &) = delete;
    Spawner &operator=(const Spawner &) = delete;

    // The child's `fd` is the caller's `from`.
    void Pass(int from, int fd);
    // The child's `fd` is "/dev/null".
    void PassNull(int fd);
    // The same, or "/dev/null" if `from` is -1.
    void PassOrNull(int from, int fd);
    // Closes all of the child's descriptors from `fd` up.
    void CloseFrom(int fd);

    void EnterRoot();
    // Gives the child its own process group, so that a terminal's Ctrl-C does not reach it.
    void LeadGroup();

    // 0 or an errno.
    int Start(const char *path, char *const argv[], char *const environment[], pid_t *pid) const;

  private:
    posix_spawn_file_actions_t actions_;
    posix_spawnattr_t attributes_;
};

// The vector for exec(3): pointers into `words`, which it does not write to, and NULL.
std::vector<char *> ArgumentVector(const std::vector<std::string> &words);

// The wait status of a child; nothing if it has already been reaped elsewhere.
std::optional<int> AwaitChild(pid_t pid);

// As in a shell: 128 plus the signal's number if a signal ended the child.
int ExitCodeOf(int wait_status);

}  // namespace zafo
