// SPDX-License-Identifier: Apache-2.0
#include "src/server/entry.h"

#include "base/dn.h"
#include "src/accounts/account_record.h"
#include "src/core/change_file.h"
#include "zafoldap/server.h"

namespace zafo {

namespace {

int CheckDN(const std::string &dn) {
    const char *text = dn.c_str();
    if (*text == '\0') return ZAFO_BAD_ARGUMENT("'\\0' != *szDN");
    if (!IsOneLine(text)) return ZAFO_NOT_ONE_LINE("szDN");
    return FitsDN(dn) ? 0 : -1;
}

int Write(ChangeFile &change, const Entry &entry) {
    if (CheckDN(entry.dn) != 0 || change.Open() != 0) return -1;
    ZAFOLDAPLdifTargetDN(change.get(), entry.dn.c_str());
    for (const auto &[attribute, value] : entry.attributes)
        WriteValue(change.get(), attribute, value.c_str());
    return 0;
}

}  // namespace

std::string EntryDN(const char *attribute, const char *name, const std::string &parent) {
    return std::string(attribute).append("=").append(EscapedForDn(name)).append(",").append(parent);
}

Entry Container(const char *name, const std::string &parent) {
    return {EntryDN("cn", name, parent), {{"cn", name}, {"objectClass", "organizationalRole"}}};
}

int AddEntry(const ZAFOLDAP_HOST &host, const Entry &entry) {
    ChangeFile change;
    return Write(change, entry) == 0 ? change.Apply(&host, 1) : -1;
}

int LoadEntry(const Entry &entry) {
    ChangeFile change;
    if (Write(change, entry) != 0 || change.Flush() != 0) return -1;
    return ZAFOLDAPServerSlapadd(change.get());
}

}  // namespace zafo
