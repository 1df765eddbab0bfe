// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

namespace zafo {

// Empties the process's environment for as long as it lives, and then gives it back: the same
// variables at the same addresses and in the same order, because programs keep pointers into it.
// One at a time. Throws std::bad_alloc before anything is changed.
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
