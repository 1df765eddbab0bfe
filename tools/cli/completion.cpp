// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/completion.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <vector>

namespace zafo::cli {

namespace {

constexpr std::string_view NounOf(Kind kind) {
    return kind == Kind::kConnection ? "connection" : kind == Kind::kUser ? "user" : "group";
}

bool IsName(Kind kind) {
    return kind == Kind::kConnection || kind == Kind::kUser || kind == Kind::kGroup;
}

// A shell function that prints names of a noun, one on a line. Its arguments: the noun, how the
// word begins, the connection. What is printed cannot be anything but a name to a shell.
constexpr const char *kNamesFunction = R"(__{0}_names() {{
    local find=()
    [[ $1 = connection ]] || find=("$2*" --limit 200 --no-input --connection "$3")
    timeout 1 {0} "$1" list "${{find[@]}}" --format plain --fields name 2>/dev/null |
        LC_ALL=C grep -E '^[A-Za-z0-9_][A-Za-z0-9_.@-]*$'
}}
)";

// A program that has no saved connections to choose from asks no directory for names.
bool KnowsNames(const Program &program) {
    return std::ranges::find(program.global_options, "connection", &Option::name) !=
           program.global_options.end();
}

std::string NamesFunction(const Program &program) {
    return KnowsNames(program) ? fmt::format(kNamesFunction, program.name) : "";
}

// The names of a kind as bash and zsh code, inside the function that completes.
std::string Names(const Program &program, Kind kind) {
    return fmt::format(R"($(__{}_names {} "$current" "$connection"))", program.name, NounOf(kind));
}

std::vector<std::string> Spellings(const Option &option) {
    std::vector<std::string> spellings;
    if (option.letter != '\0') spellings.push_back(fmt::format("-{}", option.letter));
    spellings.push_back(fmt::format("--{}", option.name));
    return spellings;
}

template <typename Words>
std::string Joined(const Words &words, std::string_view separator) {
    std::string joined;
    for (const auto &word : words) {
        if (!joined.empty()) joined += separator;
        joined += word;
    }
    return joined;
}

// Every option of the program once; commands share options of one name and meaning.
std::vector<const Option *> AllOptions(const Program &program) {
    std::vector<const Option *> all;
    std::set<std::string_view> seen;
    const auto add = [&](const std::vector<Option> &options) {
        for (const Option &option : options) {
            if (seen.insert(option.name).second) all.push_back(&option);
        }
    };
    add(program.global_options);
    for (const Command &command : program.commands)
        add(command.options);
    return all;
}

// The spellings of options that are followed by a value.
std::string OptionsWithValue(const Program &program, std::string_view separator) {
    std::vector<std::string> with_value;
    for (const Option *option : AllOptions(program)) {
        if (option->value.empty()) continue;
        for (std::string &spelling : Spellings(*option))
            with_value.push_back(std::move(spelling));
    }
    return Joined(with_value, separator);
}

std::string OptionWords(const std::vector<Option> &options) {
    std::vector<std::string> words;
    words.reserve(options.size());
    for (const Option &option : options)
        words.push_back(fmt::format("--{}", option.name));
    return Joined(words, " ");
}

std::vector<std::string_view> NounsWithoutVerb(const Program &program) {
    std::vector<std::string_view> nouns;
    for (const Command &command : program.commands) {
        if (command.verb.empty()) nouns.push_back(command.noun);
    }
    return nouns;
}

// "user home", each in quotes for a pattern.
std::vector<std::string> FirstWordsOfTwo(const Program &program) {
    std::vector<std::string> paths;
    for (const std::string &path : PathsWithWords(program)) {
        if (path.find(' ') != std::string::npos) paths.push_back(fmt::format("'{}'", path));
    }
    return paths;
}

