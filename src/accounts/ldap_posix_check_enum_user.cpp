// SPDX-License-Identifier: Apache-2.0
//
// Checks whether users can be listed, and looks up the name of an account.
#include "src/accounts/account_kind.h"
#include "src/core/check_connection.h"
#include "src/core/open_search.h"
#include "src/core/result_codes.h"
#include "src/frame/log.h"
#include "zafoldap/browser.h"
#include "zafoldap/error.h"

namespace {

// Several names are as bad as a failure: it is unclear which one is meant.
int NameOf(const ZAFOLDAP_HOST *host, const zafo::AccountKind &kind, const char *dn, char *buffer,
           size_t size) {
    const int count =
        ZAFOLDAPSearchGetValueByDN(host, dn, kind.filter, kind.name_attribute, buffer, size);
    return count == 0 || count == 1 ? count : -1;
}

}  // namespace

int ZAFOLDAPPosixGetUserUID(const ZAFOLDAP_HOST *host, const char *dn, char *buffer, size_t size) {
    return NameOf(host, zafo::kUsers, dn, buffer, size);
}

int ZAFOLDAPPosixGetGroupCN(const ZAFOLDAP_HOST *host, const char *dn, char *buffer, size_t size) {
    return NameOf(host, zafo::kGroups, dn, buffer, size);
}

int ZAFOLDAPPosixCheckEnumUser(const ZAFOLDAP_HOST *host) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;

    zafo::OpenSearch search;
    if (ZAFOLDAPBrowserUserEnumRequestInit(&search.request) != 0) {
        return ZAFO_FAILURE("init user enum request failed[0x%04X]", zafo::PlatformError());
    }
    search.request.nSizeLimit = 1;
    if (search.Open(host) != 0) {
        return ZAFO_FAILURE("search init failed[0x%04X]", zafo::PlatformError());
    }
    int found = 1;
    while (found == 1)
        found = search.Next();
    // With several users the server returns one and reports that it stopped there.
    if (found < 0 && search.result.nExitCode != zafo::kSizeLimitExceeded) return -1;
    ZAFOLDAPErrReset();
    return 0;
}
