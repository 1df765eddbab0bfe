// SPDX-License-Identifier: Apache-2.0
//
// A service is known by its owner record "/run/zafo-service/NAME": the number and the start time of
// the process that its start has left running. A pid file alone may name a process that has got a
// dead service's number; such a one is nobody's to end.
#include "platform/service.h"

#include "host/core/fail.h"
#include "host/core/proc_file.h"
#include "host/core/section_text.h"
#include "host/core/unique_fd.h"
#include "host/core/whole_file.h"
#include "platform/process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <vector>

namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;
using zafo::Fail;
using zafo::FileUpdate;
using zafo::OutOfMemoryIs;
using zafo::ReadResult;
using zafo::UniqueFd;

constexpr const char *kRecords = "/run/zafo-service";
constexpr const char *kDescriptions = "/usr/zafo/etc.defaults/service/";
constexpr const char *kSettings = "/usr/zafo/etc/service/";
constexpr const char *kSystemdRuns = "/run/systemd/system";
constexpr const char *kSystemctl = "/usr/bin/systemctl";

constexpr seconds kPidFileLimit{5};
constexpr milliseconds kPidFileStep{10};
constexpr int kStopSeconds = 30;
constexpr int kMostStopSeconds = 3600;

// A name becomes part of file names and of a unit's name.
bool IsServiceName(const char *name) {
    return name != nullptr && *name != '\0' && *name != '.' && *name != '-' &&
           std::string_view(name).find_first_of("/ \t\r\n") == std::string_view::npos;
}

std::vector<std::string> WordsOf(std::string_view text) {
    constexpr std::string_view kBlanks = " \t";
    std::vector<std::string> words;
    for (;;) {
        text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
        if (text.empty()) return words;
        words.emplace_back(text.substr(0, text.find_first_of(kBlanks)));
        text.remove_prefix(words.back().size());
    }
}

// --- Descriptions -------------------------------------------------------------

struct Service {
    std::vector<std::string> start;
    std::vector<std::string> stopped;
    std::string program;
    std::string pid_file;
    int stop_seconds = kStopSeconds;
};

int StopSecondsOf(const std::string &text) {
    int number = 0;
    const char *end = text.data() + text.size();
    const auto [at, error] = std::from_chars(text.data(), end, number);
    const bool valid = error == std::errc() && at == end && number > 0;
    return valid ? std::min(number, kMostStopSeconds) : kStopSeconds;
}

// The pairs of both files, those of the appliance's own settings first.
std::optional<zafo::Pairs> ReadDescription(const std::string &name) {
    std::string text;
    const ReadResult own = zafo::ReadWhole(kSettings + name + ".conf", &text);
    if (own != ReadResult::kDone && own != ReadResult::kAbsent) return {};
    zafo::Pairs pairs = own == ReadResult::kDone ? zafo::PlainPairs(text) : zafo::Pairs();
    if (zafo::ReadWhole(kDescriptions + name + ".conf", &text) != ReadResult::kDone) return {};
    zafo::Pairs defaults = zafo::PlainPairs(text);
    pairs.merge(defaults);
    return pairs;
}

// Nothing when there is no such service, or its description lacks what makes it one.
std::optional<Service> Describe(const std::string &name) {
    std::optional<zafo::Pairs> pairs = ReadDescription(name);
    if (!pairs) return {};
    Service service;
    service.start = WordsOf((*pairs)["start"]);
    service.stopped = WordsOf((*pairs)["stopped"]);
    service.program = (*pairs)["program"];
    service.pid_file = (*pairs)["pid_file"];
    service.stop_seconds = StopSecondsOf((*pairs)["stop_seconds"]);
    if (service.start.empty() || !service.pid_file.starts_with('/')) return {};
    return service;
}

// As QLIBCExecv.
int RunWords(const std::vector<std::string> &words) {
    std::vector<char *> argv;
    argv.reserve(words.size() + 1);
    for (const std::string &word : words)
        argv.push_back(const_cast<char *>(word.c_str()));
    argv.push_back(nullptr);
    return QLIBCExecv(argv[0], argv.data(), 1);
}

// --- systemd ------------------------------------------------------------------

struct PipeClose {
    void operator()(FILE *stream) const { QLIBCPclose(stream); }
};

std::string UnitOf(const std::string &name) {
    return name + ".service";
}

// Asked in a way that says nothing on standard error about a unit that is missing.
bool IsSystemdUnit(const std::string &name) {
    std::error_code error;
    if (!std::filesystem::is_directory(kSystemdRuns, error) || access(kSystemctl, X_OK) != 0) {
        return false;
    }
    const std::unique_ptr<FILE, PipeClose> answer(
        QLIBCPopen(kSystemctl, "r", "show", "--property=LoadState", "--value", UnitOf(name).c_str(),
                   static_cast<char *>(nullptr)));
    char line[64] = "";
    if (!answer || std::fgets(line, sizeof line, answer.get()) == nullptr) return false;
    const std::string_view state(line, std::string_view(line).find('\n'));
    return !state.empty() && state != "not-found";
}

