// SPDX-License-Identifier: Apache-2.0
#include "platform/process.h"

#include <dirent.h>
#include <fcntl.h>
#include <stdio_ext.h>
#include <unistd.h>

#include <algorithm>
#include <array>
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

#include "base/child.h"
#include "base/pipe.h"
#include "base/proc_file.h"
#include "base/unique_fd.h"
#include "base/whole_file.h"
#include "host/core/fail.h"
#include "host/core/safe_words.h"
#include "host/core/secret_arguments.h"

namespace {

using zafo::Fail;
using zafo::FailNull;
using zafo::OutOfMemoryIs;
using zafo::SecretArguments;
using zafo::Spawner;
using zafo::UniqueFd;

// A quarter of the pipe: a writer that waits for room in it is woken once for each read.
constexpr size_t kStreamBuffer = 256 << 10;
// A child's descriptors: the standard ones, then its secrets.
constexpr int kFirstSecret = STDERR_FILENO + 1;

// The calling thread's last child that could not be started, and why; 0 after a successful start.
struct StartFailure {
    int error = 0;
    std::array<char, 128> path{};
};
thread_local StartFailure g_last_start;

int StartFailed(const char *path, int error) {
    g_last_start.error = error;
    g_last_start
        .path[std::string_view(path).copy(g_last_start.path.data(), g_last_start.path.size() - 1)] =
        '\0';
    return Fail(error == ENOMEM ? QLIB_ERR_OUT_OF_MEMORY : QLIB_ERR_OPEN_FAILED);
}

// The child inherits the caller's `fd`. If that is closed it gets /dev/null; otherwise the
// program's next open would take the number.
void Inherit(Spawner &spawner, int fd) {
    spawner.PassOrNull(fcntl(fd, F_GETFD) >= 0 ? fd : -1, fd);
}

// What every child gets besides its standard output, and its secrets. Must be the last call before
// Start: the secrets may take the numbers of descriptors passed earlier.
void PassNothingBut(Spawner &spawner, const std::vector<UniqueFd> &secrets) {
    spawner.PassNull(STDIN_FILENO);
    Inherit(spawner, STDERR_FILENO);
    int next = kFirstSecret;
    for (const UniqueFd &secret : secrets)
        spawner.Pass(secret.Get(), next++);
    spawner.CloseFrom(next);
}

// Returns the child's id; nothing, after recording the failure, if it could not be started.
std::optional<pid_t> Start(const Spawner &spawner, const char *path, char *const argv[]) {
    pid_t pid = 0;
    if (const int error = spawner.Start(path, argv, environ, &pid)) {
        StartFailed(path, error);
        return {};
    }
    g_last_start.error = 0;
    return pid;
}

struct Child {
    pid_t pid = -1;
    std::unique_ptr<char[]> buffer;
};

struct StreamClose {
    void operator()(FILE *stream) const { fclose(stream); }
};
using Stream = std::unique_ptr<FILE, StreamClose>;

// The children of the open streams.
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

// Never destroyed: a stream may be closed while the process exits.
Children &OpenChildren() {
    static auto *const kChildren = new Children;
    return *kChildren;
}

// Runs `body`, which starts the program; running out of memory counts as a failure to start it.
template <typename Result, typename Body>
Result Starting(const char *path, Result failure, Body body) noexcept {
    try {
        return body();
    } catch (const std::bad_alloc &) {
        StartFailed(path, ENOMEM);
        return failure;
    }
}

std::nullptr_t NotStarted(const char *path, int error) {
    StartFailed(path, error);
    return nullptr;
}

// Everything that may run out of memory comes before the child is started.
FILE *OpenChild(const char *path, char *const argv[]) {
    std::optional<zafo::Pipe> pipe = zafo::OpenPipe();
    if (!pipe) return NotStarted(path, errno);
    SecretArguments arguments;
    if (const int error = arguments.Take(path, argv, kFirstSecret)) return NotStarted(path, error);
    Spawner spawner;
    spawner.Pass(pipe->writer.Get(), STDOUT_FILENO);
    PassNothingBut(spawner, arguments.Files());
    Stream stream(fdopen(pipe->reader.Get(), "r"));
    if (!stream) return NotStarted(path, ENOMEM);
    pipe->reader.Release();
    Child child{.pid = -1, .buffer = std::make_unique_for_overwrite<char[]>(kStreamBuffer)};
    // Each stream is used by one thread only: locking it for every line takes half of getdelim's
    // time.
    __fsetlocking(stream.get(), FSETLOCKING_BYCALLER);
    setvbuf(stream.get(), child.buffer.get(), _IOFBF, kStreamBuffer);
    OpenChildren().Add(stream.get(), std::move(child));
    const std::optional<pid_t> pid = Start(spawner, path, arguments.Vector());
    if (!pid) {
        const std::optional<Child> unused = OpenChildren().Take(stream.get());
        stream.reset();
        return nullptr;
    }
    OpenChildren().SetPid(stream.get(), *pid);
    return stream.release();
}

enum class Output { kNull, kInherited };

// Runs a program to its end and returns its wait status; nothing, with the error slot set, if it
// could not be run.
std::optional<int> Run(const char *path, char *const argv[], Output output) {
    SecretArguments arguments;
    if (const int error = arguments.Take(path, argv, kFirstSecret)) {
        StartFailed(path, error);
        return {};
    }
    Spawner spawner;
    if (output == Output::kNull) {
        spawner.PassNull(STDOUT_FILENO);
    } else {
        Inherit(spawner, STDOUT_FILENO);
    }
    PassNothingBut(spawner, arguments.Files());
    const std::optional<pid_t> pid = Start(spawner, path, arguments.Vector());
    // The child has its own copies; this process need not keep them while the child runs.
    arguments.CloseFiles();
    if (!pid) return {};
    const std::optional<int> status = zafo::AwaitChild(*pid);
    if (!status) Fail(QLIB_ERR_OPEN_FAILED);
    return status;
}

int ExitCodeOf(std::optional<int> status) {
    return status ? zafo::ExitCodeOf(*status) : -1;
}

// The vector of `path` and the arguments, up to NULL. The exec interface takes pointers to char, but
// does not write through them.
std::vector<char *> Collect(const char *path, va_list arguments) {
    std::vector<char *> argv{const_cast<char *>(path)};
    do {
        argv.push_back(va_arg(arguments, char *));
    } while (argv.back() != nullptr);
    return argv;
}

// Adds an argument to `words`. One that ends in "/*" is replaced with the paths of that folder's
// entries, in order, if there are any. Returns 0, or the errno if the folder cannot be read to its
// end: neither an empty folder nor some of the entries may be taken for it.
int Expand(std::string_view argument, std::vector<std::string> *words) {
    const size_t before = words->size();
    if (argument.starts_with('/') && argument.ends_with("/*")) {
        const std::string folder(argument.substr(0, argument.size() - 1));
        // Not a directory_iterator: that of libstdc++ ends the process when out of memory.
        const std::unique_ptr<DIR, int (*)(DIR *)> entries(opendir(folder.c_str()), closedir);
        if (!entries && errno != ENOENT && errno != ENOTDIR) return errno;
        while (entries) {
            errno = 0;
            const dirent *entry = readdir(entries.get());
            if (entry == nullptr && errno != 0) return errno;
            if (entry == nullptr) break;
            const std::string_view name = entry->d_name;
            if (name != "." && name != "..") words->push_back(folder + entry->d_name);
        }
        std::sort(words->begin() + static_cast<ptrdiff_t>(before), words->end());
    }
    if (words->size() == before) words->emplace_back(argument);
    return 0;
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

FILE *QLIBCPopen(const char *path, const char *mode, ...) {
    if (path == nullptr || mode == nullptr) return FailNull(QLIB_ERR_BAD_ARGUMENT);
    va_list arguments;
    va_start(arguments, mode);
    FILE *stream = Starting<FILE *>(path, nullptr, [&] {
        const std::vector<char *> argv = Collect(path, arguments);
        return QLIBCPopenv(path, mode, argv.data());
    });
    va_end(arguments);
    return stream;
}

FILE *QLIBCPopenv(const char *path, const char *mode, char *const argv[]) {
    if (path == nullptr || mode == nullptr || argv == nullptr || argv[0] == nullptr ||
        std::strcmp(mode, "r") != 0) {
        return FailNull(QLIB_ERR_BAD_ARGUMENT);
    }
    return Starting<FILE *>(path, nullptr, [=] { return OpenChild(path, argv); });
}

int QLIBCPclose(FILE *stream) {
    const std::optional<Child> child = OpenChildren().Take(stream);
    if (!child) return Fail(QLIB_ERR_BAD_ARGUMENT);
    fclose(stream);
    const std::optional<int> status = zafo::AwaitChild(child->pid);
    return status ? *status : Fail(QLIB_ERR_OPEN_FAILED);
}

int QLIBCExec(const char *path, const char *first, const char *second, const char *third,
              const char *fourth) {
    if (path == nullptr) return Fail(QLIB_ERR_BAD_ARGUMENT);
    return Starting(path, -1, [=] {
        std::vector<std::string> words{path};
        for (const char *argument : {first, second, third, fourth}) {
            if (argument == nullptr) break;
            if (const int error = Expand(argument, &words)) return StartFailed(path, error);
        }
        words = zafo::SafeWords(std::move(words));
        return ExitCodeOf(Run(words[0].c_str(), zafo::ArgumentVector(words).data(), Output::kNull));
    });
}

int QLIBCExecl(const char *path, int options, ...) {
    if (path == nullptr) return Fail(QLIB_ERR_BAD_ARGUMENT);
    va_list arguments;
    va_start(arguments, options);
    const int result = Starting(path, -1, [&] {
        const std::vector<char *> argv = Collect(path, arguments);
        const std::optional<int> status = Run(path, argv.data(), Output::kNull);
        return status ? *status : -1;
    });
    va_end(arguments);
    return result;
}

int QLIBCExecv(const char *path, char *const argv[], int flags) {
    if (path == nullptr || argv == nullptr || argv[0] == nullptr) {
        return Fail(QLIB_ERR_BAD_ARGUMENT);
    }
    return Starting(path, -1, [=] {
        return ExitCodeOf(Run(path, argv, flags == 0 ? Output::kInherited : Output::kNull));
    });
}

int QLIBCStartError(char *path, size_t size) {
    if (path != nullptr && size > 0) snprintf(path, size, "%s", g_last_start.path.data());
    return g_last_start.error;
}

int QLIBCProcAlive(pid_t pid) {
    return OutOfMemoryIs(0, [=] { return zafo::LivingProcess(pid) ? 1 : 0; });
}

pid_t QLIBCReadPidFile(const char *path) {
    if (path == nullptr) return zafo::FailZero(QLIB_ERR_BAD_ARGUMENT);
    return OutOfMemoryIs<pid_t>(0, [=] {
        const pid_t pid = ParsePid(zafo::ReadHead(path));
        return QLIBCProcAlive(pid) == 1 ? pid : 0;
    });
}
