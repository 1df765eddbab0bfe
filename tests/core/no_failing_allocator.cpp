// SPDX-License-Identifier: Apache-2.0
//
// For builds in which a sanitizer owns the allocator: nothing fails, and tests that need failures
// skip themselves.
#include "tests/core/failing_allocator.h"

namespace zafo::core_test {

void FailingAllocator::Begin(long, Mode) {}

void FailingAllocator::StopFailing() {}

long FailingAllocator::End() {
    return 0;
}

bool FailingAllocator::HasFailed() {
    return false;
}

}  // namespace zafo::core_test
