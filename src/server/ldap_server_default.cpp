// SPDX-License-Identifier: Apache-2.0
//
// The accounts that every directory of the appliance starts with. An account that exists by name is
// accepted as it is; a number that is already taken is a failure.
#include <new>
#include <optional>
#include <string>

#include "platform/error.h"
#include "src/core/list.h"
#include "src/core/own_record.h"
#include "src/core/result_codes.h"
#include "src/frame/guard.h"
#include "src/frame/log.h"
#include "zafoldap/connection.h"
#include "zafoldap/error.h"
#include "zafoldap/group.h"
#include "zafoldap/membership.h"
#include "zafoldap/server.h"
#include "zafoldap/user.h"

namespace {

struct DefaultGroup {
    const char *name;
    uint32_t gid;
    const char *description;
};

constexpr DefaultGroup kDefaultGroups[] = {
    {"users", 1000001, "Directory default group"},
    {"Directory Operators", 1000000, "Directory default admin group"},
    {"administrators", 1000002, "Homebox default admin group"},
};

constexpr const char *kAdmin = "admin";
constexpr uint32_t kAdminUid = 1000000;
constexpr uint32_t kAdminGid = 1000001;
constexpr const char *kAdminName = "Directory/Homebox default admin user";

// The access rules grant rights to the members of the first one.
constexpr const char *kAdminGroups[] = {"Directory Operators", "administrators"};

int AddGroup(const ZAFOLDAP_HOST &host, const DefaultGroup &wanted) {
    std::string name = wanted.name;
    ZAFOGROUP group{};
    group.szName = name.data();
    group.nGid = wanted.gid;
    ZAFOLDAPErrReset();  // an earlier call's code must not explain a failure of this one
    if (ZAFOLDAPBrowserGroupCreate(&host, &group, wanted.description, nullptr, nullptr) == 0) {
        return 0;
    }
    if (ZAFOLDAPErrGet() == ZAFOLDAP_ERR_GROUPNAME_EXISTS) {
        ZAFOLDAPErrReset();
        ZAFO_DEBUG_LOG("default group: [%s] is already exists, skip", wanted.name);
        return 0;
    }
    if (ZAFOLDAPErrGet() == ZAFOLDAP_ERR_GID_EXISTS) {
        ZAFO_LOG("gid [%lu] already exists", static_cast<unsigned long>(wanted.gid));
    }
    return ZAFO_FAILURE("create default group [%s] failed, %s (%d)", wanted.name, zafo::ErrorKey(),
                        ZAFOLDAPErrGet());
}

int AddAdmin(const ZAFOLDAP_HOST &host) {
    std::string name = kAdmin;
    std::string full_name = kAdminName;
    ZAFOUSER user{};
    user.szName = name.data();
    user.szPasswd = const_cast<char *>(host.szBindPasswd);  // never written to
    user.pw_uid = kAdminUid;
    user.pw_gid = kAdminGid;
    user.szFullname = full_name.data();
    user.nExpire = -1;
    ZAFOLDAPErrReset();
    if (ZAFOLDAPBrowserUserCreate(&host, &user, nullptr, nullptr) == 0) return 0;
    if (ZAFOLDAPErrGet() == ZAFOLDAP_ERR_USERNAME_EXISTS) {
        ZAFOLDAPErrReset();
        ZAFO_DEBUG_LOG("default user: [%s] is already exists, skip", kAdmin);
        return 0;
    }
    if (ZAFOLDAPErrGet() == ZAFOLDAP_ERR_UID_EXISTS) {
        ZAFO_LOG("uid [%lu] already exists", static_cast<unsigned long>(kAdminUid));
    } else {
        ZAFO_LOG("create default user [%s] failed, %s (%d)", kAdmin, zafo::ErrorKey(),
                 ZAFOLDAPErrGet());
    }
    return -1;
}

// Returns 0, or the result of editing the group.
int JoinGroup(const ZAFOLDAP_HOST &host, const char *group, const zafo::List &names) {
    const std::string dn =
        std::string("cn=") + group + ",cn=groups," + (host.szBaseDN ? host.szBaseDN : "");
    ZAFOLDAPErrReset();
    const int result = ZAFOLDAPBrowserUserEditByGroupDN(&host, dn.c_str(), names.get(), nullptr);
    if (result == 0) return 0;
    if (ZAFOLDAPErrGet() == zafo::kAttributeOrValueExists) {
        ZAFOLDAPErrReset();
        ZAFO_DEBUG_LOG("[%s] already in group [%s]", kAdmin, dn.c_str());
        return 0;
    }
    ZAFO_LOG("add [%s] to [%s] failed, %s (%d)", kAdmin, dn.c_str(), zafo::ErrorKey(),
             ZAFOLDAPErrGet());
    return result;
}

std::optional<zafo::List> AdminAlone() {
    try {
        return zafo::List{kAdmin};
    } catch (const std::bad_alloc &) {
        QLIBCErrSet(QLIB_ERR_OUT_OF_MEMORY);
        ZAFO_DEBUG_LOG("out of memory.");
        return {};
    }
}

int AddDefaults() {
    zafo::OwnHost server;
    if (ZAFOLDAPHostInitByBrowserConfig(&server, nullptr) <= 0) return -1;
    for (const DefaultGroup &group : kDefaultGroups) {
        if (AddGroup(server, group) != 0) return -1;
    }
    if (AddAdmin(server) != 0) return -1;
    const auto names = AdminAlone();
    if (!names || JoinGroup(server, kAdminGroups[0], *names) != 0) return -1;
    return JoinGroup(server, kAdminGroups[1], *names);
}

}  // namespace

int ZAFOLDAPServerDefaultAdd(void) {
    return zafo::Guarded(-1, AddDefaults);
}
