// SPDX-License-Identifier: Apache-2.0
//
// Tells answers from failures. Callers ask the directory whether something exists by reading it,
// and the tools treat "no" as an error: they report it on standard error and exit with a code other
// than 0. For the caller the code is the answer. The message would only report
// failures that are not failures to the user of the caller's program.
//
// Only a call's arguments decide whether it is a question, not its caller. A tool's message never
// turns a failure into an answer; it can only do the opposite: a failed bind answers nothing,
// whatever its code.
#pragma once

#include <string_view>

#include "host/front/tool.h"

namespace zafo::front {

class Question {
  public:
    Question() = default;

    // Reads the arguments as they were passed, secrets included, and changes none.
    Question(const Tool &tool, int argc, char **argv);

    // Whether any exit code of the call may be an answer; if not, its messages need not be held.
    bool IsAsked() const;

    // Whether the tool's exit code, with its message, is one. Reads the change file, which must
    // still exist.
    bool IsAnsweredBy(int exit_code, std::string_view words) const;

  private:
    void ReadSearch(const Tool &tool, int argc, char **argv);
    void ReadChange(const Tool &tool, int argc, char **argv);

    bool entry_ = false;      // is there such an entry?
    bool optional_ = false;   // … of a kind that the server's schema may not have at all?
    bool one_ = false;        // is there any?
    bool anonymous_ = false;  // what does the server tell anybody about itself?
    const char *change_file_ = nullptr;
};

}  // namespace zafo::front
