// SPDX-License-Identifier: Apache-2.0
//
// Children of a job: in a process group and with an environment of their own, and no descriptor
// but the standard three.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "base/pipe.h"
#include "base/unique_fd.h"

namespace zafo::backup {

// OpenPipe; throws JobError kSystem.
Pipe MakePipe();

struct ChildSpec {
    std::vector<std::string> argv;  // argv[0] is the path of the program
    int input = -1;                 // a descriptor, which stays the caller's; -1: "/dev/null"
    int output = -1;
};

class Child {
  public:
    // Throws JobError kSystem when the program cannot be started.
    explicit Child(const ChildSpec &spec);
    // Ends a child that nobody has waited for: asks it first.
    ~Child();
    Child(const Child &) = delete;
    Child &operator=(const Child &) = delete;

    // The wait status. May be called again. `meanwhile` is called about every second.
    // Throws JobError kSystem when the job is asked to end while it waits.
    int Wait(const std::function<void()> &meanwhile = {});

    // Asks it to end (SIGTERM), makes it after two seconds, and reaps it.
    void End();

    // What it has said on its standard error so far: the first 4 KiB.
    std::string Words() const;

    pid_t Pid() const { return pid_; }

  private:
    void Reap();

    pid_t pid_ = -1;
    int status_ = 0;
    bool reaped_ = false;
    UniqueFd end_;  // readable when it has ended
    UniqueFd words_;
};

// "exit code 1", "signal 9"
std::string StatusInWords(int wait_status);

// Reads up to `size` bytes; 0 at the end, -1 with errno. Throws JobError kSystem when the job is asked to
// end (stop_signal.h) while it waits.
ssize_t ReadSome(int fd, void *buffer, std::size_t size);

}  // namespace zafo::backup
