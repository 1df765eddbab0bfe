// SPDX-License-Identifier: Apache-2.0
//
// What crosses the loopback network while the object lives, as anybody on the wire would see it.
#pragma once

#include <atomic>
#include <string>
#include <thread>

namespace zafo::test {

class PacketCapture {
  public:
    // Why this root lets nobody listen; empty when it does.
    static std::string Missing();

    PacketCapture();
    ~PacketCapture();
    PacketCapture(const PacketCapture &) = delete;
    PacketCapture &operator=(const PacketCapture &) = delete;

    // Ends the capture once nothing more comes. Every packet, one after the other.
    std::string Finish();

  private:
    void Listen();

    int socket_;
    std::string seen_;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

}  // namespace zafo::test
