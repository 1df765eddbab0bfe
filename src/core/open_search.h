// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <initializer_list>
#include <new>

#include "src/core/result_codes.h"
#include "zafoldap/search.h"

namespace zafo {

// A search and its request, ended and freed on every path.
class OpenSearch {
  public:
    OpenSearch() = default;
    OpenSearch(const OpenSearch &) = delete;
    OpenSearch &operator=(const OpenSearch &) = delete;
    ~OpenSearch() { ZAFOLDAPSearchFree(&request, &result); }

    // The attributes to return. Throws std::bad_alloc.
    void AskFor(std::initializer_list<const char *> attributes) {
        if (ZAFOLDAPSearchRequestInit(&request, 1) != 0) throw std::bad_alloc();
        for (const char *attribute : attributes) {
            if (QLIBCSzListPush(&request.plistAttr, attribute) < 0) throw std::bad_alloc();
        }
    }

    // As ZAFOLDAPSearchInit and ZAFOLDAPSearchGetNext.
    int Open(const ZAFOLDAP_HOST *host) { return ZAFOLDAPSearchInit(host, &request, &result); }
    int Next() { return ZAFOLDAPSearchGetNext(&request, &result); }

    // The same, but 0 also when the base entry does not exist.
    int NextIfThere() {
        const int found = Next();
        return found < 0 && result.nExitCode == kNoSuchObject ? 0 : found;
    }

    // The first value of an attribute of the current entry, or NULL.
    const char *First(const char *attribute) const {
        return ZAFOLDAPResultGetFirst(&result, attribute);
    }

    ZAFOLDAP_SEARCH_REQUEST request{};
    ZAFOLDAP_RESULT result{};
};

// As ZAFOLDAPSearchResultGet, with a handler that is called with the entry alone.
template <class Handler>
int ForEachEntry(const ZAFOLDAP_HOST *host, const ZAFOLDAP_SEARCH_REQUEST &request,
                 Handler handler) {
    constexpr ZAFOLDAP_RESULT_HANDLER kCall =
        [](const ZAFOLDAP_HOST *, const ZAFOLDAP_SEARCH_REQUEST *, const ZAFOLDAP_RESULT *entry,
           void *data) { return (*static_cast<Handler *>(data))(entry); };
    return ZAFOLDAPSearchResultGet(host, &request, kCall, &handler);
}

}  // namespace zafo
