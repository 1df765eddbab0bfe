// SPDX-License-Identifier: Apache-2.0
//
// Completion scripts and man pages with the programs that read them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <sstream>

#include "tests/tools/program.h"

namespace {

using namespace zafo::rig;
using testing::HasSubstr;

// What bash offers for the last of the words.
std::vector<std::string> Offered(const std::string &words) {
    const std::string program = words.substr(0, words.find(' '));
    const std::string script = "source <(" + program + " completion bash)\nCOMP_WORDS=(" + words +
                               ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n_" + program +
                               "\nprintf '%s\\n' \"${COMPREPLY[@]}\"\n";
    const ProgramRun run = RunProgram({"bash", "-c", script});
    EXPECT_EQ(run.err, "");
    std::vector<std::string> offered;
    std::istringstream lines(run.out);
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty()) offered.push_back(line);
    }
    return offered;
}

TEST(BashCompletion, KnowsNounsVerbsOptionsAndSavedConnections) {
    WriteFile(kConnections, "[root]\nuri=h\n[work]\nuri=h\n");
    using testing::ElementsAre;
    EXPECT_THAT(Offered("zafoldap con"), ElementsAre("connection"));
    EXPECT_THAT(Offered("zafoldap connection sh"), ElementsAre("show"));
    EXPECT_THAT(Offered("zafoldap connection add x --bi"), ElementsAre("--bind-dn"));
    EXPECT_THAT(Offered("zafoldap connection show ''"), testing::IsSupersetOf({"root", "work"}));
    EXPECT_THAT(Offered("zafoldap connection rm w"), ElementsAre("work"));
    EXPECT_THAT(Offered("zafoldap search -c w"), ElementsAre("work"));
    EXPECT_THAT(Offered("zafoldap -c work search --format j"), ElementsAre("json"));
    EXPECT_THAT(Offered("zafoldap -c work search --sc"), ElementsAre("--scope"));
    EXPECT_THAT(Offered("zafoldap completion z"), ElementsAre("zsh"));
    EXPECT_THAT(Offered("zafoldap connection add x --uri ''"), testing::IsEmpty());
}

TEST(BashCompletion, KnowsTheServersCommandsToo) {
    using testing::ElementsAre;
    EXPECT_THAT(Offered("zafoldapserver en"), ElementsAre("enable"));
    EXPECT_THAT(Offered("zafoldapserver enable --su"), ElementsAre("--suffix"));
    EXPECT_THAT(Offered("zafoldapserver automount se"), ElementsAre("set"));
    EXPECT_THAT(Offered("zafoldapserver status --co"), ElementsAre("--color"));
}

class OtherShell : public testing::TestWithParam<const char *> {};
INSTANTIATE_TEST_SUITE_P(Completion, OtherShell, testing::Values("zsh", "fish"),
                         [](const auto &row) { return std::string(row.param); });

TEST_P(OtherShell, ReadsTheScriptWithoutComplaint) {
    const std::string shell = GetParam();
    if (access(("/usr/bin/" + shell).c_str(), X_OK) != 0)
        GTEST_SKIP() << shell << " is not installed";
    for (const auto program : {Zafoldap, Zafoldapserver}) {
        WriteFile("/tmp/script", program({"completion", shell}, "").out);
        const ProgramRun run = RunProgram({shell, "-n", "/tmp/script"});
        EXPECT_EQ(run.exit_code, 0);
        EXPECT_EQ(run.err, "");
    }
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
        // The private root has no /etc/groff with the site's own macros.
        std::istringstream lines(run.err);
        for (std::string line; std::getline(lines, line);)
            EXPECT_THAT(line, HasSubstr("'man.local'"));
    }
}

TEST(Help, IsThereForTheProgramItsNounsAndItsCommands) {
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
    bool examples = false;  // command lines are not broken
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("Examples:")) examples = true;
        if (line.starts_with("Exit codes:")) examples = false;
        if (!examples) {
            EXPECT_LE(line.size(), 84U) << line;
        }
    }
}

}  // namespace
