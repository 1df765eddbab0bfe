// SPDX-License-Identifier: Apache-2.0
#include "tools/backup/progress_file.h"

#include <syslog.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <exception>
#include <utility>

#include <fmt/format.h>

#include "base/atomic_file.h"
#include "tools/backup/job_error.h"

namespace zafo::backup {

namespace {

constexpr mode_t kForEverybody = 0644;
constexpr std::int64_t kInterval = 1000;

std::int64_t Now() {
    using std::chrono::duration_cast;
    using std::chrono::milliseconds;
    return duration_cast<milliseconds>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

}  // namespace

ProgressFile::ProgressFile(std::string path, Operation operation, std::string task, int total)
    : path_(std::move(path)), operation_(operation), task_(OneLine(task)), total_(total) {}

void ProgressFile::Stage(std::string_view action) {
    ++stage_;
    action_ = action;
    begun_ = Now();
    Write(action_, 0);
}

void ProgressFile::Tick(std::string_view detail) {
    if (Now() - written_ >= kInterval) Write(fmt::format("{} ({})", action_, detail), 0);
}

void ProgressFile::TickEntries(std::uint64_t done, std::optional<std::uint64_t> total) {
    const std::int64_t now = Now();
    if (now - written_ < kInterval) return;
    std::string words =
        total ? fmt::format("{} of {} entries", done, *total) : fmt::format("{} entries", done);
    const double rate = static_cast<double>(done) * 1000 / static_cast<double>(now - begun_);
    if (rate >= 1) words += fmt::format(", {:.0f} a second", rate);
    if (rate >= 1 && total && *total >= done)
        words += fmt::format(", {:.0f} s left", static_cast<double>(*total - done) / rate);
    Write(fmt::format("{} ({})", action_, words), 0);
}

void ProgressFile::Finish(int status) {
    Write(action_, status);
}

// Progress display is optional; never abandon the job because it cannot be written.
void ProgressFile::Write(std::string_view action, int status) {
    if (path_.empty()) return;
    written_ = Now();
    // Only the holder of the job lock may write, so one temporary name is enough. A leftover of a
    // killed run, or a file planted by someone else with write access to the folder, is removed,
    // never written to.
    AtomicFile file(path_);
    file.Write(
        fmt::format("operation={}\ntask={}\naction={}\ntotal={}\nstage={}\nstatus={}\npid={}\n",
                    Name(operation_), task_, action, total_, stage_, status, getpid()));
    file.SetMode(kForEverybody);
    const int error = file.CommitUnsynced();
    if (error == 0 || complained_) return;
    complained_ = true;
    syslog(LOG_WARNING, "cannot write %s: %s", path_.c_str(), std::strerror(error));
}

void FinishAfter(ProgressFile *progress, const std::function<void()> &job) {
    try {
        job();
    } catch (const JobError &error) {
        progress->Finish(static_cast<int>(error.code));
        throw;
    } catch (const std::exception &) {
        progress->Finish(static_cast<int>(Exit::kSystem));
        throw;
    }
    progress->Finish(0);
}

}  // namespace zafo::backup
