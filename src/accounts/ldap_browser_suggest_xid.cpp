// SPDX-License-Identifier: Apache-2.0
#include <stdlib.h>

#include <algorithm>
#include <cstdint>

#include "src/accounts/account_kind.h"
#include "src/core/check_connection.h"
#include "src/core/list.h"
#include "src/core/open_search.h"
#include "src/frame/guard.h"
#include "zafoldap/samba.h"
#include "zafoldap/search.h"
#include "zafoldap/suggest.h"

namespace {

// Numbers up to this one are reserved for the appliance.
constexpr int64_t kHighestReserved = 1026;

// One more than the highest number in use.
int AboveHighest(const ZAFOLDAP_HOST *host, const zafo::AccountKind &kind) {
    return zafo::Guarded(-1, [&] {
        const zafo::List attributes{kind.number_attribute};
        ZAFOLDAP_SEARCH_REQUEST request{};
        request.szFilter = kind.filter;
        request.plistAttr = attributes.get();
        int64_t highest = kHighestReserved;
        const int result = zafo::ForEachEntry(host, request, [&](const ZAFOLDAP_RESULT *entry) {
            const char *number = ZAFOLDAPResultGetFirst(entry, kind.number_attribute);
            if (number != nullptr)
                highest = std::max<int64_t>(highest, strtoll(number, nullptr, 10));
            return 0;
        });
        return result == 0 ? static_cast<int>(static_cast<uint64_t>(highest) + 1) : -1;
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
