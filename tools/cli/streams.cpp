// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/streams.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <fmt/format.h>

#include "base/write_all.h"
#include "tools/cli/display_text.h"
#include "tools/cli/json_document.h"

namespace zafo::cli {

namespace {

constexpr int kInterruptedExit = 130;
constexpr off_t kMostToolWords = 64 * 1024;

volatile sig_atomic_t g_interrupts = 0;

extern "C" void OnInterrupt(int) {
    if (g_interrupts != 0) _exit(kInterruptedExit);
    g_interrupts = 1;
}

// A file in memory that cannot grow: when a tool floods standard error its writes fail, instead of
// filling the memory. -1 if the system does not support it.
int BoundedMemoryFile() {
    const int fd = memfd_create("tool-words", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    if (fd < 0) return -1;
    if (ftruncate(fd, kMostToolWords) == 0) fcntl(fd, F_ADD_SEALS, F_SEAL_GROW | F_SEAL_SHRINK);
    return fd;
}

// Turns echo off during its lifetime.
class QuietTerminal {
  public:
    QuietTerminal() : changed_(tcgetattr(STDIN_FILENO, &before_) == 0) {
        if (!changed_) return;
        termios quiet = before_;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
    }
    ~QuietTerminal() {
        if (changed_) tcsetattr(STDIN_FILENO, TCSAFLUSH, &before_);
    }
    QuietTerminal(const QuietTerminal &) = delete;
    QuietTerminal &operator=(const QuietTerminal &) = delete;

  private:
    termios before_{};
    bool changed_;
};

// Blocks Ctrl-C except while waiting for input: no interruption is lost between checking the flag
// and a read that would then block forever.
class InterruptibleInput {
  public:
    InterruptibleInput() {
        sigset_t interrupt;
        sigemptyset(&interrupt);
        sigaddset(&interrupt, SIGINT);
        sigprocmask(SIG_BLOCK, &interrupt, &before_);
    }
    ~InterruptibleInput() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
    InterruptibleInput(const InterruptibleInput &) = delete;
    InterruptibleInput &operator=(const InterruptibleInput &) = delete;

    void Wait() const {
        pollfd input{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0};
        while (!Interrupted() && ppoll(&input, 1, nullptr, &before_) < 0 && errno == EINTR) {
        }
        if (Interrupted()) throw OwnFailure(Message::kInterrupted, {});
    }

  private:
    sigset_t before_{};
};

std::string ReadLine() {
    const InterruptibleInput input;
    std::string line;
    for (char c = 0;;) {
        input.Wait();
        const ssize_t n = read(STDIN_FILENO, &c, 1);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0 || c == '\n') return line;
        line += c;
    }
}

std::string Indented(std::string_view text) {
    std::string indented = "  ";
    for (const char c : text) {
        indented += c;
        if (c == '\n') indented += "  ";
    }
    return indented;
}

std::string AsJson(const Failure &failure) {
    return JsonText({{"code", failure.exit_code},
                     {"ldap_code", failure.ldap_code != 0 ? Json(failure.ldap_code) : Json()},
                     {"key", fmt::format("{}.{}", failure.Section(), failure.Key())},
                     {"message", failure.message},
                     {"hint", failure.hint},
                     {"detail", TextOrNull(failure.detail)}}) +
           "\n";
}

}  // namespace

Streams::Streams()
    : real_error_(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3)),
      tool_words_(BoundedMemoryFile()),
      out_terminal_(isatty(STDOUT_FILENO) == 1),
      error_terminal_(isatty(STDERR_FILENO) == 1) {
    if (tool_words_.IsOpen()) dup2(tool_words_.Get(), STDERR_FILENO);
}

Streams::~Streams() {
    if (real_error_.IsOpen()) dup2(real_error_.Get(), STDERR_FILENO);
}

void Streams::Configure(const Globals &globals) {
    globals_ = globals;
}

