// SPDX-License-Identifier: Apache-2.0
//
// A directory whose values, names and error texts are crafted to control the reader's terminal, or
// to look like something else. Every command of the table is run against it, in every output form,
// and none lets them through.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/attack/hostile_text.h"
#include "tests/rig/fake_tool.h"
#include "tests/tools/on_terminal.h"
#include "tests/tools/program.h"
#include "tools/cli/display_text.h"
#include "tools/zafoldap/commands.h"
#include "tools/zafoldapserver/commands.h"

namespace zafo::test {
namespace {

using rig::ProgramRun;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr std::string_view kBait = "hint: run evil";

std::string LdifValue(std::string_view name, std::string_view value) {
    return std::string(name) + ":: " + cli::Base64(value) + "\n";
}

// An account that every search finds, as ldapsearch prints it: everything but plain text in base64,
// except attribute names, which it prints as the server sends them.
std::string HostileEntry(const std::string &text) {
    std::string entry = LdifValue("dn", "uid=" + text + ",ou=people,dc=x");
    for (const char *name : {"objectClass", "uid", "cn", "gecos", "description", "member",
                             "memberUid", "mail", "homeDirectory", "loginShell", "userPassword",
                             "sambaSID", "namingContexts", "automountInformation"})
        entry += LdifValue(name, text);
    entry += "objectClass: posixAccount\nobjectClass: posixGroup\n";
    entry += LdifValue("uidNumber", "1000" + text);
    entry += LdifValue("gidNumber", "1000" + text);
    return entry + "a\x1b]0;evil\x07: name\nb\xe2\x80\xae: name\n\n";
}

void SaveConnections() {
    const std::string words = HostileWords();
    rig::WriteFile(rig::kConnections, "[root]\nuri=127.0.0.1:9\nbasedn=dc=x\nbinddn=cn=" + words +
                                          "\nloginsuffix=x\n[e\x1b]0;evil\x07]\nuri=h\n[" + words +
                                          "]\nuri=" + words + "\nbasedn=dc=" + words +
                                          "\nbinddn=cn=a\x1b]0;evil\x07\nloginsuffix=" + words +
                                          "\n");
}

// A command line that contacts the directory.
std::vector<std::string> LineOf(const cli::Command &command) {
    std::vector<std::string> line{std::string(command.noun)};
    for (std::string_view verb = command.verb; !verb.empty();) {
        const size_t end = std::min(verb.find(' '), verb.size());
        line.emplace_back(verb.substr(0, end));
        verb.remove_prefix(std::min(end + 1, verb.size()));
    }
    for (const cli::Argument &argument : command.arguments) {
        const std::string_view name = argument.name;
        line.push_back(!argument.choices.empty()      ? std::string(argument.choices.front())
                       : name == "DN"                 ? "dc=x"
                       : name == "FILTER"             ? "(uid=*)"
                       : name == "ATTR"               ? "uid"
                       : name == "FILE"               ? "/backups/none.zbk"
                       : name == "PATTERN"            ? "*"
                       : name == "NEW"                ? "newname"
                       : command.noun == "connection" ? "root"
                                                      : "evil");
    }
    for (const cli::Option &option : command.options) {
        if (option.name == "password-stdin" || option.name == "raw" || option.name == "primary" ||
            option.name == "any-name")
            line.push_back("--" + std::string(option.name));
        if (option.required)
            line.push_back("--" + std::string(option.name) + "=" +
                           std::string(option.choices.empty() ? "dc=x" : option.choices.front()));
    }
    line.insert(line.end(), {"--yes", "-vv"});
    return line;
}

struct Row {
    const cli::Program *program;
    const cli::Command *command;
};

void PrintTo(const Row &row, std::ostream *out) {
    *out << row.program->name << " " << cli::FullName(*row.command);
}

// Completion prints a script, and "progress --follow" waits for a job.
std::vector<Row> Rows() {
    std::vector<Row> rows;
    for (const cli::Program *program : {&cli::Zafoldap(), &cli::Zafoldapserver()}) {
        for (const cli::Command &command : program->commands) {
            if (command.noun != "completion") rows.push_back({program, &command});
        }
    }
    return rows;
}

class EveryCommand : public testing::TestWithParam<Row> {
  protected:
    EveryCommand() { SaveConnections(); }
    ~EveryCommand() override { rig::ForgetConnections(); }

