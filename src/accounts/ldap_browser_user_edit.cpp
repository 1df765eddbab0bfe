// SPDX-License-Identifier: Apache-2.0
//
// Editing a user: all actual changes go into one change file. Then the groups are updated for a new
// name, and the server sets a new password. A failure after the change file does not undo it.
#include <string>

#include "base/dn.h"
#include "platform/crypt.h"
#include "platform/group.h"
#include "platform/ldap.h"
#include "platform/unicode.h"
#include "src/accounts/account_owner.h"
#include "src/accounts/account_record.h"
#include "src/accounts/account_search.h"
#include "src/accounts/password_attributes.h"
#include "src/accounts/user_changes.h"
#include "src/core/change_file.h"
#include "src/core/check_connection.h"
#include "src/frame/guard.h"
#include "src/frame/log.h"
#include "src/frame/text.h"
#include "zafoldap/dn.h"
#include "zafoldap/membership.h"
#include "zafoldap/object_class.h"
#include "zafoldap/password.h"
#include "zafoldap/search.h"
#include "zafoldap/user.h"

namespace {

using DNText = char[zafo::kMaxDN + 1];

// The caller's request.
struct EditRequest {
    const ZAFOLDAP_HOST *host;
    const char *dn;
    const ZAFOUSER *wanted;
    const int *disallow_change;
    const long *expire;
};

// The entry as it is now.
struct UserEntry {
    zafo::User user;
    unsigned int classes = 0;
    bool is_renamed = false;    // the wanted name is a different one
    DNText rdn_attribute = "";  // of a renamed entry: the attribute of its RDN
    std::string new_dn;         // the DN after the change
};

int CheckLength(const std::string &dn) {
    if (zafo::FitsDN(dn)) return 0;
    return ZAFO_FAILURE("DN [%s] is too long. [0x%04X]", dn.c_str(), zafo::PlatformError());
}

int ReadEntry(const EditRequest &request, UserEntry *entry) {
    if (ZAFOLDAPBrowserUserGet(request.host, request.dn, entry->user.Next(), nullptr) != 1) {
        return ZAFO_FAILURE("get user %s failed. ", request.dn);
    }
    if (ZAFOLDAPSearchObjectClasses(request.host, request.dn, zafo::kUsers.filter,
                                    &entry->classes) != 0) {
        return ZAFO_FAILURE("get object classes of %s failed. [0x%04X]", request.dn,
                            zafo::PlatformError());
    }
    if ((entry->classes & ZAFOLDAP_CLASS_POSIX_ACCOUNT) == 0) {
        return ZAFO_FAILURE("user [%s] disapeared", request.dn);
    }
    return 0;
}

// A name that differs only in letter case is not a new name.
int CheckName(const EditRequest &request, UserEntry *entry) {
    const char *wanted = request.wanted->szName;
    const char *current = entry->user->szName;
    entry->is_renamed = wanted != nullptr && QLIBCUnicodeUTF8StrCaseCmp(wanted, current) != 0;
    if (!entry->is_renamed) return 0;
    if (!zafo::IsOneLine(current)) {  // untrusted too; the groups' records delete it
        QLIBCErrSet(QLIB_ERR_BAD_FORMAT);
        return ZAFO_FAILURE("the name of user %s is more than one line. [0x%04X]", request.dn,
                            zafo::PlatformError());
    }
    if (!zafo::IsNameTaken(request.host, zafo::kUsers, wanted)) return 0;
    return ZAFO_FAILURE("user %s exists in db.", wanted);
}

int CheckNumber(const EditRequest &request, const UserEntry &entry) {
    const uint32_t uid = request.wanted->pw_uid;
    if (uid == UID_ERR || uid == entry.user->pw_uid) return 0;
    if (!zafo::IsNumberTaken(request.host, zafo::kUsers, uid)) return 0;
    return ZAFO_FAILURE("uid number %u exists in db.", uid);
}

// The hash is discarded: this rejects a password that cannot be hashed before anything changes.
int CheckPassword(const EditRequest &request) {
    const char *password = request.wanted->szPasswd;
    char hash[zafo::kHashedPasswordSize] = "";
    if (password == nullptr || ZAFOLDAPEncryptPasswd(password, hash, sizeof hash) == 0) return 0;
    return ZAFO_FAILURE("ZAFOLDAPEncryptPassword failed. [0x%04X]", zafo::PlatformError());
}

// Determines the DN after a change of name.
int FindNewDN(const EditRequest &request, UserEntry *entry) {
    entry->new_dn = request.dn;
    if (!entry->is_renamed) return 0;
    DNText rdn = "";
    if (zafo::Ended(rdn, ZAFOLDAPRDNExtract(request.dn, 1, rdn, sizeof rdn)) < 0) {
        return ZAFO_FAILURE("ZAFOLDAPRDNExtract [%s] failed. [0x%04X]", request.dn,
                            zafo::PlatformError());
    }
    DNText value = "";
    const int pair_result = ZAFOLDAPRDNPairExtract(
        rdn, entry->rdn_attribute, sizeof entry->rdn_attribute, value, sizeof value);
    if (zafo::Ended(entry->rdn_attribute, pair_result) < 0) {
        return ZAFO_FAILURE("ZAFOLDAPRDNPairExtract [%s] failed. [0x%04X]", rdn,
                            zafo::PlatformError());
    }
    // Starts at the end of the RDN because ZAFOLDAPDNParserParentDN does not handle escaped commas.
    // The length of `rdn` is no help: a platform may spell the RDN differently.
    DNText parent = "";
    if (ZAFOLDAPDNParserParentDN(request.dn + zafo::EndOfRdn(request.dn), parent, sizeof parent) !=
        0) {
        return ZAFO_FAILURE("ZAFOLDAPParentDNGet failed. [%s]", request.dn);
    }
    entry->new_dn.assign(entry->rdn_attribute).append("=");
    entry->new_dn.append(zafo::EscapedForDn(request.wanted->szName));
    entry->new_dn.append(parent[0] != '\0' ? "," : "").append(parent);
    return CheckLength(entry->new_dn);
}

int ChangeEntry(const EditRequest &request, const UserEntry &entry) {
    zafo::ChangeFile file;
    if (file.Open() != 0) return -1;
    const unsigned int classes = request.host->nSchema & entry.classes;
    char nt_hash[zafo::kNtHashSize] = "";
    if (request.wanted->szPasswd != nullptr && (classes & ZAFOLDAP_CLASS_SAMBA_SAM_ACCOUNT) != 0) {
        zafo::Ended(nt_hash, QLIBSmbNtEncrypt(request.wanted->szPasswd, nt_hash, sizeof nt_hash));
    }
    zafo::WriteUserChanges(file.get(),
                           {.dn = request.dn,
                            .wanted = request.wanted,
                            .disallow_change = request.disallow_change,
                            .expire = request.expire,
                            .current = entry.user.get(),
                            .classes = classes,
                            .nt_hash = nt_hash,
                            .now = std::time(nullptr),
                            .rdn_attribute = entry.is_renamed ? entry.rdn_attribute : nullptr});
    if (file.Apply(request.host) == 0) return 0;
    return ZAFO_FAILURE("ZAFOLDAPModify failed [%s] [0x%04X]", request.dn, zafo::PlatformError());
}

// The remaining steps, after the server has accepted the change.
int FollowUp(const EditRequest &request, const UserEntry &entry) {
    const ZAFOUSER &wanted = *request.wanted;
    const char *old_name = entry.user->szName;
    if (entry.is_renamed &&
        ZAFOLDAPBrowserGroupEditWhenUserUIDChange(request.host, old_name, wanted.szName) != 0) {
        return ZAFO_FAILURE("Edit group failed. [%s]. [0x%04X]", old_name, zafo::PlatformError());
    }
    if (wanted.szPasswd != nullptr &&
        ZAFOLDAPPasswd(request.host, entry.new_dn.c_str(), wanted.szPasswd) != 0) {
        return ZAFO_FAILURE("ZAFOLDAPPasswd failed. [%s]", entry.new_dn.c_str());
    }
    return 0;
}

int Edit(const EditRequest &request) {
    if (CheckLength(request.dn) != 0) return -1;
    UserEntry entry;
    if (ReadEntry(request, &entry) != 0 || CheckName(request, &entry) != 0 ||
        CheckNumber(request, entry) != 0 || CheckPassword(request) != 0 ||
        FindNewDN(request, &entry) != 0 || ChangeEntry(request, entry) != 0) {
        return -1;
    }
    return FollowUp(request, entry);
}

bool IsChangeRequested(const EditRequest &request) {
    const ZAFOUSER &wanted = *request.wanted;
    return wanted.szName != nullptr || wanted.pw_uid != UID_ERR || wanted.pw_gid != GID_ERR ||
           wanted.pw_dir != nullptr || wanted.pw_shell != nullptr || wanted.szFullname != nullptr ||
           wanted.szPasswd != nullptr || wanted.szMail != nullptr ||
           request.disallow_change != nullptr || request.expire != nullptr;
}

}  // namespace

