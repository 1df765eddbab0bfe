// SPDX-License-Identifier: Apache-2.0
//
// Directory settings and DN helpers.
#include <fcntl.h>
#include <unistd.h>

#include "tests/foreign/platform/state.h"

namespace zafo::foreign {

namespace {

std::string Trimmed(const std::string &text) {
    const size_t first = text.find_first_not_of(' ');
    if (first == std::string::npos) return "";
    return text.substr(first, text.find_last_not_of(' ') + 1 - first);
}

size_t FindUnescaped(const std::string &text, char wanted, size_t from) {
    for (size_t i = from; i < text.size(); ++i) {
        if (text[i] == '\\')
            ++i;
        else if (text[i] == wanted)
            return i;
    }
    return std::string::npos;
}

Strings Split(const std::string &dn) {
    Strings parts;
    size_t from = 0;
    for (;;) {
        const size_t comma = FindUnescaped(dn, ',', from);
        if (comma == std::string::npos) break;
        parts.push_back(dn.substr(from, comma - from));
        from = comma + 1;
    }
    if (!dn.empty()) parts.push_back(dn.substr(from));
    return parts;
}

// Attribute and value, with surrounding blanks only if the platform keeps them.
std::optional<std::pair<std::string, std::string>> Pair(const Step &step, const std::string &rdn) {
    const size_t equals = rdn.find('=');
    if (equals == std::string::npos || equals == 0) return std::nullopt;
    std::pair<std::string, std::string> pair{rdn.substr(0, equals), rdn.substr(equals + 1)};
    if (step.temperament().normalises) pair = {Trimmed(pair.first), Trimmed(pair.second)};
    return pair;
}

Strings DomainComponents(const std::string &dn) {
    Strings values;
    for (const std::string &part : Split(dn)) {
        const size_t equals = part.find('=');
        if (equals == std::string::npos) continue;
        const std::string name = Trimmed(part.substr(0, equals));
        if (name == "dc" || name == "DC") values.push_back(Trimmed(part.substr(equals + 1)));
    }
    return values;
}

// The usual ways to end a function that writes to a buffer.
int Write(const Step &step, const std::string &text, char *buffer, size_t size, int usual) {
    return step.Put(text, buffer, size) ? step.Success(usual) : -1;
}
int Write(const Step &step, const std::string &text, char *buffer, size_t size) {
    return Write(step, text, buffer, size, step.temperament().success);
}

constexpr char kClientConf[] = "/usr/zafo/etc/nslcd.conf";

}  // namespace

}  // namespace zafo::foreign

using namespace zafo::foreign;

int ZAFOLDAPInfoGetFromConf(const char *szConf, const char *szKey, char *szBuf, size_t cbBuf) {
    const Step step("ZAFOLDAPInfoGetFromConf", {Text(szConf), Text(szKey), Decimal(cbBuf)});
    if (step.Fails()) return step.Result();
    if (!step.Given(szConf, "file") || !step.Given(szKey, "key")) return -1;
    const auto conf = step.platform().confs.find(szConf);
    if (conf == step.platform().confs.end()) return step.Failure(QLIB_ERR_OPEN_FAILED);
    const auto found = conf->second.find(szKey);
    if (found == conf->second.end() && !step.Fills()) return step.Success(0);
    const bool told = std::string(szConf) == kClientConf;
    return Write(step, step.Fills() ? "" : found->second, szBuf, cbBuf,
                 told ? 1 : step.temperament().info_found);
}

int ZAFOLDAPSecretGet(char *szBuf, size_t cbBuf) {
    const Step step("ZAFOLDAPSecretGet", {Decimal(cbBuf)});
    if (step.Fails()) return step.Result();
    if (!step.platform().secret && !step.Fills()) return step.Failure(QLIB_ERR_OPEN_FAILED);
    return Write(step, step.platform().secret.value_or(""), szBuf, cbBuf);
}

int ZAFOLDAPLoginSuffixGet(char *szBuf, size_t cbBuf) {
    const Step step("ZAFOLDAPLoginSuffixGet", {Decimal(cbBuf)});
    if (step.Fails()) return step.Result();
    if (!step.platform().login_suffix && !step.Fills()) return step.Failure(QLIB_ERR_OPEN_FAILED);
    return Write(step, step.platform().login_suffix.value_or(""), szBuf, cbBuf);
}

int ZAFOLDAPSSLTypeGetFromNslcd(void) {
    const Step step("ZAFOLDAPSSLTypeGetFromNslcd", {});
    return step.Fails() ? step.Result() : step.Success(step.platform().ssl_type);
}

int ZAFOLDAPSSLToType(const char *szSSL) {
    const Step step("ZAFOLDAPSSLToType", {Text(szSSL)});
    if (step.Fails()) return step.Result();
    for (int type = 0; szSSL != nullptr && type < 3; ++type)
        if (std::string(szSSL) == Platform::SslText(type)) return step.Success(type);
    return step.Success(0);
}

int ZAFOLDAPSSLToString(int nSSLType, char *szBuf, size_t cbBuf) {
    const Step step("ZAFOLDAPSSLToString", {Decimal(nSSLType), Decimal(cbBuf)});
    if (step.Fails()) return step.Result();
    const char *text = Platform::SslText(nSSLType);
    return text == nullptr ? step.Failure(QLIB_ERR_BAD_ARGUMENT) : Write(step, text, szBuf, cbBuf);
}

