// SPDX-License-Identifier: Apache-2.0
#include "core/check_connection.h"
#include "core/list.h"
#include "core/open_search.h"
#include "frame/guard.h"
#include "frame/log.h"
#include "zafoldap/debug.h"
#include "zafoldap/suggest.h"

namespace {

constexpr const char *kNamingContexts = "namingContexts";

// A server that will not answer an anonymous question: unwilling or not allowed.
bool IsRefused(int nExitCode) {
    return 47 <= nExitCode && nExitCode <= 50;
}

// Reads the root DSE to its end. 0 or -1, as ZAFOLDAPSearchGetNext.
int CollectContexts(zafo::OpenSearch *pSearch, QLIBSZLIST **pplistBaseDN) {
    int nFound = 0;
    zafo::List contexts;
    while ((nFound = pSearch->Next()) == 1) {
        if (ZAFOLDAPResultGetAll(&pSearch->result, kNamingContexts, contexts.address()) < 0) {
            return -1;
        }
        for (int i = 0; i < contexts.size(); ++i) {
            if (QLIBCSzListPush(pplistBaseDN, contexts[i]) < 0) return -1;
        }
    }
    return nFound;
}

void LogList(const QLIBSZLIST *pList) {
    if (ZAFOLDAPDebugEnabled() == 0) return;
    ZAFO_LOG("suggest basedn: %d", pList->nItem);
    for (int i = 0; i < pList->nItem; ++i)
        ZAFO_LOG("  [%s]", QLIBCSzListGet(pList, i));
}

}  // namespace

int ZAFOLDAPBrowserSuggestBaseDN(const ZAFOLDAP_HOST *pHost, QLIBSZLIST **pplistBaseDN) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    if (pplistBaseDN == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pplistBaseDN");
    if (*pplistBaseDN == nullptr) return ZAFO_BAD_ARGUMENT("NULL != *pplistBaseDN");

    return zafo::Guarded(-1, [=] {
        ZAFOLDAP_HOST anonymous{};
        anonymous.szUri = pHost->szUri;
        anonymous.nSSLType = pHost->nSSLType;
        zafo::OpenSearch search;
        search.AskFor({kNamingContexts});
        search.request.szBase = "";  // the root DSE
        search.request.szScope = "base";
        const int nResult =
            search.Open(&anonymous) == 0 ? CollectContexts(&search, pplistBaseDN) : -1;
        if (IsRefused(search.result.nExitCode)) return 0;
        LogList(*pplistBaseDN);
        return nResult < 0 ? -1 : 0;
    });
}
