// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/completion.h"

#include <algorithm>
#include <sstream>

#include <fmt/format.h>

#include "tools/cli/tool_run.h"

namespace zafo::cli {

namespace {

constexpr std::string_view kFiles = "/";

// bash also breaks words at "=" and ":" and leaves quotes in them, so it passes the whole line.
constexpr const char *kBash = R"sh(# bash completion of {0}; load it with
#   source <({0} completion bash)
_{0}() {{
    mapfile -t COMPREPLY < <(
        command {0} __complete bash "${{COMP_LINE:0:COMP_POINT}}" "$2" 2>/dev/null
    )
    if [[ ${{COMPREPLY[0]-}} = / ]]; then
        COMPREPLY=()
        compopt -o default
    fi
}}
complete -F _{0} {0}
)sh";

constexpr const char *kZsh = R"sh(#compdef {0}
# zsh completion of {0}; save it as _{0} in a folder of $fpath, or load it with
#   source <({0} completion zsh)
_{0}() {{
    setopt localoptions noksharrays
    local -a before=("${{(@Q)words[2,CURRENT-1]}}") offered
    offered=(${{(f)"$(command {0} __complete zsh "${{before[@]}}" "${{(Q)PREFIX}}" 2>/dev/null)"}})
    if [[ $offered = / ]]; then
        compset -P '--*='
        _files
    else
        _describe {0} offered
    fi
}}
if [[ $funcstack[1] = _{0} ]]; then
    _{0}
else
    compdef _{0} {0}
fi
)sh";

constexpr const char *kFish = R"sh(# fish completion of {0}; load it with
#   {0} completion fish | source
function __{0}_offered --description 'What can stand at the cursor'
    set -l words (commandline --tokenize --cut-at-cursor --current-process)
    set -l current (commandline --cut-at-cursor --current-token)
    set -e words[1]
    set -l offered (command {0} __complete fish $words "$current" 2>/dev/null)
    if test "$offered" = /
        set -l option (string match --regex -- '^--[^=]*=' $current)
        for file in (__fish_complete_path (string replace -- "$option" '' $current))
            echo "$option$file"
        end
    else
        string join -- \n $offered
    end
end
complete --command {0} --no-files --arguments '(__{0}_offered)'
)sh";

struct Candidate {
    std::string word;
    std::string_view what = {};
};

// What the words before the cursor imply.
struct Place {
    std::string path = {};  // "user", "user home" while no command is named
    const Command *command = nullptr;
    size_t arguments = 0;            // of the command
    const Option *option = nullptr;  // whose value comes next
    bool options_ended = false;      // by "--"
    std::string connection = {};
};

// "user home create"; nullptr if that is not a command.
const Command *CommandAt(const Program &program, std::string_view path) {
    const size_t blank = std::min(path.find(' '), path.size());
    return FindCommand(program, path.substr(0, blank),
                       path.substr(std::min(blank + 1, path.size())));
}

// The option that a word names ("-c", "--connection", "--connection=NAME"), if it takes a value.
const Option *OptionWithValue(const Program &program, const Place &place, std::string_view word) {
    word = word.substr(0, word.find('='));
    const auto is_meant = [word](const Option &option) {
        if (word.starts_with("--")) return word.substr(2) == option.name;
        return word.size() == 2 && word.back() == option.letter;
    };
    const Option *found = nullptr;
    const auto look = [&](const std::vector<Option> &options) {
        const auto at = std::ranges::find_if(options, is_meant);
        if (at != options.end() && !at->value.empty()) found = &*at;
    };
    look(program.global_options);
    if (place.command != nullptr) look(place.command->options);
    return found;
}