    // Makes every tool answer with this, or fail with it.
    void Everywhere(const std::string &answer, const std::string &words, int exit_code) {
        for (const char *tool : {"ldapsearch", "ldapmodify", "ldappasswd", "slapcat", "openssl"})
            tools_.On(tool).Output(answer).Error(words).Exit(exit_code);
    }

    static ProgramRun Run(std::vector<std::string> line, cli::Form form) {
        line.insert(line.begin(), "/usr/zafo/bin/" + std::string(GetParam().program->name));
        if (form != cli::Form::kLdif || GetParam().command->entries)
            line.push_back("--format=" + std::string(cli::Name(form)));
        return rig::RunProgram(line, "Sesame-open-1");
    }

    static void ExpectNothingHidden(const ProgramRun &run, cli::Form form) {
        EXPECT_THAT(HiddenIn(run.out), IsEmpty()) << "on standard output";
        EXPECT_THAT(HiddenIn(run.err), IsEmpty()) << "on standard error";
        EXPECT_THAT("\n" + run.err, Not(HasSubstr("\n" + std::string(kBait))));
        if (form == cli::Form::kCsv) return;  // line breaks are quoted there
        EXPECT_THAT("\n" + run.out, Not(HasSubstr("\n" + std::string(kBait))));
    }

    void ExpectNothingHiddenInAnyForm() const {
        for (const cli::Form form : {cli::Form::kTable, cli::Form::kPlain, cli::Form::kCsv,
                                     cli::Form::kJson, cli::Form::kLdif}) {
            SCOPED_TRACE(cli::Name(form));
            ExpectNothingHidden(Run(LineOf(*GetParam().command), form), form);
        }
    }

    rig::FakeTools tools_;
};

TEST_P(EveryCommand, ShowsNoHiddenBytesOfAnEntry) {
    Everywhere(HostileEntry(AllHostileTexts()) + HostileEntry(HostileWords()), "", 0);
    ExpectNothingHiddenInAnyForm();
}

TEST_P(EveryCommand, ShowsNoHiddenBytesOfTheServersReason) {
    std::string words = "ldap_bind: Operations error (1)\n\tadditional info: ";
    for (int i = 0; i < 200; ++i)
        words += AllHostileTexts();
    Everywhere("", words + "\n", 1);
    ExpectNothingHiddenInAnyForm();
}

INSTANTIATE_TEST_SUITE_P(Output, EveryCommand, testing::ValuesIn(Rows()), [](const auto &row) {
    std::string name = std::string(row.param.program->name) + cli::FullName(*row.param.command);
    std::erase_if(name, [](unsigned char c) { return std::isalnum(c) == 0; });
    return name;
});

// --- On a terminal ----------------------------------------------------------------

// Removes the sequences that the program itself may print on a terminal.
std::string WithoutOwnSequences(std::string text) {
    for (const std::string_view own : {"\033[1;31m", "\033[31m", "\033[32m", "\033[33m", "\033[1m",
                                       "\033[2m", "\033[0m", "\r\033[K", "\r\n"}) {
        for (size_t at = 0; (at = text.find(own)) != std::string::npos;)
            text.replace(at, own.size(), own == "\r\n" ? "\n" : "");
    }
    return text;
}

class OnATerminal : public testing::TestWithParam<std::vector<std::string>> {
  protected:
    OnATerminal() { SaveConnections(); }
    ~OnATerminal() override { rig::ForgetConnections(); }
    rig::FakeTools tools_;
};

TEST_P(OnATerminal, NothingHiddenComesThrough) {
    tools_.On("ldapsearch")
        .Output(HostileEntry(AllHostileTexts()) + HostileEntry(HostileWords()))
        .Error(AllHostileTexts() + "\n")
        .Exit(1);
    tools_.On("ldapmodify").Error(AllHostileTexts() + "\n").Exit(1);
    rig::OnTerminal program(GetParam());
    program.Finish();
    const std::string seen = WithoutOwnSequences(program.Seen());
    EXPECT_THAT(seen, Not(IsEmpty()));
    EXPECT_THAT(HiddenIn(seen), IsEmpty());
    EXPECT_THAT(seen, Not(HasSubstr("\n" + std::string(kBait))));
}

INSTANTIATE_TEST_SUITE_P(
    Output, OnATerminal,
    testing::Values(std::vector<std::string>{"search"},
                    std::vector<std::string>{"search", "uid=*", "uid", "cn", "description"},
                    std::vector<std::string>{"user", "list"},
                    std::vector<std::string>{"user", "list", "--fields",
                                             "name,full_name,mail,home,shell,dn"},
                    std::vector<std::string>{"group", "list", "-vv"},
                    std::vector<std::string>{"connection", "list"},
                    std::vector<std::string>{"connection", "check"},
                    std::vector<std::string>{"entry", "delete", "dc=x", "--yes"}));

// --- Machine-readable forms --------------------------------------------------------

class Forms : public testing::Test {
  protected:
    Forms() { SaveConnections(); }
    ~Forms() override { rig::ForgetConnections(); }

