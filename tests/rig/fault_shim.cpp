// SPDX-License-Identifier: Apache-2.0
//
// Loaded into a program with LD_PRELOAD: counts the calls that change the file system or start a
// program, and simulates a failure at one of them. The rules are in fault.h.
#include <dlfcn.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

enum class Action { kNothing, kFail, kKill, kFlip, kLose };

struct Reason {
    const char *name;
    int number;
};

struct Name {
    const char *text;
    Action action;
};

constexpr Reason kReasons[] = {{"ENOSPC", ENOSPC}, {"EDQUOT", EDQUOT}, {"EFBIG", EFBIG},
                               {"EIO", EIO},       {"EROFS", EROFS},   {"ENOENT", ENOENT},
                               {"ESTALE", ESTALE}, {"EACCES", EACCES}, {"ENOMEM", ENOMEM},
                               {"EINVAL", EINVAL}, {"EAGAIN", EAGAIN}, {"EMFILE", EMFILE},
                               {"ENFILE", ENFILE}};

constexpr Name kActions[] = {
    {"kill:", Action::kKill}, {"flip:", Action::kFlip}, {"lose:", Action::kLose}};

struct Plan {
    Action action = Action::kFail;
    int reason = 0;
    long turn = 0;  // 0: never
    bool and_later = false;
    char kind[16] = {};  // empty: every kind
    int report = -1;
};

