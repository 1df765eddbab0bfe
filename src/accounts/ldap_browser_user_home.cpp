// SPDX-License-Identifier: Apache-2.0
//
// Creates home folders in the export from which users mount theirs.
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "platform/error.h"
#include "platform/fs.h"
#include "src/accounts/account_owner.h"
#include "src/accounts/account_search.h"
#include "src/accounts/automount_value.h"
#include "src/accounts/ldap_mount.h"
#include "src/core/check_connection.h"
#include "src/core/list.h"
#include "src/frame/guard.h"
#include "src/frame/log.h"
#include "zafoldap/browser.h"
#include "zafoldap/home.h"
#include "zafoldap/search.h"
#include "zafoldap/user.h"

namespace {

constexpr mode_t kHomeMode = 0700;

int MakeFolder(const std::string &folder, const ZAFOUSER &user, const char *logged_path) {
    if (ZAFOFSMkdirP(folder.c_str(), 0, 1, user.pw_uid, user.pw_gid, kHomeMode) >= 0) return 0;
    return ZAFO_FAILURE("mkdir %s failed. uid = %u, gid = %u. [0x%04X]", logged_path, user.pw_uid,
                        user.pw_gid, zafo::PlatformError());
}

// Creates one user's folder if it is missing; a failure is only logged.
void MakeMissingFolder(const ZAFOLDAP_HOST *host, const char *user_dn, const char *name,
                       const char *home_folder_path) {
    if (!zafo::IsFolderName(name)) {
        ZAFO_LOG("user name [%s] cannot be the name of a folder.", name);
        return;
    }
    const std::string folder = zafo::HomeFolder(name);
    struct stat status;
    if (stat(folder.c_str(), &status) == 0) return;
    zafo::User user;
    if (ZAFOLDAPBrowserUserGet(host, user_dn, user.Next(), nullptr) != 1) {
        ZAFO_LOG("get user info [%s] failed. [0x%04X]", user_dn, zafo::PlatformError());
        return;
    }
    MakeFolder(folder, *user, home_folder_path);
}

int CreateAll(const ZAFOLDAP_HOST *host, const char *host_name, const char *home_folder_path) {
    zafo::List dns, uids;
    const std::string path = std::string(host_name) + ":" + home_folder_path;
    if (ZAFOLDAPNFSMount(path.c_str()) != 0) {
        return ZAFO_FAILURE("nfs mount %s failed. [0x%04X]", path.c_str(), zafo::PlatformError());
    }
    const zafo::Mounted mounted;
    if (ZAFOLDAPBrowserUserEnumAll(host, dns.address(), uids.address()) < 0) {
        return ZAFO_FAILURE("enum ldap users failed.");
    }
    for (int i = 0; i < uids.size(); ++i)
        MakeMissingFolder(host, dns[i], uids[i], home_folder_path);
    return 0;
}

int CreateOne(const char *home_path, const ZAFOUSER &user) {
    const std::string folder = zafo::HomeFolder(user.szName);
    if (ZAFOLDAPNFSMount(home_path) != 0) {
        return ZAFO_FAILURE("nfs mount %s failed. [0x%04X]", home_path, zafo::PlatformError());
    }
    const zafo::Mounted mounted;
    struct stat status;
    if (lstat(folder.c_str(), &status) != 0) return MakeFolder(folder, user, folder.c_str());
    return S_ISDIR(status.st_mode) ? 0 : -1;
}

// Reads the export from the directory. 0 or -1.
int ReadExport(const ZAFOLDAP_HOST *host, std::string *export_path) {
    const std::string dn = zafo::AutomountKeyDN(*host, zafo::kAnyKey, zafo::kHomeMap);
    if (!zafo::FitsDN(dn)) return -1;
    zafo::FoundText value;
    if (ZAFOLDAPSearchGetValueByDN(host, dn.c_str(), nullptr, zafo::kAutomountInformation, value,
                                   sizeof value) < 0) {
        return -1;
    }
    const bool is_whole = zafo::FitsDN(value);
    std::string_view left(value, std::min(std::strlen(value), zafo::kMaxDN));
    const auto escaped = is_whole ? zafo::EscapedExportOf(&left) : std::nullopt;
    if (!escaped) {
        return ZAFO_FAILURE("unknown format of automountInformation: %s",
                            std::string(left).c_str());
    }
    const auto path = zafo::Unescaped(*escaped);
    if (!path) {
        QLIBCErrSet(QLIB_ERR_OUT_OF_MEMORY);
        return ZAFO_FAILURE("ZAFOEatEscape failed. [%s] [0x%04X]", escaped->c_str(),
                            zafo::PlatformError());
    }
    *export_path = *path;
    return 0;
}

}  // namespace

int ZAFOLDAPBrowserUserHomeCreateAll(const ZAFOLDAP_HOST *host, const char *host_name,
                                     const char *home_folder_path) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    if (host_name == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szHost");
    if (home_folder_path == nullptr) return ZAFO_BAD_ARGUMENT("NULL != szHomeFolderPath");
    return zafo::Guarded(-1, [=] { return CreateAll(host, host_name, home_folder_path); });
}

int ZAFOLDAPBrowserUserHomeCreate(const ZAFOLDAP_HOST *host, const ZAFOUSER *user) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    if (user == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pUser");

    return zafo::Guarded(-1, [=] {
        std::string path;
        if (ReadExport(host, &path) != 0) return -1;
        if (ZAFOLDAPBrowserUserHomeCreateEx(path.c_str(), user) == 0) return 0;
        return ZAFO_FAILURE("create user home failed. [%s] for user [%s]", path.c_str(),
                            user->szName != nullptr ? user->szName : "");
    });
}

int ZAFOLDAPBrowserUserHomeCreateEx(const char *home_path, const ZAFOUSER *user) {
    if (home_path == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szHomePath");
    if (user == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pUser");
    if (!zafo::IsFolderName(user->szName)) return ZAFO_BAD_ARGUMENT("IsFolderName(pUser->szName)");
    return zafo::Guarded(-1, [=] { return CreateOne(home_path, *user); });
}