bool Systemctl(const char *verb, const std::string &name) {
    const std::string unit = UnitOf(name);
    return QLIBCExec(kSystemctl, "--quiet", "--no-ask-password", verb, unit.c_str()) == 0;
}

// --- The service's process ----------------------------------------------------

struct Process {
    pid_t pid = 0;
    unsigned long long started = 0;
};

std::string RecordOf(const std::string &name) {
    return std::string(kRecords) + "/" + name;
}

bool MakeRecords() {
    return mkdir(kRecords, 0755) == 0 || errno == EEXIST;
}

bool WriteRecord(FileUpdate &record, pid_t pid) {
    const std::optional<zafo::ProcessFacts> facts = zafo::LivingProcess(pid);
    if (!facts) return false;
    const std::string text = std::to_string(pid) + ' ' + std::to_string(facts->started) + '\n';
    return record.Replace(text, 0644) == 0;
}

// The process of the owner record, when it still lives.
std::optional<Process> RecordedProcess(const FileUpdate &record) {
    const std::string text = zafo::ReadHead(record.Path().c_str());
    Process process;
    if (std::sscanf(text.c_str(), "%d %llu", &process.pid, &process.started) != 2) return {};
    const std::optional<zafo::ProcessFacts> facts = zafo::LivingProcess(process.pid);
    if (!facts || facts->started != process.started) return {};
    return process;
}

// Whether a process runs the program, also when an update has replaced the file since.
bool Runs(pid_t pid, const std::string &program) {
    std::error_code error;
    const std::filesystem::path real = std::filesystem::canonical(program, error);
    if (error) return false;
    char target[PATH_MAX];
    const std::string link = "/proc/" + std::to_string(pid) + "/exe";
    const ssize_t size = readlink(link.c_str(), target, sizeof target);
    if (size <= 0) return false;
    const std::string running(target, static_cast<size_t>(size));
    return running == real.native() || running == real.native() + " (deleted)";
}

// The process that is the service: by its record, else by its pid file and program, as of a
// service that was started by hand.
std::optional<Process> FindProcess(const Service &service, const FileUpdate &record) {
    if (std::optional<Process> recorded = RecordedProcess(record)) return recorded;
    const pid_t pid = QLIBCReadPidFile(service.pid_file.c_str());
    if (pid <= 0 || service.program.empty() || !Runs(pid, service.program)) return {};
    const std::optional<zafo::ProcessFacts> facts = zafo::LivingProcess(pid);
    if (!facts) return {};
    return Process{pid, facts->started};
}

// Whether the file of that name is gone; `was_there` tells whether it was there before.
bool Remove(const std::string &path, bool *was_there = nullptr) {
    const bool removed = unlink(path.c_str()) == 0;
    if (was_there != nullptr) *was_there = *was_there || removed;
    return removed || errno == ENOENT;
}

// The process that a start has left running, as soon as its pid file names it. The service itself
// writes that file, often with less rights than ours: it must not make us end any other program.
pid_t AwaitPidFile(const Service &service) {
    const auto limit = steady_clock::now() + kPidFileLimit;
    for (;;) {
        const pid_t pid = QLIBCReadPidFile(service.pid_file.c_str());
        const bool found = pid > 0 && (service.program.empty() || Runs(pid, service.program));
        if (found || steady_clock::now() >= limit) return found ? pid : 0;
        std::this_thread::sleep_for(kPidFileStep);
    }
}

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

// Asks the process to end and waits for it. The descriptor stands for one process whatever becomes of its
// number: whose it is is looked at again once it is held.
bool End(const Process &process, int limit) {
    const UniqueFd pidfd(static_cast<int>(syscall(SYS_pidfd_open, process.pid, 0)));
    if (!pidfd.IsOpen()) return errno == ESRCH;
    const std::optional<zafo::ProcessFacts> facts = zafo::LivingProcess(process.pid);
    if (!facts || facts->started != process.started) return true;
    if (syscall(SYS_pidfd_send_signal, pidfd.Get(), SIGTERM, nullptr, 0) != 0) {
        return errno == ESRCH;
    }
    return HasEnded(pidfd.Get(), seconds(limit));
}

