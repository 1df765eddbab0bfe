// SPDX-License-Identifier: Apache-2.0
#include "host/front/held_words.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "base/write_all.h"

namespace zafo::front {

void HeldWords::Hold() {
    int ends[2];
    if (isatty(STDIN_FILENO) == 1 || pipe2(ends, O_CLOEXEC) != 0) return;
    reader_.Reset(ends[0]);
    childs_end_.Reset(ends[1]);
    // The child's end has its own file description, which blocks when the pipe is full.
    fcntl(reader_.Get(), F_SETFL, O_NONBLOCK);
}

void HeldWords::Take() {
    // At most what a pipe holds: a tool that never stops must not keep the front from its other
    // duties.
    for (int reads = 0; reads < 32 && reader_.IsOpen(); reads++) {
        if (size_ == sizeof text_) {
            Deliver();
            passing_ = true;
        }
        const ssize_t n = read(reader_.Get(), text_ + size_, sizeof text_ - size_);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && errno == EAGAIN) break;
        if (n <= 0) reader_.Reset(-1);
        if (n > 0) size_ += static_cast<size_t>(n);
    }
    if (passing_) Deliver();
}

void HeldWords::Deliver() {
    // There is nobody left to tell when this fails.
    WriteAll(STDERR_FILENO, Text());
    size_ = 0;
}

}  // namespace zafo::front
