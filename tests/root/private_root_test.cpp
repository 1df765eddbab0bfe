// SPDX-License-Identifier: Apache-2.0
//
// The private appliance root: what it isolates, what it shares, and what it leaves behind.
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::IsEmpty;

struct Outcome {
    int exit_code;
    std::string output;
};

// Runs a shell command on the host.
Outcome OnHost(const std::string &command) {
    FILE *stream = popen((command + " 2>&1").c_str(), "re");
    std::string output;
    std::array<char, 4096> buffer{};
    for (size_t n = 0; (n = fread(buffer.data(), 1, buffer.size(), stream)) > 0;)
        output.append(buffer.data(), n);
    const int status = pclose(stream);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status), output};
}

// The command that runs a script in a fresh root.
std::string Root(const std::string &script, const std::string &options = "") {
    return std::string(ZAFO_ROOT) + " --stage " + ZAFO_BUILD + "/stage " + options +
           " -- bash -c '" + script + "'";
}

Outcome InRoot(const std::string &script, const std::string &options = "") {
    return OnHost(Root(script, options));
}

TEST(PrivateRoot, GivesTheCommandsExitCodeAndPassesItsInput) {
    EXPECT_EQ(InRoot("exit 7").exit_code, 7);
    EXPECT_EQ(OnHost("printf typed | " + Root("cat")).output, "typed");
}

TEST(PrivateRoot, HasProgramsAndDirectoryClientsOnItsPath) {
    EXPECT_EQ(InRoot("command -v ldapsearch && ls /usr/zafo/bin/ldapsearch").exit_code, 0);
}

TEST(PrivateRoot, KeepsWhatIsWrittenInsideAwayFromTheHost) {
    const std::string mark = "zafo-private-root-" + std::to_string(getpid());
    const Outcome outcome =
        InRoot("for f in /tmp /etc /var/log /run /usr/zafo/etc; do echo x >$f/" + mark + "; done");
    EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
    for (const char *folder : {"/tmp/", "/etc/", "/var/log/", "/run/"})
        EXPECT_FALSE(fs::exists(folder + mark)) << folder;
}

TEST(PrivateRoot, CannotWriteToTheHostsPrograms) {
    EXPECT_NE(InRoot("echo x >/usr/bin/zafo-private-root").exit_code, 0);
}

TEST(PrivateRoot, MountsItsOwnFoldersAsTheExportsOfServers) {
    const Outcome outcome = InRoot(
        R"(d="/var/lib/exports/srv/a b"; mkdir -p "$d" /mp && touch "$d/here" && )"
        R"(mount "srv:/a b" /mp && ls /mp && umount /mp && ls /mp && tail -1 /var/log/mounts)",
        "--play-nfs");
    EXPECT_EQ(outcome.output, "here\n'mount' 'srv:/a b' '/mp'\n");
    EXPECT_EQ(InRoot("mkdir /mp; mount srv:/other /mp", "--play-nfs").exit_code, 32);
}

TEST(PrivateRoot, SeesNoProcessOfTheHost) {
    EXPECT_EQ(InRoot("[ ! -d /proc/" + std::to_string(getpid()) +
                     " ] || "
                     "! grep -q private_root_test /proc/" +
                     std::to_string(getpid()) + "/cmdline")
                  .exit_code,
              0);
}

TEST(PrivateRoot, HasANetworkOfLoopbackAlone) {
    EXPECT_EQ(InRoot("tail -n +3 /proc/net/dev | cut -d: -f1 | tr -d \" \\n\"").output, "lo");
}

TEST(PrivateRoot, ShowsWhatIsLoggedInVarLogMessages) {
    const Outcome outcome = InRoot(
        "logger -p user.err said-to-the-log; for i in $(seq 100); do "
        "grep -h said-to-the-log /var/log/messages && exit 0; sleep 0.02; done; exit 1");
    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_THAT(outcome.output, HasSubstr("said-to-the-log"));
}

// Each of them has its own port 389 and "/tmp/mark".
TEST(PrivateRoot, RunsInParallelWithOthersUndisturbed) {
    const std::string script =
        "[ ! -e /tmp/mark ] && : >/tmp/mark && "
        "{ openssl s_server -accept 127.0.0.1:389 -nocert </dev/null >/tmp/out 2>&1 & } && "
        "for i in $(seq 100); do grep -q ACCEPT /tmp/out && sleep 0.3 && exit 0; sleep 0.02; done; "
        "cat /tmp/out; exit 1";
    std::array<Outcome, 4> outcomes{};
    std::array<std::thread, 4> threads;
    for (size_t i = 0; i < threads.size(); ++i)
        threads[i] = std::thread([&outcomes, &script, i] { outcomes[i] = InRoot(script); });
    for (std::thread &thread : threads)
        thread.join();
    for (const Outcome &outcome : outcomes)
        EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
}

// The ids of this machine's processes whose command line contains a word.
std::string ProcessesWith(const std::string &word) {
    std::string found;
    std::error_code error;
    for (const auto &process : fs::directory_iterator("/proc", error)) {
        // The read fails if the process ends meanwhile, which leaves the line empty.
        std::string line(4096, '\0');
        std::ifstream file(process.path() / "cmdline");
        file.read(line.data(), static_cast<std::streamsize>(line.size()));
        line.resize(static_cast<size_t>(file.gcount()));
        if (line.find(word) != std::string::npos) found += process.path().filename().string() + " ";
    }
    return found;
}

// Marked by an unusual argument of sleep: no other process sleeps that long.
TEST(PrivateRoot, LeavesNoProcessBehindWhenItIsKilled) {
    const std::string mark = "86" + std::to_string(getpid()) + "." + std::to_string(getpid());
    const pid_t root = fork();
    if (root == 0) {
        const std::string stage = std::string(ZAFO_BUILD) + "/stage";
        const std::string script = "sleep " + mark + " & sleep " + mark;
        execl(ZAFO_ROOT, ZAFO_ROOT, "--stage", stage.c_str(), "--", "bash", "-c", script.c_str(),
              nullptr);
        _exit(127);
    }
    const auto started = [&] { return ProcessesWith("sleep" + std::string(1, '\0') + mark); };
    for (int i = 0; i < 500 && started().empty(); ++i)
        usleep(10'000);
    ASSERT_FALSE(started().empty());
    kill(root, SIGKILL);
    int status = 0;
    ASSERT_EQ(waitpid(root, &status, 0), root);
    for (int i = 0; i < 500 && !ProcessesWith(mark).empty(); ++i)
        usleep(10'000);
    EXPECT_THAT(ProcessesWith(mark), IsEmpty());
}

TEST(PrivateRoot, WorksForAnOrdinaryUser) {
    if (geteuid() != 0) GTEST_SKIP() << "the whole suite runs as an ordinary user";
    const std::string as_user = "setpriv --reuid 65534 --regid 65534 --clear-groups env HOME=/ ";
    if (OnHost(as_user + "unshare -U true").exit_code != 0) {
        GTEST_SKIP() << "the kernel does not allow user namespaces to ordinary users";
    }
    const Outcome readable = OnHost(as_user + "test -r " ZAFO_BUILD "/stage/usr/zafo/bin");
    if (readable.exit_code != 0) GTEST_SKIP() << "the build folder is not readable for others";
    const Outcome outcome =
        OnHost(as_user + Root("id -u; : >/usr/zafo/etc/mark && logger from-a-user && echo done"));
    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.output, "0\ndone\n");
}

}  // namespace
