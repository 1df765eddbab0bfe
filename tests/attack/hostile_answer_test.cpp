// SPDX-License-Identifier: Apache-2.0
//
// Answers that are too large or endless: a program stays small and stops at a limit that it names.
#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/attack/hostile_server.h"
#include "tests/attack/hostile_text.h"
#include "tests/rig/running_tool.h"
#include "tests/tools/account_fixture.h"

namespace zafo::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr const char *kOut = "/tmp/hostile-answer.out";
constexpr const char *kErr = "/tmp/hostile-answer.err";
constexpr const char *kLimits = "/usr/zafo/etc/tools.conf";
constexpr long kMostKilobytes = 64 * 1024;

struct Measured {
    int exit_code = -1;
    long kilobytes = 0;  // peak memory of the program without its tools
    std::string err;
};

// The peak memory of a program that is about to exit. The kernel's count from wait4 would include
// its tools.
long PeakOf(pid_t process) {
    const std::string status = rig::ReadFile("/proc/" + std::to_string(process) + "/status");
    const size_t at = status.find("VmHWM:");
    return at == std::string::npos ? 0 : std::strtol(status.c_str() + at + 6, nullptr, 10);
}

// Traces a child that has requested it, and examines it just before it exits.
int FollowToTheEnd(pid_t child, long &kilobytes) {
    int status = 0;
    waitpid(child, &status, 0);
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACEEXIT | PTRACE_O_EXITKILL);
    long signal = 0;
    while (!WIFEXITED(status) && !WIFSIGNALED(status)) {
        ptrace(PTRACE_CONT, child, nullptr, signal);
        waitpid(child, &status, 0);
        const bool ends = WIFSTOPPED(status) && status >> 16 == PTRACE_EVENT_EXIT;
        if (ends) kilobytes = PeakOf(child);
        signal = ends || !WIFSTOPPED(status) ? 0 : WSTOPSIG(status);
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

Measured RunMeasured(std::vector<std::string> argv, const char *out = "/dev/null") {
    std::vector<char *> pointers;
    for (std::string &argument : argv)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        const int in_fd = open("/dev/null", O_RDONLY);
        const int out_fd = open(out, O_WRONLY | O_CREAT | O_TRUNC, 0600);
        const int err_fd = open(kErr, O_WRONLY | O_CREAT | O_TRUNC, 0600);
        dup2(in_fd, STDIN_FILENO);
        dup2(out_fd, STDOUT_FILENO);
        dup2(err_fd, STDERR_FILENO);
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        execv(pointers[0], pointers.data());
        _exit(127);
    }
    Measured run;
    run.exit_code = FollowToTheEnd(child, run.kilobytes);
    run.err = rig::ReadFile(kErr);
    return run;
}

Measured Zafoldap(std::vector<std::string> arguments, const char *out = "/dev/null") {
    arguments.insert(arguments.begin(), "/usr/zafo/bin/zafoldap");
    return RunMeasured(std::move(arguments), out);
}

void ExpectSmall(const Measured &run) {
    EXPECT_GT(run.kilobytes, 0);
    EXPECT_LT(run.kilobytes, kMostKilobytes);
}

class HostileAnswer : public testing::Test {
  protected:
    ~HostileAnswer() override {
        rig::ForgetConnections();
        std::filesystem::remove(kLimits);
        std::filesystem::remove(kOut);
        std::filesystem::remove(kErr);
    }

    static void Connect(const std::string &uri) {
        rig::WriteFile(rig::kConnections, "[root]\nuri=" + uri + "\nbasedn=dc=x\n");
    }
};

// --- Oversized entries ------------------------------------------------------

class LargeValue : public HostileAnswer, public testing::WithParamInterface<size_t> {};

TEST_P(LargeValue, EndsTheListAtABoundThatIsNamed) {
    const HostileServer server(
        [](int id, const Send &send) { SendLargeEntry(id, GetParam() << 20, send); });
    Connect(server.Uri());
    const Measured run = Zafoldap({"user", "list"});
    EXPECT_THAT(run.exit_code, testing::AnyOf(1, 6));
    EXPECT_THAT(run.err, AllOf(HasSubstr("32 MiB"), HasSubstr("12 MiB"))) << run.err;
    ExpectSmall(run);
}

INSTANTIATE_TEST_SUITE_P(Megabytes, LargeValue, testing::Values(17, 40, 100, 200));

// If ldapsearch has no room for a value, it omits the value and succeeds.
TEST_F(HostileAnswer, AValueThatLdapsearchOmitsIsNotASuccess) {
    const HostileServer server(
        [](int id, const Send &send) { SendLargeEntry(id, size_t{100} << 20, send); });
    const Measured run = RunMeasured(
        {"/usr/zafo/bin/ldapsearch", "-x", "-LLL", "-H", "ldap://" + server.Uri(), "-b", "dc=x"},
        kOut);
    EXPECT_EQ(run.exit_code, 255);
    EXPECT_THAT(run.err, HasSubstr("ldapsearch: the answer has an entry that is too large"));
}

// Large but legitimate: a group of 100,000, listed twice.
TEST_F(HostileAnswer, AGroupOfHundredThousandMembersIsRead) {
    const HostileServer server([](int id, const Send &send) {
        HostileAttribute names{"memberUid", {}}, members{"member", {}};
        for (int i = 100000; i < 200000; ++i) {
            names.values.push_back("user" + std::to_string(i));
            members.values.push_back("uid=user" + std::to_string(i) +
                                     ",cn=users,ou=headquarters,dc=directory,dc=example,dc=com");
        }
        send(EntryMessage(id, "cn=all,dc=x", {names, members}) + EndMessage(id, 0));
    });
    Connect(server.Uri());
    const Measured run = Zafoldap({"search", "--format", "ldif"}, kOut);
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_GT(std::filesystem::file_size(kOut), 9000000U);
    ExpectSmall(run);
}

