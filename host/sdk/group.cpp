// SPDX-License-Identifier: Apache-2.0
#include "platform/group.h"

#include <stdlib.h>

#include <memory>

#include "host/core/fail.h"
#include "host/sdk/copies.h"
#include "platform/user.h"

namespace {

struct FreeGroup {
    void operator()(ZAFOGROUP *pGroup) const { ZAFOGroupFree(pGroup); }
};

size_t CountOf(const char *const *pszMembers) {
    size_t n = 0;
    while (pszMembers[n] != nullptr)
        ++n;
    return n;
}

// The array ends in NULL at all times, so that a partial one can be freed.
void CopyMembers(ZAFOGROUP *pGroup, const char *const *pszMembers) {
    const size_t n = CountOf(pszMembers);
    pGroup->pszMembers = static_cast<char **>(calloc(n + 1, sizeof(char *)));
    if (pGroup->pszMembers == nullptr) throw std::bad_alloc();
    for (size_t i = 0; i < n; ++i)
        pGroup->pszMembers[i] = zafo::CopyOf(pszMembers[i]);
}

}  // namespace

int ZAFOGroupAlloc(ZAFOGROUP **ppGroup, const char *szName, uint32_t nGid,
                   const char *const *pszMembers) {
    if (ppGroup == nullptr || szName == nullptr) return zafo::Fail(QLIB_ERR_BAD_ARGUMENT);
    return zafo::OutOfMemoryIs(-1, [&] {
        std::unique_ptr<ZAFOGROUP, FreeGroup> group(
            static_cast<ZAFOGROUP *>(calloc(1, sizeof(ZAFOGROUP))));
        if (group == nullptr) throw std::bad_alloc();
        group->szName = zafo::CopyOf(szName);
        group->nGid = nGid;
        if (pszMembers != nullptr) CopyMembers(group.get(), pszMembers);
        group->nType = ZAFO_ACCOUNT_LOCAL;
        ZAFOGroupFree(*ppGroup);  // only now: the texts may have been its own
        *ppGroup = group.release();
        return 0;
    });
}

void ZAFOGroupFree(ZAFOGROUP *pGroup) {
    if (pGroup == nullptr) return;
    for (char **psz = pGroup->pszMembers; psz != nullptr && *psz != nullptr; ++psz)
        free(*psz);
    free(pGroup->pszMembers);
    free(pGroup->szName);
    free(pGroup);
}