    std::string SearchedAs(const std::string &form, const std::string &value) {
        tools_.On("ldapsearch")
            .Output(LdifValue("dn", "uid=" + value) + LdifValue("uid", value) + "\n");
        return rig::Zafoldap({"search", "uid=*", "uid", "--format", form}).out;
    }

    rig::FakeTools tools_;
};

TEST_F(Forms, JsonGivesEveryTextBack) {
    const std::string words = HostileWords();
    const std::string out = SearchedAs("json", words);
    EXPECT_THAT(out, HasSubstr("\\u202e"));
    const rig::Json entry = rig::Json::parse(out)["data"][0];
    EXPECT_EQ(entry["dn"], "uid=" + words);
    EXPECT_EQ(entry["attributes"]["uid"][0], words);
}

TEST_F(Forms, LdifGivesEveryByteBackInBase64) {
    const std::string all = AllHostileTexts();
    const std::string out = SearchedAs("ldif", all);
    EXPECT_THAT(out, HasSubstr("dn:: " + cli::Base64("uid=" + all) + "\n"));
    EXPECT_THAT(out, HasSubstr("uid:: " + cli::Base64(all) + "\n"));
}

// A value that imitates an escape.
TEST_F(Forms, EscapesInCsvAreUnambiguous) {
    EXPECT_THAT(SearchedAs("csv", "a\xe2\x80\xae<U+202E>"),
                HasSubstr(",a<U+202E><U+003C>U+202E>\n"));
    EXPECT_THAT(SearchedAs("csv", "<binary: AA==>"), HasSubstr(",<U+003C>binary: AA==>\n"));
    EXPECT_THAT(SearchedAs("csv", "\xff"), HasSubstr("uid=<0xFF>,<binary: /w==>\n"));
}

struct CsvRow {
    const char *value;
    const char *field;
};

// A spreadsheet evaluates text that begins like a formula: =HYPERLINK, =cmd|'/C calc'!A0.
TEST_F(Forms, NoFieldOfCsvIsAFormula) {
    constexpr CsvRow kRows[] = {{"=1+1", "<U+003D>1+1"},
                                {"@SUM(A1)", "<U+0040>SUM(A1)"},
                                {"+cmd|' /C calc'!A0", "<U+002B>cmd|' /C calc'!A0"},
                                {"-cmd", "<U+002D>cmd"},
                                {"\t=1", "\t<U+003D>1"},
                                {"a;=1", "a;<U+003D>1"},
                                {"\xef\xbc\x9d"
                                 "1",
                                 "<U+FF1D>1"},
                                {"+49 (30) 123-4", "+49 (30) 123-4"},
                                {"-1", "-1"},
                                {"a=b", "a=b"}};
    for (const CsvRow &row : kRows) {
        const std::string field = cli::CsvField(row.value);
        EXPECT_EQ(field, row.field) << row.value;
    }
    EXPECT_THAT(SearchedAs("csv", "=1+1"), HasSubstr(",<U+003D>1+1\n"));
}

}  // namespace
}  // namespace zafo::test