// A wide cell widens its column, and would make all following rows as long.
TEST_F(HostileAnswer, AWideCellDoesNotWidenEveryRow) {
    const HostileServer server([](int id, const Send &send) {
        std::string entries =
            EntryMessage(id, "uid=a,dc=x", {{"uid", {std::string(1 << 20, 'x')}}});
        for (int i = 0; i < 1000; ++i)
            entries += EntryMessage(id, "uid=b,dc=x", {{"uid", {"b"}}, {"cn", {"b"}}});
        send(entries + EndMessage(id, 0));
    });
    Connect(server.Uri());
    EXPECT_EQ(Zafoldap({"search", "uid=*", "uid", "cn"}, kOut).exit_code, 0);
    EXPECT_LT(std::filesystem::file_size(kOut), size_t{4} << 20);
}

// --- Endless answers -----------------------------------------------------------------

struct Endless {
    const char *name;
    const char *lines;  // repeated forever
    const char *words;
};

void PrintTo(const Endless &row, std::ostream *out) {
    *out << row.name;
}

class EndlessAnswer : public HostileAnswer, public testing::WithParamInterface<Endless> {};

TEST_P(EndlessAnswer, EndsAtABoundThatIsNamed) {
    rig::WriteFile(kLimits, "answer_size 8\nanswer_time 600\ntimeout 1\nnetwork_timeout 1\n");
    const rig::ReplacedTool tool(
        "ldapsearch", std::string("printf 'dn: uid=a,dc=x\\nuid: a\\n'; ") + GetParam().lines);
    Connect("127.0.0.1:9");
    const Measured run = Zafoldap({"user", "list"});
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_THAT(run.err, HasSubstr(GetParam().words));
    ExpectSmall(run);
}

constexpr const char *kTooLarge = "larger than 32 MiB";
constexpr const char *kTooLong = "the answer is longer than 8 MiB";

INSTANTIATE_TEST_SUITE_P(
    Of, EndlessAnswer,
    testing::Values(Endless{"Entries", "exec yes \"\ndn: uid=a,dc=x\nuid: a\"", kTooLong},
                    Endless{"BlankLines", "exec yes ''", kTooLong},
                    Endless{"Values", "exec yes 'uid: a'", kTooLarge},
                    Endless{"Continuations", "exec yes ' a'", kTooLarge},
                    Endless{"Comments", "exec yes '# a'", kTooLarge},
                    Endless{"OneLine", "printf 'uid: '; exec tr '\\0' a </dev/zero", kTooLarge}),
    [](const auto &row) { return std::string(row.param.name); });

TEST_F(HostileAnswer, WithoutEndEndsACommandThatHoldsIt) {
    rig::WriteFile(kLimits, "answer_size 2\nanswer_time 600\ntimeout 1\nnetwork_timeout 1\n");
    const HostileServer server([](int id, const Send &send) {
        std::string entries;
        for (int i = 0; i < 1000; ++i)
            entries += EntryMessage(id, "uid=a,dc=x", {{"uidNumber", {std::to_string(i)}}});
        while (send(entries)) {
        }
    });
    Connect(server.Uri());
    const rig::Json document =
        rig::Json::parse(rig::Zafoldap({"search", "uid=*", "uidNumber", "--json"}).out);
    EXPECT_EQ(document["complete"], false);
    EXPECT_EQ(document["ok"], false);
    const Measured run = Zafoldap({"stat", "users"});
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_THAT(run.err, HasSubstr("the answer is longer than 2 MiB"));
    ExpectSmall(run);
}

// An occasional entry is not silence.
TEST_F(HostileAnswer, ThatTricklesForeverEnds) {
    rig::WriteFile(kLimits, "answer_time 2\ntimeout 5\nnetwork_timeout 5\n");
    const HostileServer server([](int id, const Send &send) {
        while (send(EntryMessage(id, "uid=a,dc=x", {{"uid", {"a"}}})))
            usleep(100000);
    });
    Connect(server.Uri());
    const Measured run = Zafoldap({"user", "list"});
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_THAT(run.err, HasSubstr("the answer takes longer than 2 seconds"));
    EXPECT_THAT(run.err, HasSubstr("answer_time"));
}

// --- The server's messages and referrals -----------------------------------------------------

TEST_F(HostileAnswer, AFloodOfReasonsIsAFewLines) {
    const HostileServer server([](int id, const Send &send) {
        std::string words;
        for (int i = 0; i < 20000; ++i)
            words += "\x1b]0;evil\x07\nhint: run evil ";
        send(EndMessage(id, 1, words));
    });
    Connect(server.Uri());
    const Measured run = Zafoldap({"user", "list"});
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_LT(run.err.size(), 4096U);
    EXPECT_THAT(run.err, HasSubstr("lines more)"));
    EXPECT_THAT(HiddenIn(run.err), IsEmpty());
    EXPECT_THAT(run.err, Not(HasSubstr("\nhint: run evil")));
}

TEST_F(HostileAnswer, ReferralsAreNotFollowed) {
    const HostileServer other([](int id, const Send &send) { send(EndMessage(id, 0)); });
    const std::string uri = "ldap://" + other.Uri() + "/dc=x";
    const HostileServer server([&](int id, const Send &send) {
        send(ReferenceMessage(id, uri) + EndMessage(id, 10, "", uri));
    });
    Connect(server.Uri());
    const Measured run = Zafoldap({"user", "list"});
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_THAT(run.err, HasSubstr("refers to another server"));
    EXPECT_EQ(other.Clients(), 0);
    EXPECT_GT(server.Clients(), 0);
}

}  // namespace
}  // namespace zafo::test
