// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>

namespace zafo::front {

// LDIF on its way to standard output, every line "dn:: BASE64" as "dn: TEXT". Needs unfolded lines.
// A DN that is not a single line of text stays encoded.
class DnLines {
  public:
    DnLines() = default;
    ~DnLines();
    DnLines(const DnLines &) = delete;
    DnLines &operator=(const DnLines &) = delete;

    // Takes the next bytes, split anywhere. False when standard output has no reader any more.
    bool Take(std::string_view bytes);

    // The last line if it lacks a line break.
    bool Finish();

  private:
    void Reserve(size_t size);
    bool Hold(std::string_view bytes);
    bool WriteHeld();

    char *held_ = nullptr;  // the line so far, as long as it may be a DN's
    size_t size_ = 0;
    size_t capacity_ = 0;
    bool passing_ = false;  // the line is not a DN's
};

}  // namespace zafo::front
