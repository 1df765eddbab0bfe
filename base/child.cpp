// SPDX-License-Identifier: Apache-2.0
#include "base/child.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <new>

namespace zafo {

namespace {

constexpr short kFlags = POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK;

void Check(int error) {
    if (error != 0) throw std::bad_alloc();
}

}  // namespace

Spawner::Spawner() {
    Check(posix_spawn_file_actions_init(&actions_));
    if (posix_spawnattr_init(&attributes_) != 0) {
        posix_spawn_file_actions_destroy(&actions_);
        throw std::bad_alloc();
    }
    sigset_t signals;
    sigfillset(&signals);
    posix_spawnattr_setsigdefault(&attributes_, &signals);
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes_, &signals);
    posix_spawnattr_setflags(&attributes_, kFlags);
}

Spawner::~Spawner() {
    posix_spawnattr_destroy(&attributes_);
    posix_spawn_file_actions_destroy(&actions_);
}

void Spawner::Pass(int from, int fd) {
    Check(posix_spawn_file_actions_adddup2(&actions_, from, fd));
}

void Spawner::PassNull(int fd) {
    const int mode = fd == STDIN_FILENO ? O_RDONLY : O_WRONLY;
    Check(posix_spawn_file_actions_addopen(&actions_, fd, "/dev/null", mode, 0));
}

void Spawner::PassOrNull(int from, int fd) {
    if (from >= 0) {
        Pass(from, fd);
    } else {
        PassNull(fd);
    }
}

void Spawner::CloseFrom(int fd) {
    Check(posix_spawn_file_actions_addclosefrom_np(&actions_, fd));
}

void Spawner::EnterRoot() {
    Check(posix_spawn_file_actions_addchdir_np(&actions_, "/"));
}

void Spawner::LeadGroup() {
    posix_spawnattr_setpgroup(&attributes_, 0);
    posix_spawnattr_setflags(&attributes_, kFlags | POSIX_SPAWN_SETPGROUP);
}

int Spawner::Start(const char *path, char *const argv[], char *const environment[],
                   pid_t *pid) const {
    return posix_spawn(pid, path, &actions_, &attributes_, argv, environment);
}

std::vector<char *> ArgumentVector(const std::vector<std::string> &words) {
    std::vector<char *> argv;
    argv.reserve(words.size() + 1);
    for (const std::string &word : words)
        argv.push_back(const_cast<char *>(word.c_str()));
    argv.push_back(nullptr);
    return argv;
}

std::optional<int> AwaitChild(pid_t pid) {
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) return {};
    }
    return status;
}

int ExitCodeOf(int wait_status) {
    return WIFSIGNALED(wait_status) ? 128 + WTERMSIG(wait_status) : WEXITSTATUS(wait_status);
}

}  // namespace zafo
