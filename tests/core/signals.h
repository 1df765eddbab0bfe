// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <signal.h>
#include <sys/resource.h>

#include <set>
#include <vector>

namespace zafo::core_test {

// Every signal whose default action ends a process; a limit suppresses core files.
inline std::vector<int> DeadlySignals() {
    static const std::set<int> kIgnoredOrStopping = {SIGCHLD, SIGCONT, SIGURG,  SIGWINCH,
                                                     SIGSTOP, SIGTSTP, SIGTTIN, SIGTTOU};
    const rlimit no_core{0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    std::vector<int> signals;
    for (int signal = 1; signal <= SIGRTMAX; ++signal) {
        const bool of_the_c_library = signal > SIGSYS && signal < SIGRTMIN;
        if (!of_the_c_library && !kIgnoredOrStopping.contains(signal)) signals.push_back(signal);
    }
    return signals;
}

}  // namespace zafo::core_test
