// SPDX-License-Identifier: Apache-2.0
//
// "search" and "entry show" with tools that fail in every way.
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/rig/fake_tool.h"
#include "tests/rig/fault.h"
#include "tests/tools/program.h"

namespace {

using namespace zafo::rig;
using testing::HasSubstr;

constexpr const char *kTwo =
    "dn: uid=a,dc=x\nuid: a\ncn: A\n\ndn: uid=b,dc=x\nuid: b\ncn: B\ncn: Bee\n\n";

class SearchCommand : public testing::Test {
  protected:
    SearchCommand() {
        WriteFile(kConnections,
                  "[root]\nuri=ldap.example.com\nbasedn=dc=x\nbinddn=cn=r,dc=x\nssl=start_tls\n");
    }
    FakeTools tools_;
};

TEST_F(SearchCommand, HandsFilterBaseScopeAndAttributesToTheTool) {
    tools_.On("ldapsearch").Output(kTwo);
    const ProgramRun run =
        Zafoldap({"search", "uid=*", "uid", "cn", "--base", "ou=p,dc=x", "--scope", "one"});
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run.out, "dn          uid  cn\nuid=a,dc=x  a    A\nuid=b,dc=x  b    B; Bee\n");
    ASSERT_EQ(tools_.Calls().size(), 1U);
    const auto argv = tools_.Calls()[0].argv;
    EXPECT_THAT(
        std::vector<std::string>(argv.begin() + 1, argv.end()),
        testing::ElementsAre("-LLL", "-x", "-H", "ldap://ldap.example.com", "-Z", "-D", "cn=r,dc=x",
                             "-b", "ou=p,dc=x", "-s", "one", "uid=*", "uid", "cn"));
}

TEST_F(SearchCommand, BadInputRunsNoTool) {
    const std::vector<std::vector<std::string>> lines = {
        {"search", "(uid=a"},
        {"search", "alice"},
        {"search", ""},
        {"search", "uid=a", "--", "-w"},
        {"search", "uid=a", "a b"},
        {"search", "--base", "nonsense"},
        {"search", "--limit", "0"},
        {"entry", "show", "nonsense"},
        {"entry", "show", "dc=x", "--fields", "a b"}};
    for (const auto &line : lines)
        EXPECT_EQ(Zafoldap(line).exit_code, 2) << line[1];
    EXPECT_TRUE(tools_.Calls().empty());
}

// The tool itself is fine then, so reinstalling it would not help.
TEST_F(SearchCommand, SaysWhatIsMissingWhenAToolCannotBeStarted) {
    struct Row {
        const char *error, *reason, *hint;
    };
    for (const Row &row :
         {Row{"EMFILE", "/usr/zafo/bin/ldapsearch cannot be started: too many open files\n",
              "ulimit -n 1024"},
          {"ENFILE", "cannot be started: too many open files on this system\n", "fs.file-max"},
          {"EAGAIN", "cannot be started: too many processes\n", "ulimit -u"},
          {"ENOMEM", "not enough memory", "close other programs"},
          {"ENOENT", "the LDAP tool /usr/zafo/bin/ldapsearch cannot be started\n",
           "reinstall the appliance's tools"}}) {
        SCOPED_TRACE(row.error);
        const FaultRun run = RunWithFault({"/usr/zafo/bin/zafoldap", "search"}, {"HOME=/root"},
                                          std::string(row.error) + ":1:spawn");
        EXPECT_EQ(run.ExitCode(), 1);
        EXPECT_THAT(run.words, HasSubstr(row.reason));
        EXPECT_THAT(run.words, HasSubstr(row.hint));
    }
    EXPECT_TRUE(tools_.Calls().empty());
}

// From too few descriptors for anything up to enough: the search succeeds, or the message names the
// limit. If the program's own libraries cannot be loaded, the loader says so.
TEST_F(SearchCommand, NamesTheLimitOfOpenFilesWhereverItIsMet) {
    // The sanitizers need descriptors to examine memory, and end the program without them.
    if (ReadFile("/usr/zafo/bin/zafoldap").find("__asan_init") != std::string::npos)
        GTEST_SKIP() << "the program is built with sanitizers, which need descriptors of their own";
    constexpr int kNotLoaded = 127;
    int succeeded = 0, refused = 0;
    for (int limit = 4; limit <= 24; ++limit) {
        SCOPED_TRACE(limit);
        const ProgramRun run = RunProgram(
            {"prlimit", "--nofile=" + std::to_string(limit), "/usr/zafo/bin/zafoldap", "search"});
        if (run.exit_code == 0) {
            ++succeeded;
            continue;
        }
        if (run.exit_code == kNotLoaded) {
            EXPECT_EQ(refused + succeeded, 0);
            continue;
        }
        ++refused;
        EXPECT_EQ(run.exit_code, 1);
        EXPECT_THAT(run.err, HasSubstr(": too many open files\nhint: raise the limit"));
        EXPECT_EQ(succeeded, 0);
    }
    EXPECT_GT(succeeded, 0);
    EXPECT_GT(refused, 2);
}

