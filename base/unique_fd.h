// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <unistd.h>

#include <utility>

namespace zafo {

// Owns one descriptor, or none (-1).
class UniqueFd {
  public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : fd_(fd) {}
    UniqueFd(UniqueFd &&other) noexcept : fd_(other.Release()) {}
    UniqueFd &operator=(UniqueFd &&other) noexcept {
        Reset(other.Release());
        return *this;
    }
    ~UniqueFd() { Reset(-1); }

    int Get() const { return fd_; }
    bool IsOpen() const { return fd_ >= 0; }
    int Release() { return std::exchange(fd_, -1); }
    void Reset(int fd) {
        if (fd_ >= 0) close(fd_);
        fd_ = fd;
    }

  private:
    int fd_ = -1;
};

}  // namespace zafo
