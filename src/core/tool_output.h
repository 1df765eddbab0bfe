// SPDX-License-Identifier: Apache-2.0
//
// What a tool writes, from the stream that QLIBCPopen gives.
#pragma once

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "platform/process.h"

namespace zafo {

struct CloseToolOutput {
    void operator()(FILE *pOutput) const { QLIBCPclose(pOutput); }
};

// Closes the stream and waits for the tool; its status is not wanted.
using ToolOutput = std::unique_ptr<FILE, CloseToolOutput>;

// The lines, one after the other.
class Lines {
  public:
    explicit Lines(FILE *pOutput) : pOutput_(pOutput) {}
    Lines(const Lines &) = delete;
    Lines &operator=(const Lines &) = delete;
    ~Lines() { std::free(szLine_); }

    // The next line without its line break, valid until the next call; nullptr at the end.
    const char *Next() {
        const ssize_t n = getline(&szLine_, &cbLine_, pOutput_);
        if (n < 0) return nullptr;
        if (n > 0 && szLine_[n - 1] == '\n') szLine_[n - 1] = '\0';
        return szLine_;
    }

  private:
    FILE *pOutput_;
    char *szLine_ = nullptr;
    size_t cbLine_ = 0;
};

// The one line of a tool that writes one, without its line break, cut to the buffer. A signal may
// come in between, a few times. Whether there was one; errno says why not (0: the output ended).
inline bool ReadOnlyLine(FILE *pOutput, char *szLine, size_t cbLine) {
    constexpr int kAttempts = 5;
    const int nSize = static_cast<int>(std::min<size_t>(cbLine, INT_MAX));
    for (int i = 0; i < kAttempts; ++i) {
        errno = 0;  // the end of the output leaves it alone
        if (std::fgets(szLine, nSize, pOutput) != nullptr) {
            szLine[std::strcspn(szLine, "\n")] = '\0';
            return true;
        }
        if (errno != EINTR) break;
        std::clearerr(pOutput);
    }
    return false;
}

}  // namespace zafo
