// SPDX-License-Identifier: Apache-2.0
//
// Every command of the table is complete.
#include <algorithm>
#include <sstream>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/cli/completion.h"
#include "tools/cli/failure.h"
#include "tools/cli/help.h"
#include "tools/cli/man_page.h"
#include "tools/cli/parser.h"
#include "tools/zafoldap/commands.h"
#include "tools/zafoldapserver/commands.h"

namespace {

using namespace zafo::cli;
using testing::Contains;
using testing::HasSubstr;

Invocation ParseLine(std::vector<const char *> words) {
    words.insert(words.begin(), "zafoldap");
    return Parse(Zafoldap(), static_cast<int>(words.size()), words.data());
}

std::string RefusalOf(std::vector<const char *> words) {
    try {
        ParseLine(std::move(words));
    } catch (const Failure &failure) {
        EXPECT_EQ(failure.exit_code, 2);
        return failure.message;
    }
    return "accepted";
}

std::string Troff(std::string_view text) {
    std::string out;
    for (const char c : text) {
        if (c == '-') out += '\\';
        out += c;
    }
    return out;
}

struct Row {
    const Program *program;
    Command command;
};

void PrintTo(const Row &row, std::ostream *out) {
    *out << row.program->name << " " << FullName(row.command);
}

std::vector<Row> RowsOfAllPrograms() {
    std::vector<Row> rows;
    for (const Command &command : Zafoldap().commands)
        rows.push_back({&Zafoldap(), command});
    for (const Command &command : Zafoldapserver().commands)
        rows.push_back({&Zafoldapserver(), command});
    return rows;
}

class EveryCommand : public testing::TestWithParam<Row> {
  protected:
    const Program &TheProgram() const { return *GetParam().program; }
    const Command &TheCommand() const { return GetParam().command; }
};

INSTANTIATE_TEST_SUITE_P(Table, EveryCommand, testing::ValuesIn(RowsOfAllPrograms()),
                         [](const auto &row) {
                             std::string name = std::string(row.param.program->name) + "_" +
                                                FullName(row.param.command);
                             std::erase_if(name, [](char c) { return c == ' ' || c == '-'; });
                             return name;
                         });

TEST_P(EveryCommand, HasAHandler) {
    EXPECT_NE(TheCommand().run, nullptr);
}

TEST_P(EveryCommand, HelpNamesItsUsageOptionsAndExamples) {
    const std::string help = CommandHelp(TheProgram(), TheCommand());
    EXPECT_THAT(help, HasSubstr(UsageLine(TheProgram(), TheCommand())));
    for (const Option &option : TheCommand().options) {
        EXPECT_THAT(help, HasSubstr("--" + std::string(option.name)));
        EXPECT_FALSE(option.help.empty()) << option.name;
    }
    for (const Argument &argument : TheCommand().arguments)
        EXPECT_FALSE(argument.help.empty());
    ASSERT_FALSE(TheCommand().examples.empty());
    for (const Example &example : TheCommand().examples)
        EXPECT_THAT(help, HasSubstr(std::string(example.line)));
}

TEST_P(EveryCommand, HasASectionInAManPage) {
    const auto pages = ManPages(TheProgram());
    const auto page = std::ranges::find_if(pages, [this](const ManPage &candidate) {
        return candidate.name ==
               std::string(TheProgram().name) + "-" + std::string(TheCommand().noun);
    });
    ASSERT_NE(page, pages.end());
    EXPECT_THAT(page->text, HasSubstr(".SS " + Troff(FullName(TheCommand())) + "\n"));
    for (const Option &option : TheCommand().options) {
        EXPECT_THAT(page->text, HasSubstr(Troff("--" + std::string(option.name))));
    }
}

// The lines printed when the words are completed.
std::vector<std::string> Completed(const Program &program, std::vector<std::string> words) {
    words.insert(words.begin(), "fish");
    std::vector<std::string> lines;
    std::istringstream answer(AnswerCompletion(program, words));
    for (std::string line; std::getline(answer, line);)
        lines.push_back(line);
    return lines;
}

TEST_P(EveryCommand, IsCompletedWithItsSummaryAndItsOptions) {
    std::vector<std::string> words;
    std::istringstream name(FullName(TheCommand()));
    for (std::string word; name >> word;) {
        words.emplace_back();
        EXPECT_THAT(Completed(TheProgram(), words), Contains(testing::StartsWith(word)));
        words.back() = word;
    }
    words.emplace_back("-");
    const std::vector<std::string> offered = Completed(TheProgram(), words);
    for (const auto *options : {&TheCommand().options, &TheProgram().global_options}) {
        for (const Option &option : *options)
            EXPECT_THAT(offered, Contains(fmt::format("--{}\t{}", option.name, option.help)));
    }
}

TEST_P(EveryCommand, ExamplesAreValidCommandLines) {
    for (const Example &example : TheCommand().examples) {
        SCOPED_TRACE(example.line);
        if (example.line.find('|') != std::string_view::npos || example.line.starts_with("source"))
            continue;
        std::vector<std::string> words;
        std::string word;
        bool quoted = false;
        for (const char c : std::string(example.line) + " ") {
            if (c == '\'') {
                quoted = !quoted;
            } else if (c == ' ' && !quoted) {
                words.push_back(word);
                word.clear();
            } else {
                word += c;
            }
        }
        std::vector<const char *> argv;
        for (const std::string &item : words)
            argv.push_back(item.c_str());
        const Invocation invocation =
            Parse(TheProgram(), static_cast<int>(argv.size()), argv.data());
        ASSERT_NE(invocation.command, nullptr);
        EXPECT_EQ(FullName(*invocation.command), FullName(TheCommand()));
    }
}

TEST_P(EveryCommand, ExclusiveOptionsAreItsOwn) {
    for (const auto &exclusive : TheCommand().exclusive) {
        EXPECT_GT(exclusive.size(), 1U);
        for (std::string_view name : exclusive)
            EXPECT_EQ(std::ranges::count(TheCommand().options, name, &Option::name), 1) << name;
    }
}

TEST_P(EveryCommand, NoOptionTakesASecret) {
    for (const Option &option : TheCommand().options) {
        const bool secret = option.name.find("password") != std::string_view::npos;
        EXPECT_TRUE(!secret || option.value.empty() || option.kind == Kind::kFile) << option.name;
    }
}

TEST(CommandLine, TakesCommonOptionsAnywhere) {
    for (const auto &line : std::vector<std::vector<const char *>>{
             {"--json", "-c", "work", "search", "uid=a"},
             {"search", "--json", "uid=a", "-c", "work"},
             {"search", "uid=a", "--connection=work", "--format", "json"}}) {
        const Invocation invocation = ParseLine(line);
        EXPECT_EQ(invocation.globals.form, Form::kJson);
        EXPECT_EQ(invocation.globals.connection, "work");
        EXPECT_EQ(*invocation.Find("FILTER"), "uid=a");
    }
}

TEST(CommandLine, WordsOfTheTableAreOrdinaryArgumentsToo) {
    const Invocation invocation = ParseLine({"search", "uid=a", "entry", "connection", "list"});
    EXPECT_EQ(FullName(*invocation.command), "search");
    EXPECT_THAT(invocation.All("ATTR"), testing::ElementsAre("entry", "connection", "list"));
}

TEST(CommandLine, AliasesAreTheirVerbs) {
    EXPECT_EQ(ParseLine({"connection", "ls"}).command, ParseLine({"connection", "list"}).command);
    EXPECT_EQ(ParseLine({"connection", "rm", "x"}).command,
              ParseLine({"connection", "delete", "x"}).command);
}

TEST(CommandLine, PrefixesAreNotVerbs) {
    EXPECT_THAT(RefusalOf({"connection", "li"}), HasSubstr("unknown verb \"li\" after connection"));
    EXPECT_THAT(RefusalOf({"sear"}), HasSubstr("unknown command \"sear\""));
}

TEST(CommandLine, CountsVerbosity) {
    EXPECT_EQ(ParseLine({"-vv", "connection", "list"}).globals.verbosity, 2);
    EXPECT_EQ(ParseLine({"connection", "list", "-v"}).globals.verbosity, 1);
    EXPECT_EQ(ParseLine({"connection", "list", "-q"}).globals.verbosity, -1);
}

TEST(CommandLine, AddressesInBracketsStayWhole) {
    const Invocation invocation =
        ParseLine({"connection", "add", "x", "--base", "dc=x", "--uri", "[::1]", "--uri", "b"});
    EXPECT_THAT(invocation.All("uri"), testing::ElementsAre("[::1]", "b"));
}

TEST(CommandLine, AnEmptyValueIsAValue) {
    const Invocation invocation = ParseLine({"connection", "edit", "x", "--login-suffix", ""});
    ASSERT_NE(invocation.Find("login-suffix"), nullptr);
    EXPECT_EQ(*invocation.Find("login-suffix"), "");
}

TEST(CommandLine, SaysWhatIsWrong) {
    const std::pair<std::vector<const char *>, const char *> kCases[] = {
        {{}, "missing command"},
        {{"connection"}, "missing verb after connection"},
        {{"connection", "show"}, "NAME is missing"},
        {{"connection", "add", "x", "--base", "dc=x"}, "--uri is missing"},
        {{"connection", "list", "--nonsense"}, "unknown option --nonsense"},
        {{"connection", "show", "a", "b"}, "unexpected argument \"b\""},
        {{"connection", "list", "--format", "xml"}, "--format cannot be \"xml\""},
        {{"connection", "list", "--format", "ldif"}, "has no LDIF output"},
        {{"search", "--limit", "ten"}, "--limit needs a number"},
        {{"search", "--limit", "-1"}, "--limit needs a number"},
        {{"search", "--scope", "tree"}, "--scope cannot be \"tree\""},
        {{"completion", "ksh"}, "SHELL cannot be \"ksh\""},
        {{"search", "--json", "--format", "csv"}, "cannot be used together"},
        {{"user", "passwd", "x", "--random-password", "--password-stdin"},
         "--password-stdin, --password-file and --random-password cannot be used together"},
        {{"user", "list", "--group", "a", "--not-in-group", "b"},
         "--group and --not-in-group cannot be used together"},
    };
    for (const auto &[line, message] : kCases)
        EXPECT_THAT(RefusalOf(line), HasSubstr(message));
}

}  // namespace
