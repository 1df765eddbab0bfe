// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>

#include "frame/memory.h"

namespace zafo {

// zafoldap/search.h names it. A server decides what comes: without it one line could take all
// memory.
inline constexpr size_t kMostLine = size_t{16} << 20;

// One line of a tool's output, without its line break, in a buffer that grows up to the bound.
class LineBuffer {
  public:
    enum class Outcome { kLine, kEnd, kError, kNoMemory, kTooLong };

    Outcome Read(FILE *file);

    // The same where nobody waits for the line.
    Outcome ReadAtLeisure(FILE *file);

    char *text() const { return line_.get(); }
    size_t size() const { return size_; }

  private:
    bool Grow();
    bool TakeBuffered(FILE *file);
    Outcome ReadInParts(FILE *file);

    std::unique_ptr<char, FreeMemory> line_;
    size_t capacity_ = 0;
    size_t size_ = 0;
    size_t gathered_ = 0;  // bytes of lines that came at once
    int waits_ = 0;        // how often it was for few
};

}  // namespace zafo
