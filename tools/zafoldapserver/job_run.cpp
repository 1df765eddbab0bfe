// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldapserver/job_run.h"

#include <poll.h>
#include <signal.h>

#include <algorithm>
#include <fstream>

#include <fmt/format.h>

#include "base/appliance_paths.h"
#include "platform/error.h"
#include "tools/cli/forked_call.h"
#include "tools/zafoldapserver/job_progress.h"
#include "zafoldap/backup.h"
#include "zafoldap/error.h"

namespace zafo::cli {

namespace {

constexpr int kTries = 20;
constexpr int kNotFound = 127;
constexpr int kSignal = 128;    // what a shell adds to a signal's number
constexpr int kLookEvery = 50;  // milliseconds

// How the last child of the calling process ended. The library does not pass on the backup
// program's exit code, and the progress file may be another job's: SIGCHLD tells them apart.
volatile sig_atomic_t g_ran = 0;
volatile sig_atomic_t g_exit_code = 0;

extern "C" void OnChildEnded(int, siginfo_t *info, void *) {
    g_ran = 1;
    g_exit_code = info->si_code == CLD_EXITED ? info->si_status : kSignal + info->si_status;
}

extern "C" void OnInterruptOfJob(int) {}

// The process that makes the call. Ctrl-C also reaches the backup program, whose end it waits for;
// handlers, unlike ignored signals, are not inherited by programs.
JobOutcome MakeCall(const std::function<int()> &call) {
    struct sigaction action {};
    action.sa_handler = OnInterruptOfJob;
    sigaction(SIGINT, &action, nullptr);
    struct sigaction ended {};
    ended.sa_sigaction = OnChildEnded;
    ended.sa_flags = SA_SIGINFO | SA_RESTART | SA_NOCLDSTOP;
    sigaction(SIGCHLD, &ended, nullptr);
    ZAFOLDAPErrReset();
    QLIBCErrSet(QLIB_ERR_NONE);
    JobOutcome outcome{.ended = true};
    // Another process may be writing the settings for a moment; a nightly backup must not fail
    // because of that.
    for (int left = kTries; left > 0; --left) {
        outcome.result = call();
        const bool again = outcome.result != 0 && g_ran == 0 &&
                           ZAFOLDAPErrGet() == ZAFOLDAP_ERR_OCCUPIED && left > 1;
        if (!again) break;
        poll(nullptr, 0, kLookEvery);
        ZAFOLDAPErrReset();
    }
    outcome.library_code = ZAFOLDAPErrGet();
    outcome.platform_code = QLIBCErrGet();
    outcome.ran = g_ran != 0;
    outcome.exit_code = g_exit_code;
    return outcome;
}

std::vector<pid_t> ChildrenOf(pid_t pid) {
    std::ifstream file(fmt::format("/proc/{}/task/{}/children", pid, pid));
    std::vector<pid_t> children;
    for (pid_t child = 0; file >> child;)
        children.push_back(child);
    return children;
}

// What the exit code adds to its library error's message; a job that failed for another reason has
// reported it in its own words.
std::string Sentence(const Failure &failure, backup::Operation operation, int exit_code) {
    if (exit_code > kSignal)
        return fmt::format("{}: it was killed by signal {}", failure.message, exit_code - kSignal);
    const bool told = exit_code == static_cast<int>(backup::Exit::kBusy) ||
                      exit_code == static_cast<int>(backup::Exit::kSystem);
    return told ? failure.message
                : fmt::format("{}: {}", failure.message, backup::WordsFor(operation, exit_code));
}

int LibraryCodeOf(backup::Operation operation, int exit_code) {
    if (operation == backup::Operation::kBackup) {
        ZAFOLDAPErrReset();
        ZAFOLDAPServerBackupSetError(exit_code);
        return ZAFOLDAPErrGet();
    }
    switch (static_cast<backup::Exit>(exit_code)) {
        case backup::Exit::kBadPlace:
        case backup::Exit::kDamaged:
        case backup::Exit::kNotOurs:
            return ZAFOLDAP_ERR_INVALID_BACKUP_FILE;
        case backup::Exit::kNewerFormat:
            return ZAFOLDAP_ERR_PRODUCT_VERSION;
        case backup::Exit::kOtherSlapd:
            return ZAFOLDAP_ERR_PACKAGE_VERSION;
        case backup::Exit::kDatabaseFull:
            return ZAFOLDAP_ERR_DISK_FULL;
        case backup::Exit::kRootFull:
        case backup::Exit::kRootFullWhileWriting:
            return ZAFOLDAP_ERR_ROOT_PARTITION_FULL;
        default:
            return ZAFOLDAP_ERR_SYSTEM;
    }
}

// What both operations have in common; std::nullopt: the backup program's exit code has the reason.
std::optional<Failure> EarlyFailure(const JobOutcome &outcome, std::string_view operation,
                                    std::string_view tool_words) {
    if (!outcome.ended)
        return OwnFailure(Message::kJobLost, {.subject = std::string(operation)},
                          std::string(tool_words));
    if (Interrupted()) return OwnFailure(Message::kInterrupted, {}, std::string(tool_words));
    // If a program cannot be executed, the child exits like a shell's.
    const bool ran = outcome.ran && outcome.exit_code != kNotFound;
    if (!ran && outcome.platform_code == QLIB_ERR_OPEN_FAILED)
        return OwnFailure(Message::kBackupProgramMissing, {.subject = kBackupProgram});
    if (outcome.ran) return std::nullopt;
    if (outcome.library_code == 0 && outcome.platform_code == QLIB_ERR_NONE)
        return OwnFailure(Message::kServerNotSetUp, {});
    return LibraryFailure(outcome.library_code, outcome.platform_code, {}, tool_words);
}

}  // namespace

JobOutcome RunJob(Session &session, const std::function<int()> &call) {
    session.streams.Flush();
    session.streams.ForgetToolWords();
    ForkedCall<JobOutcome> job([&] { return MakeCall(call); });
    ProgressDisplay display(session);
    bool told = false;
    while (!job.Ended(kLookEvery)) {
        const std::vector<pid_t> own = ChildrenOf(job.Pid());
        // Progress display is optional; never abandon the job because it cannot be read.
        try {
            const std::optional<JobProgress> progress = ReadProgress();
            if (progress && std::ranges::count(own, progress->pid) > 0) display.Show(*progress);
        } catch (const Failure &) {
        }
        if (!Interrupted() || told) continue;
        told = true;
        session.streams.Note("interrupted: cleaning up");
        for (const pid_t child : own)
            kill(child, SIGTERM);
    }
    return job.Result().value_or(JobOutcome());
}

Failure FailureOfExit(backup::Operation operation, int exit_code, std::string_view tool_words) {
    Failure failure = LibraryFailure(LibraryCodeOf(operation, exit_code), 0, {}, tool_words);
    failure.message = Sentence(failure, operation, exit_code);
    return failure;
}

Failure FailureOfExit(backup::Operation operation, const backup::JobError &error) {
    return FailureOfExit(operation, static_cast<int>(error.code), error.what());
}

Failure BackupFailure(const JobOutcome &outcome, std::string_view tool_words) {
    if (auto early = EarlyFailure(outcome, "backup", tool_words)) return *early;
    return FailureOfExit(backup::Operation::kBackup, outcome.exit_code, tool_words);
}

Failure RestoreFailure(const JobOutcome &outcome, std::string_view tool_words) {
    if (auto early = EarlyFailure(outcome, "restore", tool_words)) return *early;
    Failure failure =
        outcome.exit_code == static_cast<int>(backup::Exit::kBusy)
            ? LibraryFailure(outcome.library_code, 0, {}, tool_words)
            : FailureOfExit(backup::Operation::kRestore, outcome.exit_code, tool_words);
    failure.message += "; the directory is unchanged";
    return failure;
}

}  // namespace zafo::cli
