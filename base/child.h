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

// What a child starts with. No signal is blocked, ignored or handled there; its descriptors are
// what the caller's that are not close-on-exec become through these functions, in the order of the
// calls. Each throws std::bad_alloc.
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

// The interface of exec: NULL at the end, pointers that it does not write through, into `words`.
std::vector<char *> ArgumentVector(const std::vector<std::string> &words);

// The wait status of a child; nothing when somebody else has reaped it.
std::optional<int> AwaitChild(pid_t pid);

// As a shell has it: 128 and the number of the signal that ended the child.
int ExitCodeOf(int wait_status);

}  // namespace zafo
