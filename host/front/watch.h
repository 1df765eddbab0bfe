// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/front/child.h"
#include "host/front/tool.h"

namespace zafo::front {

// Runs the tool as a child and ends as it ends, with its exit code or by its
// signal. The child never outlives this process. It is ended early when
//  - the tool ends with its reader and nobody reads standard output any more:
//    then this process dies of SIGPIPE;
//  - it neither reads nor writes anything for that many seconds, and not
//    because its reader is slow: then the exit code is 255.
[[noreturn]] void RunWatched(const Tool &tool, const Command &command, unsigned silence);

}  // namespace zafo::front
