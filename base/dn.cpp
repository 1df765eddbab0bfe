// SPDX-License-Identifier: Apache-2.0
#include "base/dn.h"

#include <algorithm>
#include <array>

#include "base/ascii.h"

namespace zafo {

namespace {

// As slapd defines them; RFC 4514 has only the first.
constexpr std::string_view kDnBlanks = " \t\r\n";
constexpr std::string_view kSeparators = ",;+";
constexpr std::string_view kNeedEscapes = {"\"+,;<>\\\0", 8};
constexpr std::string_view kMayBeEscaped = "\"+,;<>\\ #=";
constexpr std::string_view kOidPrefix = "oid.";

// RFC 4514 section 3, with the long names and numbers of RFC 4519.
struct AttributeType {
    std::string_view name;
    std::string_view long_name;
    std::string_view number;
};
constexpr std::array<AttributeType, 9> kAttributeTypes = {{
    {"cn", "commonName", "2.5.4.3"},
    {"l", "localityName", "2.5.4.7"},
    {"st", "stateOrProvinceName", "2.5.4.8"},
    {"o", "organizationName", "2.5.4.10"},
    {"ou", "organizationalUnitName", "2.5.4.11"},
    {"c", "countryName", "2.5.4.6"},
    {"street", "streetAddress", "2.5.4.9"},
    {"dc", "domainComponent", "0.9.2342.19200300.100.1.25"},
    {"uid", "userid", "0.9.2342.19200300.100.1.1"},
}};

bool IsOneOf(std::string_view characters, char c) {
    return characters.find(c) != std::string_view::npos;
}

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool StartsWithHexPair(std::string_view text) {
    return text.size() >= 2 && HexDigit(text[0]) >= 0 && HexDigit(text[1]) >= 0;
}

// The size of the escape at the start of the text, which is a backslash; 0 if it is invalid.
std::size_t EscapeSize(std::string_view text) {
    text.remove_prefix(1);
    if (StartsWithHexPair(text)) return 3;
    return !text.empty() && IsOneOf(kMayBeEscaped, text.front()) ? 2 : 0;
}

std::string_view WithoutOidPrefix(std::string_view attribute) {
    return attribute.substr(StartsWithIgnoringCase(attribute, kOidPrefix) ? kOidPrefix.size() : 0);
}

// The numericoid of RFC 4512 section 1.4.
bool IsNumber(std::string_view text) {
    for (bool first = true;; first = false) {
        const std::string_view arc = text.substr(0, text.find('.'));
        const bool leading_zero = arc.size() > 1 && arc.front() == '0';
        if (arc.empty() || leading_zero || !std::ranges::all_of(arc, IsDigit)) return false;
        if (arc.size() == text.size()) return !first;
        text.remove_prefix(arc.size() + 1);
    }
}

// The text consists of letters, digits, "-" and "." only.
bool IsAttribute(std::string_view text) {
    if (IsDigit(text.front()) || StartsWithIgnoringCase(text, kOidPrefix))
        return IsNumber(WithoutOidPrefix(text));
    return text.front() != '-' && !IsOneOf(text, '.');
}

std::string ComparableAttribute(std::string_view attribute) {
    attribute = WithoutOidPrefix(attribute);
    for (const AttributeType &type : kAttributeTypes) {
        if (EqualIgnoringCase(attribute, type.long_name) || attribute == type.number)
            return std::string(type.name);
    }
    return Folded(attribute);
}

// By the rules of caseIgnoreMatch: blanks at the ends are ignored, several count as one, and a
// value of blanks is one blank. Separators, and other blanks than " ", which a reader would drop at
// the ends, are escaped in hexadecimal.
std::string ComparableValue(const DnPair &pair) {
    if (pair.written.starts_with('#')) return Folded(pair.written);
    std::string comparable;
    bool blank = false;
    const std::string value = pair.Value();
    for (const char c : value) {
        if (c == ' ') {
            blank = true;
            continue;
        }
        if (blank && !comparable.empty()) comparable += ' ';
        blank = false;
        if (IsOneOf(kNeedEscapes, c) || IsOneOf(kDnBlanks, c) || IsOneOf("#=", c)) {
            comparable += '\\';
            AppendHex(&comparable, c);
        } else {
            comparable += LowerCase(c);
        }
    }
    return comparable.empty() && blank ? "\\20" : comparable;
}

// Reads a DN pair by pair.
class DnReader {
  public:
    explicit DnReader(std::string_view text) : text_(text), more_(!text.empty()) {}

