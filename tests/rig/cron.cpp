// SPDX-License-Identifier: Apache-2.0
#include "tests/rig/cron.h"

#include <grp.h>
#include <signal.h>
#include <unistd.h>

#include <vector>

namespace zafo::rig {

namespace {

constexpr const char *kCron = "/usr/sbin/cron";

RunningTool JustStarted() {
    unlink("/run/crond.reboot");
    return RunningTool({kCron, "-f", "-L", "1"});
}

}  // namespace

std::string Cron::WhyNot() {
    if (access(kCron, X_OK) != 0) return "cron is not installed";
    // cron sets the groups of a job's user, which only a real root may.
    return initgroups("root", 0) == 0 ? "" : "cron cannot run jobs without a real root";
}

Cron::Cron() : daemon_(JustStarted()) {}

Cron::~Cron() {
    kill(daemon_.Pid(), SIGTERM);
    daemon_.Finish();
}

}  // namespace zafo::rig
