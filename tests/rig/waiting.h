// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <thread>

namespace zafo::rig {

// Whether a condition becomes true in time; it is polled every 20 ms.
template <typename IsTrue>
bool Within(std::chrono::seconds limit, IsTrue is_true) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!is_true()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}

}  // namespace zafo::rig
