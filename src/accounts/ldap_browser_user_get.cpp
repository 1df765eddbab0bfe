// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <ctime>

#include "accounts/account_search.h"
#include "core/check_connection.h"
#include "frame/log.h"
#include "zafoldap/user.h"

namespace {

constexpr time_t kSecondsPerDay = 86400;

long DaysOf(const char *szText) {
    return std::strtol(szText, nullptr, 10);
}

// The password is too young to be changed: shadow(5). Without both days it never is.
int IsTooYoung(const char *szMin, const char *szLastChange) {
    if (szMin == nullptr || szLastChange == nullptr) return 0;
    long nAge = 0;
    const long nToday = static_cast<long>(std::time(nullptr) / kSecondsPerDay);
    // What overflows is older than any minimum.
    if (__builtin_sub_overflow(nToday, DaysOf(szLastChange), &nAge)) return 0;
    return nAge < DaysOf(szMin) ? 1 : 0;
}

int MakeUser(const zafo::OpenSearch &entry, const char *szNameAttr, ZAFOUSER **ppUser) {
    const char *szName = entry.First(szNameAttr);
    if (szName == nullptr) {
        ZAFO_LOG("get name failed");
        return -1;
    }
    const char *szExpire = entry.First("shadowExpire");
    ZAFOUSER *pUser = nullptr;
    if (ZAFOUserAlloc(&pUser, szName, entry.First("userPassword"),
                      zafo::AccountNumber(entry.First("uidNumber")),
                      zafo::AccountNumber(entry.First("gidNumber")), entry.First("gecos"),
                      entry.First("homeDirectory"), entry.First("loginShell"),
                      szExpire != nullptr ? DaysOf(szExpire) : 0,
                      IsTooYoung(entry.First("shadowMin"), entry.First("shadowLastChange")),
                      entry.First("mail")) < 0 ||
        pUser == nullptr) {
        ZAFO_LOG("user alloc failed");
        return -1;
    }
    pUser->nType = ZAFO_ACCOUNT_DIRECTORY;
    *ppUser = pUser;  // what stood there is the caller's, or nothing at all
    return 1;
}

}  // namespace

int ZAFOLDAPBrowserUserGetEx(const ZAFOLDAP_HOST *pHost, const char *szUserDN, ZAFOUSER **ppUser,
                             ZAFOLDAP_RESULT *pResult, const ZAFOLDAP_BROWSER_OPTIONS *pOptions) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    if (pHost->szLoginSuffix == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pHost->szLoginSuffix");
    if (szUserDN == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szUserDN");
    if (ppUser == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != ppUser");

    const ZAFOLDAP_BROWSER_OPTIONS rule = zafo::UserRule(pOptions);
    zafo::OpenSearch search;
    search.request.szFilter = rule.szFilter;
    const int nFound = zafo::FirstEntryAt(pHost, szUserDN, &search);
    if (nFound != 1) return nFound;
    if (pResult != nullptr && ZAFOLDAPResultClone(pResult, &search.result) != 0) {
        ZAFO_LOG("clone result failed. ");
        return -1;
    }
    return MakeUser(search, rule.szNameAttr, ppUser);
}

int ZAFOLDAPBrowserUserGet(const ZAFOLDAP_HOST *pHost, const char *szUserDN, ZAFOUSER **ppUser,
                           ZAFOLDAP_RESULT *pResult) {
    return ZAFOLDAPBrowserUserGetEx(pHost, szUserDN, ppUser, pResult, nullptr);
}
