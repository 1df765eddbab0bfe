// SPDX-License-Identifier: Apache-2.0
//
// Replaces the tools: the selected call ends with kill -9, together with the process named as its
// victim, as in a power failure.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>

namespace zafo::test {

class KillingTools {
  public:
    // kBefore: the tool has done nothing. kDuring: it has been working for some milliseconds.
    enum class Moment { kBefore, kDuring };

    KillingTools();
    ~KillingTools();
    KillingTools(const KillingTools &) = delete;
    KillingTools &operator=(const KillingTools &) = delete;

    // Counts only calls of the tools with these names, separated by blanks; empty: of all.
    void Count(const std::string &names);

    // Runs `work` in a separate process, which is killed at that tool call, counted from 1 (0:
    // never). True when it was killed, false when it ran to its end.
    bool Kills(const std::function<void()> &work, int call, Moment moment) const;
};

}  // namespace zafo::test