int ZAFOLDAPIsBinded(int nFlags) {
    const Step step("ZAFOLDAPIsBinded", {Hex(static_cast<unsigned>(nFlags))});
    if (step.Fails()) return step.Result();
    return nFlags != 0 ? step.Fault("flags") : step.Success(step.platform().bound);
}

int ZAFOLDAPDNDomainName(const char *szDN, char *szBuf, size_t cbBuf) {
    const Step step("ZAFOLDAPDNDomainName", {Text(szDN), Decimal(cbBuf)});
    if (step.Fails()) return step.Result();
    if (!step.Given(szDN, "DN")) return -1;
    std::string name;
    for (const std::string &component : DomainComponents(szDN))
        name += (name.empty() ? "" : ".") + component;
    return name.empty() ? step.Failure(QLIB_ERR_BAD_FORMAT) : Write(step, name, szBuf, cbBuf, 0);
}

int ZAFOLDAPDNFirstDomainComponent(const char *szDN, char *szBuf, size_t cbBuf) {
    const Step step("ZAFOLDAPDNFirstDomainComponent", {Text(szDN), Decimal(cbBuf)});
    if (step.Fails()) return step.Result();
    if (!step.Given(szDN, "DN")) return -1;
    const Strings components = DomainComponents(szDN);
    return components.empty() ? step.Failure(QLIB_ERR_BAD_FORMAT)
                              : Write(step, components[0], szBuf, cbBuf);
}

int ZAFOLDAPRDNExtract(const char *szDN, int nIndex, char *szRDN, size_t cbRDN) {
    const Step step("ZAFOLDAPRDNExtract", {Text(szDN), Decimal(nIndex), Decimal(cbRDN)});
    if (step.Fails()) return step.Result();
    if (!step.Given(szDN, "DN")) return -1;
    const Strings parts = Split(szDN);
    if (nIndex < 1 || static_cast<size_t>(nIndex) > parts.size())
        return step.Failure(QLIB_ERR_BAD_FORMAT);
    const std::string &part = parts[static_cast<size_t>(nIndex) - 1];
    const auto pair = Pair(step, part);
    if (!pair) return step.Failure(QLIB_ERR_BAD_FORMAT);
    return Write(step, step.temperament().normalises ? pair->first + "=" + pair->second : part,
                 szRDN, cbRDN);
}

int ZAFOLDAPRDNPairExtract(const char *szRDN, char *szAttr, size_t cbAttr, char *szValue,
                           size_t cbValue) {
    const Step step("ZAFOLDAPRDNPairExtract", {Text(szRDN), Decimal(cbAttr), Decimal(cbValue)});
    if (step.Fails()) return step.Result();
    if (!step.Given(szRDN, "RDN")) return -1;
    const auto pair = Pair(step, szRDN);
    if (!pair) return step.Failure(QLIB_ERR_BAD_FORMAT);
    if (!step.Put(pair->first, szAttr, cbAttr)) return -1;
    return Write(step, pair->second, szValue, cbValue);
}

int ZAFOLDAPConfSet(const char *szConf, const char *szTemplate, const QLIBSZHASH *pHash,
                    int nFlags) {
    const Step step("ZAFOLDAPConfSet",
                    {Text(szConf), Text(szTemplate), Hex(static_cast<unsigned>(nFlags))}, pHash);
    if (step.Fails()) return step.Result();
    if (!step.Given(szConf, "file") || !step.Given(szTemplate, "template") ||
        !step.Live(pHash, "map"))
        return -1;
    if (nFlags != 0) return step.Fault("flags");
    Pairs directives = step.platform().confs[szTemplate];
    for (const auto &[key, value] : PairsOf(pHash))
        directives[key] = value;
    step.platform().confs[szConf] = directives;
    return step.Success();
}

int ZAFOLDAPConfSetOne(const char *szConf, const char *szTemplate, const char *szKey,
                       const char *szValue, int nFlags) {
    const Step step("ZAFOLDAPConfSetOne", {Text(szConf), Text(szTemplate), Text(szKey),
                                           Text(szValue), Hex(static_cast<unsigned>(nFlags))});
    if (step.Fails()) return step.Result();
    // The library passes these on unchecked.
    if (szConf == nullptr || szKey == nullptr || szValue == nullptr)
        return step.Failure(QLIB_ERR_BAD_ARGUMENT);
    step.platform().confs[szConf][szKey] = szValue;
    return step.Success();
}

int ZAFOLDAPGenTmpConf(const char *szConf, int nFlags, char *szPath, size_t cbPath) {
    const Step step("ZAFOLDAPGenTmpConf",
                    {Text(szConf), Hex(static_cast<unsigned>(nFlags)), Decimal(cbPath)});
    if (step.Fails()) return step.Result();
    if (!step.Given(szConf, "file")) return -1;
    const std::string path =
        std::string(szConf) + ".foreign" + Decimal(++step.state().temporary_confs);
    if (!step.Put(path, szPath, cbPath)) return -1;
    if (step.platform().makes_temporary_conf && !step.Fills()) {
        const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (file < 0) return step.Failure(QLIB_ERR_OPEN_FAILED);
        close(file);
    }
    return step.Success();
}
