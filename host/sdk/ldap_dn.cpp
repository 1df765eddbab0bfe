// SPDX-License-Identifier: Apache-2.0
//
// The string form of DNs (RFC 4514, and what RFC 2253 asks readers to accept:
// ";" between RDNs, blanks around separators, quoted values). An RDN is one or more
// attribute-value pairs joined by "+".
#include "host/sdk/copy_out.h"
#include "platform/ldap.h"

#include <strings.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

namespace {

using zafo::CopyOut;
using zafo::Fail;
using zafo::OutOfMemoryIs;

// The attribute's short name, its long one and its number (RFC 4519 section 2.4).
constexpr std::string_view kDomainComponent[] = {"dc", "domainComponent",
                                                 "0.9.2342.19200300.100.1.25"};

struct Pair {
    std::string_view attribute;
    std::string_view value;  // as written
};

// Without the blanks around it; an escaped blank at the end belongs to the text.
std::string_view Trim(std::string_view text) {
    while (text.starts_with(' '))
        text.remove_prefix(1);
    while (text.ends_with(' ')) {
        const size_t before = text.find_last_not_of('\\', text.size() - 2);
        const size_t backslashes = text.size() - 2 - before;  // npos is -1 here
        if (text.size() > 1 && backslashes % 2 == 1) break;
        text.remove_suffix(1);
    }
    return text;
}

// Cuts at every separator that is neither escaped nor quoted. Nothing when a quote or an
// escape has no end.
std::optional<std::vector<std::string_view>> Split(std::string_view text,
                                                   std::string_view separators) {
    std::vector<std::string_view> parts;
    size_t begin = 0;
    bool quoted = false;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\') {
            if (++i == text.size()) return {};
        } else if (text[i] == '"') {
            quoted = !quoted;
        } else if (!quoted && separators.find(text[i]) != std::string_view::npos) {
            parts.push_back(Trim(text.substr(begin, i - begin)));
            begin = i + 1;
        }
    }
    if (quoted) return {};
    parts.push_back(Trim(text.substr(begin)));
    return parts;
}

std::optional<Pair> SplitPair(std::string_view text) {
    const size_t equals = text.find('=');
    if (equals == std::string_view::npos) return {};
    const Pair pair{Trim(text.substr(0, equals)), Trim(text.substr(equals + 1))};
    if (pair.attribute.empty()) return {};
    return pair;
}

// The RDNs of a DN; nothing when it is not one.
std::optional<std::vector<std::string_view>> SplitDN(std::string_view dn) {
    if (Trim(dn).empty()) return std::vector<std::string_view>();
    auto rdns = Split(dn, ",;");
    if (!rdns) return {};
    for (const std::string_view rdn : *rdns) {
        const auto pairs = Split(rdn, "+");
        const bool valid = pairs && std::all_of(pairs->begin(), pairs->end(), [](auto pair) {
                               return SplitPair(pair).has_value();
                           });
        if (!valid) return {};
    }
    return rdns;
}

int HexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// The text that a written value stands for. Nothing when it holds a zero byte, which text
// cannot.
std::optional<std::string> Unescape(std::string_view written) {
    if (written.size() >= 2 && written.front() == '"' && written.back() == '"') {
        written = written.substr(1, written.size() - 2);
    }
    std::string value;
    for (size_t i = 0; i < written.size(); ++i) {
        if (written[i] != '\\' || i + 1 == written.size()) {
            value += written[i];
            continue;
        }
        const int high = HexDigit(written[i + 1]);
        const int low = i + 2 < written.size() ? HexDigit(written[i + 2]) : -1;
        if (high >= 0 && low >= 0) {
            value += static_cast<char>(high * 16 + low);
            i += 2;
        } else {
            value += written[++i];
        }
    }
    if (value.find('\0') != std::string::npos) return {};
    return value;
}

bool IsDomainComponent(std::string_view attribute) {
    return std::any_of(std::begin(kDomainComponent), std::end(kDomainComponent), [=](auto name) {
        return name.size() == attribute.size() &&
               strncasecmp(name.data(), attribute.data(), name.size()) == 0;
    });
}

// The values of a DN's domain components in order; none when it is not a DN.
std::vector<std::string> DomainComponents(const char *dn) {
    const auto rdns = SplitDN(dn);
    if (!rdns) return {};
    std::vector<std::string> components;
    for (const std::string_view rdn : *rdns) {
        const auto texts = Split(rdn, "+");
        for (const std::string_view text : *texts) {
            const Pair pair = *SplitPair(text);
            if (!IsDomainComponent(pair.attribute)) continue;
            std::optional<std::string> value = Unescape(pair.value);
            if (!value || value->empty()) return {};
            components.push_back(std::move(*value));
        }
    }
    return components;
}

}  // namespace

int ZAFOLDAPDNDomainName(const char *szDN, char *szBuf, size_t cbBuf) {
    if (szDN == nullptr || szBuf == nullptr) return Fail(QLIB_ERR_BAD_ARGUMENT);
    return OutOfMemoryIs(-1, [=] {
        std::string domain;
        for (const std::string &component : DomainComponents(szDN)) {
            domain.append(domain.empty() ? "" : ".").append(component);
        }
        return domain.empty() ? Fail(QLIB_ERR_BAD_FORMAT) : CopyOut(domain, szBuf, cbBuf);
    });
}

int ZAFOLDAPDNFirstDomainComponent(const char *szDN, char *szBuf, size_t cbBuf) {
    if (szDN == nullptr || szBuf == nullptr) return Fail(QLIB_ERR_BAD_ARGUMENT);
    return OutOfMemoryIs(-1, [=] {
        const std::vector<std::string> components = DomainComponents(szDN);
        return components.empty() ? Fail(QLIB_ERR_BAD_FORMAT)
                                  : CopyOut(components.front(), szBuf, cbBuf);
    });
}

int ZAFOLDAPRDNExtract(const char *szDN, int nIndex, char *szRDN, size_t cbRDN) {
    if (szDN == nullptr || szRDN == nullptr || nIndex < 1) return Fail(QLIB_ERR_BAD_ARGUMENT);
    return OutOfMemoryIs(-1, [=] {
        const auto rdns = SplitDN(szDN);
        const auto at = static_cast<size_t>(nIndex) - 1;
        if (!rdns || at >= rdns->size()) return Fail(QLIB_ERR_BAD_FORMAT);
        return CopyOut((*rdns)[at], szRDN, cbRDN);
    });
}

int ZAFOLDAPRDNPairExtract(const char *szRDN, char *szAttr, size_t cbAttr, char *szValue,
                           size_t cbValue) {
    if (szRDN == nullptr || szAttr == nullptr || szValue == nullptr) {
        return Fail(QLIB_ERR_BAD_ARGUMENT);
    }
    const std::optional<Pair> pair = SplitPair(szRDN);
    if (!pair) return Fail(QLIB_ERR_BAD_FORMAT);
    // Both or none: a result never stands beside an old one.
    if (pair->value.size() >= cbValue) return Fail(QLIB_ERR_BUFFER_TOO_SMALL);
    return CopyOut(pair->attribute, szAttr, cbAttr) == 0 ? CopyOut(pair->value, szValue, cbValue)
                                                         : -1;
}
