// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <memory>

#include "src/frame/memory.h"

namespace zafo {

// zafoldap/search.h names it. A server decides what comes: without it one line could take all
// memory.
inline constexpr size_t kMostLine = size_t{16} << 20;

// One line of a tool's output, without its line break: where the stream has it, or in a buffer that
// grows up to the bound.
class LineBuffer {
  public:
    enum class Outcome { kLine, kEnd, kError, kNoMemory, kTooLong };

    Outcome Read(FILE *file);

    // The same where nobody waits for the line.
    Outcome ReadAtLeisure(FILE *file);

    // Until the next Read.
    char *text() const { return text_; }
    size_t size() const { return size_; }

  private:
    bool Grow();
    bool TakeBuffered(FILE *file);
    Outcome ReadInParts(FILE *file);

    std::unique_ptr<char, FreeMemory> line_;
    size_t capacity_ = 0;
    char *text_ = nullptr;
    size_t size_ = 0;
    size_t gathered_ = 0;  // bytes of lines that came at once
    int waits_ = 0;        // how often it was for few
};

inline LineBuffer::Outcome LineBuffer::Read(FILE *file) {
    return TakeBuffered(file) ? Outcome::kLine : ReadInParts(file);
}

// Most lines stand whole between the two pointers from which glibc's getc_unlocked, compiled into
// its callers, takes what has been read. They are ended there: what was read is not looked at
// again.
inline bool LineBuffer::TakeBuffered([[maybe_unused]] FILE *file) {
#ifdef __GLIBC__
    char *const begin = file->_IO_read_ptr;
    const auto held = static_cast<size_t>(file->_IO_read_end - begin);
    auto *end = held > 0 ? static_cast<char *>(std::memchr(begin, '\n', held)) : nullptr;
    if (end == nullptr || static_cast<size_t>(end - begin) > kMostLine) return false;
    *end = '\0';
    text_ = begin;
    size_ = static_cast<size_t>(end - begin);
    file->_IO_read_ptr = end + 1;
    return true;
#else
    return false;
#endif
}

}  // namespace zafo
