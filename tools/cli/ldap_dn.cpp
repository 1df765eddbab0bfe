// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/ldap_dn.h"

#include "tools/cli/display_text.h"
#include "tools/cli/failure.h"

#include <fmt/format.h>
#include <charconv>

#include <algorithm>
#include <cctype>

namespace zafo::cli {

namespace {

bool IsAlnum(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0;
}

bool IsHex(char c) {
    return std::isxdigit(static_cast<unsigned char>(c)) != 0;
}

class DnReader {
  public:
    explicit DnReader(std::string_view text) : text_(text) {}

    std::optional<SyntaxFault> Read() {
        if (text_.empty()) return std::nullopt;
        if (!IsText(text_) || text_.find_first_of("\r\n") != std::string_view::npos) {
            return SyntaxFault{0, "it contains control characters or is not UTF-8"};
        }
        for (;;) {
            Pair();
            if (fault_ || at_ == text_.size()) return fault_;
            ++at_;  // the separator
        }
    }

  private:
    void Pair() {
        SkipBlanks();
        const size_t begin = at_;
        while (!AtEnd() && (IsAlnum(text_[at_]) || text_[at_] == '-' || text_[at_] == '.'))
            ++at_;
        if (at_ == begin) {
            Fault("expected an attribute name");
            return;
        }
        SkipBlanks();
        if (AtEnd() || text_[at_] != '=') {
            Fault("missing \"=\" after the attribute");
            return;
        }
        ++at_;
        Value();
    }

    // Up to the next separator. An unescaped quotation mark opens a quoted value of LDAPv2,
    // which servers no longer take.
    void Value() {
        for (; !AtEnd() && !fault_; ++at_) {
            switch (text_[at_]) {
                case ',':
                case '+':
                case ';':
                    return;
                case '"':
                case '<':
                case '>':
                    Fault("this character must be escaped with \\");
                    return;
                case '\\':
                    Escape();
                    break;
                default:
                    break;
            }
        }
    }

    void Escape() {
        const bool hex = at_ + 2 < text_.size() && IsHex(text_[at_ + 1]) && IsHex(text_[at_ + 2]);
        if (hex) {
            at_ += 2;
        } else if (at_ + 1 < text_.size() &&
                   std::string_view(" \"#+,;<=>\\").find(text_[at_ + 1]) !=
                       std::string_view::npos) {
            at_ += 1;
        } else {
            Fault("expected a special character or two hexadecimal digits after \\");
        }
    }

    void SkipBlanks() {
        while (!AtEnd() && text_[at_] == ' ')
            ++at_;
    }

    void Fault(std::string reason) {
        if (!fault_) fault_ = SyntaxFault{at_, std::move(reason)};
    }

    bool AtEnd() const { return at_ == text_.size(); }

    std::string_view text_;
    size_t at_ = 0;
    std::optional<SyntaxFault> fault_;
};

// A character behind a backslash, or a byte in hexadecimal; gives how many characters it took.
size_t TakeEscaped(std::string_view text, std::string &value) {
    unsigned int byte = 0;
    const char *const digits = text.data() + 1;
    if (text.size() > 2 && std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2) {
        value += static_cast<char>(byte);
        return 3;
    }
    if (text.size() > 1) value += text[1];
    return 2;
}

}  // namespace

std::optional<SyntaxFault> DnFault(std::string_view dn) {
    return DnReader(dn).Read();
}

void CheckDn(const std::string &dn, bool may_be_empty) {
    const std::optional<SyntaxFault> fault =
        dn.empty() && !may_be_empty ? SyntaxFault{0, "it is empty"} : DnFault(dn);
    if (!fault) return;
    throw OwnFailure("bad_dn",
                     {.subject = fmt::format("\"{}\"", OneLine(dn)), .reason = fault->reason},
                     WithCaret(dn, fault->position));
}

bool IsAttributeSelector(std::string_view name) {
    if (name == "*" || name == "+" || name == "1.1") return true;
    return !name.empty() && IsAlnum(name.front()) && std::ranges::all_of(name, [](char c) {
        return IsAlnum(c) || c == '-' || c == '.' || c == ';';
    });
}

std::string UserOfDn(std::string_view dn) {
    constexpr std::string_view kAttribute = "uid=";
    if (Folded(dn.substr(0, kAttribute.size())) != kAttribute) return {};
    std::string value;
    for (size_t i = kAttribute.size(); i < dn.size() && dn[i] != ',' && dn[i] != '+';) {
        if (dn[i] == '\\') {
            i += TakeEscaped(dn.substr(i), value);
        } else {
            value += dn[i++];
        }
    }
    return value;
}

size_t EndOfRdn(std::string_view dn) {
    size_t i = 0;
    while (i < dn.size() && dn[i] != ',')
        i += dn[i] == '\\' ? 2 : 1;
    return std::min(i, dn.size());
}

std::string Folded(std::string_view name) {
    std::string folded(name);
    std::ranges::transform(folded, folded.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return folded;
}

}  // namespace zafo::cli
