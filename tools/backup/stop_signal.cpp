// SPDX-License-Identifier: Apache-2.0
#include "tools/backup/stop_signal.h"

#include <csignal>

#include "tools/backup/job_error.h"

namespace zafo::backup {

namespace {

volatile std::sig_atomic_t g_signal = 0;

void Remember(int number) {
    g_signal = number;
}

}  // namespace

void CatchStopSignals() {
    struct sigaction action {};
    action.sa_handler = Remember;  // without SA_RESTART, so that blocking calls notice
    for (const int number : {SIGTERM, SIGINT, SIGHUP})
        sigaction(number, &action, nullptr);
    action.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &action, nullptr);
    // An inherited SIG_IGN would hide the children's ends from wait.
    action.sa_handler = SIG_DFL;
    sigaction(SIGCHLD, &action, nullptr);
}

bool Stopped() {
    return g_signal != 0;
}

void EndIfStopped() {
    if (Stopped()) throw JobError(Exit::kSystem, "it was terminated by a signal");
}

}  // namespace zafo::backup
