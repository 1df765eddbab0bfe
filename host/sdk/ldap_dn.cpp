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
        const auto rdns = zafo::ParseDn(szDN);
        const auto at = static_cast<size_t>(nIndex) - 1;
        if (!rdns || at >= rdns->size()) return Fail(QLIB_ERR_BAD_FORMAT);
        return CopyOut((*rdns)[at].written, szRDN, cbRDN);
    });
}

int ZAFOLDAPRDNPairExtract(const char *szRDN, char *szAttr, size_t cbAttr, char *szValue,
                           size_t cbValue) {
    if (szRDN == nullptr || szAttr == nullptr || szValue == nullptr) {
        return Fail(QLIB_ERR_BAD_ARGUMENT);
    }
    return OutOfMemoryIs(-1, [=] {
        const auto rdns = zafo::ParseDn(szRDN);
        if (!rdns || rdns->empty()) return Fail(QLIB_ERR_BAD_FORMAT);
        // Further pairs of the RDN are part of the text after the first "=".
        const zafo::DnPair &pair = rdns->front().pairs.front();
        const std::string_view last = rdns->back().written;
        const std::string_view value(pair.written.data(), last.data() + last.size());
        // Both or none: a new result never stands beside an old one.
        if (value.size() >= cbValue) return Fail(QLIB_ERR_BUFFER_TOO_SMALL);
        return CopyOut(pair.attribute, szAttr, cbAttr) == 0 ? CopyOut(value, szValue, cbValue) : -1;
    });
}
