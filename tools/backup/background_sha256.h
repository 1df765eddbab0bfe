// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "tools/backup/sha256.h"

namespace zafo::backup {

// SHA-256 beside other work: what is added is copied and hashed by a thread of its own, which
// begins when there is more than one block of it. Memory is bounded.
class BackgroundSha256 {
  public:
    BackgroundSha256() = default;
    ~BackgroundSha256() { Finish(); }
    BackgroundSha256(const BackgroundSha256 &) = delete;
    BackgroundSha256 &operator=(const BackgroundSha256 &) = delete;

    void Add(std::string_view bytes);
    // Of all that was added. The object is of no use afterwards.
    Digest Take();

  private:
    void HandOver();
    void Start();
    void Work();
    void Finish();

    Sha256 sha_;           // the thread's while it runs
    std::string filling_;  // not handed over yet
    std::thread thread_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::string> full_;
    std::vector<std::string> empty_;
    bool finished_ = false;
};

}  // namespace zafo::backup
