// SPDX-License-Identifier: Apache-2.0
#include <memory>
#include <new>

#include "accounts/account_search.h"
#include "core/check_connection.h"
#include "core/list.h"
#include "frame/guard.h"
#include "frame/log.h"
#include "frame/text.h"
#include "platform/error.h"
#include "platform/user.h"
#include "zafoldap/group.h"

namespace {

// The array that ZAFOGroupAlloc takes, ended by NULL; nullptr when there is no memory.
std::unique_ptr<const char *[]> PointersTo(const zafo::List &names) {
    const auto nNames = static_cast<size_t>(names.size());
    std::unique_ptr<const char *[]> pointers(new (std::nothrow) const char *[nNames + 1]);
    if (pointers == nullptr) return pointers;
    for (size_t i = 0; i < nNames; ++i)
        pointers[i] = names[static_cast<int>(i)];
    pointers[nNames] = nullptr;
    return pointers;
}

int MakeGroup(const zafo::OpenSearch &entry, const char *szGroupDN, const char *szName,
              ZAFOGROUP **ppGroup) {
    const char *szGid = entry.First("gidNumber");
    if (szGid == nullptr) ZAFO_LOG("get gid failed");
    zafo::List members;
    if (ZAFOLDAPResultGetAll(&entry.result, "memberUid", members.address()) < 0) {
        ZAFO_LOG("ZAFOLDAPResultGetAll %s failed. [0x%04X]", "memberUid", zafo::PlatformError());
        return -1;
    }
    const auto pointers = PointersTo(members);
    if (pointers == nullptr) {
        ZAFO_LOG("out of memory");
        QLIBCErrSet(QLIB_ERR_OUT_OF_MEMORY);
        return -1;
    }
    ZAFOGROUP *pGroup = nullptr;
    if (ZAFOGroupAlloc(&pGroup, szName, zafo::AccountNumber(szGid), pointers.get()) < 0 ||
        pGroup == nullptr) {
        ZAFO_LOG("ZAFOGroupAlloc failed. [%s]. [0x%04X]", szGroupDN, zafo::PlatformError());
        return -1;
    }
    pGroup->nType = ZAFO_ACCOUNT_DIRECTORY;
    *ppGroup = pGroup;  // what stood there is the caller's, or nothing at all
    return 1;
}

}  // namespace

int ZAFOLDAPBrowserGroupGet(const ZAFOLDAP_HOST *pHost, const char *szGroupDN, ZAFOGROUP **ppGroup,
                            char *szDescription, size_t cbDescription) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    if (pHost->szLoginSuffix == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pHost->szLoginSuffix");
    if (szGroupDN == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szGroupDN");
    if (ppGroup == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != ppGroup");

    return zafo::Guarded(-1, [&] {
        zafo::OpenSearch search;
        search.request.szFilter = zafo::kGroups.szFilter;
        const int nFound = zafo::FirstEntryAt(pHost, szGroupDN, &search);
        if (nFound != 1) return nFound;
        const char *szName = search.First("cn");
        if (szName == nullptr) {
            ZAFO_LOG("get name failed");
            return -1;
        }
        const char *szFound = search.First("description");
        if (szFound != nullptr && szDescription != nullptr && cbDescription > 0) {
            zafo::CopyText(szFound, szDescription, cbDescription);
        }
        return MakeGroup(search, szGroupDN, szName, ppGroup);
    });
}
