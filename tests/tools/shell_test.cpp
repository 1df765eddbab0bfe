// SPDX-License-Identifier: Apache-2.0
//
// Completion scripts and man pages, checked with the programs that read them.
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/rig/fake_tool.h"
#include "tests/rig/waiting.h"
#include "tests/tools/on_terminal.h"
#include "tests/tools/program.h"
#include "tests/tools/shells.h"

namespace {

using namespace zafo::rig;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;

class Completion : public testing::TestWithParam<const char *> {
  protected:
    void SetUp() override {
        if (!HasShell(GetParam())) GTEST_SKIP() << GetParam() << " is not installed";
        WriteFile(kConnections, "[root]\nuri=h\nbasedn=dc=x\n[work]\nuri=h\nbasedn=dc=x\n");
    }
    static std::vector<std::string> Offers(const std::string &line) {
        return Offered(GetParam(), line);
    }
    // What is offered for a value in the same word as its option, which bash splits.
    static std::string InOneWord(const std::string &option, const std::string &value) {
        return std::string(GetParam()) == "bash" ? value : option + "=" + value;
    }

    FakeTools tools_;
};
INSTANTIATE_TEST_SUITE_P(Shells, Completion, testing::Values("bash", "zsh", "fish"),
                         [](const auto &row) { return std::string(row.param); });

TEST_P(Completion, KnowsNounsVerbsOptionsAndSavedConnections) {
    EXPECT_THAT(Offers("zafoldap conn"), ElementsAre("connection"));
    EXPECT_THAT(Offers("zafoldap "), IsSupersetOf({"connection", "search", "user"}));
    EXPECT_THAT(Offers("zafoldap connection sh"), ElementsAre("show"));
    EXPECT_THAT(Offers("zafoldap connection add x --bi"), ElementsAre("--bind-dn"));
    EXPECT_THAT(Offers("zafoldap connection show "), IsSupersetOf({"root", "work"}));
    EXPECT_THAT(Offers("zafoldap connection rm w"), ElementsAre("work"));
    EXPECT_THAT(Offers("zafoldap search -c w"), ElementsAre("work"));
    EXPECT_THAT(Offers("zafoldap -c work search --format j"), ElementsAre("json"));
    EXPECT_THAT(Offers("zafoldap -c work search --sc"), ElementsAre("--scope"));
    EXPECT_THAT(Offers("zafoldap completion z"), ElementsAre("zsh"));
    EXPECT_THAT(Offers("zafoldap connection add x --uri "), IsEmpty());
    EXPECT_THAT(Offers("zafoldap user home cr"), ElementsAre("create", "create-all"));
    EXPECT_THAT(Offers("zafoldap nonsense sh"), IsEmpty());
    EXPECT_THAT(Offers("zafoldap __"), IsEmpty());
}

TEST_P(Completion, KnowsTheServersCommandsToo) {
    EXPECT_THAT(Offers("zafoldapserver en"), ElementsAre("enable"));
    EXPECT_THAT(Offers("zafoldapserver enable --su"), ElementsAre("--suffix"));
    EXPECT_THAT(Offers("zafoldapserver automount se"), ElementsAre("set"));
    EXPECT_THAT(Offers("zafoldapserver status --co"), ElementsAre("--color"));
}

TEST_P(Completion, TakesAValueInOneWordWithItsOption) {
    EXPECT_THAT(Offers("zafoldap search --format=j"), ElementsAre(InOneWord("--format", "json")));
    EXPECT_THAT(Offers("zafoldap --connection=w"), ElementsAre(InOneWord("--connection", "work")));
    EXPECT_THAT(Offers("zafoldap --format=json sea"), ElementsAre("search"));
    EXPECT_THAT(Offers("zafoldap search --nonsense=j"), IsEmpty());
    EXPECT_THAT(Offers("zafoldap connection check --json=j"), IsEmpty()) << "it has no value";
}

TEST_P(Completion, CountsAWordWithQuotedBlanksOnce) {
    EXPECT_THAT(Offers("zafoldap search --base 'ou=a b,dc=x' --sc"), ElementsAre("--scope"));
    EXPECT_THAT(Offers("zafoldap connection --format \"a 'b\" sh"), ElementsAre("show"));
    EXPECT_THAT(Offers("zafoldap connection --fields a\\ b sh"), ElementsAre("show"));
    EXPECT_THAT(Offers("zafoldap connection suggest 'ldap://h:389' "), Not(Contains("work")));
}

TEST_P(Completion, OffersNoOptionsAfterTwoDashesAlone) {
    EXPECT_THAT(Offers("zafoldap search -- --sc"), IsEmpty());
    EXPECT_THAT(Offers("zafoldap connection show -- w"), ElementsAre("work"));
}

TEST_P(Completion, LeavesFilesToTheShell) {
    const std::string shell = GetParam();
    const std::string files = shell == "bash"  ? kFilesOffered
                              : shell == "zsh" ? kFilesOffered + std::string("/usr/zafo/bi")
                                               : "/usr/zafo/bin/";
    for (const char *line : {"zafoldap user add x --password-file ",
                             "zafoldap user add x --password-file=", "zafoldapserver restore "})
        EXPECT_THAT(Offers(line + std::string("/usr/zafo/bi")),
                    ElementsAre(testing::EndsWith(files)));
}

// One second is the search's limit; the rest allows for a busy machine.
TEST_P(Completion, WaitsForNoServer) {
    tools_.On("ldapsearch").Error("ldap_sasl_bind: Can't contact LDAP server (-1)\n").Exit(255);
    EXPECT_THAT(Offers("zafoldap user show a"), IsEmpty());
    tools_.On("ldapsearch").Hang();
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_THAT(Offers("zafoldap -c work user show a"), IsEmpty());
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
    ASSERT_EQ(tools_.Calls().size(), 2U);
    EXPECT_TRUE(
        Within(std::chrono::seconds(5), [&] { return kill(tools_.Calls()[1].pid, 0) != 0; }));
}

TEST_P(Completion, OffersNoNameThatIsCodeToAShell) {
    tools_.On("ldapsearch")
        .Output(
            "dn: uid=1\nuid: ann\n\ndn: uid=2\nuid: an$(touch /tmp/ran)\n\ndn: uid=3\nuid: -an\n\n"
            "dn: uid=4\nuid: an;b\n\ndn: uid=5\nuid: an.b-c_d@e\n\n");
    EXPECT_THAT(Offers("zafoldap user show an"), ElementsAre("an.b-c_d@e", "ann"));
    EXPECT_NE(access("/tmp/ran", F_OK), 0);
}

// Types on a terminal and runs the line that the shell makes of it.
TEST_P(Completion, CompletesWhatIsTyped) {
    struct Shell {
        const char *path;
        std::vector<std::string> options;
        const char *load;
    };
    const std::string shell = GetParam();
    const Shell row =
        shell == "bash"
            ? Shell{"/usr/bin/bash", {"--norc", "-i"}, "source <(zafoldap completion bash)"}
        : shell == "zsh"
            ? Shell{"/usr/bin/zsh",
                    {"-f", "-i"},
                    "autoload -U compinit; compinit -D -u; source <(zafoldap completion zsh)"}
            : Shell{"/usr/bin/fish", {"--no-config", "-i"}, "zafoldap completion fish | source"};
    OnTerminal terminal(row.options, row.path);
    terminal.Answer("", row.load + std::string("; echo rea''dy\n"));
    terminal.Answer("ready", "zafoldap conn\tsh\two\t--format=js\t --color=nev\t\n");
    terminal.Answer("\"name\":\"work\"", "exit\n");
    EXPECT_EQ(terminal.Finish(), 0);
}

TEST(BashCompletion, LooksOnlyAtWhatIsBeforeTheCursor) {
    EXPECT_THAT(Offered("bash", "zafoldap conn show root", "13"), ElementsAre("connection"));
    EXPECT_THAT(Offered("bash", "zafoldap connection sh --json", "22"), ElementsAre("show"));
    EXPECT_THAT(Offered("bash", "zafoldap connection show", "22"), ElementsAre("show"));
}

TEST(CompletionCommand, StandsInNoHelpAndOnNoManPage) {
    for (const auto program : {Zafoldap, Zafoldapserver})
        EXPECT_THAT(program({"--help"}, "").out, Not(HasSubstr("__complete")));
    for (const char *page : {"zafoldap", "zafoldap-completion", "zafoldapserver"})
        EXPECT_THAT(ReadFile("/usr/zafo/share/man/man1/" + std::string(page) + ".1"),
                    Not(HasSubstr("__complete")))
            << page;
}

TEST(CompletionCommand, AnswersNonsenseWithNothing) {
    for (const std::vector<std::string> &words : {std::vector<std::string>{"__complete"},
                                                  {"__complete", "zsh"},
                                                  {"__complete", "bash"},
                                                  {"__complete", "bash", ""},
                                                  {"__complete", "bash", "'"},
                                                  {"__complete", "fish", "", "", "x"}}) {
        const ProgramRun run = Zafoldap(words);
        EXPECT_EQ(run.exit_code, 0);
        EXPECT_EQ(run.err, "");
    }
}

class OtherShell : public testing::TestWithParam<const char *> {};
INSTANTIATE_TEST_SUITE_P(Completion, OtherShell, testing::Values("zsh", "fish"),
                         [](const auto &row) { return std::string(row.param); });

TEST_P(OtherShell, ReadsTheScriptWithoutComplaint) {
    const std::string shell = GetParam();
    if (!HasShell(shell)) GTEST_SKIP() << shell << " is not installed";
    for (const auto program : {Zafoldap, Zafoldapserver}) {
        WriteFile("/tmp/script", program({"completion", shell}, "").out);
        const ProgramRun run = RunProgram({shell, "-n", "/tmp/script"});
        EXPECT_EQ(run.exit_code, 0);
        EXPECT_EQ(run.err, "");
    }
}

TEST_P(OtherShell, SaysWhatItOffers) {
    const std::string shell = GetParam();
    const std::string mark = shell == "zsh" ? ":" : "\t";
    EXPECT_THAT(Zafoldap({"__complete", shell, "connection", "sh"}).out,
                HasSubstr("show" + mark + "Show one saved connection\n"));
    EXPECT_THAT(Zafoldap({"__complete", shell, "search", "--"}).out,
                HasSubstr("--count" + mark + "print only the number"));
}

TEST(ManPages, AreReadWithoutWarnings) {
    for (const char *page :
         {"zafoldap", "zafoldap-connection", "zafoldap-user", "zafoldap-group", "zafoldap-member",
          "zafoldap-id", "zafoldap-stat", "zafoldap-search", "zafoldap-entry",
          "zafoldap-completion", "zafoldapserver", "zafoldapserver-enable", "zafoldapserver-status",
          "zafoldapserver-reset", "zafoldapserver-check", "zafoldapserver-automount"}) {
        SCOPED_TRACE(page);
        const std::string path = "/usr/zafo/share/man/man1/" + std::string(page) + ".1";
        ASSERT_EQ(access(path.c_str(), R_OK), 0);
        if (access("/usr/bin/groff", X_OK) != 0) GTEST_SKIP() << "groff is not installed";
        const ProgramRun run =
            RunProgram({"groff", "-man", "-Tutf8", "-ww", "-z", "-K", "utf8", path});
        EXPECT_EQ(run.exit_code, 0);
        // The private root has no /etc/groff with site-specific macros.
        std::istringstream lines(run.err);
        for (std::string line; std::getline(lines, line);)
            EXPECT_THAT(line, HasSubstr("'man.local'"));
    }
}

TEST(Help, ExistsForTheProgramItsNounsAndItsCommands) {
    EXPECT_THAT(Zafoldap({"--help"}).out, HasSubstr("connection check"));
    EXPECT_THAT(Zafoldap({"connection", "-h"}).out, HasSubstr("list, ls"));
    const ProgramRun add = Zafoldap({"connection", "add", "--help"});
    EXPECT_EQ(add.exit_code, 0);
    EXPECT_THAT(add.out,
                HasSubstr("usage: zafoldap connection add NAME --uri HOST --base DN [options]\n"));
    EXPECT_EQ(add.err, "");
    EXPECT_EQ(Zafoldap({"--version"}).out, "zafoldap 5.0.0\n");
}

TEST(Help, FitsEightyColumns) {
    std::istringstream lines(Zafoldap({"connection", "add", "--help"}).out);
    bool examples = false;  // lines are not broken
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("Examples:")) examples = true;
        if (line.starts_with("Exit codes:")) examples = false;
        if (!examples) {
            EXPECT_LE(line.size(), 84U) << line;
        }
    }
}

}  // namespace
