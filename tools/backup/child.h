// SPDX-License-Identifier: Apache-2.0
//
// Children of a job: each in its own process group, with a fixed environment and only the three
// standard descriptors.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "base/pipe.h"
#include "base/unique_fd.h"

namespace zafo::backup {

// Calls OpenPipe; throws JobError kSystem.
Pipe MakePipe();

struct ChildSpec {
    std::vector<std::string> argv;  // argv[0] is the path of the program
    int input = -1;                 // a descriptor owned by the caller; -1: "/dev/null"
    int output = -1;
};

class Child {
  public:
    // Throws JobError kSystem when the program cannot be started.
    explicit Child(const ChildSpec &spec);
    // Ends a child that has not been waited for, with SIGTERM first.
    ~Child();
    Child(const Child &) = delete;
    Child &operator=(const Child &) = delete;

    // Returns the wait status; may be called again. Calls `meanwhile` about once a second. Throws
    // JobError kSystem when the job is asked to stop.
    int Wait(const std::function<void()> &meanwhile = {});

    // Sends SIGTERM, then SIGKILL after two seconds, and reaps it.
    void End();

    // Its standard error so far: the first 4 KiB.
    std::string Words() const;

    pid_t Pid() const { return pid_; }

  private:
    void Reap();

    pid_t pid_ = -1;
    int status_ = 0;
    bool reaped_ = false;
    UniqueFd end_;  // readable once the child has ended
    UniqueFd words_;
};

// "exit code 1", "signal 9"
std::string StatusInWords(int wait_status);

// Reads up to `size` bytes; 0 at the end, -1 with errno. Throws JobError kSystem when the job is
// asked to stop (stop_signal.h) while it waits.
ssize_t ReadSome(int fd, void *buffer, std::size_t size);

}  // namespace zafo::backup
