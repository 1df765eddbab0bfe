// SPDX-License-Identifier: Apache-2.0
//
// Only one process at a time may change the server.
#pragma once

namespace zafo::cli {

class ServerLock {
  public:
    // Throws Failure ("error_occupied") while another process is changing the server.
    ServerLock();
    ~ServerLock();
    ServerLock(const ServerLock &) = delete;
    ServerLock &operator=(const ServerLock &) = delete;

  private:
    int fd_;
};

}  // namespace zafo::cli
