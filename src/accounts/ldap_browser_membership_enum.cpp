// SPDX-License-Identifier: Apache-2.0
//
// Membership queries (RFC 2307): a group lists login names in "memberUid"; a user's primary group
// is the one with its gidNumber.
#include "platform/error.h"
#include "src/accounts/account_search.h"
#include "src/core/check_connection.h"
#include "src/core/list.h"
#include "src/frame/guard.h"
#include "src/frame/log.h"
#include "zafoldap/membership.h"

namespace {

constexpr const char *kMember = "memberUid";
constexpr const char *kGid = "gidNumber";

// The gid, as text, of a group given by DN or by name; "" if it has none. 0 or -1.
int GidOf(const ZAFOLDAP_HOST *host, const char *group_dn, const char *group_cn,
          zafo::FoundText &gid) {
    const bool by_dn = group_dn != nullptr;
    const auto filter =
        by_dn ? std::optional<std::string>(zafo::kGroups.filter)
              : zafo::AccountFilter(zafo::kGroups.filter, zafo::kGroups.name_attribute, group_cn);
    if (!filter) return -1;
    const char *dn = by_dn ? group_dn : host->szBaseDN;
    const int count = ZAFOLDAPSearchGetValueByDN(host, dn, filter->c_str(), kGid, gid, sizeof gid);
    return count >= 0 && zafo::FitsDN(gid) ? 0 : -1;
}

int ListByPrimaryGid(const ZAFOLDAP_HOST *host, const char *gid, QLIBSZLIST **user_uids) {
    zafo::List dns;
    const auto filter = zafo::AccountFilter(zafo::kUsers.filter, kGid, gid);
    ZAFOLDAP_SEARCH_REQUEST request{};
    request.szFilter = filter ? filter->c_str() : nullptr;
    if (!filter || ZAFOLDAPSearchEachValue(host, &request, zafo::kUsers.name_attribute,
                                           dns.address(), user_uids) != 0) {
        return ZAFO_FAILURE("find users whose gidNumber = %s failed.", gid);
    }
    return dns.size();
}

// Removes the given names from the list.
int Subtract(QLIBSZLIST *list, const zafo::List &names) {
    if (QLIBCSzListSub(list, names.get(), 0) != 0) return 0;
    return ZAFO_FAILURE("QLIBCSzListSub() failed!! [0x%04X]", zafo::PlatformError());
}

}  // namespace

