// SPDX-License-Identifier: Apache-2.0
//
// How far long work is, on standard error: on a terminal one line that is written over, elsewhere a
// line per tenth, or events for a program: one JSON object on a line,
// {"event":"progress","phase":"adding users","done":12,"total":500}.
#pragma once

#include "tools/cli/session.h"

#include <chrono>
#include <cstddef>
#include <string>

namespace zafo::cli {

class Progress {
  public:
    // `phase` reads like "adding users". The command has ProgressOption().
    Progress(const Session &session, std::string phase, size_t total);
    ~Progress();
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    // So many are done; to be called now and then.
    void Show(size_t done);

  private:
    enum class Manner { kNone, kLine, kTenths, kEvents };
    using Clock = std::chrono::steady_clock;

    static Manner MannerOf(const Session &session);
    std::string Line(size_t done) const;

    Streams &streams_;
    const std::string phase_;
    const size_t total_;
    const Manner manner_;
    const Clock::time_point start_ = Clock::now();
    size_t shown_ = 0;
    bool begun_ = false;
};

}  // namespace zafo::cli
