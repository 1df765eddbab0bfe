// SPDX-License-Identifier: Apache-2.0
#include "src/core/check_connection.h"
#include "src/core/list.h"
#include "src/core/open_search.h"
#include "src/frame/guard.h"
#include "src/frame/log.h"
#include "zafoldap/debug.h"
#include "zafoldap/suggest.h"

namespace {

constexpr const char *kNamingContexts = "namingContexts";

// Security errors: the server does not answer anonymous queries.
bool IsRefused(int exit_code) {
    return 47 <= exit_code && exit_code <= 50;
}

// Reads the root DSE to its end. 0 or -1, as ZAFOLDAPSearchGetNext.
int CollectContexts(zafo::OpenSearch *search, QLIBSZLIST **base_dns) {
    int found = 0;
    zafo::List contexts;
    while ((found = search->Next()) == 1) {
        if (ZAFOLDAPResultGetAll(&search->result, kNamingContexts, contexts.address()) < 0) {
            return -1;
        }
        for (int i = 0; i < contexts.size(); ++i) {
            if (QLIBCSzListPush(base_dns, contexts[i]) < 0) return -1;
        }
    }
    return found;
}

void LogList(const QLIBSZLIST *list) {
    if (ZAFOLDAPDebugEnabled() == 0) return;
    ZAFO_LOG("suggest basedn: %d", list->nItem);
    for (int i = 0; i < list->nItem; ++i)
        ZAFO_LOG("  [%s]", QLIBCSzListGet(list, i));
}

}  // namespace

int ZAFOLDAPBrowserSuggestBaseDN(const ZAFOLDAP_HOST *host, QLIBSZLIST **base_dns) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    if (base_dns == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pplistBaseDN");
    if (*base_dns == nullptr) return ZAFO_BAD_ARGUMENT("NULL != *pplistBaseDN");

    return zafo::Guarded(-1, [=] {
        ZAFOLDAP_HOST anonymous{};
        anonymous.szUri = host->szUri;
        anonymous.nSSLType = host->nSSLType;
        zafo::OpenSearch search;
        search.AskFor({kNamingContexts});
        search.request.szBase = "";  // the root DSE
        search.request.szScope = "base";
        const int result = search.Open(&anonymous) == 0 ? CollectContexts(&search, base_dns) : -1;
        if (IsRefused(search.result.nExitCode)) return 0;
        LogList(*base_dns);
        return result < 0 ? -1 : 0;
    });
}
