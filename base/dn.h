// SPDX-License-Identifier: Apache-2.0
//
// Distinguished names as text: RFC 4514, and what RFC 2253 (section 4) requires readers to accept:
// ";" between RDNs, blanks around separators, values in double quotes, numbers after "OID.".
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zafo {

// An attribute and its value: views into the parsed text, which must outlive them.
struct DnPair {
    std::string_view attribute;
    std::string_view written;  // the value as written, without the blanks around it

    // Whether this is the attribute with that short name ("dc"), even if written as its long name
    // or number.
    bool Is(std::string_view short_name) const;

    // The bytes that the value stands for. A value in "#" form, which is BER, stays as written.
    std::string Value() const;
};

struct Rdn {
    std::string_view written;  // without the blanks around it
    std::vector<DnPair> pairs;
};

struct DnError {
    std::size_t position;
    const char *reason;
};

// The RDNs of a DN, the entry's own first; none for the empty DN, the root's. Nothing if the text
// is not a DN; `error` then says where and why.
std::optional<std::vector<Rdn>> ParseDn(std::string_view text, DnError *error = nullptr);

// Where the first RDN ends: at its separator, or at the end of the text.
std::size_t EndOfRdn(std::string_view dn);

// A value with only the escapes that a DN requires.
std::string EscapedForDn(std::string_view value);

// A DN as the part of an LDAP URL (RFC 4516) that names the base.
std::string EscapedForUrl(std::string_view dn);

// A form that is the same for all DNs of an entry, by slapd's rules: it ignores letter case, blanks
// around separators and values, repeated blanks, the form of escapes, the order within an RDN, and
// whether attributes of RFC 4514 are written as long names or numbers. Non-ASCII letters are
// compared byte by byte. Empty for the empty DN and for text that is not a DN.
std::string ComparableDn(std::string_view dn);

// Whether two DNs name the same entry. Text that is not a DN equals only itself, ignoring letter
// case.
bool SameDn(std::string_view a, std::string_view b);

// Whether one DN is below another, at any depth. Nothing is below the empty DN.
bool IsBelow(std::string_view dn, std::string_view ancestor);

}  // namespace zafo
