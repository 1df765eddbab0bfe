// SPDX-License-Identifier: Apache-2.0
//
// What this process and its children say on standard error, in place of saying it.
#pragma once

#include <string>

namespace zafo::test {

class StandardError {
  public:
    StandardError();
    ~StandardError();
    StandardError(const StandardError &) = delete;
    StandardError &operator=(const StandardError &) = delete;

    // What was said since the last call.
    std::string Take();

  private:
    int real_;
    int memory_;
};

}  // namespace zafo::test
