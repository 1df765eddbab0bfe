// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/completion.h"

#include <fmt/format.h>

#include <set>
#include <vector>

namespace zafo::cli {

namespace {

// What lists the names of saved connections, one on a line.
std::string ConnectionNames(const Program &program) {
    return fmt::format("{} connection list --format plain --fields name 2>/dev/null", program.name);
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

std::string VerbWords(const Program &program, std::string_view noun) {
    std::vector<std::string> words;
    for (const Command *command : CommandsOf(program, noun)) {
        if (command->verb.empty()) continue;
        words.emplace_back(command->verb);
        for (std::string_view alias : command->aliases)
            words.emplace_back(alias);
    }
    return Joined(words, " ");
}

std::vector<std::string_view> NounsWithoutVerb(const Program &program) {
    std::vector<std::string_view> nouns;
    for (const Command &command : program.commands) {
        if (command.verb.empty()) nouns.push_back(command.noun);
    }
    return nouns;
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
    return fmt::format(R"(    local noun= verb= arguments=0 i word
    for ((i = {first}; i < {last}; i++)); do
        word={word}
        case $word in
        {with_value}) ((i++)) ;;
        -*) ;;
        *)
            if [[ -z $noun ]]; then
                noun=$word
            elif [[ -z $verb && $noun != @({plain_nouns}) ]]; then
                verb=$word
            else
                ((arguments++))
            fi
            ;;
        esac
    done
)",
                       fmt::arg("first", first), fmt::arg("last", last), fmt::arg("word", word),
                       fmt::arg("with_value", OptionsWithValue(program, " | ")),
                       fmt::arg("plain_nouns", Joined(NounsWithoutVerb(program), "|")));
}

// The first argument's words as bash and zsh code that prints them; empty: nothing to offer.
std::string ArgumentWords(const Program &program, const Command &command) {
    if (command.arguments.empty()) return {};
    const Argument &argument = command.arguments.front();
    if (argument.kind == Kind::kConnection) {
        return fmt::format("$({})", ConnectionNames(program));
    }
    return Joined(argument.choices, " ");
}

// Words that can follow an option, as shell code; nothing for free text.
std::string ValueWords(const Program &program, const Option &option) {
    if (option.kind == Kind::kConnection) return fmt::format("$({})", ConnectionNames(program));
    return Joined(option.choices, " ");
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
    for (const Noun &noun : program.nouns) {
        const std::string verbs = VerbWords(program, noun.name);
        if (!verbs.empty()) {
            cases += fmt::format("    '{} ') words=\"{} $words\" ;;\n", noun.name, verbs);
        }
    }
    for (const Command &command : program.commands) {
        cases += fmt::format("    {})\n", CaseLabel(command));
        if (!command.options.empty()) {
            cases += fmt::format("        words=\"{} $words\"\n", OptionWords(command.options));
        }
        if (const std::string words = ArgumentWords(program, command); !words.empty()) {
            cases += fmt::format("        ((arguments == 0)) && words=\"{} $words\"\n", words);
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
function __{0}_in --description 'Whether the words so far begin with these'
    set -l seen (__{0}_seen)
    test "$seen[1..(count $argv)]" = "$argv"
end
complete --command {0} --no-files
)";

    void Offer(std::string_view condition, std::string_view words, std::string_view what) {
        script_ += fmt::format("complete --command {0} --condition '__{0}_{1}' --arguments {2}",
                               program_.name, condition, QuotedForFish(words));
        script_ += what.empty() ? "\n" : fmt::format(" --description {}\n", QuotedForFish(what));
    }

    void AddCommand(const Command &command) {
        const std::string name = FullName(command);
        if (!command.verb.empty()) {
            Offer(fmt::format("at {}", command.noun), command.verb, command.summary);
        }
        if (!command.arguments.empty()) {
            const Argument &argument = command.arguments.front();
            const std::string words = Words(argument.kind, argument.choices);
            if (!words.empty()) Offer(fmt::format("at {}", name), words, {});
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
        if (kind == Kind::kConnection) return fmt::format("({})", ConnectionNames(program_));
        return Joined(choices, " ");
    }

    const Program &program_;
    std::string script_;
};

}  // namespace

std::string BashCompletion(const Program &program) {
    std::string script = fmt::format(
        "# bash completion of {0}; load it with\n"
        "#   source <({0} completion bash)\n_{0}() {{\n",
        program.name);
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
        "#   source <({0} completion zsh)\n_{0}() {{\n"
        "    setopt localoptions kshglob noshwordsplit\n",
        program.name);
    script += "    local before=${words[CURRENT - 1]}\n    local -a line=(\"${words[@]}\")\n";
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
