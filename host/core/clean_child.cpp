// SPDX-License-Identifier: Apache-2.0
#include "host/core/clean_child.h"

#include "base/unique_fd.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <new>

namespace zafo {

namespace {

constexpr int kFirstPassed = STDERR_FILENO + 1;

class Actions {
  public:
    Actions() { Check(posix_spawn_file_actions_init(&actions_)); }
    Actions(const Actions &) = delete;
    Actions &operator=(const Actions &) = delete;
    ~Actions() { posix_spawn_file_actions_destroy(&actions_); }

    void OpenNull(int fd, int mode) {
        Check(posix_spawn_file_actions_addopen(&actions_, fd, "/dev/null", mode, 0));
    }
    void Pass(int from, int fd) { Check(posix_spawn_file_actions_adddup2(&actions_, from, fd)); }
    void CloseFrom(int fd) { Check(posix_spawn_file_actions_addclosefrom_np(&actions_, fd)); }
    void EnterRoot() { Check(posix_spawn_file_actions_addchdir_np(&actions_, "/")); }

    const posix_spawn_file_actions_t *Get() const { return &actions_; }

  private:
    static void Check(int error) {
        if (error != 0) throw std::bad_alloc();
    }

    posix_spawn_file_actions_t actions_;
};

class Attributes {
  public:
    Attributes() {
        if (posix_spawnattr_init(&attributes_) != 0) throw std::bad_alloc();
        sigset_t signals;
        sigfillset(&signals);
        posix_spawnattr_setsigdefault(&attributes_, &signals);
        sigemptyset(&signals);
        posix_spawnattr_setsigmask(&attributes_, &signals);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    }
    Attributes(const Attributes &) = delete;
    Attributes &operator=(const Attributes &) = delete;
    ~Attributes() { posix_spawnattr_destroy(&attributes_); }

    const posix_spawnattr_t *Get() const { return &attributes_; }

  private:
    posix_spawnattr_t attributes_;
};

// Out of the way of the numbers that the child's descriptors get.
UniqueFd Aside(int fd, int above) {
    return UniqueFd(fcntl(fd, F_DUPFD_CLOEXEC, above));
}

}  // namespace

std::optional<pid_t> StartClean(const std::vector<std::string> &words, int error,
                                std::initializer_list<int> passed) {
    const int end = kFirstPassed + static_cast<int>(passed.size());
    std::vector<UniqueFd> kept;
    Actions actions;
    actions.EnterRoot();
    const UniqueFd words_go_to = Aside(error, end);
    int fd = kFirstPassed;
    for (const int from : passed) {
        kept.push_back(Aside(from, end));
        if (!kept.back().IsOpen()) return {};
        actions.Pass(kept.back().Get(), fd++);
    }
    actions.OpenNull(STDIN_FILENO, O_RDONLY);
    actions.OpenNull(STDOUT_FILENO, O_WRONLY);
    if (words_go_to.IsOpen()) {
        actions.Pass(words_go_to.Get(), STDERR_FILENO);
    } else {
        actions.OpenNull(STDERR_FILENO, O_WRONLY);
    }
    actions.CloseFrom(end);

    std::string path = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";
    std::string locale = "LC_ALL=C";
    char *const environment[] = {path.data(), locale.data(), nullptr};
    std::vector<char *> argv;
    argv.reserve(words.size() + 1);
    for (const std::string &word : words)
        argv.push_back(const_cast<char *>(word.c_str()));
    argv.push_back(nullptr);
    const Attributes attributes;
    pid_t pid = 0;
    if (posix_spawn(&pid, argv[0], actions.Get(), attributes.Get(), argv.data(), environment) != 0)
        return {};
    return pid;
}

std::optional<int> AwaitChild(pid_t pid) {
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) return {};
    }
    return status;
}

std::optional<int> RunClean(const std::vector<std::string> &words) {
    const std::optional<pid_t> pid = StartClean(words, STDERR_FILENO);
    if (!pid) return {};
    // Where the caller has its children reaped for it, how one ended is not known.
    const int status = AwaitChild(*pid).value_or(0);
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace zafo
