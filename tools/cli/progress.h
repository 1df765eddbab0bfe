// SPDX-License-Identifier: Apache-2.0
//
// Progress of long work, on standard error.
#pragma once

#include <chrono>
#include <string>

#include "tools/cli/session.h"

namespace zafo::cli {

// The option --progress of commands with long work, and its effect.
inline const Option kProgressOption{
    .name = "progress",
    .value = "HOW",
    .help =
        "how progress is shown on standard error: auto (default: one line on a terminal, "
        "occasional lines elsewhere), json (one object per change), none",
    .choices = {"auto", "json", "none"}};
enum class ProgressManner { kNone, kOneLine, kLines, kEvents };
ProgressManner MannerOf(const Session &session);

// Work of many equal parts: on a terminal one line that is overwritten, elsewhere a line for each
// tenth, or events: {"event":"progress","phase":"adding users","done":12,"total":500}.
class Progress {
  public:
    // `phase` reads like "adding users".
    Progress(const Session &session, std::string phase, size_t total);
    ~Progress();
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    // To be called now and then.
    void Show(size_t done);

  private:
    using Clock = std::chrono::steady_clock;

    std::string Line(size_t done) const;

    Streams &streams_;
    const std::string phase_;
    const size_t total_;
    const ProgressManner manner_;
    const Clock::time_point start_ = Clock::now();
    size_t shown_ = 0;
    bool begun_ = false;
};

}  // namespace zafo::cli
