// SPDX-License-Identifier: Apache-2.0
//
// The way of a secret from the front's arguments to a file that only the tool
// can open.
#pragma once

#include <cstddef>

namespace zafo::front {

class Secret {
  public:
    // Copies the text and overwrites it where it stands.
    explicit Secret(char *text);
    // Ends the process when a memory file cannot be made, as the tool must then
    // not run. The name lives until the end of the process.
    const char *MoveToFile();
    ~Secret();
    Secret(const Secret &) = delete;
    Secret &operator=(const Secret &) = delete;

  private:
    char *copy_;
    size_t size_;
};

}  // namespace zafo::front
