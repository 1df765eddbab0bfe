// SPDX-License-Identifier: Apache-2.0
//
// Children are made by posix_spawn: it shares the caller's memory until the program
// starts, so its cost does not grow with the caller as fork's does, and it
// reports a program that cannot be executed.
#include "platform/process.h"

#include "host/core/fail.h"
#include "host/core/mount_words.h"
#include "host/core/proc_file.h"
#include "host/core/unique_fd.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <stdio_ext.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

using zafo::Fail;
using zafo::FailNull;
using zafo::OutOfMemoryIs;
using zafo::UniqueFd;

constexpr int kPipeSize = 1 << 20;
constexpr size_t kStreamBuffer = 64 << 10;

// Opens what a child gets as one of its three descriptors, and the two
// attributes every child has.
class Spawner {
  public:
    Spawner() {
        if (posix_spawn_file_actions_init(&actions_) != 0) throw std::bad_alloc();
        if (posix_spawnattr_init(&attributes_) != 0) {
            posix_spawn_file_actions_destroy(&actions_);
            throw std::bad_alloc();
        }
    }
    Spawner(const Spawner &) = delete;
    Spawner &operator=(const Spawner &) = delete;
    ~Spawner() {
        posix_spawnattr_destroy(&attributes_);
        posix_spawn_file_actions_destroy(&actions_);
    }

    // `fd` of the child is the caller's `from`.
    void Pass(int from, int fd) { Check(posix_spawn_file_actions_adddup2(&actions_, from, fd)); }

    void OpenNull(int fd, int mode) {
        Check(posix_spawn_file_actions_addopen(&actions_, fd, "/dev/null", mode, 0));
    }

    // `fd` of the child is the caller's; a closed one would be taken by
    // the first file the program opens, so then it is /dev/null.
    void Inherit(int fd) {
        if (fcntl(fd, F_GETFD) >= 0) {
            Pass(fd, fd);
        } else {
            OpenNull(fd, O_WRONLY);
        }
    }

    // What every child has; to be called last before Start.
    void PassNothingElse() {
        OpenNull(STDIN_FILENO, O_RDONLY);
        Inherit(STDERR_FILENO);
        Check(posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1));
        sigset_t all;
        sigfillset(&all);
        sigset_t none;
        sigemptyset(&none);
        posix_spawnattr_setsigdefault(&attributes_, &all);
        posix_spawnattr_setsigmask(&attributes_, &none);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    }

    // The child's id; nothing when it could not be started.
    std::optional<pid_t> Start(const char *path, char *const argv[]) const {
        pid_t pid = 0;
        if (posix_spawn(&pid, path, &actions_, &attributes_, argv, environ) != 0) return {};
        return pid;
    }

  private:
    static void Check(int error) {
        if (error != 0) throw std::bad_alloc();
    }

    posix_spawn_file_actions_t actions_;
    posix_spawnattr_t attributes_;
};

// The wait status of a child.
std::optional<int> WaitFor(pid_t pid) {
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) return {};
    }
    return status;
}

struct Child {
    pid_t pid = -1;
    std::unique_ptr<char[]> buffer;
};

struct StreamClose {
    void operator()(FILE *stream) const { fclose(stream); }
};
using Stream = std::unique_ptr<FILE, StreamClose>;

// The children behind the open streams.
class Children {
  public:
    void Add(FILE *stream, Child child) {
        const std::lock_guard lock(mutex_);
        children_.insert_or_assign(stream, std::move(child));
    }

    std::optional<Child> Take(FILE *stream) {
        const std::lock_guard lock(mutex_);
        const auto found = children_.find(stream);
        if (found == children_.end()) return {};
        std::optional<Child> child(std::move(found->second));
        children_.erase(found);
        return child;
    }

    void SetPid(FILE *stream, pid_t pid) {
        const std::lock_guard lock(mutex_);
        children_.find(stream)->second.pid = pid;
    }

  private:
    std::mutex mutex_;
    std::map<FILE *, Child> children_;
};

// Never destroyed: a stream may be closed while the process ends.
Children &OpenChildren() {
    static auto *const children = new Children;
    return *children;
}

