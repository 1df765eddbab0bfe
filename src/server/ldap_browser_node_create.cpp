// SPDX-License-Identifier: Apache-2.0
#include "src/accounts/account_record.h"
#include "src/core/check_connection.h"
#include "src/core/domain_component.h"
#include "src/frame/guard.h"
#include "src/frame/log.h"
#include "src/server/entry.h"
#include "zafoldap/server.h"

namespace {

int CreateNode(const ZAFOLDAP_HOST &host, const char *name) {
    if (zafo::AddEntry(host, zafo::Container(name, host.szBaseDN)) == 0) return 0;
    return ZAFO_FAILURE("ldap modify failed [%s, %s] [0x%04X]", name, "", zafo::PlatformError());
}

int CreateRootNode(const ZAFOLDAP_HOST &host) {
    const auto component = zafo::DomainComponent(host.szBaseDN, __FILE_NAME__);
    if (!component) return -1;
    const zafo::Entry base{host.szBaseDN, {{"dc", *component}, {"objectClass", "domain"}}};
    if (zafo::AddEntry(host, base) == 0) return 0;
    return ZAFO_FAILURE("ZAFOLDAPModify failed [%s] [0x%04X]", host.szBaseDN,
                        zafo::PlatformError());
}

}  // namespace

int ZAFOLDAPBrowserNodeCreate(const ZAFOLDAP_HOST *host, const char *name) {
    if (!zafo::HasBaseDN(host, __FILE_NAME__)) return -1;
    if (name == nullptr) return ZAFO_BAD_ARGUMENT("NULL != szNodeName");
    if (!zafo::IsOneLine(name)) return ZAFO_NOT_ONE_LINE("szNodeName");
    return zafo::Guarded(-1, [=] { return CreateNode(*host, name); });
}

int ZAFOLDAPBrowserRootNodeCreate(const ZAFOLDAP_HOST *host) {
    if (!zafo::HasBaseDN(host, __FILE_NAME__)) return -1;
    return zafo::Guarded(-1, [=] { return CreateRootNode(*host); });
}
