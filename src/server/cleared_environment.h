// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

namespace zafo {

// Clears the process's environment during its lifetime, then restores the same variables at the
// same addresses and in the same order, because programs keep pointers into it. Only one may exist
// at a time. Throws std::bad_alloc before anything has changed.
class ClearedEnvironment {
  public:
    ClearedEnvironment();
    ClearedEnvironment(const ClearedEnvironment &) = delete;
    ClearedEnvironment &operator=(const ClearedEnvironment &) = delete;
    ~ClearedEnvironment();

  private:
    std::vector<char *> kept_;
};

}  // namespace zafo
