// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tests/core/allocation_failure.h"

namespace zafo::core_test {

const Calls &ReadingCalls();

}  // namespace zafo::core_test
