// SPDX-License-Identifier: Apache-2.0
//
// Two things a tool does not do by itself. ldapsearch ignores SIGPIPE, so it
// reads the whole answer even when nobody wants it any more. And libldap's time
// limits do not cover the TLS handshake: on a server that accepts and says
// nothing a tool tries again and again, for ever.
#include "host/front/watch.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstring>

#include "host/front/failure.h"
#include "host/front/text_file.h"

namespace zafo::front {

namespace {

// Silence is measured in that many steps.
constexpr unsigned kSteps = 4;

// The bytes that a process has read and written so far, as the kernel words it.
class Traffic {
  public:
    explicit Traffic(pid_t process) {
        constexpr std::string_view kHead = "/proc/";
        std::memcpy(path_, kHead.data(), kHead.size());
        char *end = std::to_chars(path_ + kHead.size(), path_ + sizeof path_ - 4, process).ptr;
        std::memcpy(end, "/io", 4);
    }

    // Whether any byte went in or out since the last call.
    bool Changed() {
        const TextFile file(path_);
        std::string_view rest = file.Text();
        const size_t read_line = TakeField(rest, '\n').size();
        const size_t size = read_line + 1 + TakeField(rest, '\n').size();
        if (size >= sizeof last_ || file.Text().size() < size) return true;
        const bool changed = file.Text().substr(0, size) != std::string_view(last_, size_);
        std::memcpy(last_, file.Text().data(), size);
        size_ = size;
        return changed;
    }

  private:
    char path_[32] = "";
    char last_[96] = "";
    size_t size_ = 0;
};

bool ReaderIsSlow() {
    pollfd output{STDOUT_FILENO, POLLOUT, 0};
    return poll(&output, 1, 0) == 0;
}

enum class Event { kEnd, kReaderGone, kSilence };

Event WaitForEvent(const Tool &tool, pid_t child, int end_of_child, unsigned silence) {
    pollfd events[] = {{end_of_child, POLLIN, 0}, {STDOUT_FILENO, 0, 0}};
    const nfds_t count = tool.ends_with_reader ? 2 : 1;
    Traffic traffic(child);
    const int step = static_cast<int>(silence * 1000 / kSteps);
    for (unsigned quiet = 0; quiet < kSteps;) {
        const int ready = poll(events, count, step);
        if (ready < 0 && errno != EINTR) return Event::kSilence;
        if (ready > 0 && events[0].revents != 0) return Event::kEnd;
        if (ready > 0) return Event::kReaderGone;
        if (ready == 0) quiet = traffic.Changed() || ReaderIsSlow() ? 0 : quiet + 1;
    }
    return Event::kSilence;
}

}  // namespace

void RunWatched(const Tool &tool, const Command &command, unsigned silence) {
    const pid_t child = StartChild(command);
    switch (WaitForEvent(tool, child, WatchEnd(child), silence)) {
        case Event::kEnd:
            break;
        case Event::kReaderGone:
            KillAndReap(child);
            DieOf(SIGPIPE);
        case Event::kSilence:
            KillAndReap(child);
            Fail(kRefused, "no answer from the server");
    }
    EndAs(Reap(child));
}

}  // namespace zafo::front