int ZAFOLDAPBrowserUserEdit(const ZAFOLDAP_HOST *host, const char *user_dn, const ZAFOUSER *user,
                            const int *disallow_change, const long *expire) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    if (user_dn == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szUserDN");
    if (user == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pUser");
    const EditRequest request{host, user_dn, user, disallow_change, expire};
    if (!IsChangeRequested(request)) {
        return ZAFO_BAD_ARGUMENT(
            "pUser->szName || UID_ERR != pUser->pw_uid || GID_ERR != pUser->pw_gid || "
            "pUser->pw_dir || pUser->pw_shell || pUser->szFullname || pUser->szPasswd || "
            "pUser->szMail || pBlDisallowChPasswd || plExpire");
    }
    if (!zafo::IsOneLine(user_dn)) return ZAFO_NOT_ONE_LINE("szUserDN");
    if (!zafo::IsOneLine(user->szName)) return ZAFO_NOT_ONE_LINE("pUser->szName");
    if (!zafo::IsOneLine(user->pw_dir)) return ZAFO_NOT_ONE_LINE("pUser->pw_dir");
    if (!zafo::IsOneLine(user->pw_shell)) return ZAFO_NOT_ONE_LINE("pUser->pw_shell");
    if (!zafo::IsOneLine(user->szFullname)) return ZAFO_NOT_ONE_LINE("pUser->szFullname");
    if (!zafo::IsOneLine(user->szMail)) return ZAFO_NOT_ONE_LINE("pUser->szMail");
    if (!zafo::IsOneLine(host->szBaseDN))
        return ZAFO_NOT_ONE_LINE("pHost->szBaseDN");  // used in the groups' records

    return zafo::GuardedAloud(__FILE_NAME__, __LINE__, [&] { return Edit(request); });
}