void GoPast(const Program &program, const std::string &word, Place &place) {
    const auto take_value = [&](const Option &option, std::string value) {
        if (option.kind == Kind::kConnection) place.connection = std::move(value);
    };
    if (place.option != nullptr) {
        take_value(*place.option, word);
        place.option = nullptr;
    } else if (!place.options_ended && word.size() > 1 && word.front() == '-') {
        place.options_ended = word == "--";
        const Option *option = OptionWithValue(program, place, word);
        const size_t equals = word.find('=');
        if (option != nullptr && equals != std::string::npos) {
            take_value(*option, word.substr(equals + 1));
        } else {
            place.option = option;
        }
    } else if (place.command != nullptr) {
        ++place.arguments;
    } else {
        place.path += (place.path.empty() ? "" : " ") + word;
        place.command = CommandAt(program, place.path);
    }
}

// Whether every shell takes this as a plain name.
bool IsHarmless(std::string_view name) {
    constexpr std::string_view kAnywhere =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_.@-";
    return !name.empty() && name.find_first_not_of(kAnywhere) == std::string_view::npos &&
           std::string_view(".@-").find(name.front()) == std::string_view::npos;
}

// The program itself lists the names, within a second: timeout(1) ends it and the tools it runs.
std::vector<std::string> ListNames(const Program &program, Kind kind, const std::string &begin,
                                   const std::string &connection) {
    std::vector<std::string> words = {"/usr/bin/timeout", "1",
                                      fmt::format("/usr/zafo/bin/{}", program.name)};
    if (kind == Kind::kConnection) {
        words.insert(words.end(), {"connection", "list"});
    } else {
        words.insert(words.end(), {kind == Kind::kUser ? "user" : "group", "list", begin + "*",
                                   "--limit", "200", "--no-input"});
        if (!connection.empty()) words.insert(words.end(), {"--connection", connection});
    }
    words.insert(words.end(), {"--format", "plain", "--fields", "name"});
    std::vector<std::string> names;
    if (const std::optional<ToolRun> run = RunTool(words)) {
        std::istringstream lines(run->output);
        for (std::string name; std::getline(lines, name);) {
            if (IsHarmless(name)) names.push_back(name);
        }
    }
    return names;
}

// What can stand at a place, not yet narrowed to what has been typed.
class Candidates {
  public:
    Candidates(const Program &program, const Place &place) : program_(program), place_(place) {}

    // The values of an option or an argument, each prefixed with "--format=" if that is part of the
    // word.
    void AddValues(const auto &named, const std::string &begin, const std::string &before = {}) {
        if (named.kind == Kind::kFile) all_ = {{std::string(kFiles)}};
        for (std::string_view choice : named.choices)
            all_.push_back({fmt::format("{}{}", before, choice)});
        if (named.kind != Kind::kConnection && named.kind != Kind::kUser &&
            named.kind != Kind::kGroup)
            return;
        for (const std::string &name : ListNames(program_, named.kind, begin, place_.connection))
            all_.push_back({before + name});
    }

    void AddNounsOrVerbs() {
        if (place_.path.empty()) {
            for (const Noun &noun : program_.nouns)
                all_.push_back({std::string(noun.name), noun.summary});
        }
        for (std::string_view word : WordsAfter(program_, place_.path, /*aliases=*/true)) {
            const Command *command = CommandAt(program_, fmt::format("{} {}", place_.path, word));
            all_.push_back({std::string(word), command != nullptr ? command->summary : ""});
        }
    }

    void AddArgument(const std::string &begin) {
        const std::vector<Argument> &arguments = place_.command->arguments;
        if (arguments.empty()) return;
        const size_t last = arguments.size() - 1;
        if (place_.arguments <= last) {
            AddValues(arguments[place_.arguments], begin);
        } else if (arguments[last].repeatable) {
            AddValues(arguments[last], begin);
        }
    }

    void AddOptions(const std::vector<Option> &options, bool letters) {
        for (const Option &option : options) {
            if (letters && option.letter != '\0')
                all_.push_back({fmt::format("-{}", option.letter), option.help});
            all_.push_back({fmt::format("--{}", option.name), option.help});
        }
    }

    const std::vector<Candidate> &All() const { return all_; }
    bool AreFiles() const { return !all_.empty() && all_.front().word == kFiles; }

