// SPDX-License-Identifier: Apache-2.0
//
// A service is known by its owner record "/run/zafo-service/NAME": the number and the start time of
// the process that its start has left running, and of the keeper that would start it again. A pid file
// alone may name a process that has got a dead service's number; such a one is nobody's to end.
#pragma once

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>

#include "base/atomic_file.h"
#include "base/proc_file.h"
#include "host/core/service_description.h"

namespace zafo {

// What an owner record says, whether or not the processes live.
struct ServiceRecord {
    ProcessId service;
    ProcessId keeper;  // 0: none
};

std::string RecordOfService(const std::string &name);
bool MakeServiceRecords();
std::optional<ServiceRecord> ReadServiceRecord(const std::string &path);
bool WriteServiceRecord(FileUpdate &record, const ServiceRecord &content);

// The process of the owner record, when it still lives.
std::optional<ProcessId> RecordedProcess(const FileUpdate &record);

// The process that is the service: by its record, else by its pid file and program, as of a
// service that was started by hand.
std::optional<ProcessId> FindServiceProcess(const Service &service, const FileUpdate &record);

// The process that a start has left running, as soon as its pid file names it, 0 when that takes
// too long. The service itself writes that file, often with less rights than ours: it must not make
// us end any other program, nor a process that `is_ours` does not know.
pid_t AwaitPidFile(const Service &service, const std::function<bool(pid_t)> &is_ours);

// Whether the file of that name is gone; `was_there` tells whether it was there before.
bool RemoveFile(const std::string &path, bool *was_there = nullptr);

}  // namespace zafo
