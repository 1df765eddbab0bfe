// SPDX-License-Identifier: Apache-2.0
//
// Deletes an entry by DN, or a user or group by name. The name must resolve to exactly one entry;
// if several match, none is deleted.
#include "platform/error.h"
#include "src/accounts/account_record.h"
#include "src/accounts/account_search.h"
#include "src/core/change_file.h"
#include "src/core/check_connection.h"
#include "src/frame/guard.h"
#include "src/frame/log.h"
#include "zafoldap/group.h"
#include "zafoldap/membership.h"
#include "zafoldap/user.h"

namespace {

// The meaning of "%%" in a DN.
enum class Percents { kAreText, kStandForOne };

// DN and change type are written as attribute lines: with none, the change would count as empty and
// be skipped as done.
int DeleteEntry(const ZAFOLDAP_HOST *host, const char *dn, Percents percents) {
    zafo::ChangeFile file;
    if (file.Open() != 0) return -1;
    if (percents == Percents::kStandForOne) {
        zafo::WriteFormatText(file.get(), "dn", dn);
    } else {
        zafo::WriteValue(file.get(), "dn", dn);
    }
    zafo::WriteValue(file.get(), "changetype", "delete");
    if (file.Apply(host) == 0) return 0;
    return ZAFO_FAILURE("ZAFOLDAPModify [%s] failed. [0x%04X]", dn, zafo::PlatformError());
}

// A DN from the server may be too long or contain line breaks.
int CheckFound(const zafo::FoundText &dn) {
    if (!zafo::FitsDN(dn)) return -1;
    return zafo::IsOneLine(dn) ? 0 : zafo::FailWith(QLIB_ERR_BAD_FORMAT);
}

struct DeletedKind {
    const zafo::AccountKind &kind;
    int not_found;          // platform error
    const char *ambiguous;  // log line
};
constexpr DeletedKind kUser{zafo::kUsers, QLIB_ERR_NO_SUCH_USER,
                            "delete user failed. user name is ambiguous"};
constexpr DeletedKind kGroup{zafo::kGroups, QLIB_ERR_NO_SUCH_GROUP,
                             "delete group failed, group name is ambiguous"};

// Finds the only entry of that name. 0 or -1. The lookup reports a name that is NULL.
int Resolve(const ZAFOLDAP_HOST *host, const DeletedKind &what, const char *name,
            zafo::FoundText &dn) {
    const int found = what.kind.find_by_name(host, name, dn, sizeof dn);
    if (found == 1) return CheckFound(dn);
    if (found > 1) return ZAFO_FAILURE("%s: %s", what.ambiguous, name);
    return found == 0 ? zafo::FailWith(what.not_found) : -1;
}

}  // namespace

int ZAFOLDAPBrowserDeleteDN(const ZAFOLDAP_HOST *host, const char *dn) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    if (dn == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szDN");
    if (!zafo::IsOneLine(dn)) return ZAFO_NOT_ONE_LINE("szDN");

    return zafo::Guarded(-1, [&] { return DeleteEntry(host, dn, Percents::kStandForOne); });
}

int ZAFOLDAPBrowserDeleteUser(const ZAFOLDAP_HOST *host, const char *name) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    if (name != nullptr) {  // both are written when the groups are changed afterwards
        if (!zafo::IsOneLine(name)) return ZAFO_NOT_ONE_LINE("szName");
        if (!zafo::IsOneLine(host->szBaseDN)) return ZAFO_NOT_ONE_LINE("pHost->szBaseDN");
    }

    return zafo::Guarded(-1, [&] {
        zafo::FoundText dn = "";
        if (Resolve(host, kUser, name, dn) != 0) return -1;
        if (DeleteEntry(host, dn, Percents::kAreText) != 0) {
            return ZAFO_FAILURE("Delete user [%s] failed.", dn);
        }
        if (ZAFOLDAPBrowserGroupEditWhenUserUIDChange(host, name, nullptr) != 0) {
            return ZAFO_FAILURE("ZAFOLDAPBrowserGroupEditByUserUID failed. [%s] [0x%04X]", name,
                                zafo::PlatformError());
        }
        return 0;
    });
}

int ZAFOLDAPBrowserDeleteGroup(const ZAFOLDAP_HOST *host, const char *name) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;

    return zafo::Guarded(-1, [&] {
        zafo::FoundText dn = "";
        if (Resolve(host, kGroup, name, dn) != 0) return -1;
        return DeleteEntry(host, dn, Percents::kAreText);
    });
}