// "ACTION:N", "ACTION:N+", "ACTION:N:KIND", "ACTION:N+:KIND".
Plan ReadPlan() {
    Plan plan;
    if (const char *path = std::getenv("ZAFO_FAULT_REPORT")) {
        plan.report = static_cast<int>(
            syscall(SYS_openat, AT_FDCWD, path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
    }
    const char *text = std::getenv("ZAFO_FAULT");
    const char *colon = text != nullptr ? std::strchr(text, ':') : nullptr;
    if (colon == nullptr) return plan;
    char *end = nullptr;
    plan.turn = std::strtol(colon + 1, &end, 10);
    plan.and_later = *end == '+';
    if (plan.and_later) ++end;
    for (const Name &name : kActions) {
        if (std::strncmp(text, name.text, std::strlen(name.text)) == 0) plan.action = name.action;
    }
    for (const Reason &reason : kReasons) {
        if (std::strncmp(text, reason.name, static_cast<size_t>(colon - text)) == 0)
            plan.reason = reason.number;
    }
    const char *kind = *end == ':' ? end + 1 : plan.action == Action::kKill ? "" : "write";
    std::snprintf(plan.kind, sizeof plan.kind, "%s", kind);
    return plan;
}

Plan &ThePlan() {
    static Plan plan = ReadPlan();
    return plan;
}

void Report(const char *kind, const char *path) {
    char line[PATH_MAX + 32];
    const int size = std::snprintf(line, sizeof line, "%s %s\n", kind, path);
    if (ThePlan().report >= 0) syscall(SYS_write, ThePlan().report, line, size);
}

// The action for this call. Does not return if the process must die.
Action Turn(const char *kind, const char *path) {
    static long turn = 0;
    Plan &plan = ThePlan();
    Report(kind, path);
    if (plan.kind[0] != '\0' && std::strcmp(plan.kind, kind) != 0) return Action::kNothing;
    ++turn;
    if (plan.turn == 0 || (turn != plan.turn && !(plan.and_later && turn > plan.turn)))
        return Action::kNothing;
    if (plan.action == Action::kKill) kill(getpid(), SIGKILL);
    errno = plan.reason;
    return plan.action;
}

bool Fails(const char *kind, const char *path) {
    return Turn(kind, path) == Action::kFail;
}

Action TurnOn(const char *kind, int fd) {
    char link[64];
    char path[PATH_MAX] = "?";
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
    const ssize_t n = readlink(link, path, sizeof path - 1);
    if (n > 0) path[n] = '\0';
    return Turn(kind, path);
}

bool FailsOn(const char *kind, int fd) {
    return TurnOn(kind, fd) == Action::kFail;
}

template <typename Function>
Function *Real(Function *, const char *name) {
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

}  // namespace

#define SHIM extern "C" __attribute__((visibility("default")))
#define CALL(name, ...)                               \
    do {                                              \
        static auto *const real = Real(&name, #name); \
        return real(__VA_ARGS__);                     \
    } while (0)

// The C library's declarations have attributes (nonnull, warn_unused_result) that are of no use
// here.
#pragma GCC diagnostic ignored "-Wredundant-decls"

SHIM ssize_t write(int fd, const void *bytes, size_t size) {
    switch (TurnOn("write", fd)) {
        case Action::kFail:
            return -1;
        case Action::kLose:
            return static_cast<ssize_t>(size);
        case Action::kFlip: {
            std::string other(static_cast<const char *>(bytes), size);
            if (size > 0) other[size / 2] = static_cast<char>(other[size / 2] ^ 1);
            return syscall(SYS_write, fd, other.data(), size);
        }
        default:
            break;
    }
    CALL(write, fd, bytes, size);
}

SHIM ssize_t writev(int fd, const struct iovec *vector, int count) {
    if (FailsOn("write", fd)) return -1;
    CALL(writev, fd, vector, count);
}

SHIM ssize_t pwrite64(int fd, const void *bytes, size_t size, off64_t offset) {
    if (FailsOn("write", fd)) return -1;
    CALL(pwrite64, fd, bytes, size, offset);
}

SHIM int ftruncate64(int fd, off64_t size) noexcept {
    if (FailsOn("write", fd)) return -1;
    CALL(ftruncate64, fd, size);
}

SHIM int fsync(int fd) {
    if (FailsOn("sync", fd)) return -1;
    CALL(fsync, fd);
}

SHIM int fdatasync(int fd) {
    if (FailsOn("sync", fd)) return -1;
    CALL(fdatasync, fd);
}

SHIM int rename(const char *from, const char *to) noexcept {
    if (Fails("rename", to)) return -1;
    CALL(rename, from, to);
}

SHIM int renameat(int from_folder, const char *from, int to_folder, const char *to) noexcept {
    if (Fails("rename", to)) return -1;
    CALL(renameat, from_folder, from, to_folder, to);
}

SHIM int renameat2(int from_folder, const char *from, int to_folder, const char *to,
                   unsigned flags) noexcept {
    if (Fails("rename", to)) return -1;
    CALL(renameat2, from_folder, from, to_folder, to, flags);
}

SHIM int unlink(const char *path) noexcept {
    if (Fails("unlink", path)) return -1;
    CALL(unlink, path);
}

SHIM int unlinkat(int folder, const char *path, int flags) noexcept {
    if (Fails("unlink", path)) return -1;
    CALL(unlinkat, folder, path, flags);
}

SHIM int rmdir(const char *path) noexcept {
    if (Fails("unlink", path)) return -1;
    CALL(rmdir, path);
}

SHIM int mkdir(const char *path, mode_t mode) noexcept {
    if (Fails("mkdir", path)) return -1;
    CALL(mkdir, path, mode);
}

SHIM int mkdirat(int folder, const char *path, mode_t mode) noexcept {
    if (Fails("mkdir", path)) return -1;
    CALL(mkdirat, folder, path, mode);
}

SHIM int open64(const char *path, int flags, ...) {
    va_list more;
    va_start(more, flags);
    const auto mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
    va_end(more);
    if ((flags & O_CREAT) != 0 && Fails("create", path)) return -1;
    CALL(open64, path, flags, mode);
}

SHIM int openat64(int folder, const char *path, int flags, ...) {
    va_list more;
    va_start(more, flags);
    const auto mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
    va_end(more);
    if ((flags & O_CREAT) != 0 && Fails("create", path)) return -1;
    CALL(openat64, folder, path, flags, mode);
}

// Returns the error number instead of setting errno.
SHIM int posix_spawn(pid_t *pid, const char *path, const posix_spawn_file_actions_t *actions,
                     const posix_spawnattr_t *attributes, char *const argv[],
                     char *const environment[]) {
    if (Fails("spawn", path)) return errno;
    CALL(posix_spawn, pid, path, actions, attributes, argv, environment);
}
