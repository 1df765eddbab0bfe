// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/man_page.h"

#include <algorithm>
#include <cstdio>
#include <fstream>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "tools/cli/display_text.h"
#include "tools/cli/help.h"

namespace zafo::cli {

namespace {

// Text as troff input: backslashes and hyphens stay literal, and no line is taken as a request.
std::string Troff(std::string_view text) {
    std::string out;
    bool line_start = true;
    for (const char c : text) {
        if (line_start && (c == '.' || c == '\'')) out += "\\&";
        line_start = c == '\n';
        if (c == '\\') {
            out += "\\e";
        } else if (c == '-') {
            out += "\\-";
        } else {
            out += c;
        }
    }
    return out;
}

std::string Paragraphs(std::string_view text) {
    return Replaced(Troff(text), "\n\n", "\n.PP\n") + "\n";
}

std::string Item(std::string_view label, std::string_view text) {
    return fmt::format(".TP\n\\fB{}\\fR\n{}\n", Troff(label), Troff(text));
}

std::string OptionItem(const Option &option) {
    std::string label = OptionLabel(option);
    label.erase(0, label.find_first_not_of(' '));
    std::string text(option.help);
    if (!option.choices.empty())
        text += fmt::format("\nOne of {}.", fmt::join(option.choices, ", "));
    return Item(label, text);
}

std::string Header(const std::string &page, std::string_view summary) {
    std::string upper = page;
    std::ranges::transform(upper, upper.begin(), [](char c) {
        return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    });
    // ".nh" and ".ad l": command lines and DNs must not be hyphenated or stretched.
    return fmt::format(
        ".\\\" SPDX-License-Identifier: Apache-2.0\n"
        ".TH {} 1 \"\" \"zafoldap\" \"User Commands\"\n.nh\n.ad l\n"
        ".SH NAME\n{} \\- {}\n",
        Troff(upper), Troff(page), Troff(summary));
}

std::string ExitItems(const Program &program) {
    std::string out;
    for (const ExitCode &exit : program.exits) {
        out += Item(std::to_string(exit.code), exit.meaning);
    }
    return out;
}

std::string Section(std::string_view title, const std::vector<Topic> &items) {
    if (items.empty()) return {};
    std::string out = fmt::format(".SH {}\n", title);
    for (const Topic &item : items)
        out += Item(item.title, item.text);
    return out;
}

std::string PageName(const Program &program, std::string_view noun) {
    return fmt::format("{}-{}", program.name, noun);
}

std::string SeeAlso(const Program &program, std::string_view without) {
    std::string out = ".SH SEE ALSO\n";
    const auto add = [&](std::string_view page, int section) {
        if (page != without) out += fmt::format(".BR {} ({}),\n", Troff(page), section);
    };
    add(program.name, 1);
    for (const Noun &noun : program.nouns)
        add(PageName(program, noun.name), 1);
    return out + ".BR ldapsearch (1)\n";
}

std::string CommandSection(const Program &program, const Command &command) {
    std::string out = fmt::format(".SS {}\n", Troff(FullName(command)));
    out += fmt::format("\\fB{}\\fR\n.PP\n", Troff(UsageLine(program, command)));
    if (!command.aliases.empty()) {
        out += "Also written";
        for (std::string_view alias : command.aliases) {
            out += fmt::format(" \\fB{} {}\\fR", Troff(command.noun), Troff(alias));
        }
        out += ".\n.PP\n";
    }
    out += Paragraphs(command.description);
    for (const Argument &argument : command.arguments)
        out += Item(argument.name, argument.help);
    for (const Option &option : command.options)
        out += OptionItem(option);
    for (const Example &example : command.examples) {
        out += fmt::format(".PP\n{}:\n.PP\n.RS\n.nf\n{}\n.fi\n.RE\n", Troff(example.what),
                           Troff(example.line));
    }
    return out;
}

ManPage MainPage(const Program &program) {
    const std::string name(program.name);
    std::string text = Header(name, program.summary);
    text += fmt::format(".SH SYNOPSIS\n\\fB{}\\fR COMMAND [arguments] [options]\n", Troff(name));
    text += ".SH DESCRIPTION\n" + Paragraphs(program.description);
    text += ".SH COMMANDS\n";
    for (const Command &command : program.commands) {
        text += Item(FullName(command), fmt::format("{}; see {}(1).", command.summary,
                                                    PageName(program, command.noun)));
    }
    text +=
        ".SH OPTIONS\n"
        "Every command accepts these, before or after its own.\n";
    for (const Option &option : program.global_options)
        text += OptionItem(option);
    for (const Topic &topic : program.topics) {
        text += fmt::format(".SH {}\n{}", Troff(topic.title), Paragraphs(topic.text));
    }
    text += ".SH EXIT STATUS\n" + ExitItems(program);
    text += Section("ENVIRONMENT", program.variables) + Section("FILES", program.files);
    return {name, text + SeeAlso(program, name)};
}

ManPage NounPage(const Program &program, const Noun &noun) {
    const std::string name = PageName(program, noun.name);
    std::string text = Header(name, noun.summary) + ".SH SYNOPSIS\n.nf\n";
    for (const Command *command : CommandsOf(program, noun.name)) {
        text += fmt::format("\\fB{}\\fR\n", Troff(UsageLine(program, *command)));
    }
    text += ".fi\n.SH DESCRIPTION\n";
    for (const Command *command : CommandsOf(program, noun.name)) {
        text += CommandSection(program, *command);
    }
    text += fmt::format(".SH OPTIONS\nThe options of every command are in\n.BR {} (1).\n",
                        Troff(program.name));
    text += ".SH EXIT STATUS\n" + ExitItems(program);
    return {name, text + SeeAlso(program, name)};
}

}  // namespace

std::vector<ManPage> ManPages(const Program &program) {
    std::vector<ManPage> pages = {MainPage(program)};
    for (const Noun &noun : program.nouns)
        pages.push_back(NounPage(program, noun));
    return pages;
}

int WriteManPages(const Program &program, int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
        return 2;
    }
    for (const ManPage &page : ManPages(program)) {
        std::ofstream file(std::string(argv[1]) + "/" + page.name + ".1");
        file << page.text;
        file.close();
        if (!file) {
            std::fprintf(stderr, "%s: cannot write %s.1 in %s\n", argv[0], page.name.c_str(),
                         argv[1]);
            return 1;
        }
    }
    return 0;
}

}  // namespace zafo::cli
