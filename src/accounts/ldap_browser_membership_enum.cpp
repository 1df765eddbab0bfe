// SPDX-License-Identifier: Apache-2.0
//
// Questions about memberships (RFC 2307): a group lists login names in "memberUid"; a
// user's primary group is the one with its gidNumber.
#include "accounts/account_search.h"
#include "core/check_connection.h"
#include "core/list.h"
#include "frame/guard.h"
#include "frame/log.h"
#include "platform/error.h"
#include "zafoldap/membership.h"

namespace {

constexpr const char *kMember = "memberUid";
constexpr const char *kGid = "gidNumber";

// A group's gid as text, "" when it has none; the group is named by DN, or by name. 0 or -1.
int GidOf(const ZAFOLDAP_HOST *pHost, const char *szGroupDN, const char *szGroupCN,
          zafo::FoundText &szGid) {
    const bool blByDN = szGroupDN != nullptr;
    const auto filter =
        blByDN ? std::optional<std::string>(zafo::kGroups.szFilter)
               : zafo::AccountFilter(zafo::kGroups.szFilter, zafo::kGroups.szNameAttr, szGroupCN);
    if (!filter) return -1;
    const char *szDN = blByDN ? szGroupDN : pHost->szBaseDN;
    const int nValues =
        ZAFOLDAPSearchGetValueByDN(pHost, szDN, filter->c_str(), kGid, szGid, sizeof szGid);
    return nValues >= 0 && zafo::FitsDN(szGid) ? 0 : -1;
}

int ListByPrimaryGid(const ZAFOLDAP_HOST *pHost, const char *szGid, QLIBSZLIST **ppUserUIDList) {
    zafo::List dns;
    const auto filter = zafo::AccountFilter(zafo::kUsers.szFilter, kGid, szGid);
    ZAFOLDAP_SEARCH_REQUEST request{};
    request.szFilter = filter ? filter->c_str() : nullptr;
    if (!filter || ZAFOLDAPSearchEachValue(pHost, &request, zafo::kUsers.szNameAttr, dns.address(),
                                           ppUserUIDList) != 0) {
        ZAFO_LOG("find users whose gidNumber = %s failed.", szGid);
        return -1;
    }
    return dns.size();
}

// Takes the names of one list out of the other.
int Subtract(QLIBSZLIST *pList, const zafo::List &names) {
    if (QLIBCSzListSub(pList, names.get(), 0) != 0) return 0;
    ZAFO_LOG("QLIBCSzListSub() failed!! [0x%04X]", zafo::PlatformError());
    return -1;
}

}  // namespace