// "connection show" and, with an alias, "connection list|connection ls", quoted for a case label.
std::string CaseLabel(const Command &command) {
    std::vector<std::string> names = {fmt::format("'{} {}'", command.noun, command.verb)};
    for (std::string_view alias : command.aliases) {
        names.push_back(fmt::format("'{} {}'", command.noun, alias));
    }
    return Joined(names, " | ");
}

// Shell code of the body that bash and zsh share: which noun, verb and how many arguments stand
// before the word that is completed. `{word}` is the i-th word, `{last}` the number of the one
// that is completed, `{first}` that of the first one after the program's name.
std::string FindCommandCode(const Program &program, std::string_view word, std::string_view last,
                            int first) {
    const std::string connection =
        KnowsNames(program)
            ? fmt::format("        -c | --connection) ((i++)) && connection={} ;;\n", word)
            : "";
    const std::vector<std::string> long_verbs = FirstWordsOfTwo(program);
    const std::string longer = long_verbs.empty()
                                   ? ""
                                   : fmt::format(
                                         "            elif [[ \"$noun $verb\" = @({}) ]]; then\n"
                                         "                verb+=\" $word\"\n",
                                         Joined(long_verbs, "|"));
    return fmt::format(R"(    local noun= verb= arguments=0 connection=root i word
    for ((i = {first}; i < {last}; i++)); do
        word={word}
        case $word in
{connection}        {with_value}) ((i++)) ;;
        -*) ;;
        *)
            if [[ -z $noun ]]; then
                noun=$word
            elif [[ -z $verb && $noun != @({plain_nouns}) ]]; then
                verb=$word
{longer}            else
                ((arguments++))
            fi
            ;;
        esac
    done
)",
                       fmt::arg("first", first), fmt::arg("last", last), fmt::arg("word", word),
                       fmt::arg("with_value", OptionsWithValue(program, " | ")),
                       fmt::arg("connection", connection), fmt::arg("longer", longer),
                       fmt::arg("plain_nouns", Joined(NounsWithoutVerb(program), "|")));
}

// Words that can stand for an option's value or an argument, as shell code; nothing for free
// text.
template <typename Named>
std::string ValueWords(const Program &program, const Named &named) {
    return IsName(named.kind) ? Names(program, named.kind) : Joined(named.choices, " ");
}

// The condition under which an argument is the one to complete.
std::string ArgumentTurn(const Command &command, size_t index) {
    return fmt::format("arguments {} {}", command.arguments[index].repeatable ? ">=" : "==", index);
}

std::string QuotedForFish(std::string_view text) {
    std::string quoted = "'";
    for (const char c : text) {
        if (c == '\'' || c == '\\') quoted += '\\';
        quoted += c;
    }
    return quoted + "'";
}

// Cases of "$noun $verb" that set `words`, the same in bash and zsh.
std::string WordCases(const Program &program) {
    std::vector<std::string> nouns;
    for (const Noun &noun : program.nouns)
        nouns.emplace_back(noun.name);
    std::string cases = fmt::format(
        "    local words='{}'\n    case \"$noun $verb\" in\n    ' ') words=\"{} $words\" ;;\n",
        OptionWords(program.global_options), Joined(nouns, " "));
    for (const std::string &path : PathsWithWords(program)) {
        const std::string noun = path.find(' ') == std::string::npos ? path + " " : path;
        cases += fmt::format("    '{}') words=\"{} $words\" ;;\n", noun,
                             Joined(WordsAfter(program, path, /*aliases=*/true), " "));
    }
    for (const Command &command : program.commands) {
        cases += fmt::format("    {})\n", CaseLabel(command));
        if (!command.options.empty()) {
            cases += fmt::format("        words=\"{} $words\"\n", OptionWords(command.options));
        }
        for (size_t i = 0; i < command.arguments.size(); ++i) {
            const std::string words = ValueWords(program, command.arguments[i]);
            if (words.empty()) continue;
            cases += fmt::format("        (({})) && [[ $current != -* ]] && words=\"{} $words\"\n",
                                 ArgumentTurn(command, i), words);
        }
        cases += "        ;;\n";
    }
    return cases + "    esac\n";
}

