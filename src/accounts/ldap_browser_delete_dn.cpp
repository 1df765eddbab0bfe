// SPDX-License-Identifier: Apache-2.0
//
// Deleting an entry by DN, a user or a group by name. A name is resolved to the one entry that
// carries it; of several none is deleted.
#include "accounts/account_search.h"
#include "accounts/one_line.h"
#include "core/change_file.h"
#include "core/check_connection.h"
#include "frame/guard.h"
#include "frame/log.h"
#include "platform/error.h"
#include "zafoldap/group.h"
#include "zafoldap/membership.h"
#include "zafoldap/user.h"

namespace {

// What "%%" means in a DN.
enum class Percents { kAreText, kStandForOne };

// DN and change type are attribute lines: without one the change would count as empty and
// as done.
int DeleteEntry(const ZAFOLDAP_HOST *pHost, const char *szDN, Percents percents) {
    zafo::ChangeFile file;
    if (file.Open() != 0) return -1;
    if (percents == Percents::kStandForOne) {
        zafo::WriteFormatText(file.get(), "dn", szDN);
    } else {
        zafo::WriteValue(file.get(), "dn", szDN);
    }
    zafo::WriteValue(file.get(), "changetype", "delete");
    if (file.Apply(pHost) == 0) return 0;
    ZAFO_LOG("ZAFOLDAPModify [%s] failed. [0x%04X]", szDN, zafo::PlatformError());
    return -1;
}

// A DN that the server gave may be too long, or no line.
int CheckFound(const zafo::FoundText &szDN) {
    if (!zafo::FitsDN(szDN)) return -1;
    if (zafo::IsOneLine(szDN)) return 0;
    QLIBCErrSet(QLIB_ERR_BAD_FORMAT);
    return -1;
}

struct DELETED_KIND {
    const zafo::ACCOUNT_KIND &kind;
    int nNotFound;            // platform error
    const char *szAmbiguous;  // log line
};
constexpr DELETED_KIND kUser{zafo::kUsers, QLIB_ERR_NO_SUCH_USER,
                             "delete user failed. user name is ambiguous"};
constexpr DELETED_KIND kGroup{zafo::kGroups, QLIB_ERR_NO_SUCH_GROUP,
                              "delete group failed, group name is ambiguous"};

// Finds the one entry of a name. 0, or -1. A name that is NULL is reported by the lookup.
int Resolve(const ZAFOLDAP_HOST *pHost, const DELETED_KIND &what, const char *szName,
            zafo::FoundText &szDN) {
    const int nFound = what.kind.pfnFindByName(pHost, szName, szDN, sizeof szDN);
    if (nFound == 1) return CheckFound(szDN);
    if (nFound > 1) ZAFO_LOG("%s: %s", what.szAmbiguous, szName);
    if (nFound == 0) QLIBCErrSet(what.nNotFound);
    return -1;
}

}  // namespace

int ZAFOLDAPBrowserDeleteDN(const ZAFOLDAP_HOST *pHost, const char *szDN) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    if (szDN == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szDN");
    if (!zafo::IsOneLine(szDN)) return ZAFO_NOT_ONE_LINE("szDN");

    return zafo::Guarded(-1, [&] { return DeleteEntry(pHost, szDN, Percents::kStandForOne); });
}

int ZAFOLDAPBrowserDeleteUser(const ZAFOLDAP_HOST *pHost, const char *szName) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    if (szName != nullptr) {  // both are lines of what is changed in the groups afterwards
        if (!zafo::IsOneLine(szName)) return ZAFO_NOT_ONE_LINE("szName");
        if (!zafo::IsOneLine(pHost->szBaseDN)) return ZAFO_NOT_ONE_LINE("pHost->szBaseDN");
    }

    return zafo::Guarded(-1, [&] {
        zafo::FoundText szDN = "";
        if (Resolve(pHost, kUser, szName, szDN) != 0) return -1;
        if (DeleteEntry(pHost, szDN, Percents::kAreText) != 0) {
            ZAFO_LOG("Delete user [%s] failed.", szDN);
            return -1;
        }
        if (ZAFOLDAPBrowserGroupEditWhenUserUIDChange(pHost, szName, nullptr) != 0) {
            ZAFO_LOG("ZAFOLDAPBrowserGroupEditByUserUID failed. [%s] [0x%04X]", szName,
                     zafo::PlatformError());
            return -1;
        }
        return 0;
    });
}

int ZAFOLDAPBrowserDeleteGroup(const ZAFOLDAP_HOST *pHost, const char *szName) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;

    return zafo::Guarded(-1, [&] {
        zafo::FoundText szDN = "";
        if (Resolve(pHost, kGroup, szName, szDN) != 0) return -1;
        return DeleteEntry(pHost, szDN, Percents::kAreText);
    });
}