TEST_F(SearchCommand, SizeLimitPrintsWhatCameAndIsNotASuccess) {
    tools_.On("ldapsearch").Output(kTwo).Error("Size limit exceeded (4)\n").Exit(4);
    const Json document = ZafoldapJson({"search"}, 1);
    EXPECT_EQ(document["data"].size(), 2U);
    EXPECT_EQ(document["complete"], false);
    const ProgramRun table = Zafoldap({"search", "uid=*", "uid"});
    EXPECT_EQ(table.exit_code, 1);
    EXPECT_THAT(table.out, HasSubstr("uid=b,dc=x"));
    EXPECT_THAT(table.err, HasSubstr("the answer is incomplete"));
    EXPECT_THAT(Zafoldap({"search", "--format", "ldif"}).out,
                testing::EndsWith("# the answer is incomplete\n"));
    EXPECT_EQ(Zafoldap({"search", "--count"}).exit_code, 1);
}

TEST_F(SearchCommand, LimitSaysWhetherThereIsMore) {
    tools_.On("ldapsearch").Output(kTwo);
    const Json cut = ZafoldapJson({"search", "--limit", "1"}, 0);
    EXPECT_EQ(cut["data"].size(), 1U);
    EXPECT_EQ(cut["complete"], false);
    EXPECT_EQ(ZafoldapJson({"search", "--limit", "2"}, 0)["complete"], true);
    const Json rest = ZafoldapJson({"search", "--offset", "1"}, 0);
    EXPECT_EQ(rest["data"][0]["dn"], "uid=b,dc=x");
    EXPECT_EQ(ZafoldapJson({"search", "--count"}, 0)["data"]["count"], 2);
}

TEST_F(SearchCommand, EmptyAnswerIsAnEmptyList) {
    EXPECT_EQ(ZafoldapJson({"search"}, 0)["data"], Json::array());
    EXPECT_EQ(Zafoldap({"search", "uid=x", "uid"}).out, "");
}

struct Ending {
    const char *name;
    int tool_exit;
    const char *words;
    int exit_code;
    const char *key;
};

class ToolEnding : public SearchCommand, public testing::WithParamInterface<Ending> {};

TEST_P(ToolEnding, HasItsExitCodeAndItsWordsAreTheDetail) {
    tools_.On("ldapsearch").Error(GetParam().words).Exit(GetParam().tool_exit);
    const ProgramRun run = Zafoldap({"search", "--json"});
    EXPECT_EQ(run.exit_code, GetParam().exit_code);
    const Json error = ErrorOf(run);  // a single object: the tool's output is not mixed into it
    EXPECT_EQ(error["key"], GetParam().key);
    EXPECT_EQ(error["ldap_code"], GetParam().tool_exit);
    EXPECT_EQ(error["detail"],
              std::string(GetParam().words).substr(0, std::string(GetParam().words).size() - 1));
    EXPECT_EQ(Json::parse(run.out)["ok"], false);
}

INSTANTIATE_TEST_SUITE_P(
    Tool, ToolEnding,
    testing::Values(
        Ending{"NotFound", 32, "No such object (32)\n", 3, "ldap_error.ldap_no_such_object"},
        Ending{"WrongPassword", 49, "ldap_bind: Invalid credentials (49)\n", 4,
               "ldap_error.ldap_invalid_credentials"},
        Ending{"Down", 255, "ldap_sasl_bind(SIMPLE): Can't contact LDAP server (-1)\n", 6,
               "zafoldap.server_unreachable"},
        Ending{"Silent", 251, "ldap_result: Timed out (-5)\n", 6, "zafoldap.server_timed_out"},
        Ending{"BadCertificate", 1, "ldap_start_tls: Connect error (-11)\n", 6,
               "zafoldap.tls_failed"},
        Ending{"Busy", 51, "Server is busy (51)\n", 8, "zafoldap.server_busy"}),
    [](const auto &row) { return row.param.name; });

