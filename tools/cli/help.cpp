// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/help.h"

#include <algorithm>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "tools/cli/display_text.h"

namespace zafo::cli {

namespace {

constexpr int kColumns = 80;

// `text` in lines of at most kColumns, indented by `indent`; empty lines separate paragraphs.
std::string Wrapped(std::string_view text, int indent) {
    std::string out;
    std::string line(static_cast<size_t>(indent), ' ');
    bool fresh = true;
    const auto end_line = [&] {
        if (!fresh) out.append(line).append(1, '\n');
        line = std::string(static_cast<size_t>(indent), ' ');
        fresh = true;
    };
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find_first_of(" \n", at), text.size());
        const std::string_view word = text.substr(at, end - at);
        if (!word.empty()) {
            if (!fresh && DisplayWidth(line) + 1 + DisplayWidth(word) > kColumns) end_line();
            if (!fresh) line += ' ';
            line += word;
            fresh = false;
        }
        if (end < text.size() && text[end] == '\n') {
            end_line();
            if (text.substr(end).starts_with("\n\n")) out += "\n";
        }
        at = end + 1;
    }
    end_line();
    return out;
}

// Two columns: a label and its text.
struct Row {
    std::string label;
    std::string text;
};

std::string Rows(const std::vector<Row> &rows) {
    constexpr int kWidest = 26;
    int width = 0;
    for (const Row &row : rows) {
        const int own = DisplayWidth(row.label);
        if (own <= kWidest) width = std::max(width, own);
    }
    std::string out;
    for (const Row &row : rows) {
        const std::string text = Wrapped(row.text, width + 4);
        const int own = DisplayWidth(row.label);
        if (own > width) {
            out += fmt::format("  {}\n{}", row.label, text);
        } else {
            const std::string pad(static_cast<size_t>(width - own) + 2, ' ');
            out += fmt::format("  {}{}{}", row.label, pad,
                               std::string_view(text).substr(static_cast<size_t>(width) + 4));
        }
    }
    return out;
}

std::string WithChoices(std::string_view help, const std::vector<std::string_view> &choices) {
    std::string text(help);
    if (choices.empty()) return text;
    // Choices that the help text explains need not be listed.
    const bool named = std::ranges::all_of(
        choices, [&](std::string_view choice) { return text.find(choice) != std::string::npos; });
    if (named) return text;
    return text + fmt::format(": {}", fmt::join(choices, ", "));
}

std::string OptionRows(const std::vector<Option> &options) {
    std::vector<Row> rows;
    rows.reserve(options.size());
    for (const Option &option : options) {
        rows.push_back({OptionLabel(option), WithChoices(option.help, option.choices)});
    }
    return Rows(rows);
}

std::string ArgumentUsage(const Argument &argument) {
    const std::string_view more = argument.repeatable ? "…" : "";
    return argument.required ? fmt::format("{}{}", argument.name, more)
                             : fmt::format("[{}{}]", argument.name, more);
}

}  // namespace

std::string UsageLine(const Program &program, const Command &command) {
    std::string line = fmt::format("{} {}", program.name, FullName(command));
    for (const Argument &argument : command.arguments)
        line.append(1, ' ').append(ArgumentUsage(argument));
    for (const Option &option : command.options) {
        if (option.required) line += fmt::format(" --{} {}", option.name, option.value);
    }
    return line + " [options]";
}

std::string OptionLabel(const Option &option) {
    std::string label = option.letter == '\0'
                            ? fmt::format("    --{}", option.name)
                            : fmt::format("-{}, --{}", option.letter, option.name);
    if (!option.value.empty()) label += fmt::format(" {}", option.value);
    return label;
}

std::string ProgramHelp(const Program &program) {
    std::string help =
        fmt::format("{}: {}\n\nusage: {} COMMAND [arguments] [options]\n\nCommands:\n",
                    program.name, program.summary, program.name);
    std::vector<Row> rows;
    for (const Command &command : program.commands) {
        rows.push_back({FullName(command), std::string(command.summary)});
    }
    help += Rows(rows);
    help += "\nOptions of every command:\n" + OptionRows(program.global_options);
    help += fmt::format(
        "\n"
        "\"{0} COMMAND --help\" for details of a command, \"man {0}\" for all of them.\n",
        program.name);
    return help;
}

std::string NounHelp(const Program &program, std::string_view noun) {
    std::string help =
        fmt::format("usage: {} {} VERB [arguments] [options]\n\nVerbs:\n", program.name, noun);
    std::vector<Row> rows;
    for (const Command *command : CommandsOf(program, noun)) {
        std::string label(command->verb);
        for (std::string_view alias : command->aliases)
            label += fmt::format(", {}", alias);
        rows.push_back({std::move(label), std::string(command->summary)});
    }
    return help + Rows(rows) +
           fmt::format(
               "\n"
               "\"{} {} VERB --help\" for details of a verb.\n",
               program.name, noun);
}

std::string CommandHelp(const Program &program, const Command &command) {
    std::string help = fmt::format("{}\n\nusage: {}\n\n{}", command.summary,
                                   UsageLine(program, command), Wrapped(command.description, 0));
    if (!command.arguments.empty()) {
        std::vector<Row> rows;
        for (const Argument &argument : command.arguments) {
            rows.push_back(
                {std::string(argument.name), WithChoices(argument.help, argument.choices)});
        }
        help += "\nArguments:\n" + Rows(rows);
    }
    if (!command.options.empty()) help += "\nOptions:\n" + OptionRows(command.options);
    help += "\nOptions of every command:\n" + OptionRows(program.global_options);
    help += "\nExamples:\n";
    for (const Example &example : command.examples) {
        help += fmt::format("  # {}\n  {}\n", example.what, example.line);
    }
    std::vector<Row> rows;
    for (const ExitCode &exit : program.exits) {
        const bool own = exit.code <= 2 || std::ranges::count(command.exits, exit.code) > 0;
        if (own) rows.push_back({std::to_string(exit.code), std::string(exit.meaning)});
    }
    return help + "\nExit codes:\n" + Rows(rows);
}

}  // namespace zafo::cli