int ZAFOLDAPBrowserGroupEnumByUserUID(const ZAFOLDAP_HOST *host, const char *uid,
                                      QLIBSZLIST **group_dns, QLIBSZLIST **group_names) {
    if (!zafo::HasLoginSuffix(host, __FILE_NAME__)) return -1;
    if (uid == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szUserUID");
    if (group_dns != nullptr && *group_dns == nullptr) {
        return ZAFO_BAD_ARGUMENT("((void *)0) == ppGroupDNList || ((void *)0) != *ppGroupDNList");
    }
    if (group_names != nullptr && *group_names == nullptr) {
        return ZAFO_BAD_ARGUMENT("NULL == ppGroupNameList || NULL != *ppGroupNameList");
    }
    return zafo::Guarded(-1, [&] {
        const auto filter = zafo::AccountFilter(zafo::kGroups.filter, kMember, uid);
        if (!filter) return -1;
        return zafo::ListAccounts(host, filter->c_str(),
                                  {zafo::kGroups.name_attribute, group_dns, group_names});
    });
}

int ZAFOLDAPBrowserGroupEnumByUserDN(const ZAFOLDAP_HOST *host, const char *user_dn,
                                     QLIBSZLIST **group_dns, QLIBSZLIST **group_names) {
    if (!zafo::HasLoginSuffix(host, __FILE_NAME__)) return -1;
    if (user_dn == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szUserDN");
    if (group_dns != nullptr && *group_dns == nullptr) {
        return ZAFO_BAD_ARGUMENT("((void *)0) == ppGroupDNList || ((void *)0) != *ppGroupDNList");
    }
    if (group_names != nullptr && *group_names == nullptr) {
        return ZAFO_BAD_ARGUMENT("NULL == ppGroupNameList || NULL != *ppGroupNameList");
    }
    zafo::FoundText name;
    if (zafo::UserNameAt(host, user_dn, name) != 1) return -1;
    return ZAFOLDAPBrowserGroupEnumByUserUID(host, name, group_dns, group_names);
}

int ZAFOLDAPBrowserUserEnumByPrimaryGroup(const ZAFOLDAP_HOST *host, const char *group_dn,
                                          const char *group_cn, QLIBSZLIST **user_uids) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    if (group_dn == nullptr && group_cn == nullptr) {
        return ZAFO_BAD_ARGUMENT("((void *)0) != szGroupDN || ((void *)0) != szGroupCN");
    }
    if (user_uids == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != ppUserUIDList");
    if (*user_uids == nullptr) return ZAFO_BAD_ARGUMENT("NULL != *ppUserUIDList");

    return zafo::Guarded(-1, [&] {
        zafo::FoundText gid;
        if (GidOf(host, group_dn, group_cn, gid) != 0) {
            return ZAFO_FAILURE("get gidNumber for [%s] failed.",
                                group_dn != nullptr ? group_dn : group_cn);
        }
        return ListByPrimaryGid(host, gid, user_uids);
    });
}

int ZAFOLDAPBrowserUserEnumByGroupDN(const ZAFOLDAP_HOST *host, const char *group_dn,
                                     QLIBSZLIST **user_uids) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    if (group_dn == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szGroupDN");
    if (user_uids == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != ppUserUIDList");
    if (*user_uids == nullptr) return ZAFO_BAD_ARGUMENT("NULL != *ppUserUIDList");

    return zafo::Guarded(-1, [&] {
        zafo::OpenSearch search;
        search.AskFor({"dn", kMember});
        search.request.szFilter = zafo::kGroups.filter;
        const int found = zafo::FirstEntryAt(host, group_dn, &search);
        if (found < 0) return -1;
        if (found == 0) return zafo::FailWith(QLIB_ERR_NO_SUCH_GROUP);
        const int count = ZAFOLDAPResultGetAll(&search.result, kMember, user_uids);
        if (count < 0) {
            ZAFO_LOG("ZAFOLDAPResultGetAll %s failed. [0x%04X]", kMember, zafo::PlatformError());
        }
        return count;
    });
}

int ZAFOLDAPBrowserUserEnumNotInGroupDN(const ZAFOLDAP_HOST *host, const char *group_dn,
                                        QLIBSZLIST **user_uids) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    if (group_dn == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szGroupDN");
    if (user_uids == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != ppUserUIDList");
    if (*user_uids == nullptr) return ZAFO_BAD_ARGUMENT("NULL != *ppUserUIDList");

    return zafo::Guarded(-1, [&] {
        zafo::List members;
        if (ZAFOLDAPBrowserUserEnumAll(host, nullptr, user_uids) < 0) {
            return ZAFO_FAILURE("list all users failed.");
        }
        if (ZAFOLDAPBrowserUserEnumByGroupDN(host, group_dn, members.address()) < 0) {
            return ZAFO_FAILURE("ZAFOLDAPBrowserUserEnumByGroupDN failed. [%s] ", group_dn);
        }
        if (Subtract(*user_uids, members) != 0) return -1;
        if (QLIBCSzListRemoveAll(members.get()) < 0) return -1;
        if (ZAFOLDAPBrowserUserEnumByPrimaryGroup(host, group_dn, nullptr, members.address()) < 0) {
            return ZAFO_FAILURE("ZAFOLDAPBrowserUserEnumByGroupDN failed. [%s] ", group_dn);
        }
        return Subtract(*user_uids, members);
    });
}