TEST_F(SearchCommand, AToolThatIsKilledIsReported) {
    tools_.On("ldapsearch").Output("dn: uid=a,dc=x\nuid: a\n\n").Die(SIGKILL);
    const Json document = ZafoldapJson({"search"}, 1);
    EXPECT_EQ(document["data"].size(), 1U);
    EXPECT_EQ(document["complete"], false);
}

TEST_F(SearchCommand, AFloodOfToolWordsIsBounded) {
    tools_.On("ldapsearch").Error(std::string(1 << 20, 'x')).Exit(32);
    const ProgramRun run = Zafoldap({"search"});
    EXPECT_EQ(run.exit_code, 3);
    EXPECT_LE(run.err.size(), 70'000U);
}

TEST_F(SearchCommand, GarbageDoesNotBreakTheJson) {
    tools_.On("ldapsearch").Output("dn:: Zm9v\nuid:: !!!\n\n\xff\xfe: x\n\n");
    ZafoldapJson({"search"}, 1);
}

TEST_F(SearchCommand, BytesAreMarkedInTheAnswer) {
    tools_.On("ldapsearch").Output("dn: uid=a,dc=x\njpegPhoto:: /9j/4AAQ\n\n");
    const Json document = ZafoldapJson({"search"}, 0);
    EXPECT_EQ(document["data"][0]["attributes"]["jpegPhoto"][0],
              (Json{{"binary", true}, {"base64_prefix", "/9j/4A=="}}));
}

TEST_F(SearchCommand, FullDiskIsReported) {
    std::string lines;
    for (int i = 0; i < 5000; ++i)
        lines += kTwo;
    tools_.On("ldapsearch").Output(lines);
    const ProgramRun run =
        RunProgram({"/bin/sh", "-c", "/usr/zafo/bin/zafoldap search >/dev/full"});
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_THAT(run.err, HasSubstr("the output cannot be written: No space left on device"));
}

TEST_F(SearchCommand, VerboseShowsTheMaskedCommandLine) {
    Zafoldap({"connection", "edit", "root", "--password-stdin"}, "geheim");
    const ProgramRun run = Zafoldap({"-vv", "search", "uid=a"});
    EXPECT_THAT(run.err, HasSubstr("+ /usr/zafo/bin/ldapsearch -LLL -x"));
    EXPECT_THAT(run.err, HasSubstr("'****'"));
    EXPECT_THAT(run.err, testing::Not(HasSubstr("geheim")));
}

TEST_F(SearchCommand, InterruptEndsWith130AndALeftoverFreeAnswer) {
    tools_.On("ldapsearch").Output("dn: uid=a,dc=x\nuid: a\n\n").Hang();
    int out[2];
    ASSERT_EQ(pipe2(out, O_CLOEXEC), 0);
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(out[1], STDOUT_FILENO);
        execl("/usr/zafo/bin/zafoldap", "zafoldap", "search", "--json", nullptr);
        _exit(127);
    }
    close(out[1]);
    ASSERT_TRUE(tools_.WaitForCalls(1));
    const pid_t tool = tools_.Calls()[0].pid;
    usleep(200'000);
    // Like Ctrl-C: sent to the program and to the tool that it waits for.
    kill(pid, SIGINT);
    kill(tool, SIGINT);
    int status = 0;
    waitpid(pid, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 130);
    std::string text(4096, '\0');
    text.resize(static_cast<size_t>(read(out[0], text.data(), text.size())));
    EXPECT_EQ(Json::parse(text)["complete"], false);
    close(out[0]);
}

TEST_F(SearchCommand, EntryShowPrintsOneObject) {
    tools_.On("ldapsearch").Output("dn: uid=a,dc=x\nuid: a\n\n");
    const Json document = ZafoldapJson({"entry", "show", "uid=a,dc=x"}, 0);
    EXPECT_EQ(document["data"]["attributes"]["uid"], Json::array({"a"}));
    EXPECT_THAT(tools_.Calls().at(0).argv,
                testing::IsSupersetOf({"-b", "uid=a,dc=x", "-s", "base"}));
}

TEST_F(SearchCommand, MissingEntryIsNotFound) {
    const Json document = ZafoldapJson({"entry", "show", "uid=a,dc=x"}, 3);
    EXPECT_EQ(document["data"], nullptr);
}

}  // namespace
