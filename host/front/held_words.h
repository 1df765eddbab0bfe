// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>

#include "base/unique_fd.h"

namespace zafo::front {

// A tool's standard error, held until its end shows whether that is a failure. If standard input is
// a terminal, a person typed the call and gets everything immediately: people do not see exit
// codes. Tools run by a program read nothing, or a file, even when the program itself runs on a
// terminal.
class HeldWords {
  public:
    // From here on the messages are held, unless a person typed the call. Without a pipe they go
    // where they would have gone.
    void Hold();

    // The child's standard error, to be closed here as soon as the child has it; -1: this
    // process's.
    int ChildsEnd() const { return childs_end_.Get(); }
    void CloseChildsEnd() { childs_end_.Reset(-1); }

    // Readable when there is more; -1 at the end.
    int Reader() const { return reader_.Get(); }

    // Takes what is available without waiting. More than 4 KiB is not a short answer: it is passed
    // on, with everything after it.
    void Take();

    // Everything held; also empty when it was already passed on.
    std::string_view Text() const { return {text_, size_}; }

    // Passes on what is held.
    void Deliver();

  private:
    UniqueFd reader_;
    UniqueFd childs_end_;
    bool passing_ = false;
    size_t size_ = 0;
    char text_[4096];
};

}  // namespace zafo::front
