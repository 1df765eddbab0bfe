// SPDX-License-Identifier: Apache-2.0
#include "platform/service.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "base/appliance_paths.h"
#include "base/child.h"
#include "base/pidfd.h"
#include "base/pipe.h"
#include "base/whole_file.h"
#include "host/core/clean_child.h"
#include "host/core/fail.h"
#include "host/core/service_description.h"
#include "host/core/service_keeper.h"
#include "host/core/service_process.h"
#include "platform/process.h"

namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;
using zafo::DescribeService;
using zafo::Fail;
using zafo::FileUpdate;
using zafo::IsServiceName;
using zafo::OutOfMemoryIs;
using zafo::ProcessId;
using zafo::RecordOfService;
using zafo::RemoveFile;
using zafo::Service;
using zafo::SwitchOfService;
using zafo::UniqueFd;

// --- systemd ------------------------------------------------------------------

struct PipeClose {
    void operator()(FILE *stream) const { QLIBCPclose(stream); }
};

std::string UnitOf(const std::string &name) {
    return name + ".service";
}

// Asks in a way that prints nothing on standard error for a missing unit.
bool IsSystemdUnit(const std::string &name) {
    std::error_code error;
    if (!std::filesystem::is_directory(zafo::kSystemdRuns, error) ||
        access(zafo::kSystemctl, X_OK) != 0) {
        return false;
    }
    const std::unique_ptr<FILE, PipeClose> answer(
        QLIBCPopen(zafo::kSystemctl, "r", "show", "--property=LoadState", "--value",
                   UnitOf(name).c_str(), static_cast<char *>(nullptr)));
    char line[64] = "";
    if (!answer || std::fgets(line, sizeof line, answer.get()) == nullptr) return false;
    const std::string_view state(line, std::string_view(line).find('\n'));
    return !state.empty() && state != "not-found";
}

bool Systemctl(const char *verb, const std::string &name) {
    return zafo::RunClean({zafo::kSystemctl, "--quiet", "--no-ask-password", verb, UnitOf(name)}) ==
           0;
}

// --- Starting -----------------------------------------------------------------

// Returns 0 or the platform error code.
int StartAlone(const Service &service, FileUpdate &record) {
    const std::optional<int> exit_code = zafo::RunClean(service.start);
    if (!exit_code) return QLIB_ERR_OPEN_FAILED;
    const pid_t pid = *exit_code == 0 ? AwaitPidFile(service, [](pid_t) { return true; }) : 0;
    const std::optional<ProcessId> process = zafo::LivingProcess(pid);
    const bool done = process && WriteServiceRecord(record, {.service = *process, .keeper = {}});
    return done ? 0 : QLIB_ERR_SERVICE_START;
}

// The keeper's answer; nothing if it exited without one.
std::optional<int> ReadAnswer(int pipe) {
    std::string text;
    zafo::ReadToEnd(pipe, &text);
    int code = 0;
    const auto [at, error] = std::from_chars(text.data(), text.data() + text.size(), code);
    if (error != std::errc()) return {};
    return code;
}

// The keeper shares the lock: if this process is killed in the meantime, nobody else can start or
// stop the service until the start has finished and is on record.
int StartKept(const std::string &name, const FileUpdate &record) {
    std::optional<zafo::Pipe> pipe = zafo::OpenPipe();
    if (!pipe) return QLIB_ERR_SERVICE_START;
    const std::optional<pid_t> pid = zafo::StartClean({zafo::kServiceKeeper, name}, STDERR_FILENO,
                                                      {pipe->writer.Get(), record.Lock()});
    if (!pid) return QLIB_ERR_OPEN_FAILED;
    pipe->writer.Reset(-1);
    // The keeper daemonises: the child exits, and the keeper continues with another parent.
    zafo::AwaitChild(*pid);
    return ReadAnswer(pipe->reader.Get()).value_or(QLIB_ERR_SERVICE_START);
}

int Start(const std::string &name) {
    const std::optional<Service> service = DescribeService(name);
    if (!service) return Fail(QLIB_ERR_OPEN_FAILED);
    if (QLIBServiceIsEnabled(name.c_str()) == 0 || !zafo::MakeServiceRecords()) {
        return Fail(QLIB_ERR_SERVICE_START);
    }
    FileUpdate record(RecordOfService(name));
    if (record.Error() != 0) return Fail(QLIB_ERR_SERVICE_START);
    if (RecordedProcess(record)) return 0;
    if (const std::optional<ProcessId> by_hand = FindServiceProcess(*service, record)) {
        const bool done = WriteServiceRecord(record, {.service = *by_hand, .keeper = {}});
        return done ? 0 : Fail(QLIB_ERR_SERVICE_START);
    }
    // Leftovers of an earlier run would be mistaken for this one's.
    if (!RemoveFile(service->pid_file) || !RemoveFile(record.Path())) {
        return Fail(QLIB_ERR_SERVICE_START);
    }
    return zafo::ResultOf(service->restart ? StartKept(name, record)
                                           : StartAlone(*service, record));
}

