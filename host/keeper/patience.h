// SPDX-License-Identifier: Apache-2.0
//
// How long a service that ended by itself waits for its next start.
#pragma once

#include <chrono>

namespace zafo {

// A service that was running is restarted quickly: an attacker who can crash it must not gain half
// a minute of silence each time. One that does not even start most likely needs an administrator.
class Patience {
  public:
    using Milliseconds = std::chrono::milliseconds;

    // For a service that ran for that long: none at first, and again once it has run for a minute;
    // then, each time it lasts less than ten seconds, twice as long as before, 2 s at most.
    Milliseconds AfterEnd(Milliseconds lived);

    // For a start that failed: twice as long each time, 30 s at most.
    Milliseconds AfterFailedStart();

  private:
    Milliseconds end_{0};
    Milliseconds failed_start_{0};
    bool ended_ = false;
};

}  // namespace zafo
