// SPDX-License-Identifier: Apache-2.0
#include "src/core/line_buffer.h"

#include <stdlib.h>

#include <algorithm>
#include <cstring>
#include <ctime>

namespace zafo {

bool LineBuffer::Grow() {
    constexpr size_t kFirst = 1024;
    const size_t capacity = std::min(capacity_ == 0 ? kFirst : 2 * capacity_, kMostLine + kFirst);
    auto *larger = static_cast<char *>(realloc(line_.get(), capacity));
    if (larger == nullptr) return false;
    static_cast<void>(line_.release());
    line_.reset(larger);
    capacity_ = capacity;
    return true;
}

// A tool with small entries writes each one to the pipe separately, and waking up for every one of
// them costs both sides more than the rest of the work. After a few such reads, pause first and let
// more output collect.
LineBuffer::Outcome LineBuffer::ReadAtLeisure(FILE *file) {
    constexpr size_t kFew = 1024;
    constexpr int kPatience = 16;
    constexpr timespec kWhile{0, 1'000'000};
    gathered_ += size_ + 1;
    if (TakeBuffered(file)) return Outcome::kLine;
    const bool few = gathered_ < kFew;
    gathered_ = 0;
    if (few && waits_ < kPatience) {
        ++waits_;
    } else if (few && fileno(file) >= 0) {
        nanosleep(&kWhile, nullptr);
    }
    return ReadInParts(file);
}

// Uses fgets because it stops at the end of the buffer. Whether it did so shows in the second-last
// byte, which only then holds a character of the line.
LineBuffer::Outcome LineBuffer::ReadInParts(FILE *file) {
    for (size_ = 0;;) {
        if (capacity_ - size_ < 2 && !Grow()) return Outcome::kNoMemory;
        char *const part = line_.get() + size_;
        const size_t room = capacity_ - size_;
        part[room - 2] = '\n';
        if (fgets(part, static_cast<int>(room), file) == nullptr) {
            if (ferror(file) != 0) return Outcome::kError;
            text_ = line_.get();
            return size_ > 0 ? Outcome::kLine : Outcome::kEnd;
        }
        const bool full = part[room - 2] != '\n' && part[room - 2] != '\0';
        size_ += full ? room - 1 : std::strlen(part);
        if (size_ > kMostLine + 1) return Outcome::kTooLong;
        if (full) continue;
        text_ = line_.get();
        if (size_ > 0 && text_[size_ - 1] == '\n') text_[--size_] = '\0';
        return Outcome::kLine;
    }
}

}  // namespace zafo