// Cases of the word before, for the values of options; `reply` and `files` are the shell's own
// ways to offer words and file names.
std::string ValueCases(const Program &program, std::string_view reply, std::string_view files) {
    std::string cases = "    case $before in\n";
    for (const Option *option : AllOptions(program)) {
        if (option->value.empty()) continue;
        const std::string words = ValueWords(program, *option);
        const std::string offer = option->kind == Kind::kFile ? std::string(files)
                                  : words.empty()
                                      ? ":"
                                      : fmt::format(fmt::runtime(reply), fmt::arg("words", words));
        cases += fmt::format("    {})\n        {}\n        return\n        ;;\n",
                             Joined(Spellings(*option), " | "), offer);
    }
    return cases + "    esac\n";
}

// fish reads one line for each thing that can be completed, each with its condition.
class FishScript {
  public:
    explicit FishScript(const Program &program) : program_(program) {}

    std::string Text() {
        script_ = fmt::format(kHead, program_.name, OptionsWithValue(program_, " "));
        for (const Noun &noun : program_.nouns)
            Offer("at", noun.name, noun.summary);
        for (const std::string &path : FirstWordsOfTwo(program_)) {
            const std::string bare = path.substr(1, path.size() - 2);
            const size_t blank = bare.find(' ');
            Offer(fmt::format("at {}", bare.substr(0, blank)), bare.substr(blank + 1), {});
        }
        for (const Command &command : program_.commands)
            AddCommand(command);
        for (const Option &option : program_.global_options)
            AddOption(option, {});
        return script_;
    }

  private:
    static constexpr const char *kHead = R"(# fish completion of {0}; load it with
#   {0} completion fish | source
function __{0}_seen --description 'The words so far without options and their values'
    set -l skip 0
    for word in (commandline --tokenize --cut-at-cursor --current-process)[2..-1]
        if test $skip = 1
            set skip 0
        else if contains -- $word {1}
            set skip 1
        else if not string match --quiet -- '-*' $word
            echo $word
        end
    end
end
function __{0}_at --description 'Whether the words so far are exactly these'
    set -l seen (__{0}_seen)
    test "$seen" = "$argv"
end
function __{0}_argument --description 'Whether argument number $argv[1] or one of the last kind ($argv[2]) of a command is next'
    set -l seen (__{0}_seen)
    set -l words (math (count $argv) - 2)
    set -l at (math (count $seen) - $words)
    test "$seen[1..$words]" = "$argv[3..-1]"; or return 1
    test $at -eq $argv[1]; or test $argv[2] = more -a $at -gt $argv[1]
end
function __{0}_names --description 'Names of a noun, one on a line'
    set -l find
    if test $argv[1] != connection
        set -l words (commandline --tokenize --cut-at-cursor --current-process)
        set -l at (contains --index -- -c $words; or contains --index -- --connection $words)
        set find (commandline --current-token)'*' --limit 200 --no-input
        test -n "$at"; and set -a find --connection $words[(math $at[1] + 1)]
    end
    timeout 1 {0} $argv[1] list $find --format plain --fields name 2>/dev/null | LC_ALL=C grep -E '^[A-Za-z0-9_][A-Za-z0-9_.@-]*$'
end
function __{0}_in --description 'Whether the words so far begin with these'
    set -l seen (__{0}_seen)
    set -l words (count $argv)
    test "$seen[1..$words]" = "$argv"
end
complete --command {0} --no-files
)";

    void Offer(std::string_view condition, std::string_view words, std::string_view what) {
        script_ += fmt::format("complete --command {0} --condition '__{0}_{1}' --arguments {2}",
                               program_.name, condition, QuotedForFish(words));
        script_ += what.empty() ? "\n" : fmt::format(" --description {}\n", QuotedForFish(what));
    }

    void AddCommand(const Command &command) {
        AddCommand(command, FullName(command));
        for (std::string_view alias : command.aliases)
            AddCommand(command, fmt::format("{} {}", command.noun, alias));
    }

    void AddCommand(const Command &command, const std::string &name) {
        const size_t last = name.rfind(' ');
        if (!command.verb.empty()) {
            Offer(fmt::format("at {}", name.substr(0, last)), name.substr(last + 1),
                  command.summary);
        }
        for (size_t i = 0; i < command.arguments.size(); ++i) {
            const Argument &argument = command.arguments[i];
            const std::string words = Words(argument.kind, argument.choices);
            if (words.empty()) continue;
            Offer(fmt::format("argument {} {} {}", i, argument.repeatable ? "more" : "one", name),
                  words, {});
        }
        for (const Option &option : command.options)
            AddOption(option, name);
    }

    void AddOption(const Option &option, std::string_view condition) {
        script_ += fmt::format("complete --command {}", program_.name);
        if (!condition.empty()) {
            script_ += fmt::format(" --condition '__{}_in {}'", program_.name, condition);
        }
        if (option.letter != '\0') script_ += fmt::format(" --short-option {}", option.letter);
        script_ += fmt::format(" --long-option {}", option.name);
        if (!option.value.empty()) script_ += " --require-parameter";
        if (option.kind == Kind::kFile) script_ += " --force-files";
        const std::string words = Words(option.kind, option.choices);
        if (!words.empty()) script_ += fmt::format(" --arguments {}", QuotedForFish(words));
        script_ += fmt::format(" --description {}\n", QuotedForFish(option.help));
    }

    std::string Words(Kind kind, const std::vector<std::string_view> &choices) const {
        if (IsName(kind)) return fmt::format("(__{}_names {})", program_.name, NounOf(kind));
        return Joined(choices, " ");
    }

    const Program &program_;
    std::string script_;
};

}  // namespace

