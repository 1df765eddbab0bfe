// SPDX-License-Identifier: Apache-2.0
#include <stdlib.h>

#include <cstdint>

#include "src/accounts/account_kind.h"
#include "src/core/check_connection.h"
#include "src/core/list.h"
#include "src/frame/guard.h"
#include "src/frame/log.h"
#include "zafoldap/samba.h"
#include "zafoldap/search.h"
#include "zafoldap/suggest.h"

namespace {

// Numbers up to this one are reserved for the appliance.
constexpr int64_t kHighestReserved = 1026;

struct Highest {
    const char *attribute;
    int64_t number;
};

int TakeHigher(const ZAFOLDAP_HOST *, const ZAFOLDAP_SEARCH_REQUEST *,
               const ZAFOLDAP_RESULT *result, void *data) {
    auto *highest = static_cast<Highest *>(data);
    const char *text = ZAFOLDAPResultGetFirst(result, highest->attribute);
    if (text == nullptr) return 0;
    const int64_t number = strtoll(text, nullptr, 10);
    if (number > highest->number) highest->number = number;
    return 0;
}

// One more than the highest number in use.
int AboveHighest(const ZAFOLDAP_HOST *host, const zafo::AccountKind &kind) {
    return zafo::Guarded(-1, [&] {
        zafo::List attributes;
        attributes.Push(kind.number_attribute);
        ZAFOLDAP_SEARCH_REQUEST request{};
        request.szFilter = kind.filter;
        request.plistAttr = attributes.get();
        Highest highest{kind.number_attribute, kHighestReserved};
        if (ZAFOLDAPSearchResultGet(host, &request, TakeHigher, &highest) != 0) return -1;
        return static_cast<int>(static_cast<uint64_t>(highest.number) + 1);
    });
}

}  // namespace

int ZAFOLDAPBrowserSuggestUid(const ZAFOLDAP_HOST *host) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    if (host->nServerType == ZAFOLDAP_SERVER_ZAFO) return ZAFOLDAPSambaUIDGen(host);
    return AboveHighest(host, zafo::kUsers);
}

int ZAFOLDAPBrowserSuggestGid(const ZAFOLDAP_HOST *host) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    if (host->nServerType == ZAFOLDAP_SERVER_ZAFO) return ZAFOLDAPSambaGIDGen(host);
    return AboveHighest(host, zafo::kGroups);
}
