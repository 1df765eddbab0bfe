// SPDX-License-Identifier: Apache-2.0
#include "host/keeper/keeper.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <thread>

#include "base/child.h"
#include "host/core/clean_child.h"
#include "host/keeper/service_ends.h"
#include "platform/error.h"
#include "platform/service.h"

namespace zafo {

namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::seconds;

// A service that is stopped meanwhile does not wait for its keeper, nor vice versa.
constexpr milliseconds kLook{50};

// Also one that has ended but not been reaped.
bool IsOwnChild(pid_t pid) {
    siginfo_t info{};
    return waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOHANG | WNOWAIT) == 0;
}

std::string InSeconds(milliseconds time) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f s", std::chrono::duration<double>(time).count());
    return text;
}

// For a start program's messages; it cannot grow, because the service may keep it as its standard
// error.
class Words {
  public:
    Words() : file_(memfd_create("words", MFD_CLOEXEC | MFD_ALLOW_SEALING)) {
        if (ftruncate(file_.Get(), kMost) == 0) fcntl(file_.Get(), F_ADD_SEALS, F_SEAL_GROW);
    }
    int File() const { return file_.Get(); }

    std::string Last() const {
        char text[kMost];
        const ssize_t n = pread(file_.Get(), text, sizeof text, 0);
        std::string words(text, strnlen(text, static_cast<size_t>(std::max<ssize_t>(n, 0))));
        while (words.ends_with('\n'))
            words.pop_back();
        words.erase(0, words.rfind('\n') + 1);
        return words.empty() ? "no reason was given" : words;
    }

  private:
    static constexpr size_t kMost = 4096;
    UniqueFd file_;
};

}  // namespace

int Keeper::Start(const Service &service, FileUpdate &record, int error) {
    const std::optional<pid_t> program = StartClean(service.start, error);
    if (!program) return QLIB_ERR_OPEN_FAILED;
    const std::optional<int> status = AwaitChild(*program);
    const pid_t pid = status == 0 ? AwaitPidFile(service, IsOwnChild) : 0;
    const std::optional<ProcessId> process = LivingProcess(pid);
    const std::optional<ProcessId> self = LivingProcess(getpid());
    if (!process || !self || !WriteServiceRecord(record, {.service = *process, .keeper = *self})) {
        return QLIB_ERR_SERVICE_START;
    }
    service_ = *process;
    since_ = Clock::now();
    return 0;
}

int Keeper::StartFirst(UniqueFd lock) {
    FileUpdate record(RecordOfService(name_), std::move(lock));
    const std::optional<Service> service = DescribeService(name_);
    if (!service) return QLIB_ERR_OPEN_FAILED;
    if (record.Error() != 0) return QLIB_ERR_SERVICE_START;
    return Start(*service, record, STDERR_FILENO);
}

// Everything the start program has left is reparented to this process.
int Keeper::AwaitEnd() const {
    for (;;) {
        int status = 0;
        const pid_t pid = waitpid(-1, &status, 0);
        if (pid == service_.pid || (pid < 0 && errno != EINTR)) return status;
    }
}

// The description of the service if this keeper may start it; call under the record's lock.
std::optional<Service> Keeper::MayStart(const FileUpdate &record) const {
    const std::optional<ServiceRecord> content = ReadServiceRecord(record.Path());
    if (record.Error() != 0 || !content || content->service != service_) return {};
    std::optional<Service> service = DescribeService(name_);
    if (!service || !service->restart || QLIBServiceIsEnabled(name_.c_str()) == 0) {
        syslog(LOG_WARNING, "the service %s is no longer enabled and is not restarted",
               name_.c_str());
        return {};
    }
    if (FindServiceProcess(*service, record)) {
        syslog(LOG_WARNING, "the service %s was started by hand and is not restarted",
               name_.c_str());
        return {};
    }
    return service;
}

// Whether this keeper may still start the service when the time is over.
bool Keeper::Wait(milliseconds time) const {
    const std::string path = RecordOfService(name_);
    for (const auto end = Clock::now() + time; Clock::now() < end;) {
        const std::optional<ServiceRecord> content = ReadServiceRecord(path);
        if (!content || content->service != service_) return false;
        std::this_thread::sleep_for(
            std::min(kLook, duration_cast<milliseconds>(end - Clock::now() + milliseconds(1))));
    }
    return true;
}

bool Keeper::TryStart(const Service &service, FileUpdate &record) {
    const Words words;
    RemoveFile(service.pid_file);
    if (Start(service, record, words.File()) == 0) {
        syslog(LOG_NOTICE, "the service %s is running again (process %d)", name_.c_str(),
               service_.pid);
        return true;
    }
    syslog(LOG_ERR, "the service %s does not start: %s", name_.c_str(), words.Last().c_str());
    return false;
}

bool Keeper::StartAgain(int wait_status) {
    const auto lived = duration_cast<milliseconds>(Clock::now() - since_);
    milliseconds wait{0};
    {
        const FileUpdate record(RecordOfService(name_));
        if (!MayStart(record)) return false;
        wait = patience_.AfterEnd(lived);
        syslog(LOG_ERR, "the service %s (process %d) %s after %s; restarting it %s%s",
               name_.c_str(), service_.pid, EndInWords(wait_status).c_str(),
               InSeconds(lived).c_str(), wait.count() > 0 ? "in " : "immediately",
               wait.count() > 0 ? InSeconds(wait).c_str() : "");
        if (!RememberEnd(EndsOfService(name_), {.wait_status = wait_status,
                                                .lived = duration_cast<seconds>(lived),
                                                .when = std::time(nullptr)})) {
            syslog(LOG_WARNING, "cannot write %s", EndsOfService(name_).c_str());
        }
    }
    while (Wait(wait)) {
        FileUpdate record(RecordOfService(name_));
        const std::optional<Service> service = MayStart(record);
        if (!service) return false;
        if (TryStart(*service, record)) return true;
        wait = patience_.AfterFailedStart();
    }
    return false;
}

void Keeper::Keep() {
    for (;;) {
        const int status = AwaitEnd();
        if (IsOrderly(status) || !StartAgain(status)) return;
    }
}

}  // namespace zafo
