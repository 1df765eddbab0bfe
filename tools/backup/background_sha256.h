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

// SHA-256 computed alongside other work: input is copied and hashed in a separate thread, started
// once the first block is full. Memory is bounded.
class BackgroundSha256 {
  public:
    BackgroundSha256() = default;
    ~BackgroundSha256() { Finish(); }
    BackgroundSha256(const BackgroundSha256 &) = delete;
    BackgroundSha256 &operator=(const BackgroundSha256 &) = delete;

    void Add(std::string_view bytes);
    // The digest of everything added. The object must not be used afterwards.
    Digest Take();

  private:
    void HandOver();
    void Start();
    void Work();
    void Finish();

    Sha256 sha_;           // owned by the thread while it runs
    std::string filling_;  // not handed over yet
    std::thread thread_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::string> full_;
    std::vector<std::string> empty_;
    bool finished_ = false;
};

}  // namespace zafo::backup
