// SPDX-License-Identifier: Apache-2.0
//
// Moves a secret from the front's arguments to a file that only the tool can open.
#pragma once

#include <cstddef>

namespace zafo::front {

class Secret {
  public:
    // Copies the text and overwrites the original.
    explicit Secret(char *text);
    // Ends the process if a memory file cannot be made, because the tool must not run then. The
    // name lives until the end of the process.
    const char *MoveToFile();
    ~Secret();
    Secret(const Secret &) = delete;
    Secret &operator=(const Secret &) = delete;

  private:
    char *copy_;
    size_t size_;
};

}  // namespace zafo::front
