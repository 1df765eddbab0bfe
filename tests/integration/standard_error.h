// SPDX-License-Identifier: Apache-2.0
//
// Captures the standard error of this process and its children.
#pragma once

#include <string>

namespace zafo::test {

class StandardError {
  public:
    StandardError();
    ~StandardError();
    StandardError(const StandardError &) = delete;
    StandardError &operator=(const StandardError &) = delete;

    // The output since the last call.
    std::string Take();

  private:
    int real_;
    int memory_;
};

}  // namespace zafo::test
