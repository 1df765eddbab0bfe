// SPDX-License-Identifier: Apache-2.0
#include "host/core/service_process.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <thread>

#include "base/appliance_paths.h"
#include "base/whole_file.h"
#include "platform/process.h"

namespace zafo {

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds kPidFileLimit{5};
constexpr std::chrono::milliseconds kPidFileStep{10};

// Whether a process runs the program, even if an update has since replaced the file.
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

}  // namespace

std::string RecordOfService(const std::string &name) {
    return std::string(kServiceRecords) + "/" + name;
}

bool MakeServiceRecords() {
    return mkdir(kServiceRecords, 0755) == 0 || errno == EEXIST;
}

std::optional<ServiceRecord> ReadServiceRecord(const std::string &path) {
    const std::string text = ReadHead(path);
    ServiceRecord record;
    const int numbers =
        std::sscanf(text.c_str(), "%d %llu %d %llu", &record.service.pid, &record.service.started,
                    &record.keeper.pid, &record.keeper.started);
    if (numbers < 2) return {};
    if (numbers < 4) record.keeper = {};
    return record;
}

bool WriteServiceRecord(FileUpdate &record, const ServiceRecord &content) {
    std::string text =
        std::to_string(content.service.pid) + ' ' + std::to_string(content.service.started);
    if (content.keeper.pid > 0) {
        text +=
            ' ' + std::to_string(content.keeper.pid) + ' ' + std::to_string(content.keeper.started);
    }
    return record.Replace(text + '\n', 0644) == 0;
}

std::optional<ProcessId> RecordedProcess(const FileUpdate &record) {
    const std::optional<ServiceRecord> content = ReadServiceRecord(record.Path());
    if (!content || LivingProcess(content->service.pid) != content->service) return {};
    return content->service;
}

std::optional<ProcessId> FindServiceProcess(const Service &service, const FileUpdate &record) {
    if (std::optional<ProcessId> recorded = RecordedProcess(record)) return recorded;
    const pid_t pid = QLIBCReadPidFile(service.pid_file.c_str());
    if (pid <= 0 || service.program.empty() || !Runs(pid, service.program)) return {};
    return LivingProcess(pid);
}

pid_t AwaitPidFile(const Service &service, const std::function<bool(pid_t)> &is_ours) {
    const auto limit = steady_clock::now() + kPidFileLimit;
    for (;;) {
        const pid_t pid = QLIBCReadPidFile(service.pid_file.c_str());
        const bool found =
            pid > 0 && is_ours(pid) && (service.program.empty() || Runs(pid, service.program));
        if (found || steady_clock::now() >= limit) return found ? pid : 0;
        std::this_thread::sleep_for(kPidFileStep);
    }
}

bool RemoveFile(const std::string &path, bool *was_there) {
    const bool removed = unlink(path.c_str()) == 0;
    if (was_there != nullptr) *was_there = *was_there || removed;
    return removed || errno == ENOENT;
}

}  // namespace zafo
