// SPDX-License-Identifier: Apache-2.0
#include "tests/rig/running_tool.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <system_error>

namespace zafo::rig {

namespace {

std::vector<char *> Pointers(std::vector<std::string> &texts) {
    std::vector<char *> pointers;
    for (std::string &text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

}  // namespace

RunningTool::RunningTool(std::vector<std::string> argv, std::vector<std::string> environment,
                         const std::string &folder) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category());
    read_ = ends[0];
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
    const int error = posix_spawn(&pid_, argv[0].c_str(), &actions, nullptr, Pointers(argv).data(),
                                  Pointers(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    if (error != 0) {
        CloseReader();
        throw std::system_error(error, std::generic_category(), argv[0]);
    }
}

RunningTool::~RunningTool() {
    CloseReader();
    if (reaped_) return;
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
}

void RunningTool::CloseReader() {
    if (read_ >= 0) close(read_);
    read_ = -1;
}

ToolOutcome RunningTool::Finish() {
    ToolOutcome outcome;
    char buffer[65536];
    for (ssize_t n; read_ >= 0 && (n = read(read_, buffer, sizeof buffer)) > 0;) {
        outcome.output.append(buffer, static_cast<size_t>(n));
    }
    reaped_ = waitpid(pid_, &outcome.status, 0) == pid_;
    return outcome;
}

bool RunningTool::FinishWithin(std::chrono::milliseconds limit, int &status) {
    const int watch = static_cast<int>(syscall(SYS_pidfd_open, pid_, 0));
    pollfd end{watch, POLLIN, 0};
    const bool over = poll(&end, 1, static_cast<int>(limit.count())) == 1;
    close(watch);
    if (over) reaped_ = waitpid(pid_, &status, 0) == pid_;
    return over;
}

ToolOutcome RunTool(std::vector<std::string> argv, std::vector<std::string> environment,
                    const std::string &folder) {
    return RunningTool(std::move(argv), std::move(environment), folder).Finish();
}

}  // namespace zafo::rig
