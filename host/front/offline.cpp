// SPDX-License-Identifier: Apache-2.0
#include "host/front/offline.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "host/front/account.h"
#include "host/front/dn_lines.h"
#include "host/front/failure.h"

namespace zafo::front {

namespace {

constexpr const char *kDatabase = "/usr/zafo/etc/openldap/data";
// The old name of a database file tells whether there is a database; no file of the server
// of today tells that, so a program looks.
char kMark[] = "/usr/zafo/libexec/ldap-server-mark";

// A reader of the database that is killed keeps what it was reading from being
// reused while the server runs; it is asked first.
constexpr int kGraceMilliseconds = 250;

volatile sig_atomic_t the_child = 0;

void PassOn(int number) {
    if (the_child > 0) kill(the_child, number);
}

void PassSignalsOn(pid_t child) {
    the_child = child;
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

int SettleMarker(char **environment) {
    if (access(kMark, X_OK) != 0) return 0;
    char *argv[] = {kMark, nullptr};
    return Reap(StartChild({kMark, argv, environment}));
}

}  // namespace

void PrepareDatabaseFolder() {
    // Without the folder above it there is no server; the tool says so.
    if (mkdir(kDatabase, 0700) != 0 && errno != EEXIST) return;
    if (!GiveToServerUser(kDatabase)) Fail(kRefused, kDatabase, errno);
}

void RunLoader(const Command &command) {
    const pid_t child = StartChild(command);
    PassSignalsOn(child);
    const int status = Reap(child);
    the_child = 0;
    if (SettleMarker(command.environment) != 0 && status == 0) {
        Fail(kRefused, "cannot mark the database as filled");
    }
    EndAs(status);
}

void RunReader(const Command &command) {
    const pid_t child = StartChild(command);
    PassSignalsOn(child);
    pollfd events[] = {{WatchEnd(child), POLLIN, 0}, {STDOUT_FILENO, 0, 0}};
    Waits(events, 2, -1);
    if (events[0].revents == 0) EndWithReader(child);
    EndAs(Reap(child));
}

void RunProbe(const Command &command) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) Fail(kRefused, "cannot make a pipe", errno);
    const pid_t child = StartChild(command, ends[1]);
    close(ends[1]);
    PassSignalsOn(child);
    // Writing to a reader that is gone is noticed, and the tool ended first.
    signal(SIGPIPE, SIG_IGN);
    DnLines lines;
    pollfd events[] = {{ends[0], POLLIN, 0}, {STDOUT_FILENO, 0, 0}};
    for (;;) {
        Waits(events, 2, -1);
        if (events[1].revents != 0) EndWithReader(child);
        char bytes[16384];
        const ssize_t n = read(ends[0], bytes, sizeof bytes);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        if (!lines.Take({bytes, static_cast<size_t>(n)})) EndWithReader(child);
    }
    if (!lines.Finish()) EndWithReader(child);
    EndAs(Reap(child));
}

}  // namespace zafo::front