std::string BashCompletion(const Program &program) {
    std::string script = fmt::format(
        "# bash completion of {0}; load it with\n"
        "#   source <({0} completion bash)\n",
        program.name);
    script += NamesFunction(program);
    script += fmt::format("_{}() {{\n", program.name);
    script +=
        "    local current=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}\n"
        "    COMPREPLY=()\n";
    script += FindCommandCode(program, "${COMP_WORDS[i]}", "COMP_CWORD", 1);
    script += ValueCases(program, "COMPREPLY=($(compgen -W \"{words}\" -- \"$current\"))",
                         "COMPREPLY=($(compgen -f -- \"$current\"))");
    script += WordCases(program);
    script += "    COMPREPLY=($(compgen -W \"$words\" -- \"$current\"))\n}\n";
    return script + fmt::format("complete -F _{0} {0}\n", program.name);
}

std::string ZshCompletion(const Program &program) {
    std::string script = fmt::format(
        "#compdef {0}\n# zsh completion of {0}; save it as _{0} in a "
        "folder of $fpath, or load it with\n"
        "#   source <({0} completion zsh)\n",
        program.name);
    script += NamesFunction(program);
    script +=
        fmt::format("_{}() {{\n    setopt localoptions kshglob noshwordsplit\n", program.name);
    script +=
        "    local current=$PREFIX before=${words[CURRENT - 1]}\n"
        "    local -a line=(\"${words[@]}\")\n";
    script += FindCommandCode(program, "${line[i]}", "CURRENT", 2);
    script += ValueCases(program, "compadd -- ${{=:-\"{words}\"}}", "_files");
    script += WordCases(program);
    script += "    compadd -- ${=words}\n}\n";
    return script + fmt::format("compdef _{0} {0}\n", program.name);
}

std::string FishCompletion(const Program &program) {
    return FishScript(program).Text();
}

}  // namespace zafo::cli
