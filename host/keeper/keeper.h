// SPDX-License-Identifier: Apache-2.0
//
// One service that is started again when it ends by itself.
//
// The keeper is the parent of what the service's start program leaves behind (as the nearest subreaper
// above it), so the kernel tells it how the service ended. It keeps nothing else in mind than what the owner
// record says: while that names the process that has ended, nobody has stopped or started the service since,
// and it is the keeper's to start again. The record's lock, which starting and stopping take
// too, is held from that look to the end of the start.
#pragma once

#include "base/unique_fd.h"
#include "host/core/service_process.h"
#include "host/keeper/patience.h"

#include <chrono>
#include <optional>
#include <string>

namespace zafo {

class Keeper {
  public:
    explicit Keeper(std::string name) : name_(std::move(name)) {}

    // The start that was asked for, under a lock that the caller has passed on. 0, or the platform
    // error code; what the start program says goes to standard error.
    int StartFirst(UniqueFd lock);

    // Returns when the service is no longer this keeper's.
    void Keep();

  private:
    using Clock = std::chrono::steady_clock;

    // 0, or the platform error code; `error` gets the start program's words.
    int Start(const Service &service, FileUpdate &record, int error);

    int AwaitEnd() const;
    bool StartAgain(int wait_status);
    bool TryStart(const Service &service, FileUpdate &record);
    bool Wait(std::chrono::milliseconds time) const;
    std::optional<Service> MayStart(const FileUpdate &record) const;

    std::string name_;
    ProcessId service_;
    Clock::time_point since_;
    Patience patience_;
};

}  // namespace zafo
