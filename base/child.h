// SPDX-License-Identifier: Apache-2.0
//
// Children are made by posix_spawn(3): it shares the caller's memory until the program starts, so
// its cost does not grow with the caller as fork's does, and it reports a program that cannot be
// executed.
#pragma once

#include <spawn.h>
#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace zafo {

// How a child is set up. It starts with default signal handling and no signal blocked. It inherits
// the descriptors that are not close-on-exec, changed by the functions below in the order of the
// calls. Each of them throws std::bad_alloc.
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
    // "/dev/null" where `from` is -1.
    void PassOrNull(int from, int fd);
    // The child has no descriptor from `fd` on.
    void CloseFrom(int fd);

    void EnterRoot();
    // A process group of its own: the Ctrl-C of a terminal does not reach it.
    void LeadGroup();

    // 0 or an errno.
    int Start(const char *path, char *const argv[], char *const environment[], pid_t *pid) const;

  private:
    posix_spawn_file_actions_t actions_;
    posix_spawnattr_t attributes_;
};

// What exec(3) takes: pointers into `words`, which it does not write through, and NULL.
std::vector<char *> ArgumentVector(const std::vector<std::string> &words);

// The wait status of a child; nothing when somebody else has reaped it.
std::optional<int> AwaitChild(pid_t pid);

// As in a shell: 128 plus the number of the signal if one ended the child.
int ExitCodeOf(int wait_status);

}  // namespace zafo
