// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/ldap_filter.h"

#include <cctype>

#include <fmt/format.h>
#include <unistr.h>

#include "base/ascii.h"
#include "tools/cli/display_text.h"

namespace zafo::cli {

namespace {

bool IsAlpha(char c) {
    return std::isalpha(static_cast<unsigned char>(c)) != 0;
}

bool IsDescriptionCharacter(char c) {  // of an attribute name, number or option
    return IsAlphanumeric(c) || c == '-' || c == '.' || c == ';';
}

// A recursive-descent parser for RFC 4515 section 3. Nesting is bounded, so that a filter
// consisting of parentheses cannot exhaust the stack (slapd's own bound is far lower).
class Reader {
  public:
    explicit Reader(std::string_view text) : text_(text) {}

    std::optional<SyntaxFault> Read() {
        SkipBlanks();
        if (AtEnd()) return Fault("it is empty");
        if (Peek() == '(') {
            Filter(0);
        } else {
            Item(/*bracketed=*/false);
        }
        if (fault_) return fault_;
        SkipBlanks();
        if (!AtEnd())
            Fault(Peek() == ')' ? "unmatched closing bracket" : "unexpected text after the filter");
        return fault_;
    }

  private:
    static constexpr int kDeepest = 1000;

    void Filter(int depth) {
        const size_t opened = at_;
        ++at_;  // the parenthesis
        if (depth == kDeepest) {
            Fault("brackets nested too deeply");
            return;
        }
        SkipBlanks();
        if (AtEnd()) {
            Unclosed(opened);
        } else if (Peek() == '&' || Peek() == '|') {
            ++at_;
            List(depth);
        } else if (Peek() == '!') {
            Not(depth);
        } else {
            Item(/*bracketed=*/true);
        }
        if (fault_) return;
        SkipBlanks();
        if (AtEnd()) {
            Unclosed(opened);
        } else if (Peek() != ')') {
            Fault("missing closing bracket before this");
        } else {
            ++at_;
        }
    }

    // "(&)" and "(|)" are the filters true and false (RFC 4526).
    void List(int depth) {
        for (SkipBlanks(); !fault_ && !AtEnd() && Peek() == '('; SkipBlanks())
            Filter(depth + 1);
    }

    void Not(int depth) {
        ++at_;
        SkipBlanks();
        if (AtEnd() || Peek() != '(') {
            Fault("expected a filter in brackets after !");
            return;
        }
        Filter(depth + 1);
    }

    void Item(bool bracketed) {
        const size_t begin = at_;
        Description();
        if (fault_) return;
        const bool extensible = Extension();
        if (fault_) return;
        const bool compares =
            !extensible && !AtEnd() && (Peek() == '>' || Peek() == '<' || Peek() == '~');
        if (compares) ++at_;
        if (AtEnd() || Peek() != '=') {
            Fault(at_ == begin ? "expected an attribute name"
                               : "missing \"=\" after the attribute");
            return;
        }
        if (at_ == begin) {
            Fault("expected an attribute name");
            return;
        }
        ++at_;
        Value(/*stars=*/!extensible && !compares, bracketed);
    }

    // Attribute description: a name or number, then options.
    void Description() {
        if (AtEnd() || Peek() == ':') return;
        if (!IsAlpha(Peek()) && std::isdigit(static_cast<unsigned char>(Peek())) == 0) {
            Fault(Peek() == ')' ? "empty brackets" : "expected an attribute name");
            return;
        }
        while (!AtEnd() && IsDescriptionCharacter(Peek()))
            ++at_;
    }

    // [":dn"] [":" rule] ":", up to the "="
    bool Extension() {
        if (AtEnd() || Peek() != ':') return false;
        while (!AtEnd() && (Peek() == ':' || IsDescriptionCharacter(Peek())))
            ++at_;
        if (text_[at_ - 1] != ':') Fault("missing \":=\" after the matching rule");
        return true;
    }

    void Value(bool stars, bool bracketed) {
        for (; !AtEnd() && !fault_; ++at_) {
            const char c = Peek();
            if (c == ')' && bracketed) return;
            if (c == '(' || c == ')') {
                Fault(fmt::format("write a bracket inside a value as \\{:02x}",
                                  static_cast<unsigned>(c)));
            } else if (c == '*' && !stars) {
                Fault("* is not allowed here; write the character as \\2a");
            } else if (c == '\\') {
                Escape();
            } else {
                Character();
            }
        }
    }

    void Escape() {
        if (at_ + 2 >= text_.size() || HexDigit(text_[at_ + 1]) < 0 ||
            HexDigit(text_[at_ + 2]) < 0) {
            Fault("expected two hexadecimal digits after \\; write \\ itself as \\5c");
            return;
        }
        at_ += 2;
    }

    void Character() {
        ucs4_t character = 0;
        const auto *bytes = reinterpret_cast<const uint8_t *>(text_.data() + at_);
        const int length = u8_mbtoucr(&character, bytes, text_.size() - at_);
        if (length <= 0) {
            Fault("this is not UTF-8; write bytes as \\NN");
        } else {
            at_ += static_cast<size_t>(length) - 1;
        }
    }

    void SkipBlanks() {
        while (!AtEnd() && Peek() == ' ')
            ++at_;
    }

    void Unclosed(size_t opened) {
        at_ = opened;
        Fault("this bracket is not closed");
    }

    std::optional<SyntaxFault> Fault(std::string reason) {
        if (!fault_) fault_ = SyntaxFault{at_, std::move(reason)};
        return fault_;
    }

    bool AtEnd() const { return at_ == text_.size(); }
    char Peek() const { return text_[at_]; }

    std::string_view text_;
    size_t at_ = 0;
    std::optional<SyntaxFault> fault_;
};

}  // namespace

std::optional<SyntaxFault> FilterFault(std::string_view filter) {
    return Reader(filter).Read();
}

std::string WithCaret(std::string_view text, size_t position) {
    const std::string before = OneLine(text.substr(0, position));
    const auto indent = static_cast<size_t>(DisplayWidth(before));
    return fmt::format("{}{}\n{:>{}}", before, OneLine(text.substr(position)), "^", indent + 1);
}

std::string EscapedForFilter(std::string_view value) {
    std::string escaped;
    for (const char c : value) {
        if (std::string_view("*()\\").find(c) == std::string_view::npos && c != '\0') {
            escaped += c;
        } else {
            escaped +=
                fmt::format("\\{:02x}", static_cast<unsigned>(static_cast<unsigned char>(c)));
        }
    }
    return escaped;
}

std::string PatternForFilter(std::string_view pattern) {
    std::string filter;
    for (size_t at = 0;;) {
        const size_t star = pattern.find('*', at);
        filter += EscapedForFilter(pattern.substr(at, star - at));
        if (star == std::string_view::npos) return filter;
        if (!filter.ends_with('*')) filter += '*';  // two in a row are not a valid filter
        at = star + 1;
    }
}

}  // namespace zafo::cli