// --- Stopping -----------------------------------------------------------------

bool HasEnded(int pidfd, seconds limit) {
    const auto end = steady_clock::now() + limit;
    for (;;) {
        const auto left = duration_cast<milliseconds>(end - steady_clock::now());
        pollfd event{pidfd, POLLIN, 0};
        const int ready =
            poll(&event, 1, static_cast<int>(std::max<milliseconds::rep>(left.count(), 0)));
        if (ready > 0) return true;
        if (ready == 0 || errno != EINTR) return false;
    }
}

// Sends SIGTERM and waits for the process to exit. The descriptor refers to one process even if its
// number is reused, so the identity is checked once it is open.
bool End(const ProcessId &process, int limit) {
    const UniqueFd pidfd = zafo::OpenPidfd(process.pid);
    if (!pidfd.IsOpen()) return errno == ESRCH;
    if (zafo::LivingProcess(process.pid) != process) return true;
    if (syscall(SYS_pidfd_send_signal, pidfd.Get(), SIGTERM, nullptr, 0) != 0) {
        return errno == ESRCH;
    }
    return HasEnded(pidfd.Get(), seconds(limit));
}

// Before restarting the service, a keeper checks the record under this lock: if the record is gone,
// it exits without restarting.
int Stop(const std::string &name) {
    const std::optional<Service> service = DescribeService(name);
    if (!service) return Fail(QLIB_ERR_OPEN_FAILED);
    if (!zafo::MakeServiceRecords()) return Fail(QLIB_ERR_SERVICE_STOP);
    const FileUpdate record(RecordOfService(name));
    if (record.Error() != 0) return Fail(QLIB_ERR_SERVICE_STOP);
    const std::optional<ProcessId> process = FindServiceProcess(*service, record);
    if (process && !End(*process, service->stop_seconds)) return Fail(QLIB_ERR_SERVICE_STOP);
    bool had_run = process.has_value();
    if (!RemoveFile(service->pid_file, &had_run) || !RemoveFile(record.Path(), &had_run)) {
        return Fail(QLIB_ERR_SERVICE_STOP);
    }
    if (had_run && !service->stopped.empty()) zafo::RunClean(service->stopped);
    return 0;
}

// --- Enabling -----------------------------------------------------------------

int Enable(const std::string &name) {
    const std::filesystem::path path = SwitchOfService(name);
    std::error_code error;
    std::filesystem::create_directories(path.parent_path(), error);
    const UniqueFd file(open(path.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0644));
    return file.IsOpen() ? 0 : Fail(QLIB_ERR_WRITE_FAILED);
}

int Disable(const std::string &name) {
    return RemoveFile(SwitchOfService(name)) ? 0 : Fail(QLIB_ERR_WRITE_FAILED);
}

}  // namespace

int QLIBServiceStart(const char *name, int flags) {
    if (!IsServiceName(name) || flags != 0) return Fail(QLIB_ERR_BAD_ARGUMENT);
    return OutOfMemoryIs(-1, [=] {
        if (!IsSystemdUnit(name)) return Start(name);
        const bool started = Systemctl("is-enabled", name) && Systemctl("start", name);
        return started ? 0 : Fail(QLIB_ERR_SERVICE_START);
    });
}

int QLIBServiceStop(const char *name, int flags) {
    if (!IsServiceName(name) || flags != 0) return Fail(QLIB_ERR_BAD_ARGUMENT);
    return OutOfMemoryIs(-1, [=] {
        if (!IsSystemdUnit(name)) return Stop(name);
        return Systemctl("stop", name) ? 0 : Fail(QLIB_ERR_SERVICE_STOP);
    });
}

int QLIBServiceIsEnabled(const char *name) {
    if (!IsServiceName(name)) return zafo::FailZero(QLIB_ERR_BAD_ARGUMENT);
    return OutOfMemoryIs(0, [=] {
        if (IsSystemdUnit(name)) return Systemctl("is-enabled", name) ? 1 : 0;
        return access(SwitchOfService(name).c_str(), F_OK) == 0 ? 1 : 0;
    });
}

int QLIBServiceEnable(const char *name) {
    if (!IsServiceName(name)) return Fail(QLIB_ERR_BAD_ARGUMENT);
    return OutOfMemoryIs(-1, [=] {
        if (IsSystemdUnit(name)) {
            return Systemctl("enable", name) ? 0 : Fail(QLIB_ERR_WRITE_FAILED);
        }
        return DescribeService(name) ? Enable(name) : Fail(QLIB_ERR_OPEN_FAILED);
    });
}

int QLIBServiceDisable(const char *name) {
    if (!IsServiceName(name)) return Fail(QLIB_ERR_BAD_ARGUMENT);
    return OutOfMemoryIs(-1, [=] {
        if (IsSystemdUnit(name)) {
            return Systemctl("disable", name) ? 0 : Fail(QLIB_ERR_WRITE_FAILED);
        }
        return DescribeService(name) ? Disable(name) : Fail(QLIB_ERR_OPEN_FAILED);
    });
}
