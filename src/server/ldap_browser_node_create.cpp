// SPDX-License-Identifier: Apache-2.0
#include "accounts/one_line.h"
#include "frame/guard.h"
#include "frame/log.h"
#include "frame/text.h"
#include "platform/ldap.h"
#include "server/entry.h"
#include "server/server_files.h"
#include "zafoldap/server.h"

namespace {

int CreateNode(const ZAFOLDAP_HOST &host, const char *szNodeName) {
    if (zafo::AddEntry(host, zafo::Container(szNodeName, host.szBaseDN)) == 0) return 0;
    ZAFO_LOG("ldap modify failed [%s, %s] [0x%04X]", szNodeName, "", zafo::PlatformError());
    return -1;
}

int CreateRootNode(const ZAFOLDAP_HOST &host) {
    char szComponent[zafo::kServerText] = "";
    if (zafo::Ended(szComponent, ZAFOLDAPDNFirstDomainComponent(host.szBaseDN, szComponent,
                                                                sizeof szComponent)) < 0) {
        ZAFO_LOG("ZAFOLDAPDNFirstDomainComponent [%s] failed. [0x%04X]", host.szBaseDN,
                 zafo::PlatformError());
        return -1;
    }
    const zafo::Entry base{host.szBaseDN, {{"dc", szComponent}, {"objectClass", "domain"}}};
    if (zafo::AddEntry(host, base) == 0) return 0;
    ZAFO_LOG("ZAFOLDAPModify failed [%s] [0x%04X]", host.szBaseDN, zafo::PlatformError());
    return -1;
}

}  // namespace

#define REQUIRE_HOST()                                                                 \
    do {                                                                               \
        if (pHost == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost");        \
        if (pHost->szUri == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pHost->szUri"); \
        if (pHost->szBaseDN == nullptr) {                                              \
            return ZAFO_BAD_ARGUMENT("((void *)0) != pHost->szBaseDN");                \
        }                                                                              \
    } while (false)

int ZAFOLDAPBrowserNodeCreate(const ZAFOLDAP_HOST *pHost, const char *szNodeName) {
    REQUIRE_HOST();
    if (szNodeName == nullptr) return ZAFO_BAD_ARGUMENT("NULL != szNodeName");
    REQUIRE_ONE_LINE(szNodeName);
    return zafo::Guarded(-1, [=] { return CreateNode(*pHost, szNodeName); });
}

int ZAFOLDAPBrowserRootNodeCreate(const ZAFOLDAP_HOST *pHost) {
    REQUIRE_HOST();
    return zafo::Guarded(-1, [=] { return CreateRootNode(*pHost); });
}
