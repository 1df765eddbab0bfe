// SPDX-License-Identifier: Apache-2.0
//
// A tool started directly by a test, with its standard output and error on one pipe and no other
// open descriptors.
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
    // argv[0] is the path; the environment consists of "NAME=VALUE" strings.
    explicit RunningTool(std::vector<std::string> argv, std::vector<std::string> environment = {},
                         const std::string &folder = "/");
    ~RunningTool();
    RunningTool(const RunningTool &) = delete;
    RunningTool &operator=(const RunningTool &) = delete;

    pid_t Pid() const { return pid_; }
    int Reader() const { return read_; }
    void CloseReader();
    // Reads to the end and waits for the tool.
    ToolOutcome Finish();
    // Waits for the end without reading; on timeout returns false and leaves the tool running.
    bool FinishWithin(std::chrono::milliseconds limit, int &status);

  private:
    pid_t pid_ = -1;
    int read_ = -1;
    bool reaped_ = false;
};

ToolOutcome RunTool(std::vector<std::string> argv, std::vector<std::string> environment = {},
                    const std::string &folder = "/");

}  // namespace zafo::rig
