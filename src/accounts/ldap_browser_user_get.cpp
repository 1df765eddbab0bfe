// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <ctime>

#include "src/accounts/account_search.h"
#include "src/core/check_connection.h"
#include "src/frame/log.h"
#include "zafoldap/user.h"

namespace {

constexpr time_t kSecondsPerDay = 86400;

long DaysOf(const char *text) {
    return std::strtol(text, nullptr, 10);
}

// Whether the password is too young to be changed, see shadow(5). Never, if either day is missing.
int IsTooYoung(const char *min, const char *last_change) {
    if (min == nullptr || last_change == nullptr) return 0;
    long age = 0;
    const long today = static_cast<long>(std::time(nullptr) / kSecondsPerDay);
    // An age that overflows exceeds any minimum.
    if (__builtin_sub_overflow(today, DaysOf(last_change), &age)) return 0;
    return age < DaysOf(min) ? 1 : 0;
}

int MakeUser(const zafo::OpenSearch &entry, const char *name_attribute, ZAFOUSER **user) {
    const char *name = entry.First(name_attribute);
    if (name == nullptr) return ZAFO_FAILURE("get name failed");
    const char *expire = entry.First("shadowExpire");
    ZAFOUSER *made = nullptr;
    if (ZAFOUserAlloc(&made, name, entry.First("userPassword"),
                      zafo::AccountNumber(entry.First("uidNumber")),
                      zafo::AccountNumber(entry.First("gidNumber")), entry.First("gecos"),
                      entry.First("homeDirectory"), entry.First("loginShell"),
                      expire != nullptr ? DaysOf(expire) : 0,
                      IsTooYoung(entry.First("shadowMin"), entry.First("shadowLastChange")),
                      entry.First("mail")) < 0 ||
        made == nullptr) {
        return ZAFO_FAILURE("user alloc failed");
    }
    made->nType = ZAFO_ACCOUNT_DIRECTORY;
    *user = made;  // the old value is the caller's, or uninitialised
    return 1;
}

}  // namespace

int ZAFOLDAPBrowserUserGetEx(const ZAFOLDAP_HOST *host, const char *user_dn, ZAFOUSER **user,
                             ZAFOLDAP_RESULT *result, const ZAFOLDAP_BROWSER_OPTIONS *options) {
    if (!zafo::HasLoginSuffix(host, __FILE_NAME__)) return -1;
    if (user_dn == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szUserDN");
    if (user == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != ppUser");

    const ZAFOLDAP_BROWSER_OPTIONS rule = zafo::UserRule(options);
    zafo::OpenSearch search;
    search.request.szFilter = rule.szFilter;
    const int found = zafo::FirstEntryAt(host, user_dn, &search);
    if (found != 1) return found;
    if (result != nullptr && ZAFOLDAPResultClone(result, &search.result) != 0) {
        return ZAFO_FAILURE("clone result failed. ");
    }
    return MakeUser(search, rule.szNameAttr, user);
}

int ZAFOLDAPBrowserUserGet(const ZAFOLDAP_HOST *host, const char *user_dn, ZAFOUSER **user,
                           ZAFOLDAP_RESULT *result) {
    return ZAFOLDAPBrowserUserGetEx(host, user_dn, user, result, nullptr);
}
