// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/unique_fd.h"

#include <cstddef>
#include <string_view>

namespace zafo::front {

// What a tool says on standard error, kept until its end shows whether that is a failure. Whoever types a call has
// a terminal for standard input and hears everything at once: a person sees no exit code. A program's tools read
// nothing, or a file, also where the program itself runs before a terminal.
class HeldWords {
  public:
    // From here on the words are kept, unless somebody has typed the call. Where no pipe is to be had
    // they go where they would have gone.
    void Hold();

    // The child's standard error, to be closed here as soon as the child has it; -1: this process's.
    int ChildsEnd() const { return childs_end_.Get(); }
    void CloseChildsEnd() { childs_end_.Reset(-1); }

    // Readable when there are more words; -1 when none come any more.
    int Reader() const { return reader_.Get(); }

    // Takes what there is without waiting. Words of more than 4 KiB are no short answer: they are passed
    // on, and whatever follows them.
    void Take();

    // All that was said; empty as well when it was passed on already.
    std::string_view Text() const { return {text_, size_}; }

    // Passes on what was said.
    void Deliver();

  private:
    UniqueFd reader_;
    UniqueFd childs_end_;
    bool passing_ = false;
    size_t size_ = 0;
    char text_[4096];
};

}  // namespace zafo::front
