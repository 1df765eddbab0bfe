// SPDX-License-Identifier: Apache-2.0
//
// A tool that a test runs itself, with its standard output and error on one
// pipe and nothing else open.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

namespace zafo::rig {

struct ToolOutcome {
    std::string output;
    int status = 0;  // as from waitpid
};

class RunningTool {
  public:
    // argv[0] is the path; the environment holds "NAME=VALUE" lines.
    explicit RunningTool(std::vector<std::string> argv, std::vector<std::string> environment = {},
                         const std::string &folder = "/");
    ~RunningTool();
    RunningTool(const RunningTool &) = delete;
    RunningTool &operator=(const RunningTool &) = delete;

    pid_t Pid() const { return pid_; }
    int Reader() const { return read_; }
    void CloseReader();
    // Reads to the end, waits for the tool's.
    ToolOutcome Finish();
    // Waits for the end without reading; false, and the tool runs on, when the time is over.
    bool FinishWithin(std::chrono::milliseconds limit, int &status);

  private:
    pid_t pid_ = -1;
    int read_ = -1;
    bool reaped_ = false;
};

ToolOutcome RunTool(std::vector<std::string> argv, std::vector<std::string> environment = {},
                    const std::string &folder = "/");

}  // namespace zafo::rig
