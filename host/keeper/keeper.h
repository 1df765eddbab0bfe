// SPDX-License-Identifier: Apache-2.0
//
// One service that is restarted when it ends by itself.
//
// The keeper is the parent of what the service's start program leaves (as the nearest subreaper
// above it), so the kernel tells it how the service ended. Its only state is the owner record:
// while that names the process that has ended, nobody has stopped or started the service since, and
// the keeper may restart it. The record's lock, which starting and stopping take, too, is held from
// that check to the end of the start.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "base/unique_fd.h"
#include "host/core/service_process.h"
#include "host/keeper/patience.h"

namespace zafo {

class Keeper {
  public:
    explicit Keeper(std::string name) : name_(std::move(name)) {}

    // The requested start, under a lock passed on by the caller. 0, or the platform error code; the
    // start program's messages go to standard error.
    int StartFirst(UniqueFd lock);

    // Returns when the service no longer belongs to this keeper.
    void Keep();

  private:
    using Clock = std::chrono::steady_clock;

    // 0, or the platform error code; `error` receives the start program's messages.
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
