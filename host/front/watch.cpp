// SPDX-License-Identifier: Apache-2.0
//
// What a tool does not do itself. ldapsearch ignores SIGPIPE, so it reads the whole answer even
// when nobody wants it any more. libldap's time limits do not cover the TLS handshake: with a
// server that accepts and stays silent a tool retries forever. Nor is a server's answer limited: an
// entry is held in memory before it is printed, and entries may follow without end.
//
// The output does not pass through here, which would cost time: the kernel counts what a tool
// writes.
#include "host/front/watch.h"

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <utility>

#include "base/lines.h"
#include "host/front/failure.h"
#include "host/front/held_words.h"
#include "host/front/text_file.h"

namespace zafo::front {

namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;

// Silence is measured in this many steps.
constexpr unsigned kSteps = 4;

// A tool that used more than this, in KiB, may have hit its memory limit. ldapsearch then prints an
// entry without the value or attributes that did not fit, and succeeds. It holds an entry as
// received, and up to twice that for the current value or attribute: if it stayed below a third of
// the limit, everything fitted.
constexpr long kSafeSize = 60 * 1024;
static_assert(rlim_t{kSafeSize} * 1024 * 3 < kMostMemory);

// The bytes that a process has read and written so far, as the kernel prints them.
class Traffic {
  public:
    explicit Traffic(pid_t process) { std::snprintf(path_, sizeof path_, "/proc/%d/io", process); }

    // Whether any byte went in or out since the last call.
    bool Changed() {
        const TextFile file(path_);
        std::string_view rest = file.Text();
        const size_t read_line = TakeLine(&rest).size();
        std::string_view write_line = TakeLine(&rest);
        const size_t size = read_line + 1 + write_line.size();
        if (size >= sizeof last_ || file.Text().size() < size) return true;
        TakeWord(&write_line);
        const std::string_view number = TakeWord(&write_line);
        std::from_chars(number.data(), number.data() + number.size(), written_);
        const bool changed = file.Text().substr(0, size) != std::string_view(last_, size_);
        std::memcpy(last_, file.Text().data(), size);
        size_ = size;
        return changed;
    }

    // The bytes written, as of the last call of Changed.
    unsigned long long Written() const { return written_; }

  private:
    unsigned long long written_ = 0;
    char path_[32] = "";
    char last_[96] = "";
    size_t size_ = 0;
};

bool ReaderIsSlow() {
    pollfd output{STDOUT_FILENO, POLLOUT, 0};
    return poll(&output, 1, 0) == 0;
}

enum class Event { kEnd, kReaderGone, kSilence, kTooLong, kTooMuch };

Event WaitForEvent(const Tool &tool, pid_t child, int end_of_child, const Bounds &bounds,
                   HeldWords &words) {
    pollfd events[] = {{end_of_child, POLLIN, 0},
                       {tool.ends_with_reader ? STDOUT_FILENO : -1, 0, 0},
                       {words.Reader(), POLLIN, 0}};
    Traffic traffic(child);
    const unsigned step = std::min(bounds.silence, bounds.time) * 1000 / kSteps;
    auto last = steady_clock::now();
    steady_clock::duration quiet{0};
    steady_clock::duration busy{0};
    while (quiet < seconds(bounds.silence)) {
        const int ready = poll(events, 3, static_cast<int>(step));
        if (ready < 0 && errno != EINTR) return Event::kSilence;
        if (ready > 0 && events[0].revents != 0) return Event::kEnd;
        if (ready > 0 && events[1].revents != 0) return Event::kReaderGone;
        if (ready > 0) words.Take();
        events[2].fd = words.Reader();
        const auto now = steady_clock::now();
        const auto passed = now - std::exchange(last, now);
        const bool slow = ReaderIsSlow();
        quiet = traffic.Changed() || slow ? seconds(0) : quiet + passed;
        if (traffic.Written() >> 20 > bounds.size) return Event::kTooMuch;
        if (!slow && (busy += passed) >= seconds(bounds.time)) return Event::kTooLong;
    }
    return Event::kSilence;
}

// "the answer is longer than 16384 MiB"
[[noreturn]] void FailAtBound(const char *what, unsigned bound, const char *unit) {
    char text[96];
    const int size = std::snprintf(text, sizeof text, "%s %u %s", what, bound, unit);
    Fail(kRefused, std::string_view(text, static_cast<size_t>(size)));
}

}  // namespace

void RunWatched(const Tool &tool, Command command, const Bounds &bounds, const Question &question) {
    if (tool.ends_with_reader) command.memory = kMostMemory;
    HeldWords words;
    if (question.IsAsked()) words.Hold();
    const pid_t child = StartChild(command, {.errors = words.ChildsEnd()});
    words.CloseChildsEnd();
    const Event event = WaitForEvent(tool, child, WatchEnd(child), bounds, words);
    rusage usage{};
    const int status = event == Event::kEnd ? Reap(child, &usage) : KillAndReap(child);
    words.Take();
    if (event == Event::kEnd && WIFEXITED(status) &&
        question.IsAnsweredBy(WEXITSTATUS(status), words.Text())) {
        EndAs(status);
    }
    words.Deliver();
    switch (event) {
        case Event::kEnd:
            break;
        case Event::kReaderGone:
            DieOf(SIGPIPE);
        case Event::kSilence:
            Fail(kRefused, "no answer from the server");
        case Event::kTooLong:
            FailAtBound("the answer takes longer than", bounds.time, "seconds");
        case Event::kTooMuch:
            FailAtBound("the answer is longer than", bounds.size, "MiB");
    }
    if (status == 0 && tool.ends_with_reader && usage.ru_maxrss > kSafeSize) {
        Fail(kRefused, "the answer has an entry that is too large");
    }
    EndAs(status);
}

}  // namespace zafo::front
