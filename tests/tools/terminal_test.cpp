// SPDX-License-Identifier: Apache-2.0
//
// The program on a terminal: questions, echo, colours, widths.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>

#include "tests/rig/fake_tool.h"
#include "tests/tools/program.h"

namespace {

using namespace zafo::rig;
using testing::HasSubstr;
using testing::Not;

// The program on a pseudo-terminal of its own.
class OnTerminal {
  public:
    explicit OnTerminal(std::vector<std::string> arguments) {
        winsize size{.ws_row = 24, .ws_col = 60, .ws_xpixel = 0, .ws_ypixel = 0};
        pid_ = forkpty(&terminal_, nullptr, nullptr, &size);
        if (pid_ != 0) return;
        arguments.insert(arguments.begin(), "/usr/zafo/bin/zafoldap");
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
        EXPECT_THAT(seen_, HasSubstr(std::string(question)));
        ASSERT_EQ(write(terminal_, answer.data(), answer.size()),
                  static_cast<ssize_t>(answer.size()));
    }

    int Finish() {
        ReadUntil([] { return false; });
        if (!ended_) kill(pid_, SIGKILL);  // it waits for something that nobody types
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

class Terminal : public testing::Test {
  protected:
    Terminal() { ForgetConnections(); }
    static OnTerminal Add() {
        return OnTerminal({"connection", "add", "work", "--uri", "h", "--base", "dc=x", "--bind-dn",
                           "cn=r,dc=x"});
    }
};

TEST_F(Terminal, PasswordIsAskedTwiceAndNotShown) {
    OnTerminal program = Add();
    program.Answer("Password of cn=r,dc=x: ", "geheim\n");
    program.Answer("The same again: ", "geheim\n");
    EXPECT_EQ(program.Finish(), 0);
    EXPECT_THAT(program.Seen(), Not(HasSubstr("geheim")));
    EXPECT_THAT(ReadFile(kConnections), HasSubstr("bindpw"));
}

TEST_F(Terminal, DifferentPasswordsSaveNothing) {
    OnTerminal program = Add();
    program.Answer("Password of cn=r,dc=x: ", "geheim\n");
    program.Answer("The same again: ", "gehein\n");
    EXPECT_EQ(program.Finish(), 2);
    EXPECT_EQ(ReadFile(kConnections), "");
}

TEST_F(Terminal, CtrlCAtAQuestionExitsWith130) {
    OnTerminal program = Add();
    program.Answer("Password of cn=r,dc=x: ", "\x03");
    EXPECT_EQ(program.Finish(), 130);
    EXPECT_EQ(ReadFile(kConnections), "");
}

TEST_F(Terminal, DeleteAsksAndTakesNoForAnAnswer) {
    WriteFile(kConnections, "[work]\nuri=h\nbasedn=dc=x\n");
    OnTerminal no({"connection", "delete", "work"});
    no.Answer("Delete connection \"work\" to h? [y/N] ", "\n");
    EXPECT_EQ(no.Finish(), 2);
    EXPECT_THAT(ReadFile(kConnections), HasSubstr("[work]"));
    OnTerminal yes({"connection", "delete", "work"});
    yes.Answer("[y/N] ", "y\n");
    EXPECT_EQ(yes.Finish(), 0);
    EXPECT_THAT(ReadFile(kConnections), Not(HasSubstr("[work]")));
}

TEST_F(Terminal, NoInputNeverAsks) {
    WriteFile(kConnections, "[work]\nuri=h\nbasedn=dc=x\n");
    OnTerminal program({"connection", "delete", "work", "--no-input"});
    EXPECT_EQ(program.Finish(), 2);
}

TEST_F(Terminal, TablesAreColouredAndFit) {
    WriteFile(kConnections, "[root]\nuri=h\nbasedn=dc=x\n");
    FakeTools tools;
    tools.On("ldapsearch").Output("dn: uid=a,dc=x\ncn: " + std::string(200, 'y') + "\n\n");
    OnTerminal program({"search", "uid=a", "cn"});
    EXPECT_EQ(program.Finish(), 0);
    EXPECT_THAT(program.Seen(), HasSubstr("\033[1mdn"));
    EXPECT_THAT(program.Seen(), HasSubstr("yyy…\r\n"));
    OnTerminal plain({"search", "uid=a", "cn", "--color", "never"});
    EXPECT_EQ(plain.Finish(), 0);
    EXPECT_THAT(plain.Seen(), Not(HasSubstr("\033")));
}

}  // namespace
