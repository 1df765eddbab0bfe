// SPDX-License-Identifier: Apache-2.0
//
// The fake tool: installed under a tool's name, it records how it was called and then plays the
// script that a test prepared for that name.
#include <dirent.h>
#include <sys/resource.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "tests/rig/fake_tool_format.h"

extern char **environ;

namespace {

using namespace zafo::rig::fake;

std::string LinkTarget(const std::string &path) {
    char target[PATH_MAX];
    const ssize_t n = readlink(path.c_str(), target, sizeof target);
    return n < 0 ? std::string("?") : std::string(target, static_cast<size_t>(n));
}

void AppendDescriptors(std::string &record) {
    DIR *folder = opendir("/proc/self/fd");
    if (folder == nullptr) return;
    while (const dirent *entry = readdir(folder)) {
        const std::string number = entry->d_name;
        if (!isdigit(static_cast<unsigned char>(number[0])) ||
            number == std::to_string(dirfd(folder))) {
            continue;
        }
        Append(record, Fact::kDescriptor, number + " " + LinkTarget("/proc/self/fd/" + number));
    }
    closedir(folder);
}

// A line of the process's own status: "SigIgn:\t0000000000001000".
std::string StatusLine(const std::string &status, const char *name) {
    const size_t at = status.find(name);
    if (at == std::string::npos) return "0";
    const size_t value = at + std::strlen(name) + 1;
    return status.substr(value, status.find('\n', value) - value);
}

void AppendProcess(std::string &record) {
    Append(record, Fact::kFolder, LinkTarget("/proc/self/cwd"));
    Append(record, Fact::kUmask, std::to_string(umask(0)));
    Append(record, Fact::kUid, std::to_string(geteuid()));
    Append(record, Fact::kGid, std::to_string(getegid()));
    gid_t groups[256];
    const int count = getgroups(256, groups);
    for (int i = 0; i < count; i++)
        Append(record, Fact::kGroup, std::to_string(groups[i]));
    Append(record, Fact::kProcess, std::to_string(getpid()));
    Append(record, Fact::kParent, std::to_string(getppid()));
    const File file("/proc/self/status", O_RDONLY);
    const std::string status = ReadAll(file.Get());
    Append(record, Fact::kIgnored, StatusLine(status, "SigIgn:"));
    Append(record, Fact::kBlocked, StatusLine(status, "SigBlk:"));
    rlimit core{};
    getrlimit(RLIMIT_CORE, &core);
    Append(record, Fact::kCoreLimit, std::to_string(core.rlim_cur));
}

// Regular files only (including memory files): a pipe must be left to the tool's script.
bool IsRegular(int fd, struct stat &facts) {
    return fd >= 0 && fstat(fd, &facts) == 0 && S_ISREG(facts.st_mode);
}

void AppendFiles(std::string &record, int argc, char **argv) {
    struct stat facts {};
    if (IsRegular(STDIN_FILENO, facts)) Append(record, Fact::kInput, ReadAll(STDIN_FILENO));
    for (int i = 1; i + 1 < argc; i++) {
        const std::string option = argv[i];
        if (option != "-f" && option != "-l" && option != "-y" && option != "-T" && option != "-t")
            continue;
        const File file(argv[i + 1], O_RDONLY | O_NONBLOCK);
        if (!IsRegular(file.Get(), facts)) continue;
        Append(record, Fact::kFileName, argv[i + 1]);
        Append(record, Fact::kFileMode, std::to_string(facts.st_mode & 07777));
        Append(record, Fact::kFileContent, ReadAll(file.Get()));
    }
}

// The script to play: the next in the tool's queue, or the last one again.
std::string TakeScript(const std::string &tool) {
    const long next = ReadNumber("next." + tool);
    const std::string path = "script." + tool + ".";
    if (access(PathOf(path + std::to_string(next)).c_str(), F_OK) != 0) {
        return next > 0 ? ReadState(path + std::to_string(next - 1)) : std::string();
    }
    WriteState("next." + tool, std::to_string(next + 1));
    return ReadState(path + std::to_string(next));
}

void Sleep(long milliseconds) {
    timespec rest{milliseconds / 1000, milliseconds % 1000 * 1000000};
    while (nanosleep(&rest, &rest) != 0 && errno == EINTR) {
    }
}

void Flood(std::string_view bytes) {
    std::string block;
    while (block.size() < 65536)
        block += bytes;
    while (WriteAll(STDOUT_FILENO, block)) {
    }
}

[[noreturn]] void Die(int number) {
    signal(number, SIG_DFL);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, number);
    sigprocmask(SIG_UNBLOCK, &set, nullptr);
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
    kill(getpid(), number);
    for (;;)
        pause();
}

void Play(Step step, std::string_view bytes) {
    const std::string text(step == Step::kOutput || step == Step::kError ? "" : bytes);
    const long number = std::strtol(text.c_str(), nullptr, 10);
    switch (step) {
        case Step::kOutput:
            WriteAll(STDOUT_FILENO, bytes);
            break;
        case Step::kError:
            WriteAll(STDERR_FILENO, bytes);
            break;
        case Step::kFlood:
            Flood(bytes);
            break;
        case Step::kSleep:
            Sleep(number);
            break;
        case Step::kHang:
            for (;;)
                pause();
        case Step::kWaitForFile:
            while (access(text.c_str(), F_OK) != 0)
                Sleep(2);
            break;
        case Step::kCloseOutput:
            close(STDOUT_FILENO);
            break;
        case Step::kIgnoreSignals:
            for (const int ignored : {SIGPIPE, SIGTERM, SIGHUP, SIGINT})
                signal(ignored, SIG_IGN);
            break;
        case Step::kMoveAway:
            rename(text.c_str(), (text + ".away").c_str());
            break;
        case Step::kExit:
            _exit(static_cast<int>(number));
        case Step::kDie:
            Die(static_cast<int>(number));
    }
}

}  // namespace

int main(int argc, char **argv) {
    std::string record;
    AppendDescriptors(record);
    AppendProcess(record);
    const char *slash = argc > 0 ? std::strrchr(argv[0], '/') : nullptr;
    const std::string tool = slash != nullptr ? slash + 1 : argc > 0 ? argv[0] : "";
    Append(record, Fact::kTool, tool);
    for (int i = 0; i < argc; i++)
        Append(record, Fact::kArgument, argv[i]);
    for (char **variable = environ; *variable != nullptr; variable++)
        Append(record, Fact::kVariable, *variable);

    std::string script;
    {
        const StateLock lock;
        if (!lock.Held()) return 0;
        AppendFiles(record, argc, argv);
        const std::string number = ReadState("calls");
        const long call = std::strtol(number.c_str(), nullptr, 10);
        WriteState("call." + std::to_string(call), record);
        WriteState("calls", std::to_string(call + 1));
        script = TakeScript(tool);
    }
    ForEachField<Step>(script, Play);
    return 0;
}
