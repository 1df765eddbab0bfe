// SPDX-License-Identifier: Apache-2.0
//
// How long a service that ended by itself waits for its next start.
#pragma once

#include <chrono>

namespace zafo {

// A service that has served is wanted back: whoever can end it at will must not get half a minute of
// silence for each time. One that does not even start is most likely to need a person first.
class Patience {
  public:
    using Milliseconds = std::chrono::milliseconds;

    // For a service that served for so long: none at first, and again once it has served for a minute;
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
