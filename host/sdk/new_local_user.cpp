// SPDX-License-Identifier: Apache-2.0
//
// Creates users of this system. The shadow line is written first: a process that dies between the
// two files leaves a line that nothing reads and that the next attempt replaces, never an account
// without its password. useradd(8) and chpasswd(8) cannot offer that: a half-made account exists,
// and another attempt finds its name taken.
#include "host/accounts/account_conf.h"
#include "host/accounts/account_lock.h"
#include "host/accounts/account_name.h"
#include "host/accounts/crypt_hash.h"
#include "host/accounts/login_defs.h"
#include "host/accounts/passwd.h"
#include "host/accounts/smbpasswd.h"
#include "host/core/fail.h"
#include "host/sdk/full_name.h"
#include "host/sdk/refusal.h"
#include "platform/user.h"

namespace {

using zafo::Fail;
using zafo::TextOf;

// Distributions use it as a primary group of users, although its number is below the ordinary ones.
constexpr std::string_view kUsersGroup = "users";

// Longer than the life of any password.
constexpr const char *kNeverChanged = "100000";

bool IsPathOrNone(const char *path) {
    return TextOf(path).empty() || zafo::IsPathField(path);
}

// Why the files cannot hold the record; nullptr if they can.
const char *Unfit(const ZAFOUSER &user) {
    if (user.szName == nullptr || !zafo::IsAccountName(user.szName)) return "invalid name";
    if (!zafo::OrdinaryNumbers::OfUsers().Hold(user.pw_uid)) return "number out of range";
    if (!IsPathOrNone(user.pw_dir)) return "invalid home folder";
    return IsPathOrNone(user.pw_shell) ? nullptr : "invalid login shell";
}

std::string PasswdLine(const ZAFOUSER &user, const zafo::NewUserDefaults &defaults) {
    const std::string home(TextOf(user.pw_dir));
    const std::string shell(TextOf(user.pw_shell));
    return zafo::Joined({user.szName, "x", std::to_string(user.pw_uid), std::to_string(user.pw_gid),
                         zafo::GecosOf(TextOf(user.szFullname)),
                         home.empty() ? defaults.home + '/' + user.szName : home,
                         shell.empty() ? defaults.shell : shell},
                        ':');
}

std::string ShadowLine(const ZAFOUSER &user, const zafo::NewUserDefaults &defaults) {
    const std::string_view hash = zafo::CryptHashIn(TextOf(user.szPasswd));
    return zafo::Joined(
        {user.szName, hash.empty() ? zafo::kLockedPassword : hash, std::to_string(zafo::Today()),
         user.blDisallowChangePasswd != 0 ? kNeverChanged : "0", defaults.most_days,
         defaults.warn_days, "", user.nExpire > 0 ? std::to_string(user.nExpire) : "", ""},
        ':');
}

bool IsPrimaryGroup(const zafo::GroupEntry &group, uint32_t gid) {
    return group.gid == gid &&
           (group.name == kUsersGroup || zafo::OrdinaryNumbers::OfGroups().Hold(gid));
}

// Whether the account may be added to these files. Returns 0 or a platform error code.
int CheckPlace(const ZAFOUSER &user, const std::string &passwd) {
    const auto taken = zafo::FindUser(passwd, [&](const zafo::PasswdEntry &other) {
        return other.name == user.szName || other.uid == user.pw_uid;
    });
    if (taken || zafo::LineOf(passwd, user.szName)) {
        return zafo::Refuse("user", user.szName, "name or number is taken", QLIB_ERR_BAD_ARGUMENT);
    }
    std::string groups;
    if (const int error = zafo::ReadAccountFile(zafo::kGroupFile, &groups); error != 0) {
        return error;
    }
    const auto primary = zafo::FindGroup(
        groups, [&](const zafo::GroupEntry &group) { return IsPrimaryGroup(group, user.pw_gid); });
    if (primary) return 0;
    return zafo::Refuse("user", user.szName,
                        "the primary group does not exist or is a system group",
                        QLIB_ERR_NO_SUCH_GROUP);
}

// Stores what goes outside the system's files, replacing what an earlier user of that name left.
int StoreBeside(const ZAFOUSER &user) {
    const std::string_view full_name = TextOf(user.szFullname);
    const bool whole = zafo::GecosOf(full_name) == full_name;
    int error = zafo::StoreAccountText(zafo::kMailSection, user.szName, TextOf(user.szMail));
    if (error == 0) {
        error = zafo::StoreAccountText(zafo::kFullNameSection, user.szName,
                                       whole ? std::string_view() : full_name);
    }
    return error != 0 ? error : zafo::StoreSambaHashes({{user.szName, user.pw_uid, "", ""}});
}

// Returns 0 or a platform error code.
int Create(const ZAFOUSER &user) {
    if (const char *unfit = Unfit(user)) {
        return zafo::Refuse("user", user.szName, unfit, QLIB_ERR_BAD_ARGUMENT);
    }
    const zafo::NewUserDefaults defaults = zafo::ReadNewUserDefaults();
    if (PasswdLine(user, defaults).size() > zafo::kLongestLine) {
        return zafo::Refuse("user", user.szName, "its passwd line is too long",
                            QLIB_ERR_BAD_ARGUMENT);
    }
    const zafo::AccountLock lock;
    if (!lock.IsHeld()) return QLIB_ERR_OPEN_FAILED;
    std::string passwd;
    std::string shadow;
    int error = zafo::ReadAccountFile(zafo::kPasswdFile, &passwd);
    if (error == 0) error = zafo::ReadAccountFile(zafo::kShadowFile, &shadow);
    if (error == 0) error = CheckPlace(user, passwd);
    if (error == 0) error = StoreBeside(user);
    if (error != 0) return error;
    zafo::PutLine(&shadow, user.szName, ShadowLine(user, defaults));
    zafo::PutLine(&passwd, user.szName, PasswdLine(user, defaults));
    error = zafo::ReplaceAccountFile(zafo::kShadowFile, shadow);
    return error != 0 ? error : zafo::ReplaceAccountFile(zafo::kPasswdFile, passwd);
}

}  // namespace

int ZAFOUserSetOne(int flags, const ZAFOUSER *user, QLIBCMRESULT *result) {
    if (flags != 0 || user == nullptr) return Fail(QLIB_ERR_BAD_ARGUMENT);
    return zafo::OutOfMemoryIs(-1, [=] {
        const int error = Create(*user);
        if (result != nullptr) {
            ++(error == 0 ? result->nDone : result->nFailed);
            if (error != 0) result->nError = error;
        }
        return zafo::ResultOf(error);
    });
}
