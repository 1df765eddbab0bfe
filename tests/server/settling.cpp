// SPDX-License-Identifier: Apache-2.0
//
// Replaces the C library's nanosleep(): waits of whole seconds are counted instead.
#include "tests/server/settling.h"

#include <atomic>
#include <cerrno>
#include <ctime>

namespace {

std::atomic<unsigned> g_slept{0};

}  // namespace

extern "C" __attribute__((visibility("default"))) int nanosleep(const timespec *duration,
                                                                timespec *left) {
    if (duration->tv_sec > 0) {
        g_slept += static_cast<unsigned>(duration->tv_sec);
        return 0;
    }
    const int error = clock_nanosleep(CLOCK_MONOTONIC, 0, duration, left);
    if (error == 0) return 0;
    errno = error;
    return -1;
}

unsigned zafo::server_test::SecondsSlept() {
    return g_slept;
}
