// SPDX-License-Identifier: Apache-2.0
//
// Home folders, made in the export that users mount theirs from.
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "accounts/account_owner.h"
#include "accounts/account_record.h"
#include "accounts/account_search.h"
#include "accounts/automount_value.h"
#include "accounts/ldap_mount.h"
#include "core/check_connection.h"
#include "core/list.h"
#include "frame/guard.h"
#include "frame/log.h"
#include "platform/error.h"
#include "platform/fs.h"
#include "zafoldap/browser.h"
#include "zafoldap/home.h"
#include "zafoldap/search.h"
#include "zafoldap/user.h"

namespace {

constexpr mode_t kHomeMode = 0700;

int MakeFolder(const std::string &folder, const ZAFOUSER &user, const char *szLoggedPath) {
    if (ZAFOFSMkdirP(folder.c_str(), 0, 1, user.pw_uid, user.pw_gid, kHomeMode) >= 0) return 0;
    ZAFO_LOG("mkdir %s failed. uid = %u, gid = %u. [0x%04X]", szLoggedPath, user.pw_uid,
             user.pw_gid, zafo::PlatformError());
    return -1;
}

// Makes the folder of one of all users, if it is missing; what fails is logged.
void MakeMissingFolder(const ZAFOLDAP_HOST *pHost, const char *szUserDN, const char *szName,
                       const char *szHomeFolderPath) {
    if (!zafo::IsFolderName(szName)) {
        ZAFO_LOG("user name [%s] cannot be the name of a folder.", szName);
        return;
    }
    const std::string folder = zafo::HomeFolder(szName);
    struct stat status;
    if (stat(folder.c_str(), &status) == 0) return;
    zafo::User user;
    if (ZAFOLDAPBrowserUserGet(pHost, szUserDN, user.Next(), nullptr) != 1) {
        ZAFO_LOG("get user info [%s] failed. [0x%04X]", szUserDN, zafo::PlatformError());
        return;
    }
    MakeFolder(folder, *user, szHomeFolderPath);
}

int CreateAll(const ZAFOLDAP_HOST *pHost, const char *szHost, const char *szHomeFolderPath) {
    zafo::List dns, uids;
    const std::string path = std::string(szHost) + ":" + szHomeFolderPath;
    if (ZAFOLDAPNFSMount(path.c_str()) != 0) {
        ZAFO_LOG("nfs mount %s failed. [0x%04X]", path.c_str(), zafo::PlatformError());
        return -1;
    }
    const zafo::Mounted mounted;
    if (ZAFOLDAPBrowserUserEnumAll(pHost, dns.address(), uids.address()) < 0) {
        ZAFO_LOG("enum ldap users failed.");
        return -1;
    }
    for (int i = 0; i < uids.size(); ++i)
        MakeMissingFolder(pHost, dns[i], uids[i], szHomeFolderPath);
    return 0;
}

int CreateOne(const char *szHomePath, const ZAFOUSER &user) {
    const std::string folder = zafo::HomeFolder(user.szName);
    if (ZAFOLDAPNFSMount(szHomePath) != 0) {
        ZAFO_LOG("nfs mount %s failed. [0x%04X]", szHomePath, zafo::PlatformError());
        return -1;
    }
    const zafo::Mounted mounted;
    struct stat status;
    if (lstat(folder.c_str(), &status) != 0) return MakeFolder(folder, user, folder.c_str());
    return S_ISDIR(status.st_mode) ? 0 : -1;
}

// The export that the directory names. 0 or -1.
int ReadExport(const ZAFOLDAP_HOST *pHost, std::string *pPath) {
    const std::string dn = zafo::AutomountKeyDN(*pHost, zafo::kAnyKey, zafo::kHomeMap);
    if (!zafo::FitsDN(dn)) return -1;
    zafo::FoundText szValue;
    if (ZAFOLDAPSearchGetValueByDN(pHost, dn.c_str(), nullptr, zafo::kAutomountInformation, szValue,
                                   sizeof szValue) < 0) {
        return -1;
    }
    const bool blWhole = zafo::FitsDN(szValue);
    std::string_view left(szValue, std::min(std::strlen(szValue), zafo::kMaxDN));
    const auto escaped = blWhole ? zafo::EscapedExportOf(&left) : std::nullopt;
    if (!escaped) {
        ZAFO_LOG("unknown format of automountInformation: %s", std::string(left).c_str());
        return -1;
    }
    const auto path = zafo::Unescaped(*escaped);
    if (!path) {
        QLIBCErrSet(QLIB_ERR_OUT_OF_MEMORY);
        ZAFO_LOG("ZAFOEatEscape failed. [%s] [0x%04X]", escaped->c_str(), zafo::PlatformError());
        return -1;
    }
    *pPath = *path;
    return 0;
}

}  // namespace

int ZAFOLDAPBrowserUserHomeCreateAll(const ZAFOLDAP_HOST *pHost, const char *szHost,
                                     const char *szHomeFolderPath) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    if (szHost == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szHost");
    if (szHomeFolderPath == nullptr) return ZAFO_BAD_ARGUMENT("NULL != szHomeFolderPath");
    return zafo::Guarded(-1, [=] { return CreateAll(pHost, szHost, szHomeFolderPath); });
}

int ZAFOLDAPBrowserUserHomeCreate(const ZAFOLDAP_HOST *pHost, const ZAFOUSER *pUser) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    if (pUser == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pUser");

    return zafo::Guarded(-1, [=] {
        std::string path;
        if (ReadExport(pHost, &path) != 0) return -1;
        if (ZAFOLDAPBrowserUserHomeCreateEx(path.c_str(), pUser) == 0) return 0;
        ZAFO_LOG("create user home failed. [%s] for user [%s]", path.c_str(),
                 pUser->szName != nullptr ? pUser->szName : "");
        return -1;
    });
}

int ZAFOLDAPBrowserUserHomeCreateEx(const char *szHomePath, const ZAFOUSER *pUser) {
    if (szHomePath == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szHomePath");
    if (pUser == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pUser");
    if (!zafo::IsFolderName(pUser->szName)) return ZAFO_BAD_ARGUMENT("IsFolderName(pUser->szName)");
    return zafo::Guarded(-1, [=] { return CreateOne(szHomePath, *pUser); });
}
