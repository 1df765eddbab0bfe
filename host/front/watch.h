// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/front/child.h"
#include "host/front/question.h"
#include "host/front/tool.h"

namespace zafo::front {

// The limits of a call.
struct Bounds {
    unsigned silence = 0;  // seconds
    unsigned time = 0;     // seconds, without those in which the reader is slow
    unsigned size = 0;     // MiB of output
};

// The memory limit of a tool whose output a server determines, in bytes.
constexpr rlim_t kMostMemory = rlim_t{192} << 20;

// Runs the tool as a child and ends as it ends, with its exit code or by its
// signal. The child never outlives this process. It is ended early when
//  - the tool ends with its reader and nobody reads standard output any more:
//    then this process dies of SIGPIPE;
//  - it neither reads nor writes anything for that many seconds, and not
//    because its reader is slow: then the exit code is 255;
//  - it runs for longer, or writes more, than the bounds allow: 255, too.
// It is also 255 when a tool that prints what a server sends has used so much memory that it may
// have left something out. A message that goes with an answer is not passed on (question.h).
[[noreturn]] void RunWatched(const Tool &tool, Command command, const Bounds &bounds,
                             const Question &question);

}  // namespace zafo::front
