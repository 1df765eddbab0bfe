// SPDX-License-Identifier: Apache-2.0
#include "platform/group.h"

#include <stdlib.h>

#include <memory>

#include "host/core/fail.h"
#include "host/sdk/copies.h"
#include "platform/user.h"

namespace {

struct FreeGroup {
    void operator()(ZAFOGROUP *group) const { ZAFOGroupFree(group); }
};

size_t CountOf(const char *const *members) {
    size_t n = 0;
    while (members[n] != nullptr)
        ++n;
    return n;
}

// The array ends in NULL at all times, so that a partial one can be freed.
void CopyMembers(ZAFOGROUP *group, const char *const *members) {
    const size_t n = CountOf(members);
    group->pszMembers = static_cast<char **>(calloc(n + 1, sizeof(char *)));
    if (group->pszMembers == nullptr) throw std::bad_alloc();
    for (size_t i = 0; i < n; ++i)
        group->pszMembers[i] = zafo::CopyOf(members[i]);
}

}  // namespace

int ZAFOGroupAlloc(ZAFOGROUP **group, const char *name, uint32_t gid, const char *const *members) {
    if (group == nullptr || name == nullptr) return zafo::Fail(QLIB_ERR_BAD_ARGUMENT);
    return zafo::OutOfMemoryIs(-1, [&] {
        std::unique_ptr<ZAFOGROUP, FreeGroup> made(
            static_cast<ZAFOGROUP *>(calloc(1, sizeof(ZAFOGROUP))));
        if (made == nullptr) throw std::bad_alloc();
        made->szName = zafo::CopyOf(name);
        made->nGid = gid;
        if (members != nullptr) CopyMembers(made.get(), members);
        made->nType = ZAFO_ACCOUNT_LOCAL;
        ZAFOGroupFree(*group);  // only now: the texts may have been its own
        *group = made.release();
        return 0;
    });
}

void ZAFOGroupFree(ZAFOGROUP *group) {
    if (group == nullptr) return;
    for (char **member = group->pszMembers; member != nullptr && *member != nullptr; ++member)
        free(*member);
    free(group->pszMembers);
    free(group->szName);
    free(group);
}
