// SPDX-License-Identifier: Apache-2.0
#include "host/core/clean_child.h"

#include <fcntl.h>
#include <unistd.h>

#include "base/child.h"
#include "base/unique_fd.h"

namespace zafo {

namespace {

constexpr int kFirstPassed = STDERR_FILENO + 1;

// Keeps the descriptor out of the way of the numbers that the child uses.
UniqueFd Aside(int fd, int above) {
    return UniqueFd(fcntl(fd, F_DUPFD_CLOEXEC, above));
}

}  // namespace

std::optional<pid_t> StartClean(const std::vector<std::string> &words, int error,
                                std::initializer_list<int> passed) {
    const int end = kFirstPassed + static_cast<int>(passed.size());
    std::vector<UniqueFd> kept;
    Spawner spawner;
    spawner.EnterRoot();
    const UniqueFd words_go_to = Aside(error, end);
    int fd = kFirstPassed;
    for (const int from : passed) {
        kept.push_back(Aside(from, end));
        if (!kept.back().IsOpen()) return {};
        spawner.Pass(kept.back().Get(), fd++);
    }
    spawner.PassNull(STDIN_FILENO);
    spawner.PassNull(STDOUT_FILENO);
    spawner.PassOrNull(words_go_to.Get(), STDERR_FILENO);
    spawner.CloseFrom(end);

    std::string path = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";
    std::string locale = "LC_ALL=C";
    char *const environment[] = {path.data(), locale.data(), nullptr};
    const std::vector<char *> argv = ArgumentVector(words);
    pid_t pid = 0;
    if (spawner.Start(argv[0], argv.data(), environment, &pid) != 0) return {};
    return pid;
}

std::optional<int> RunClean(const std::vector<std::string> &words) {
    const std::optional<pid_t> pid = StartClean(words, STDERR_FILENO);
    if (!pid) return {};
    const std::optional<int> status = AwaitChild(*pid);
    return status ? ExitCodeOf(*status) : kUnknownExitCode;
}

}  // namespace zafo
