// SPDX-License-Identifier: Apache-2.0
//
// One process at a time changes the server.
#pragma once

#include "tools/cli/session.h"

namespace zafo::cli {

class ServerLock {
  public:
    // Throws Failure ("error_occupied") when another process changes the server.
    ServerLock();
    ~ServerLock();
    ServerLock(const ServerLock &) = delete;
    ServerLock &operator=(const ServerLock &) = delete;

  private:
    int fd_;
};

// Throws Failure ("not_root").
void RequireRoot(const Session &session);

}  // namespace zafo::cli
