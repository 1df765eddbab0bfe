// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/parser.h"

#include <algorithm>
#include <limits>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include "base/ascii.h"
#include "tools/cli/display_text.h"
#include "tools/cli/failure.h"

namespace zafo::cli {

namespace {

[[noreturn]] void Refuse(const Program &program, const Command *command, std::string reason) {
    const std::string help = fmt::format("{}{}{} --help", program.name, command ? " " : "",
                                         command ? FullName(*command) : "");
    throw OwnFailure(Message::kUsage, {.subject = help, .reason = std::move(reason)});
}

// "-v,--verbose"
std::string Spelling(const Option &option) {
    return option.letter == '\0' ? fmt::format("--{}", option.name)
                                 : fmt::format("-{},--{}", option.letter, option.name);
}

using Registered = std::vector<std::pair<std::string, CLI::Option *>>;

void Register(CLI::App &app, const Option &option, Registered &registered) {
    CLI::Option *added = nullptr;
    if (option.value.empty()) {
        added = app.add_flag(Spelling(option));
    } else {
        added = app.add_option(Spelling(option))->expected(1)->allow_extra_args(false);
        if (option.repeatable) added->take_all();
    }
    registered.emplace_back(option.name, added);
}

void Register(CLI::App &app, const Argument &argument, Registered &registered) {
    CLI::Option *added = app.add_option(std::string(argument.name));
    added->expected(1);
    if (argument.repeatable) added->expected(-1)->take_all();
    registered.emplace_back(argument.name, added);
}

// One CLI::App for each noun and for each word of its verbs.
struct Registry {
    const Program &program;
    CLI::App app;
    Registered common;
    std::map<const CLI::App *, std::pair<const Command *, Registered>> commands;
    std::map<std::string, CLI::App *, std::less<>> paths;  // "user", "user home" …

    explicit Registry(const Program &the_program) : program(the_program), app("", "") {
        app.set_help_flag("-h,--help");
        app.require_subcommand(0, 1);
        for (const Option &option : program.global_options) {
            if (option.name != "help") Register(app, option, common);
        }
        for (const Noun &noun : program.nouns)
            AddNoun(noun);
    }

    void AddNoun(const Noun &noun) {
        CLI::App *below = Word(app, std::string(noun.name), std::string(noun.name));
        for (const Command *command : CommandsOf(program, noun.name)) {
            CLI::App *self = below;
            std::string path(noun.name);
            for (std::string_view rest = command->verb; !rest.empty();) {
                const std::string word(rest.substr(0, rest.find(' ')));
                rest.remove_prefix(std::min(word.size() + 1, rest.size()));
                path += " " + word;
                self = Word(*self, word, path);
            }
            for (std::string_view alias : command->aliases)
                self->alias(std::string(alias));
            auto &[table_row, registered] = commands[self];
            table_row = command;
            for (const Option &option : command->options)
                Register(*self, option, registered);
            for (const Argument &argument : command->arguments) {
                Register(*self, argument, registered);
            }
        }
    }

    // The word below `above`, created if new.
    CLI::App *Word(CLI::App &above, const std::string &word, const std::string &path) {
        const auto known = paths.find(path);
        if (known != paths.end()) return known->second;
        CLI::App *made = above.add_subcommand(word, "");
        made->fallthrough();
        made->require_subcommand(0, 1);
        paths.emplace(path, made);
        return made;
    }

    // The deepest command or noun that the command line names.
    const CLI::App *Deepest() const {
        const CLI::App *deepest = &app;
        while (!deepest->get_subcommands().empty())
            deepest = deepest->get_subcommands().front();
        return deepest;
    }

    const Command *CommandAt(const CLI::App *at) const {
        const auto found = commands.find(at);
        return found == commands.end() ? nullptr : found->second.first;
    }

