// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <memory>

#include "src/frame/memory.h"

namespace zafo {

// Documented in zafoldap/search.h. The server decides what arrives; without a limit a single line
// could exhaust memory.
inline constexpr size_t kMostLine = size_t{16} << 20;

// One line of a tool's output, without its line break: in place in the stream's buffer, or in a
// buffer that grows up to the limit.
class LineBuffer {
  public:
    enum class Outcome { kLine, kEnd, kError, kNoMemory, kTooLong };

    Outcome Read(FILE *file);

    // The same when nobody is waiting for the line.
    Outcome ReadAtLeisure(FILE *file);

    // Both are valid until the next Read.
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
    size_t gathered_ = 0;  // bytes of the lines that arrived together
    int waits_ = 0;        // how many reads got only a few bytes
};

inline LineBuffer::Outcome LineBuffer::Read(FILE *file) {
    return TakeBuffered(file) ? Outcome::kLine : ReadInParts(file);
}

// Most lines are whole between the two pointers that glibc's getc_unlocked reads through when
// inlined. They are terminated in place: bytes that have been read are not looked at again.
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