    // Reads the next pair; false at the end, and if the text is not a DN.
    bool Next(DnPair *pair) {
        if (!more_) return false;
        more_ = ReadAttribute(pair) && ReadValue(pair);
        if (!more_) return false;
        end_ = at_;
        rdn_ends_ = AtEnd() || text_[at_] != '+';
        more_ = !AtEnd();
        if (more_) ++at_;
        return true;
    }

    // Whether the pair last read ends its RDN.
    bool RdnEnds() const { return rdn_ends_; }

    // Where the pair's separator is, or the end of the text.
    std::size_t End() const { return end_; }
    const std::optional<DnError> &Error() const { return error_; }

  private:
    bool ReadAttribute(DnPair *pair);
    bool ReadValue(DnPair *pair);
    bool ReadQuoted();
    bool ReadBer();
    bool ReadString(std::size_t *end);

    bool Fail(std::size_t position, const char *reason) {
        error_ = DnError{position, reason};
        return false;
    }
    bool BadEscape() {
        return Fail(at_, "expected a special character or two hexadecimal digits after \\");
    }
    bool AtEnd() const { return at_ == text_.size(); }
    void SkipBlanks() {
        while (!AtEnd() && IsOneOf(kDnBlanks, text_[at_]))
            ++at_;
    }
    std::string_view Rest() const { return text_.substr(at_); }