    // "user", "user home"; empty for the program itself.
    std::string PathAt(const CLI::App *at) const {
        for (const auto &[path, below] : paths) {
            if (below == at) return path;
        }
        return {};
    }
};

std::string Words(const std::vector<std::string_view> &words) {
    return fmt::format("{}", fmt::join(words, ", "));
}

std::vector<std::string_view> Nouns(const Program &program) {
    std::vector<std::string_view> nouns;
    for (const Noun &noun : program.nouns)
        nouns.push_back(noun.name);
    return nouns;
}

// Explains what is wrong with a command line that names no command.
[[noreturn]] void RefuseUnknown(const Registry &registry, const std::string &path) {
    const std::vector<std::string> rest = registry.app.remaining(true);
    const Program &program = registry.program;
    const std::string first = rest.empty() ? "" : rest.front();
    if (first.starts_with('-')) {
        Refuse(program, nullptr, fmt::format("unknown option {}", first));
    }
    if (path.empty()) {
        Refuse(program, nullptr,
               first.empty() ? fmt::format("missing command: use one of {}", Words(Nouns(program)))
                             : fmt::format("unknown command \"{}\": use one of {}", first,
                                           Words(Nouns(program))));
    }
    const std::string verbs = Words(WordsAfter(program, path, /*aliases=*/false));
    Refuse(program, nullptr,
           first.empty()
               ? fmt::format("missing verb after {}: use one of {}", path, verbs)
               : fmt::format("unknown verb \"{1}\" after {0}: use one of {2}", path, first, verbs));
}

void CheckValue(const Program &program, const Command &command, std::string_view shown, Kind kind,
                const std::vector<std::string_view> &choices, const std::string &value) {
    if (!choices.empty() && std::ranges::count(choices, value) == 0) {
        Refuse(program, &command,
               fmt::format("{} cannot be \"{}\": use one of {}", shown, value, Words(choices)));
    }
    if (kind != Kind::kNumber) return;
    const std::optional<int> number = WholeNumber<int>(value);
    if (!number || *number < 0 || *number == std::numeric_limits<int>::max()) {
        Refuse(program, &command, fmt::format("{} needs a number, not \"{}\"", shown, value));
    }
}

void CheckValues(const Program &program, const Invocation &invocation) {
    const Command &command = *invocation.command;
    const auto check_options = [&](const std::vector<Option> &options) {
        for (const Option &option : options) {
            const std::string shown = fmt::format("--{}", option.name);
            if (option.required && !invocation.Has(option.name)) {
                Refuse(program, &command, fmt::format("{} is missing", shown));
            }
            if (option.value.empty()) continue;
            for (const std::string &value : invocation.All(option.name)) {
                CheckValue(program, command, shown, option.kind, option.choices, value);
            }
        }
    };
    check_options(program.global_options);
    check_options(command.options);
    for (const Argument &argument : command.arguments) {
        if (argument.required && !invocation.Has(argument.name)) {
            Refuse(program, &command, fmt::format("{} is missing", argument.name));
        }
        for (const std::string &value : invocation.All(argument.name)) {
            CheckValue(program, command, argument.name, argument.kind, argument.choices, value);
        }
    }
}

void CheckExclusive(const Program &program, const Invocation &invocation) {
    for (const std::vector<std::string_view> &options : invocation.command->exclusive) {
        const auto given = [&](std::string_view option) { return invocation.Has(option); };
        if (std::ranges::count_if(options, given) < 2) continue;
        std::vector<std::string> shown;
        for (std::string_view option : options)
            shown.push_back(fmt::format("--{}", option));
        Refuse(program, invocation.command,
               fmt::format("{} cannot be used together", Enumerated(shown)));
    }
}

Form FormNamed(std::string_view name) {
    for (Form form : {Form::kPlain, Form::kCsv, Form::kJson, Form::kLdif}) {
        if (Name(form) == name) return form;
    }
    return Form::kTable;
}

Globals GlobalsOf(const Invocation &invocation) {
    Globals globals;
    if (const std::string *name = invocation.Find("connection")) globals.connection = *name;
    if (const std::string *name = invocation.Find("format")) globals.form = FormNamed(*name);
    if (invocation.Has("json")) globals.form = Form::kJson;
    if (const std::string *names = invocation.Find("fields")) {
        globals.fields = SplitAtCommas(*names);
    }
    globals.verbosity = static_cast<int>(invocation.All("verbose").size());
    if (invocation.Has("quiet")) globals.verbosity = -1;
    globals.dry_run = invocation.Has("dry-run");
    globals.yes = invocation.Has("yes");
    globals.no_input = invocation.Has("no-input");
    if (const std::string *when = invocation.Find("color")) {
        globals.color = *when == "always"  ? Color::kAlways
                        : *when == "never" ? Color::kNever
                                           : Color::kAuto;
    }
    return globals;
}

void CheckForm(const Program &program, const Invocation &invocation) {
    const Command &command = *invocation.command;
    if (invocation.globals.form == Form::kLdif && !command.entries) {
        Refuse(
            program, &command,
            fmt::format("{} has no LDIF output: use table, plain, csv or json", FullName(command)));
    }
    const std::string *format = invocation.Find("format");
    if (format != nullptr && invocation.Has("json") && *format != "json") {
        Refuse(program, &command,
               fmt::format("--json and --format {} cannot be used together", *format));
    }
}

void Collect(const Registered &registered, Invocation &invocation) {
    for (const auto &[name, option] : registered) {
        if (option->count() == 0) continue;
        invocation.values[name] = option->results();
    }
}

// The parser's own errors, in our words where those are clearer.
[[noreturn]] void RefuseAsParsed(const Registry &registry, const CLI::ParseError &error) {
    const CLI::App *at = registry.Deepest();
    const Command *command = registry.CommandAt(at);
    const std::vector<std::string> rest = registry.app.remaining(true);
    if (dynamic_cast<const CLI::ExtrasError *>(&error) != nullptr) {
        if (command == nullptr) RefuseUnknown(registry, registry.PathAt(at));
        const std::string first = rest.empty() ? "" : rest.front();
        Refuse(registry.program, command,
               first.starts_with('-') ? fmt::format("unknown option {}", first)
                                      : fmt::format("unexpected argument \"{}\"", first));
    }
    Refuse(registry.program, command, error.what());
}

}  // namespace

const std::string *Invocation::Find(std::string_view name) const {
    const auto found = values.find(name);
    return found == values.end() || found->second.empty() ? nullptr : &found->second.front();
}

const std::vector<std::string> &Invocation::All(std::string_view name) const {
    static const std::vector<std::string> kNone;
    const auto found = values.find(name);
    return found == values.end() ? kNone : found->second;
}

std::optional<int> Invocation::Number(std::string_view name) const {
    const std::string *text = Find(name);
    return text == nullptr ? std::nullopt : WholeNumber<int>(*text);
}

std::vector<std::string> SplitAtCommas(std::string_view text) {
    std::vector<std::string> parts;
    for (size_t begin = 0; begin <= text.size();) {
        const size_t end = std::min(text.find(',', begin), text.size());
        if (end > begin) parts.emplace_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return parts;
}

Invocation Parse(const Program &program, int argc, const char *const *argv) {
    Registry registry(program);
    Invocation invocation;
    try {
        registry.app.parse(argc, argv);
    } catch (const CLI::CallForHelp &) {
        invocation.ask = Ask::kHelp;
    } catch (const CLI::ParseError &error) {
        RefuseAsParsed(registry, error);
    }
    const CLI::App *deepest = registry.Deepest();
    invocation.command = registry.CommandAt(deepest);
    const std::string path = registry.PathAt(deepest);
    invocation.noun = path.substr(0, path.find(' '));
    if (invocation.ask == Ask::kHelp) return invocation;
    Collect(registry.common, invocation);
    if (invocation.Has("version")) {
        invocation.ask = Ask::kVersion;
        return invocation;
    }
    if (invocation.command == nullptr) RefuseUnknown(registry, path);
    Collect(registry.commands.find(deepest)->second.second, invocation);
    CheckValues(program, invocation);
    CheckExclusive(program, invocation);
    invocation.globals = GlobalsOf(invocation);
    CheckForm(program, invocation);
    return invocation;
}

Form RequestedForm(int argc, const char *const *argv) {
    Form form = Form::kTable;
    for (int i = 1; i < argc; ++i) {
        const std::string_view word = argv[i];
        if (word == "--") break;
        if (word == "--json" || word == "--format=json") form = Form::kJson;
        if (word == "--format" && i + 1 < argc) form = FormNamed(argv[i + 1]);
    }
    return form;
}

}  // namespace zafo::cli
