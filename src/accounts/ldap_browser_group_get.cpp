// SPDX-License-Identifier: Apache-2.0
#include <memory>
#include <new>

#include "platform/error.h"
#include "platform/user.h"
#include "src/accounts/account_search.h"
#include "src/core/check_connection.h"
#include "src/core/list.h"
#include "src/frame/guard.h"
#include "src/frame/log.h"
#include "src/frame/text.h"
#include "zafoldap/group.h"

namespace {

// The NULL-terminated array that ZAFOGroupAlloc takes; nullptr when out of memory.
std::unique_ptr<const char *[]> PointersTo(const zafo::List &names) {
    const auto count = static_cast<size_t>(names.size());
    std::unique_ptr<const char *[]> pointers(new (std::nothrow) const char *[count + 1]);
    if (pointers == nullptr) return pointers;
    for (size_t i = 0; i < count; ++i)
        pointers[i] = names[static_cast<int>(i)];
    pointers[count] = nullptr;
    return pointers;
}

int MakeGroup(const zafo::OpenSearch &entry, const char *group_dn, const char *name,
              ZAFOGROUP **group) {
    const char *gid = entry.First("gidNumber");
    if (gid == nullptr) ZAFO_LOG("get gid failed");
    zafo::List members;
    if (ZAFOLDAPResultGetAll(&entry.result, "memberUid", members.address()) < 0) {
        return ZAFO_FAILURE("ZAFOLDAPResultGetAll %s failed. [0x%04X]", "memberUid",
                            zafo::PlatformError());
    }
    const auto pointers = PointersTo(members);
    if (pointers == nullptr) {
        ZAFO_LOG("out of memory");
        return zafo::FailWith(QLIB_ERR_OUT_OF_MEMORY);
    }
    ZAFOGROUP *made = nullptr;
    if (ZAFOGroupAlloc(&made, name, zafo::AccountNumber(gid), pointers.get()) < 0 ||
        made == nullptr) {
        return ZAFO_FAILURE("ZAFOGroupAlloc failed. [%s]. [0x%04X]", group_dn,
                            zafo::PlatformError());
    }
    made->nType = ZAFO_ACCOUNT_DIRECTORY;
    *group = made;  // the old value is the caller's, or uninitialised
    return 1;
}

}  // namespace

int ZAFOLDAPBrowserGroupGet(const ZAFOLDAP_HOST *host, const char *group_dn, ZAFOGROUP **group,
                            char *description, size_t size) {
    if (!zafo::HasLoginSuffix(host, __FILE_NAME__)) return -1;
    if (group_dn == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szGroupDN");
    if (group == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != ppGroup");

    return zafo::Guarded(-1, [&] {
        zafo::OpenSearch search;
        search.request.szFilter = zafo::kGroups.filter;
        const int found = zafo::FirstEntryAt(host, group_dn, &search);
        if (found != 1) return found;
        const char *name = search.First("cn");
        if (name == nullptr) return ZAFO_FAILURE("get name failed");
        const char *text = search.First("description");
        if (text != nullptr && description != nullptr && size > 0) {
            zafo::CopyText(text, description, size);
        }
        return MakeGroup(search, group_dn, name, group);
    });
}