// The numbers 0 to 2 are the child's: a pipe end of a caller that
// has closed its own would be in the way there.
UniqueFd AboveStandard(UniqueFd fd) {
    if (fd.Get() > STDERR_FILENO) return fd;
    return UniqueFd(fcntl(fd.Get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

struct Pipe {
    UniqueFd read, write;
};

std::optional<Pipe> OpenPipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return {};
    UniqueFd read(ends[0]);
    UniqueFd write(ends[1]);
    Pipe pipe{AboveStandard(std::move(read)), AboveStandard(std::move(write))};
    if (!pipe.read.IsOpen() || !pipe.write.IsOpen()) return {};
    // A large answer then needs fewer changes between writer and reader; the small pipe works too.
    fcntl(pipe.read.Get(), F_SETPIPE_SZ, kPipeSize);
    return pipe;
}

// Everything that can fail for want of memory comes before the child is started.
FILE *OpenChild(const char *path, char *const argv[]) {
    std::optional<Pipe> pipe = OpenPipe();
    if (!pipe) return FailNull(QLIB_ERR_OPEN_FAILED);
    Spawner spawner;
    spawner.Pass(pipe->write.Get(), STDOUT_FILENO);
    spawner.PassNothingElse();
    Stream stream(fdopen(pipe->read.Get(), "r"));
    if (!stream) return FailNull(QLIB_ERR_OUT_OF_MEMORY);
    pipe->read.Release();
    Child child{.pid = -1, .buffer = std::make_unique_for_overwrite<char[]>(kStreamBuffer)};
    // A stream belongs to one thread: locking it for every line is half of getdelim's time.
    __fsetlocking(stream.get(), FSETLOCKING_BYCALLER);
    setvbuf(stream.get(), child.buffer.get(), _IOFBF, kStreamBuffer);
    OpenChildren().Add(stream.get(), std::move(child));
    const std::optional<pid_t> pid = spawner.Start(path, argv);
    if (!pid) {
        const std::optional<Child> unused = OpenChildren().Take(stream.get());
        stream.reset();
        return FailNull(QLIB_ERR_OPEN_FAILED);
    }
    OpenChildren().SetPid(stream.get(), *pid);
    return stream.release();
}

enum class Output { kNull, kInherited };

// Runs a program to its end: its wait status, or nothing when it could not be run.
std::optional<int> Run(const char *path, char *const argv[], Output output) {
    Spawner spawner;
    if (output == Output::kNull) {
        spawner.OpenNull(STDOUT_FILENO, O_WRONLY);
    } else {
        spawner.Inherit(STDOUT_FILENO);
    }
    spawner.PassNothingElse();
    const std::optional<pid_t> pid = spawner.Start(path, argv);
    return pid ? WaitFor(*pid) : std::nullopt;
}

int ExitCodeOf(std::optional<int> status) {
    if (!status) return Fail(QLIB_ERR_OPEN_FAILED);
    return WIFSIGNALED(*status) ? 128 + WTERMSIG(*status) : WEXITSTATUS(*status);
}

// The interface of exec wants pointers to char, which it does not write through.
char *Argument(const char *text) {
    return const_cast<char *>(text);
}

// The vector of `path` and the arguments up to NULL.
std::vector<char *> Collect(const char *path, va_list arguments) {
    std::vector<char *> argv{Argument(path)};
    do {
        argv.push_back(va_arg(arguments, char *));
    } while (argv.back() != nullptr);
    return argv;
}

struct FolderClose {
    void operator()(DIR *folder) const { closedir(folder); }
};

// The paths of a folder's entries for an argument that ends in "/*", in order. Nothing when the
// folder cannot be read: it is not an empty one then.
std::optional<std::vector<std::string>> Expand(std::string_view argument) {
    std::vector<std::string> paths;
    if (argument.starts_with('/') && argument.ends_with("/*")) {
        const std::string folder(argument.substr(0, argument.size() - 1));
        const std::unique_ptr<DIR, FolderClose> entries(opendir(folder.c_str()));
        if (!entries && errno != ENOENT && errno != ENOTDIR) return {};
        while (const dirent *entry = entries ? readdir(entries.get()) : nullptr) {
            const std::string_view name = entry->d_name;
            if (name != "." && name != "..") paths.push_back(folder + entry->d_name);
        }
        std::sort(paths.begin(), paths.end());
    }
    if (paths.empty()) paths.emplace_back(argument);
    return paths;
}

pid_t ParsePid(const std::string &text) {
    char *end = nullptr;
    errno = 0;
    const long number = std::strtol(text.c_str(), &end, 10);
    if (errno != 0 || number <= 0 || number > INT_MAX) return 0;
    const bool ends = *end == '\0' || std::strchr(" \t\r\n", *end) != nullptr;
    return ends ? static_cast<pid_t>(number) : 0;
}

}  // namespace

FILE *QLIBCPopen(const char *szPath, const char *szMode, ...) {
    if (szPath == nullptr || szMode == nullptr) return FailNull(QLIB_ERR_BAD_ARGUMENT);
    va_list arguments;
    va_start(arguments, szMode);
    FILE *stream = OutOfMemoryIs<FILE *>(nullptr, [&] {
        const std::vector<char *> argv = Collect(szPath, arguments);
        return QLIBCPopenv(szPath, szMode, argv.data());
    });
    va_end(arguments);
    return stream;
}

FILE *QLIBCPopenv(const char *szPath, const char *szMode, char *const argv[]) {
    if (szPath == nullptr || szMode == nullptr || argv == nullptr || argv[0] == nullptr ||
        std::strcmp(szMode, "r") != 0) {
        return FailNull(QLIB_ERR_BAD_ARGUMENT);
    }
    return OutOfMemoryIs<FILE *>(nullptr, [=] { return OpenChild(szPath, argv); });
}

int QLIBCPclose(FILE *pStream) {
    const std::optional<Child> child = OpenChildren().Take(pStream);
    if (!child) return Fail(QLIB_ERR_BAD_ARGUMENT);
    fclose(pStream);
    const std::optional<int> status = WaitFor(child->pid);
    return status ? *status : Fail(QLIB_ERR_OPEN_FAILED);
}

int QLIBCExec(const char *szPath, const char *szArg1, const char *szArg2, const char *szArg3,
              const char *szArg4) {
    if (szPath == nullptr) return Fail(QLIB_ERR_BAD_ARGUMENT);
    return OutOfMemoryIs(-1, [=] {
        std::vector<std::string> words;
        for (const char *argument : {szArg1, szArg2, szArg3, szArg4}) {
            if (argument == nullptr) break;
            std::optional<std::vector<std::string>> expanded = Expand(argument);
            if (!expanded) return Fail(QLIB_ERR_OPEN_FAILED);
            for (std::string &word : *expanded)
                words.push_back(std::move(word));
        }
        zafo::RestrictMount(szPath, &words);
        std::vector<char *> argv{Argument(szPath)};
        for (const std::string &word : words)
            argv.push_back(Argument(word.c_str()));
        argv.push_back(nullptr);
        return ExitCodeOf(Run(szPath, argv.data(), Output::kNull));
    });
}

int QLIBCExecl(const char *szPath, int nOptions, ...) {
    if (szPath == nullptr) return Fail(QLIB_ERR_BAD_ARGUMENT);
    va_list arguments;
    va_start(arguments, nOptions);
    const int result = OutOfMemoryIs(-1, [&] {
        const std::vector<char *> argv = Collect(szPath, arguments);
        const std::optional<int> status = Run(szPath, argv.data(), Output::kNull);
        return status ? *status : Fail(QLIB_ERR_OPEN_FAILED);
    });
    va_end(arguments);
    return result;
}

int QLIBCExecv(const char *szPath, char *const argv[], int nFlags) {
    if (szPath == nullptr || argv == nullptr || argv[0] == nullptr) {
        return Fail(QLIB_ERR_BAD_ARGUMENT);
    }
    return OutOfMemoryIs(-1, [=] {
        return ExitCodeOf(Run(szPath, argv, nFlags == 0 ? Output::kInherited : Output::kNull));
    });
}

int QLIBCProcAlive(pid_t pid) {
    return OutOfMemoryIs(0, [=] { return zafo::LivingProcess(pid) ? 1 : 0; });
}

pid_t QLIBCReadPidFile(const char *szPath) {
    if (szPath == nullptr) {
        QLIBCErrSet(QLIB_ERR_BAD_ARGUMENT);
        return 0;
    }
    return OutOfMemoryIs<pid_t>(0, [=] {
        const pid_t pid = ParsePid(zafo::ReadHead(szPath));
        return QLIBCProcAlive(pid) == 1 ? pid : 0;
    });
}
