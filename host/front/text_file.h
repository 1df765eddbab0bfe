// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>

namespace zafo::front {

// A whole file in memory; empty when it cannot be read.
class TextFile {
  public:
    explicit TextFile(const char *path);
    ~TextFile();
    TextFile(const TextFile &) = delete;
    TextFile &operator=(const TextFile &) = delete;

    std::string_view Text() const { return {text_, size_}; }

  private:
    char *text_ = nullptr;
    size_t size_ = 0;
};

// Removes from `*text`, and returns, a word surrounded by any number of blanks and tabs.
std::string_view TakeWord(std::string_view *text);

// A decimal number of digits only; false when it is not one or does not fit.
bool ParseNumber(std::string_view text, unsigned &number);

}  // namespace zafo::front
