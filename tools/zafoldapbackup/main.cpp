// SPDX-License-Identifier: Apache-2.0
//
// The backup program that the library runs: zafoldap/backup.h. Its caller uses the exit code
// (tools/backup/exit_code.h) and the progress file; a user sees one line.
#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <string_view>

#include "tools/backup/job_error.h"
#include "tools/backup/stop_signal.h"
#include "tools/cli/display_text.h"
#include "tools/cli/leftover_files.h"
#include "tools/zafoldapbackup/backup_job.h"
#include "tools/zafoldapbackup/restore_job.h"

namespace {

using namespace zafo::backup;

constexpr const char *kUsage =
    "usage: zafoldapbackup            back up as the variables LDAP_BKP_… say\n"
    "       zafoldapbackup -r FILE    restore a backup\n";

constexpr mode_t kOwnerOnly = 077;

// A file opened under the number of a closed standard descriptor would receive the messages.
void OpenStandardDescriptors() {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        if (fcntl(fd, F_GETFD) < 0 && errno == EBADF) open("/dev/null", O_RDWR);
    }
}

int Fail(const char *operation, Exit code, const char *words) {
    const std::string line = zafo::cli::OneLine(words);
    std::fprintf(stderr, "zafoldapbackup: %s failed: %s\n", operation, line.c_str());
    syslog(LOG_ERR, "%s failed: %s", operation, line.c_str());
    return static_cast<int>(code);
}

template <typename Job>
int RunAndReport(Operation operation, Job job) {
    const char *name = Name(operation).data();
    try {
        return job(ReadEnvironment());
    } catch (const JobError &error) {
        return Fail(name, error.code, error.what());
    } catch (const std::bad_alloc &) {
        return Fail(name, Exit::kSystem, "there is not enough memory");
    } catch (const std::exception &exception) {
        return Fail(name, Exit::kSystem, exception.what());
    }
}

}  // namespace

int main(int argc, char **argv) {
    OpenStandardDescriptors();
    umask(kOwnerOnly);
    openlog("zafoldapbackup", LOG_PID, LOG_DAEMON);
    CatchStopSignals();
    zafo::cli::RemoveLeftoverFiles();
    if (argc == 1) return RunAndReport(Operation::kBackup, RunBackup);
    if (argc == 3 && std::string_view(argv[1]) == "-r" && argv[2][0] != '\0') {
        return RunAndReport(Operation::kRestore, [&](const Environment &environment) {
            return RunRestore(environment, argv[2]);
        });
    }
    std::fputs(kUsage, stderr);
    return static_cast<int>(Exit::kSystem);
}
