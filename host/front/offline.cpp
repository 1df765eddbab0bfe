// SPDX-License-Identifier: Apache-2.0
#include "host/front/offline.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string_view>

#include "base/appliance_paths.h"
#include "base/unique_fd.h"
#include "host/front/account.h"
#include "host/front/dn_lines.h"
#include "host/front/failure.h"
#include "host/front/held_words.h"

namespace zafo::front {

namespace {

// An old database file name tells whether there is a database; no file of the current server does,
// so a program checks.
char g_mark[] = "/usr/zafo/libexec/ldap-server-mark";

// A killed reader of the database keeps the pages it read from being reused while the server runs;
// so SIGTERM comes first.
constexpr int kGraceMilliseconds = 250;

volatile sig_atomic_t g_child = 0;

void PassOn(int number) {
    if (g_child > 0) kill(g_child, number);
}

void PassSignalsOn(pid_t child) {
    g_child = child;
    struct sigaction action {};
    action.sa_handler = PassOn;
    action.sa_flags = SA_RESTART;
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        sigaction(number, &action, nullptr);
    }
}

bool Waits(pollfd *events, nfds_t count, int limit) {
    for (;;) {
        const int ready = poll(events, count, limit);
        if (ready >= 0) return ready > 0;
        if (errno != EINTR) Fail(kRefused, "cannot wait", errno);
    }
}

[[noreturn]] void EndWithReader(pid_t child) {
    const int end_of_child = WatchEnd(child);
    kill(child, SIGTERM);
    pollfd end{end_of_child, POLLIN, 0};
    if (!Waits(&end, 1, kGraceMilliseconds)) kill(child, SIGKILL);
    Reap(child);
    DieOf(SIGPIPE);
}

bool IsMissing(const char *path) {
    return access(path, F_OK) != 0 && errno == ENOENT;
}

// A server that was never set up has no database file, but callers look there for entries anyway.
// slapcat reports that as a disaster ("Restore from backup!"). Anything else that keeps it from
// opening the database, in the folder or in an existing configuration, must be reported.
class MissingDatabase {
  public:
    bool IsExpected() const { return missing_; }

    bool Explains(int status, std::string_view words) const {
        if (!missing_ || !WIFEXITED(status) || WEXITSTATUS(status) != EXIT_FAILURE) return false;
        if (!IsMissing(kDatabaseFile)) return false;
        return IsMissing(kSlapdConf) || words.find("bi_db_open failed! (2)") != words.npos;
    }

  private:
    bool missing_ = IsMissing(kDatabaseFile);
};

pid_t StartReader(const Command &command, const MissingDatabase &database, HeldWords &words,
                  int output = -1) {
    if (database.IsExpected()) words.Hold();
    const pid_t child = StartChild(command, {.output = output, .errors = words.ChildsEnd()});
    words.CloseChildsEnd();
    PassSignalsOn(child);
    return child;
}

[[noreturn]] void EndReading(pid_t child, const MissingDatabase &database, HeldWords &words) {
    // The tool may write more than a pipe holds before it ends.
    while (words.Reader() >= 0) {
        pollfd more{words.Reader(), POLLIN, 0};
        Waits(&more, 1, -1);
        words.Take();
    }
    const int status = Reap(child);
    if (!database.Explains(status, words.Text())) words.Deliver();
    EndAs(status);
}

int SettleMarker(char **environment) {
    if (access(g_mark, X_OK) != 0) return 0;
    char *argv[] = {g_mark, nullptr};
    return Reap(StartChild({g_mark, argv, environment}));
}

}  // namespace

void PrepareDatabaseFolder() {
    // Without the parent folder there is no server; the tool says so.
    if (mkdir(kDatabaseFolder, 0700) != 0 && errno != EEXIST) return;
    if (!GiveToServerUser(kDatabaseFolder)) Fail(kRefused, kDatabaseFolder, errno);
}

void RunLoader(const Command &command) {
    const pid_t child = StartChild(command);
    PassSignalsOn(child);
    const int status = Reap(child);
    g_child = 0;
    if (SettleMarker(command.environment) != 0 && status == 0) {
        Fail(kRefused, "cannot mark the database as filled");
    }
    EndAs(status);
}

void RunReader(const Command &command) {
    const MissingDatabase database;
    HeldWords words;
    const pid_t child = StartReader(command, database, words);
    pollfd events[] = {
        {WatchEnd(child), POLLIN, 0}, {STDOUT_FILENO, 0, 0}, {words.Reader(), POLLIN, 0}};
    for (;;) {
        Waits(events, 3, -1);
        if (events[0].revents != 0) EndReading(child, database, words);
        if (events[1].revents != 0) EndWithReader(child);
        words.Take();
        events[2].fd = words.Reader();
    }
}

void RunProbe(const Command &command) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) Fail(kRefused, "cannot make a pipe", errno);
    const UniqueFd reader(ends[0]);
    UniqueFd writer(ends[1]);
    const MissingDatabase database;
    HeldWords words;
    const pid_t child = StartReader(command, database, words, writer.Get());
    writer.Reset(-1);
    // A lost reader is noticed, and the tool is ended first.
    signal(SIGPIPE, SIG_IGN);
    DnLines lines;
    pollfd events[] = {
        {reader.Get(), POLLIN, 0}, {STDOUT_FILENO, 0, 0}, {words.Reader(), POLLIN, 0}};
    for (;;) {
        Waits(events, 3, -1);
        if (events[1].revents != 0) EndWithReader(child);
        words.Take();
        events[2].fd = words.Reader();
        if (events[0].revents == 0) continue;
        char bytes[16384];
        const ssize_t n = read(reader.Get(), bytes, sizeof bytes);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        if (!lines.Take({bytes, static_cast<size_t>(n)})) EndWithReader(child);
    }
    if (!lines.Finish()) EndWithReader(child);
    EndReading(child, database, words);
}

}  // namespace zafo::front
