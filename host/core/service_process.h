// SPDX-License-Identifier: Apache-2.0
//
// A service is identified by its owner record "/run/zafo-service/NAME": pid and start time of the
// process that its start left running, and of the keeper that restarts it. A pid file alone may
// name an unrelated process that has reused a dead service's pid; such a process must not be
// killed.
#pragma once

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>

#include "base/atomic_file.h"
#include "base/proc_file.h"
#include "host/core/service_description.h"

namespace zafo {

// The content of an owner record, whether or not the processes are alive.
struct ServiceRecord {
    ProcessId service;
    ProcessId keeper;  // pid 0: none
};

std::string RecordOfService(const std::string &name);
bool MakeServiceRecords();
std::optional<ServiceRecord> ReadServiceRecord(const std::string &path);
bool WriteServiceRecord(FileUpdate &record, const ServiceRecord &content);

// The process of the owner record, if it is still alive.
std::optional<ProcessId> RecordedProcess(const FileUpdate &record);

// The process of the service: from its record, or else from its pid file and program, for a service
// that was started by hand.
std::optional<ProcessId> FindServiceProcess(const Service &service, const FileUpdate &record);

// Waits until the pid file names the process that a start has left running; 0 when that takes too
// long. The service writes that file itself, often with fewer rights than ours: it must not make us
// kill any other program, nor a process that `is_ours` rejects.
pid_t AwaitPidFile(const Service &service, const std::function<bool(pid_t)> &is_ours);

// Whether no file of that name is left; `was_there` is set to true if this removed one.
bool RemoveFile(const std::string &path, bool *was_there = nullptr);

}  // namespace zafo
