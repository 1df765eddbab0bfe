// SPDX-License-Identifier: Apache-2.0
//
// A server that accepts connections, records what it receives and never answers.
#pragma once

#include <mutex>
#include <string>
#include <thread>

namespace zafo::test {

class SilentServer {
  public:
    SilentServer();
    ~SilentServer();
    SilentServer(const SilentServer &) = delete;
    SilentServer &operator=(const SilentServer &) = delete;

    // "127.0.0.1:PORT".
    std::string Uri() const;

    // Everything received so far, over all connections.
    std::string Heard();

  private:
    void Listen();

    int listener_;
    int stop_[2];
    std::mutex mutex_;
    std::string heard_;
    std::thread thread_;
};

}  // namespace zafo::test