    std::string_view text_;
    std::size_t at_ = 0;
    std::size_t end_ = 0;
    bool more_;
    bool rdn_ends_ = true;
    std::optional<DnError> error_;
};

bool DnReader::ReadAttribute(DnPair *pair) {
    SkipBlanks();
    const std::size_t begin = at_;
    while (!AtEnd() && (IsAlphanumeric(text_[at_]) || IsOneOf("-.", text_[at_])))
        ++at_;
    pair->attribute = text_.substr(begin, at_ - begin);
    if (pair->attribute.empty()) return Fail(begin, "expected an attribute name");
    SkipBlanks();
    if (AtEnd() || text_[at_] != '=') return Fail(at_, "missing \"=\" after the attribute");
    ++at_;
    if (!IsAttribute(pair->attribute)) return Fail(begin, "expected an attribute name");
    return true;
}

bool DnReader::ReadValue(DnPair *pair) {
    const std::size_t after_equals = at_;
    SkipBlanks();
    const std::size_t begin = at_;
    std::size_t end = begin;
    const char first = AtEnd() ? '\0' : text_[at_];
    if (first == '"' || first == '#') {
        if (!(first == '"' ? ReadQuoted() : ReadBer())) return false;
        end = at_;
        SkipBlanks();
        if (!AtEnd() && !IsOneOf(kSeparators, text_[at_]))
            return Fail(at_, "expected \",\" or \"+\" after the value");
    } else if (!ReadString(&end)) {
        return false;
    }
    pair->written = end == begin ? text_.substr(after_equals, 0) : text_.substr(begin, end - begin);
    return true;
}

bool DnReader::ReadQuoted() {
    const std::size_t begin = at_++;
    while (!AtEnd() && text_[at_] != '"') {
        const std::size_t size = text_[at_] == '\\' ? EscapeSize(Rest()) : 1;
        if (size == 0) return BadEscape();
        at_ += size;
    }
    if (AtEnd()) return Fail(begin, "unterminated quotation mark");
    ++at_;
    return true;
}

bool DnReader::ReadBer() {
    const std::size_t begin = at_++;
    while (StartsWithHexPair(Rest()))
        at_ += 2;
    return at_ > begin + 1 || Fail(begin, "this character must be escaped with \\");
}

// Reads up to the separator; blanks before it are not part of the value.
bool DnReader::ReadString(std::size_t *end) {
    while (!AtEnd() && !IsOneOf(kSeparators, text_[at_])) {
        const bool escaped = text_[at_] == '\\';
        const std::size_t size = escaped ? EscapeSize(Rest()) : 1;
        if (size == 0) return BadEscape();
        if (!escaped && IsOneOf(kNeedEscapes, text_[at_]))
            return Fail(at_, "this character must be escaped with \\");
        const bool blank = !escaped && IsOneOf(kDnBlanks, text_[at_]);
        at_ += size;
        if (!blank) *end = at_;
    }
    return true;
}

}  // namespace

bool DnPair::Is(std::string_view short_name) const {
    return ComparableAttribute(attribute) == short_name;
}

std::string DnPair::Value() const {
    std::string_view rest = written;
    if (rest.size() >= 2 && rest.front() == '"') rest = rest.substr(1, rest.size() - 2);
    std::string value;
    while (!rest.empty()) {
        const std::size_t size =
            rest.front() == '\\' ? std::max(EscapeSize(rest), std::size_t{1}) : 1;
        value += size == 3 ? static_cast<char>(HexDigit(rest[1]) * 16 + HexDigit(rest[2]))
                           : rest[size - 1];
        rest.remove_prefix(size);
    }
    return value;
}

std::optional<std::vector<Rdn>> ParseDn(std::string_view text, DnError *error) {
    std::vector<Rdn> rdns;
    DnReader reader(text);
    bool begins_rdn = true;
    for (DnPair pair; reader.Next(&pair); begins_rdn = reader.RdnEnds()) {
        if (begins_rdn) rdns.emplace_back();
        Rdn &rdn = rdns.back();
        rdn.pairs.push_back(pair);
        const char *const begin = rdn.pairs.front().attribute.data();
        rdn.written = {begin,
                       static_cast<std::size_t>(pair.written.data() - begin) + pair.written.size()};
    }
    if (!reader.Error()) return rdns;
    if (error != nullptr) *error = *reader.Error();
    return std::nullopt;
}

std::size_t EndOfRdn(std::string_view dn) {
    DnReader reader(dn);
    DnPair pair;
    while (reader.Next(&pair)) {
        if (reader.RdnEnds()) return reader.End();
    }
    return dn.size();
}

// RFC 4514 section 2.4; slapd also drops blanks other than " " at the ends, so they are escaped
// too.
std::string EscapedForDn(std::string_view value) {
    std::string escaped;
    for (std::size_t i = 0; i < value.size(); ++i) {
        const char c = value[i];
        const bool at_end = i == 0 || i + 1 == value.size();
        if (c == '\0' || (at_end && c != ' ' && IsOneOf(kDnBlanks, c))) {
            escaped += '\\';
            AppendHex(&escaped, c);
            continue;
        }
        if (IsOneOf(kNeedEscapes, c) || (at_end && c == ' ') || (i == 0 && c == '#'))
            escaped += '\\';
        escaped += c;
    }
    return escaped;
}

std::string EscapedForUrl(std::string_view dn) {
    std::string escaped;
    for (const char c : dn) {
        if (IsAlphanumeric(c) || IsOneOf("=,-.", c)) {
            escaped += c;
        } else {
            escaped += '%';
            AppendHex(&escaped, c);
        }
    }
    return escaped;
}

std::string ComparableDn(std::string_view dn) {
    std::string comparable;
    std::vector<std::string> pairs;
    DnReader reader(dn);
    for (DnPair pair; reader.Next(&pair);) {
        pairs.push_back(ComparableAttribute(pair.attribute) + '=' + ComparableValue(pair));
        if (!reader.RdnEnds()) continue;
        std::ranges::sort(pairs);
        for (const std::string &text : pairs) {
            const char *const separator = comparable.empty()      ? ""
                                          : &text == pairs.data() ? ","
                                                                  : "+";
            comparable.append(separator).append(text);
        }
        pairs.clear();
    }
    return reader.Error() ? std::string() : comparable;
}

bool SameDn(std::string_view a, std::string_view b) {
    if (EqualIgnoringCase(a, b)) return true;
    const std::string comparable = ComparableDn(a);
    return !comparable.empty() && comparable == ComparableDn(b);
}

bool IsBelow(std::string_view dn, std::string_view ancestor) {
    const std::string above = ComparableDn(ancestor);
    return !above.empty() && ComparableDn(dn).ends_with("," + above);
}

}  // namespace zafo
