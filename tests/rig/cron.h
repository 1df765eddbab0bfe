// SPDX-License-Identifier: Apache-2.0
//
// A real cron, in the private root of a test.
#pragma once

#include <optional>
#include <string>

#include "tests/rig/running_tool.h"

namespace zafo::rig {

class Cron {
  public:
    // Why it cannot run jobs here; empty: it can.
    static std::string WhyNot();

    // As on a freshly started machine: "@reboot" entries run first.
    Cron();
    ~Cron();
    Cron(const Cron &) = delete;
    Cron &operator=(const Cron &) = delete;

  private:
    RunningTool daemon_;
};

}  // namespace zafo::rig
