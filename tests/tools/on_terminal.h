// SPDX-License-Identifier: Apache-2.0
//
// The installed program in interactive use.
#pragma once

#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zafo::rig {

// Runs the program on its own pseudo-terminal.
class OnTerminal {
  public:
    explicit OnTerminal(std::vector<std::string> arguments,
                        const std::string &program = "/usr/zafo/bin/zafoldap") {
        winsize size{.ws_row = 24, .ws_col = 60, .ws_xpixel = 0, .ws_ypixel = 0};
        pid_ = forkpty(&terminal_, nullptr, nullptr, &size);
        if (pid_ != 0) return;
        arguments.insert(arguments.begin(), program);
        std::vector<char *> argv;
        for (std::string &argument : arguments)
            argv.push_back(argument.data());
        argv.push_back(nullptr);
        execv(argv[0], argv.data());
        _exit(127);
    }
    ~OnTerminal() { close(terminal_); }
    OnTerminal(const OnTerminal &) = delete;
    OnTerminal &operator=(const OnTerminal &) = delete;

    // Waits for the text to appear, then types the answer.
    void Answer(std::string_view question, std::string_view answer) {
        ReadUntil([&] { return seen_.find(question) != std::string::npos; });
        EXPECT_THAT(seen_, testing::HasSubstr(std::string(question)));
        ASSERT_EQ(write(terminal_, answer.data(), answer.size()),
                  static_cast<ssize_t>(answer.size()));
    }

    int Finish() {
        ReadUntil([] { return false; });
        if (!ended_) kill(pid_, SIGKILL);  // waiting for input that never comes
        int status = 0;
        waitpid(pid_, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
    }

    const std::string &Seen() const { return seen_; }

  private:
    template <typename Done>
    void ReadUntil(Done done) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!done() && std::chrono::steady_clock::now() < end) {
            pollfd ready{.fd = terminal_, .events = POLLIN, .revents = 0};
            if (poll(&ready, 1, 1000) <= 0) continue;
            char buffer[1024];
            const ssize_t n = read(terminal_, buffer, sizeof buffer);
            if (n <= 0) {
                ended_ = true;
                return;
            }
            seen_.append(buffer, static_cast<size_t>(n));
        }
    }

    pid_t pid_ = -1;
    int terminal_ = -1;
    std::string seen_;
    bool ended_ = false;
};

}  // namespace zafo::rig
