// SPDX-License-Identifier: Apache-2.0
//
// Replaces malloc and its family in the process, so that a chosen allocation of the calling thread
// can fail and leaks can be counted.
#pragma once

namespace zafo::core_test {

class FailingAllocator {
  public:
    enum class Mode { kOnce, kFromThenOn };

    // Starts counting allocations; the `nth` (from 1) fails.
    static void Begin(long nth, Mode mode);

    // Lets allocations succeed again; counting continues.
    static void StopFailing();

    // Allocations since Begin that were not freed.
    static long End();

    // Whether an allocation has failed since Begin.
    static bool HasFailed();
};

}  // namespace zafo::core_test