void Streams::Out(std::string_view text) {
    if (fwrite(text.data(), 1, text.size(), stdout) != text.size()) {
        throw OwnFailure(Message::kOutputFailed, {.reason = std::strerror(errno)});
    }
}

void Streams::Flush() {
    if (fflush(stdout) != 0)
        throw OwnFailure(Message::kOutputFailed, {.reason = std::strerror(errno)});
}

bool Streams::ColorsOn(bool terminal) const {
    if (globals_.color != Color::kAuto) return globals_.color == Color::kAlways;
    const char *no_color = std::getenv("NO_COLOR");
    return terminal && (no_color == nullptr || *no_color == '\0');
}

std::string Streams::Bold(std::string_view text) const {
    return ColorsOut() ? fmt::format("\033[1m{}\033[0m", text) : std::string(text);
}

void Streams::Message(std::string_view text) {
    Passing("");
    fflush(stdout);  // keeps the order right if both go to the same place
    WriteAll(real_error_.Get(), Printable(text));
}

void Streams::Passing(std::string_view line) {
    if (!error_terminal_ || (line.empty() && !passing_)) return;
    passing_ = !line.empty();
    WriteAll(real_error_.Get(), fmt::format("\r\033[K{}", OneLine(line)));
}

void Streams::Event(std::string_view line) {
    Message(fmt::format("{}\n", line));
}

void Streams::Note(std::string_view text) {
    if (globals_.verbosity < 0 || globals_.form == Form::kJson) return;
    Message(fmt::format("{}\n", text));
}

void Streams::Verbose(int verbosity, std::string_view text) {
    if (globals_.verbosity >= verbosity) Message(fmt::format("{}\n", text));
}

void Streams::Report(const Failure &failure) {
    if (globals_.form == Form::kJson) {
        Message(AsJson(failure));
        return;
    }
    Message("");
    WriteAll(real_error_.Get(), ColorsOn(error_terminal_) ? "\033[1;31merror:\033[0m" : "error:");
    std::string text = fmt::format(" {}\n", failure.message);
    if (!failure.detail.empty()) text += Indented(failure.detail) + "\n";
    if (!failure.hint.empty()) text += fmt::format("hint: {}\n", failure.hint);
    Message(text);
}

bool Streams::CanAsk() const {
    return !globals_.no_input && error_terminal_ && isatty(STDIN_FILENO) == 1;
}

std::string Streams::Ask(std::string_view question, bool echo) {
    std::string answer;
    if (echo) {
        Message(question);
        return ReadLine();
    }
    {
        const QuietTerminal quiet;  // before the question, or a fast typist's input shows
        Message(question);
        answer = ReadLine();
    }
    Message("\n");  // the typed one was not echoed
    return answer;
}

std::string Streams::ToolWords() const {
    const off_t end = tool_words_.IsOpen() ? lseek(tool_words_.Get(), 0, SEEK_CUR) : 0;
    std::string words(static_cast<size_t>(end < 0 ? 0 : end), '\0');
    const ssize_t n = pread(tool_words_.Get(), words.data(), words.size(), 0);
    words.resize(n < 0 ? 0 : static_cast<size_t>(n));
    while (words.ends_with('\n'))
        words.pop_back();
    return words;
}

void Streams::ForgetToolWords() {
    if (tool_words_.IsOpen()) lseek(tool_words_.Get(), 0, SEEK_SET);
}

int Streams::Columns() const {
    winsize size{};
    if (!out_terminal_ || ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) return 0;
    return size.ws_col;
}

// Without SA_RESTART, so that an interrupt ends a read from a tool or a person.
void CatchInterrupts() {
    struct sigaction action {};
    action.sa_handler = OnInterrupt;
    sigaction(SIGINT, &action, nullptr);
}

bool Interrupted() {
    return g_interrupts != 0;
}

void ForgetInterrupt() {
    g_interrupts = 0;
}

}  // namespace zafo::cli