int ZAFOLDAPBrowserGroupEnumByUserUID(const ZAFOLDAP_HOST *pHost, const char *szUserUID,
                                      QLIBSZLIST **ppGroupDNList, QLIBSZLIST **ppGroupNameList) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    if (pHost->szLoginSuffix == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pHost->szLoginSuffix");
    if (szUserUID == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szUserUID");
    if (ppGroupDNList != nullptr && *ppGroupDNList == nullptr) {
        return ZAFO_BAD_ARGUMENT("((void *)0) == ppGroupDNList || ((void *)0) != *ppGroupDNList");
    }
    if (ppGroupNameList != nullptr && *ppGroupNameList == nullptr) {
        return ZAFO_BAD_ARGUMENT("NULL == ppGroupNameList || NULL != *ppGroupNameList");
    }
    return zafo::Guarded(-1, [&] {
        const auto filter = zafo::AccountFilter(zafo::kGroups.szFilter, kMember, szUserUID);
        if (!filter) return -1;
        return zafo::ListAccounts(pHost, filter->c_str(),
                                  {zafo::kGroups.szNameAttr, ppGroupDNList, ppGroupNameList});
    });
}

int ZAFOLDAPBrowserGroupEnumByUserDN(const ZAFOLDAP_HOST *pHost, const char *szUserDN,
                                     QLIBSZLIST **ppGroupDNList, QLIBSZLIST **ppGroupNameList) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    if (pHost->szLoginSuffix == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pHost->szLoginSuffix");
    if (szUserDN == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szUserDN");
    if (ppGroupDNList != nullptr && *ppGroupDNList == nullptr) {
        return ZAFO_BAD_ARGUMENT("((void *)0) == ppGroupDNList || ((void *)0) != *ppGroupDNList");
    }
    if (ppGroupNameList != nullptr && *ppGroupNameList == nullptr) {
        return ZAFO_BAD_ARGUMENT("NULL == ppGroupNameList || NULL != *ppGroupNameList");
    }
    zafo::FoundText szName;
    if (zafo::UserNameAt(pHost, szUserDN, szName) != 1) return -1;
    return ZAFOLDAPBrowserGroupEnumByUserUID(pHost, szName, ppGroupDNList, ppGroupNameList);
}

int ZAFOLDAPBrowserUserEnumByPrimaryGroup(const ZAFOLDAP_HOST *pHost, const char *szGroupDN,
                                          const char *szGroupCN, QLIBSZLIST **ppUserUIDList) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    if (szGroupDN == nullptr && szGroupCN == nullptr) {
        return ZAFO_BAD_ARGUMENT("((void *)0) != szGroupDN || ((void *)0) != szGroupCN");
    }
    if (ppUserUIDList == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != ppUserUIDList");
    if (*ppUserUIDList == nullptr) return ZAFO_BAD_ARGUMENT("NULL != *ppUserUIDList");

    return zafo::Guarded(-1, [&] {
        zafo::FoundText szGid;
        if (GidOf(pHost, szGroupDN, szGroupCN, szGid) != 0) {
            ZAFO_LOG("get gidNumber for [%s] failed.",
                     szGroupDN != nullptr ? szGroupDN : szGroupCN);
            return -1;
        }
        return ListByPrimaryGid(pHost, szGid, ppUserUIDList);
    });
}

int ZAFOLDAPBrowserUserEnumByGroupDN(const ZAFOLDAP_HOST *pHost, const char *szGroupDN,
                                     QLIBSZLIST **ppUserUIDList) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    if (szGroupDN == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szGroupDN");
    if (ppUserUIDList == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != ppUserUIDList");
    if (*ppUserUIDList == nullptr) return ZAFO_BAD_ARGUMENT("NULL != *ppUserUIDList");

    return zafo::Guarded(-1, [&] {
        zafo::OpenSearch search;
        search.AskFor({"dn", kMember});
        search.request.szFilter = zafo::kGroups.szFilter;
        const int nFound = zafo::FirstEntryAt(pHost, szGroupDN, &search);
        if (nFound < 0) return -1;
        if (nFound == 0) {
            QLIBCErrSet(QLIB_ERR_NO_SUCH_GROUP);
            return -1;
        }
        const int nMembers = ZAFOLDAPResultGetAll(&search.result, kMember, ppUserUIDList);
        if (nMembers < 0) {
            ZAFO_LOG("ZAFOLDAPResultGetAll %s failed. [0x%04X]", kMember, zafo::PlatformError());
        }
        return nMembers;
    });
}

int ZAFOLDAPBrowserUserEnumNotInGroupDN(const ZAFOLDAP_HOST *pHost, const char *szGroupDN,
                                        QLIBSZLIST **ppUserUIDList) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    if (szGroupDN == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szGroupDN");
    if (ppUserUIDList == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != ppUserUIDList");
    if (*ppUserUIDList == nullptr) return ZAFO_BAD_ARGUMENT("NULL != *ppUserUIDList");

    return zafo::Guarded(-1, [&] {
        zafo::List members;
        if (ZAFOLDAPBrowserUserEnumAll(pHost, nullptr, ppUserUIDList) < 0) {
            ZAFO_LOG("list all users failed.");
            return -1;
        }
        if (ZAFOLDAPBrowserUserEnumByGroupDN(pHost, szGroupDN, members.address()) < 0) {
            ZAFO_LOG("ZAFOLDAPBrowserUserEnumByGroupDN failed. [%s] ", szGroupDN);
            return -1;
        }
        if (Subtract(*ppUserUIDList, members) != 0) return -1;
        if (QLIBCSzListRemoveAll(members.get()) < 0) return -1;
        if (ZAFOLDAPBrowserUserEnumByPrimaryGroup(pHost, szGroupDN, nullptr, members.address()) <
            0) {
            ZAFO_LOG("ZAFOLDAPBrowserUserEnumByGroupDN failed. [%s] ", szGroupDN);
            return -1;
        }
        return Subtract(*ppUserUIDList, members);
    });
}
