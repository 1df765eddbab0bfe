// SPDX-License-Identifier: Apache-2.0
#include "tests/meta/prose.h"

#include <cctype>

#include "tests/rig/source_tree.h"

namespace zafo::meta {

namespace {

char Lower(char c) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}

bool IsWordCharacter(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

// Blanks out everything but comments and string literals, character by character.
class SourceReader {
  public:
    std::string Read(const std::string &line) {
        // An include has no prose.
        if (state_ == State::kCode && line.find("#include") != std::string::npos) return {};
        std::string prose(line.size(), ' ');
        for (size_t i = 0; i < line.size(); ++i)
            i += Step(line, i, prose);
        if (state_ != State::kComment) state_ = State::kCode;
        return prose;
    }

  private:
    enum class State { kCode, kComment, kLineComment, kText, kCharacter };

    // Returns how many more characters it consumed.
    size_t Step(const std::string &line, size_t i, std::string &prose) {
        const std::string two = line.substr(i, 2);
        switch (state_) {
            case State::kCode:
                return Code(two);
            case State::kComment:
                if (two == "*/") state_ = State::kCode;
                if (state_ == State::kCode) return 1;
                if (line[i] != '*') prose[i] = line[i];
                return 0;
            case State::kLineComment:
                if (line[i] != '/') prose[i] = line[i];
                return 0;
            case State::kText:
            case State::kCharacter:
                return Quoted(line, i, prose);
        }
        return 0;
    }

    size_t Code(const std::string &two) {
        if (two == "//") state_ = State::kLineComment;
        if (two == "/*") state_ = State::kComment;
        if (two[0] == '"') state_ = State::kText;
        if (two[0] == '\'') state_ = State::kCharacter;
        return two == "//" || two == "/*" ? 1 : 0;
    }

    size_t Quoted(const std::string &line, size_t i, std::string &prose) {
        if (line[i] == (state_ == State::kText ? '"' : '\'')) {
            state_ = State::kCode;
            return 0;
        }
        if (line[i] == '\\') {
            // An escaped quotation mark inside a literal is part of its text.
            if (state_ == State::kText && i + 1 < line.size() && line[i + 1] == '"') prose[i] = '"';
            return 1;
        }
        if (state_ == State::kText) prose[i] = line[i];
        return 0;
    }

    State state_ = State::kCode;
};

}  // namespace

std::vector<std::string> ProseOfSource(const std::vector<std::string> &lines) {
    std::vector<std::string> prose;
    SourceReader reader;
    for (const std::string &line : lines)
        prose.push_back(reader.Read(line));
    return prose;
}

std::vector<std::string> ProseOfPage(const std::vector<std::string> &lines) {
    std::vector<std::string> prose;
    bool fenced = false, code = false;
    for (const std::string &line : lines) {
        const bool fence = line.find("```") != std::string::npos;
        if (fence) fenced = !fenced;
        prose.emplace_back(line.size(), ' ');
        for (size_t i = 0; !fence && !fenced && i < line.size(); ++i) {
            if (line[i] == '`') code = !code;
            if (!code && line[i] != '`') prose.back()[i] = line[i];
        }
        if (line.empty()) code = false;
    }
    return prose;
}

std::vector<std::string> ProseOf(const std::filesystem::path &file) {
    const std::vector<std::string> lines = Lines(file);
    return file.extension() == ".md" ? ProseOfPage(lines) : ProseOfSource(lines);
}

RunningText::RunningText(const std::vector<std::string> &prose) {
    const auto add = [&](char c, size_t line) {
        if (c == ' ' && (text.empty() || text.back() == ' ')) return;
        text += Lower(c);
        line_of.push_back(static_cast<int>(line) + 1);
    };
    for (size_t line = 0; line < prose.size(); ++line) {
        for (const char c : prose[line])
            add(c, line);
        add(' ', line);
    }
}

std::vector<int> LinesWith(const std::string &phrase, const RunningText &prose) {
    const std::string &text = prose.text;
    std::vector<int> found;
    for (size_t at = text.find(phrase); at != std::string::npos; at = text.find(phrase, at + 1)) {
        const bool begins =
            at == 0 || !IsWordCharacter(text[at - 1]) || !IsWordCharacter(phrase.front());
        const size_t end = at + phrase.size();
        const bool ends = end == text.size() || !IsWordCharacter(text[end]);
        if (begins && ends) found.push_back(prose.line_of[at]);
    }
    return found;
}

}  // namespace zafo::meta