  private:
    const Program &program_;
    const Place &place_;
    std::vector<Candidate> all_;
};

// `letters`: also options in their one-letter form.
Candidates CandidatesFor(const Program &program, const Place &place, const std::string &current,
                         bool letters) {
    Candidates candidates(program, place);
    const size_t equals = current.find('=');
    if (place.option != nullptr) {
        candidates.AddValues(*place.option, current);
    } else if (current.starts_with("--") && equals != std::string::npos) {
        if (const Option *option = OptionWithValue(program, place, current))
            candidates.AddValues(*option, current.substr(equals + 1),
                                 current.substr(0, equals + 1));
    } else {
        if (place.command == nullptr) {
            candidates.AddNounsOrVerbs();
        } else if (!current.starts_with('-')) {
            candidates.AddArgument(current);
        }
        if (place.options_ended) return candidates;
        if (place.command != nullptr) candidates.AddOptions(place.command->options, letters);
        candidates.AddOptions(program.global_options, letters);
    }
    return candidates;
}

// The words of a line as a shell sees them; the last is the one at its end, possibly empty.
std::vector<std::string> SplitLine(std::string_view line) {
    std::vector<std::string> words(1);
    bool begun = false;
    char quote = '\0';
    for (size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        const bool blank = quote == '\0' && (c == ' ' || c == '\t');
        if (blank && begun) words.emplace_back();
        begun = !blank;
        if (blank) continue;
        if (c == quote) {
            quote = '\0';
        } else if (quote == '\0' && (c == '\'' || c == '"')) {
            quote = c;
        } else {
            if (c == '\\' && quote != '\'' && i + 1 < line.size()) ++i;
            words.back() += line[i];
        }
    }
    return words;
}

// bash replaces its own word with the candidate, and that word may be only the end of ours.
std::string ForBash(const Candidates &candidates, std::string_view current,
                    std::string_view word_of_bash) {
    const size_t held = current.ends_with(word_of_bash) ? current.size() - word_of_bash.size() : 0;
    std::string answer;
    for (const Candidate &candidate : candidates.All()) {
        if (candidate.word.starts_with(current)) answer += candidate.word.substr(held) + "\n";
    }
    return answer;
}

// zsh and fish filter candidates themselves, but fish shows options only once one is begun.
std::string WithDescriptions(const Candidates &candidates, std::string_view current, bool fish) {
    std::string answer;
    for (const Candidate &candidate : candidates.All()) {
        if (fish && !current.starts_with('-') && candidate.word.starts_with('-')) continue;
        answer += candidate.word;
        if (!candidate.what.empty())
            answer += fmt::format("{}{}", fish ? '\t' : ':', candidate.what);
        answer += '\n';
    }
    return answer;
}

}  // namespace

std::string AnswerCompletion(const Program &program, std::span<const std::string> words) {
    if (words.size() < 2) return {};
    const std::string &shell = words[0];
    std::vector<std::string> line(words.begin() + 1, words.end());
    if (shell == "bash") {
        line = SplitLine(words[1]);
        line.erase(line.begin(), line.begin() + (line.size() > 1 ? 1 : 0));  // the program
    }
    const std::string current = std::move(line.back());
    line.pop_back();
    Place place;
    for (const std::string &word : line)
        GoPast(program, word, place);
    const bool fish = shell == "fish";
    const Candidates candidates = CandidatesFor(program, place, current, fish);
    if (candidates.AreFiles()) return fmt::format("{}\n", kFiles);
    if (shell == "bash") return ForBash(candidates, current, words.size() > 2 ? words[2] : "");
    return WithDescriptions(candidates, current, fish);
}

std::string CompletionScript(const Program &program, std::string_view shell) {
    const char *script = shell == "bash" ? kBash : shell == "zsh" ? kZsh : kFish;
    return fmt::format(fmt::runtime(script), program.name);
}

}  // namespace zafo::cli
