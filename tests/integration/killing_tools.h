// SPDX-License-Identifier: Apache-2.0
//
// Stands under the tools' names: the call whose turn it is ends with kill -9, and with it the
// process that is named as its victim, as if the power went.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>

namespace zafo::test {

class KillingTools {
  public:
    // kBefore: the tool has done nothing. kDuring: it has been at work for some milliseconds.
    enum class Moment { kBefore, kDuring };

    KillingTools();
    ~KillingTools();
    KillingTools(const KillingTools &) = delete;
    KillingTools &operator=(const KillingTools &) = delete;

    // Only calls of tools with these names, with blanks between them, count; empty: of all.
    void Count(const std::string &names);

    // Runs `work` in a process of its own, which dies at that call of a tool, counted from 1 (0:
    // at none). True when it died, false when it went through.
    bool Kills(const std::function<void()> &work, int call, Moment moment) const;
};

}  // namespace zafo::test