int Start(const std::string &name) {
    const std::optional<Service> service = Describe(name);
    if (!service) return Fail(QLIB_ERR_OPEN_FAILED);
    if (QLIBServiceIsEnabled(name.c_str()) == 0 || !MakeRecords()) {
        return Fail(QLIB_ERR_SERVICE_START);
    }
    FileUpdate record(RecordOf(name));
    if (record.Error() != 0) return Fail(QLIB_ERR_SERVICE_START);
    if (const std::optional<Process> process = FindProcess(*service, record)) {
        return WriteRecord(record, process->pid) ? 0 : Fail(QLIB_ERR_SERVICE_START);
    }
    // What is left of an earlier run would be taken for this one's.
    if (!Remove(service->pid_file) || !Remove(record.Path())) return Fail(QLIB_ERR_SERVICE_START);
    const int result = RunWords(service->start);
    if (result < 0) return -1;
    const pid_t pid = result == 0 ? AwaitPidFile(*service) : 0;
    return pid > 0 && WriteRecord(record, pid) ? 0 : Fail(QLIB_ERR_SERVICE_START);
}

int Stop(const std::string &name) {
    const std::optional<Service> service = Describe(name);
    if (!service) return Fail(QLIB_ERR_OPEN_FAILED);
    if (!MakeRecords()) return Fail(QLIB_ERR_SERVICE_STOP);
    const FileUpdate record(RecordOf(name));
    if (record.Error() != 0) return Fail(QLIB_ERR_SERVICE_STOP);
    const std::optional<Process> process = FindProcess(*service, record);
    if (process && !End(*process, service->stop_seconds)) return Fail(QLIB_ERR_SERVICE_STOP);
    bool had_run = process.has_value();
    if (!Remove(service->pid_file, &had_run) || !Remove(record.Path(), &had_run)) {
        return Fail(QLIB_ERR_SERVICE_STOP);
    }
    if (had_run && !service->stopped.empty()) RunWords(service->stopped);
    return 0;
}

// --- Enabling -----------------------------------------------------------------

std::string SwitchOf(const std::string &name) {
    return kSettings + name + ".enabled";
}

int Enable(const std::string &name) {
    std::error_code error;
    std::filesystem::create_directories(kSettings, error);
    const UniqueFd file(
        open(SwitchOf(name).c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0644));
    return file.IsOpen() ? 0 : Fail(QLIB_ERR_WRITE_FAILED);
}

int Disable(const std::string &name) {
    return Remove(SwitchOf(name)) ? 0 : Fail(QLIB_ERR_WRITE_FAILED);
}

}  // namespace

int QLIBServiceStart(const char *szName, int nFlags) {
    if (!IsServiceName(szName) || nFlags != 0) return Fail(QLIB_ERR_BAD_ARGUMENT);
    return OutOfMemoryIs(-1, [=] {
        if (!IsSystemdUnit(szName)) return Start(szName);
        const bool started = Systemctl("is-enabled", szName) && Systemctl("start", szName);
        return started ? 0 : Fail(QLIB_ERR_SERVICE_START);
    });
}

int QLIBServiceStop(const char *szName, int nFlags) {
    if (!IsServiceName(szName) || nFlags != 0) return Fail(QLIB_ERR_BAD_ARGUMENT);
    return OutOfMemoryIs(-1, [=] {
        if (!IsSystemdUnit(szName)) return Stop(szName);
        return Systemctl("stop", szName) ? 0 : Fail(QLIB_ERR_SERVICE_STOP);
    });
}

int QLIBServiceIsEnabled(const char *szName) {
    if (!IsServiceName(szName)) {
        QLIBCErrSet(QLIB_ERR_BAD_ARGUMENT);
        return 0;
    }
    return OutOfMemoryIs(0, [=] {
        if (IsSystemdUnit(szName)) return Systemctl("is-enabled", szName) ? 1 : 0;
        return access(SwitchOf(szName).c_str(), F_OK) == 0 ? 1 : 0;
    });
}

int QLIBServiceEnable(const char *szName) {
    if (!IsServiceName(szName)) return Fail(QLIB_ERR_BAD_ARGUMENT);
    return OutOfMemoryIs(-1, [=] {
        if (IsSystemdUnit(szName)) {
            return Systemctl("enable", szName) ? 0 : Fail(QLIB_ERR_WRITE_FAILED);
        }
        return Describe(szName) ? Enable(szName) : Fail(QLIB_ERR_OPEN_FAILED);
    });
}

int QLIBServiceDisable(const char *szName) {
    if (!IsServiceName(szName)) return Fail(QLIB_ERR_BAD_ARGUMENT);
    return OutOfMemoryIs(-1, [=] {
        if (IsSystemdUnit(szName)) {
            return Systemctl("disable", szName) ? 0 : Fail(QLIB_ERR_WRITE_FAILED);
        }
        return Describe(szName) ? Disable(szName) : Fail(QLIB_ERR_OPEN_FAILED);
    });
}
