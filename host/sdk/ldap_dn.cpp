// SPDX-License-Identifier: Apache-2.0
#include "base/dn.h"
#include "host/core/copy_out.h"
#include "platform/ldap.h"

namespace {

using zafo::CopyOut;
using zafo::Fail;
using zafo::OutOfMemoryIs;

// The values of a DN's domain components, in order; none if it is not a DN.
std::vector<std::string> DomainComponents(const char *dn) {
    std::vector<std::string> components;
    for (const zafo::Rdn &rdn : zafo::ParseDn(dn).value_or(std::vector<zafo::Rdn>())) {
        for (const zafo::DnPair &pair : rdn.pairs) {
            if (!pair.Is("dc")) continue;
            std::string value = pair.Value();
            // Callers get the result as a C string, which cannot contain a zero byte.
            if (value.empty() || value.find('\0') != std::string::npos) return {};
            components.push_back(std::move(value));
        }
    }
    return components;
}

}  // namespace

int ZAFOLDAPDNDomainName(const char *dn, char *buffer, size_t size) {
    if (dn == nullptr || buffer == nullptr) return Fail(QLIB_ERR_BAD_ARGUMENT);
    return OutOfMemoryIs(-1, [=] {
        std::string domain;
        for (const std::string &component : DomainComponents(dn)) {
            domain.append(domain.empty() ? "" : ".").append(component);
        }
        return domain.empty() ? Fail(QLIB_ERR_BAD_FORMAT) : CopyOut(domain, buffer, size);
    });
}

int ZAFOLDAPDNFirstDomainComponent(const char *dn, char *buffer, size_t size) {
    if (dn == nullptr || buffer == nullptr) return Fail(QLIB_ERR_BAD_ARGUMENT);
    return OutOfMemoryIs(-1, [=] {
        const std::vector<std::string> components = DomainComponents(dn);
        return components.empty() ? Fail(QLIB_ERR_BAD_FORMAT)
                                  : CopyOut(components.front(), buffer, size);
    });
}

int ZAFOLDAPRDNExtract(const char *dn, int index, char *rdn, size_t size) {
    if (dn == nullptr || rdn == nullptr || index < 1) return Fail(QLIB_ERR_BAD_ARGUMENT);
    return OutOfMemoryIs(-1, [=] {
        const auto rdns = zafo::ParseDn(dn);
        const auto at = static_cast<size_t>(index) - 1;
        if (!rdns || at >= rdns->size()) return Fail(QLIB_ERR_BAD_FORMAT);
        return CopyOut((*rdns)[at].written, rdn, size);
    });
}

int ZAFOLDAPRDNPairExtract(const char *rdn, char *attribute, size_t attribute_size, char *value,
                           size_t value_size) {
    if (rdn == nullptr || attribute == nullptr || value == nullptr) {
        return Fail(QLIB_ERR_BAD_ARGUMENT);
    }
    return OutOfMemoryIs(-1, [=] {
        const auto rdns = zafo::ParseDn(rdn);
        if (!rdns || rdns->empty()) return Fail(QLIB_ERR_BAD_FORMAT);
        // Further pairs of the RDN are part of the text after the first "=".
        const zafo::DnPair &pair = rdns->front().pairs.front();
        const std::string_view last = rdns->back().written;
        const std::string_view rest(pair.written.data(), last.data() + last.size());
        // Both or none: a new result never stands beside an old one.
        if (rest.size() >= value_size) return Fail(QLIB_ERR_BUFFER_TOO_SMALL);
        return CopyOut(pair.attribute, attribute, attribute_size) == 0
                   ? CopyOut(rest, value, value_size)
                   : -1;
    });
}
