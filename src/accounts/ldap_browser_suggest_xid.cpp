// SPDX-License-Identifier: Apache-2.0
#include <stdlib.h>

#include <cstdint>

#include "accounts/account_kind.h"
#include "core/check_connection.h"
#include "core/list.h"
#include "frame/guard.h"
#include "frame/log.h"
#include "zafoldap/samba.h"
#include "zafoldap/search.h"
#include "zafoldap/suggest.h"

namespace {

// Numbers up to this one are the appliance's own.
constexpr int64_t kHighestReserved = 1026;

struct HIGHEST {
    const char *szAttr;
    int64_t nNumber;
};

int TakeHigher(const ZAFOLDAP_HOST *, const ZAFOLDAP_SEARCH_REQUEST *,
               const ZAFOLDAP_RESULT *pResult, void *pData) {
    auto *pHighest = static_cast<HIGHEST *>(pData);
    const char *szNumber = ZAFOLDAPResultGetFirst(pResult, pHighest->szAttr);
    if (szNumber == nullptr) return 0;
    const int64_t nNumber = strtoll(szNumber, nullptr, 10);
    if (nNumber > pHighest->nNumber) pHighest->nNumber = nNumber;
    return 0;
}

// One more than the highest number in use.
int AboveHighest(const ZAFOLDAP_HOST *pHost, const zafo::ACCOUNT_KIND &kind) {
    return zafo::Guarded(-1, [&] {
        zafo::List attributes;
        attributes.Push(kind.szNumberAttr);
        ZAFOLDAP_SEARCH_REQUEST request{};
        request.szFilter = kind.szFilter;
        request.plistAttr = attributes.get();
        HIGHEST highest{kind.szNumberAttr, kHighestReserved};
        if (ZAFOLDAPSearchResultGet(pHost, &request, TakeHigher, &highest) != 0) return -1;
        return static_cast<int>(static_cast<uint64_t>(highest.nNumber) + 1);
    });
}

}  // namespace

int ZAFOLDAPBrowserSuggestUid(const ZAFOLDAP_HOST *pHost) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    if (pHost->nServerType == ZAFOLDAP_SERVER_ZAFO) return ZAFOLDAPSambaUIDGen(pHost);
    return AboveHighest(pHost, zafo::kUsers);
}

int ZAFOLDAPBrowserSuggestGid(const ZAFOLDAP_HOST *pHost) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    if (pHost->nServerType == ZAFOLDAP_SERVER_ZAFO) return ZAFOLDAPSambaGIDGen(pHost);
    return AboveHighest(pHost, zafo::kGroups);
}
