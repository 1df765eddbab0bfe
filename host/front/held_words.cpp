// SPDX-License-Identifier: Apache-2.0
#include "host/front/held_words.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace zafo::front {

namespace {

void Close(int &fd) {
    if (fd >= 0) close(fd);
    fd = -1;
}

// A failure here cannot be reported.
void Say(std::string_view words) {
    while (!words.empty()) {
        const ssize_t n = write(STDERR_FILENO, words.data(), words.size());
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return;
        words.remove_prefix(static_cast<size_t>(n));
    }
}

}  // namespace

HeldWords::~HeldWords() {
    Close(ends_[0]);
    Close(ends_[1]);
}

void HeldWords::Hold() {
    if (isatty(STDIN_FILENO) == 1 || pipe2(ends_, O_CLOEXEC) != 0) return;
    // The child's end has its own file description, which blocks when the pipe is full.
    fcntl(ends_[0], F_SETFL, O_NONBLOCK);
}

void HeldWords::CloseChildsEnd() {
    Close(ends_[1]);
}

void HeldWords::Take() {
    // At most what a pipe holds: a tool that never stops must not keep the front from its other
    // duties.
    for (int reads = 0; reads < 32 && ends_[0] >= 0; reads++) {
        if (size_ == sizeof text_) {
            Deliver();
            passing_ = true;
        }
        const ssize_t n = read(ends_[0], text_ + size_, sizeof text_ - size_);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && errno == EAGAIN) break;
        if (n <= 0) Close(ends_[0]);
        if (n > 0) size_ += static_cast<size_t>(n);
    }
    if (passing_) Deliver();
}

void HeldWords::Deliver() {
    Say(Text());
    size_ = 0;
}

}  // namespace zafo::front
