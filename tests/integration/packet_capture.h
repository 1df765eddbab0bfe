// SPDX-License-Identifier: Apache-2.0
//
// Captures loopback traffic for the lifetime of the object, as an eavesdropper would see it.
#pragma once

#include <atomic>
#include <string>
#include <thread>

namespace zafo::test {

class PacketCapture {
  public:
    // Why this root does not allow capturing; empty if it does.
    static std::string Missing();

    PacketCapture();
    ~PacketCapture();
    PacketCapture(const PacketCapture &) = delete;
    PacketCapture &operator=(const PacketCapture &) = delete;

    // Ends the capture once traffic has ceased. Returns all packets, concatenated.
    std::string Finish();

  private:
    void Listen();

    int socket_;
    std::string seen_;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

}  // namespace zafo::test
