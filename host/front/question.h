// SPDX-License-Identifier: Apache-2.0
//
// What is an answer and what is a failure. Callers ask the directory whether something is there by reading
// it, and the tools call "no" an error: they say so on standard error and exit with a code other than 0.
// For the caller the code is the answer. The words would only tell whoever started the caller's program
// of failures that are none.
//
// A call is a question by its own arguments, whoever makes it. What a tool says never makes an answer of
// a failure; it can only unmake one: a bind that fails answers nothing, whatever its code.
#pragma once

#include <string_view>

#include "host/front/tool.h"

namespace zafo::front {

class Question {
  public:
    Question() = default;

    // Reads the arguments as they were passed, secrets still in them, and changes none.
    Question(const Tool &tool, int argc, char **argv);

    // Whether some end of the call may be an answer; else its words need not be kept.
    bool IsAsked() const;

    // Whether the tool's exit code, with what it said, is one. Looks at the change file, which must be
    // there still.
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
