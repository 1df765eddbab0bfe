// SPDX-License-Identifier: Apache-2.0
//
// The appliance's bookkeeping in a directory, below "cn=zafoconf": four entries with the
// class sambaUnixIdPool (uidNumber, gidNumber) hold the pools; the entry of class
// sambaDomain (sambaSID, sambaNextUserRid) right below the base DN is the Samba domain.
#include "accounts/ldap_samba.h"

#include <stdlib.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "accounts/account_kind.h"
#include "accounts/account_record.h"
#include "accounts/account_search.h"
#include "core/check_connection.h"
#include "core/list.h"
#include "frame/guard.h"
#include "frame/log.h"
#include "frame/text.h"
#include "platform/error.h"
#include "platform/ldap.h"
#include "zafoldap/browser.h"
#include "zafoldap/error.h"
#include "zafoldap/search.h"

namespace {

constexpr size_t kMaxText = 1024;
constexpr size_t kMaxSID = 256;

// Log lines print numbers with "%llu".
using Printed = unsigned long long;

struct XID {
    const char *szEntry;  // below "cn=zafoconf"; NULL: the Samba domain
    const char *szAttr;
};

constexpr XID kXids[] = {
    {"MaxNum", "uidNumber"},  // ZAFOLDAP_XID_MAX_NUM_UID and so on
    {"MaxNum", "gidNumber"}, {"MinID", "uidNumber"}, {"MaxID", "uidNumber"}, {"CurID", "uidNumber"},
    {"MinID", "gidNumber"},  {"MaxID", "gidNumber"}, {"CurID", "gidNumber"}, {nullptr, "sambaSID"},
};

struct POOL_KIND {
    const char *szTitle;
    const zafo::ACCOUNT_KIND &account;
    int nLowestXid;
    int nHighestXid;
};

constexpr POOL_KIND kUidPool{"UID", zafo::kUsers, ZAFOLDAP_XID_MIN_UID, ZAFOLDAP_XID_MAX_UID};
constexpr POOL_KIND kGidPool{"GID", zafo::kGroups, ZAFOLDAP_XID_MIN_GID, ZAFOLDAP_XID_MAX_GID};
constexpr zafo::NUMBER_RANGE kDefaultRange{0, 4294967295};

const char *BaseDN(const ZAFOLDAP_HOST &host) {
    return host.szBaseDN != nullptr ? host.szBaseDN : "";
}

std::optional<std::string> IfItFits(std::string dn) {
    if (!zafo::FitsDN(dn)) return {};
    return dn;
}

std::optional<std::string> PoolDN(const ZAFOLDAP_HOST &host, const char *szEntry) {
    return IfItFits(std::string("cn=") + szEntry + ",cn=zafoconf," + BaseDN(host));
}

std::optional<std::string> DomainDN(const ZAFOLDAP_HOST &host) {
    char szDomain[kMaxText] = "";
    if (zafo::Ended(szDomain,
                    ZAFOLDAPDNFirstDomainComponent(BaseDN(host), szDomain, sizeof szDomain)) < 0) {
        ZAFO_LOG("ZAFOLDAPDNFirstDomainComponent [%s] failed. [0x%04X]", BaseDN(host),
                 zafo::PlatformError());
        return {};
    }
    return IfItFits(std::string("sambaDomainName=") + szDomain + "," + BaseDN(host));
}

enum class Found {
    kValue,
    kNone,  // no such entry, or one without a value; the buffer stays as it was
    kFailed,
};

Found ReadValue(const ZAFOLDAP_HOST *host, const std::string &dn, const char *attribute,
                char *buffer, size_t size) {
    zafo::List values;
    zafo::OpenSearch search;
    search.AskFor({attribute});
    search.request.szBase = dn.c_str();
    search.request.blBaseAsIs = 1;
    const int found = search.Open(host) == 0 ? search.NextIfThere() : -1;
    if (found < 0) return Found::kFailed;
    if (found == 0) return Found::kNone;
    const int count = ZAFOLDAPResultGetAll(&search.result, attribute, values.address());
    if (count <= 0) return count == 0 ? Found::kNone : Found::kFailed;
    zafo::CopyText(values[0], buffer, size);
    return Found::kValue;
}

int ReadXid(const ZAFOLDAP_HOST *pHost, int type, char *szBuf, size_t cbBuf) {
    const XID &xid = kXids[type];
    const auto dn = xid.szEntry != nullptr ? PoolDN(*pHost, xid.szEntry) : DomainDN(*pHost);
    if (!dn) return -1;
    const Found found = zafo::Guarded(
        Found::kFailed, [&] { return ReadValue(pHost, *dn, xid.szAttr, szBuf, cbBuf); });
    if (found != Found::kFailed) return 0;
    ZAFO_LOG("get %s [%d] failed.", xid.szAttr, type);
    return -1;
}

zafo::NUMBER_RANGE ReadRange(const ZAFOLDAP_HOST *pHost, const POOL_KIND &kind) {
    zafo::NUMBER_RANGE range{};
    if (ZAFOLDAPSambaGetIDFromDB(pHost, &range.nLowest, kind.nLowestXid) != 0 ||
        ZAFOLDAPSambaGetIDFromDB(pHost, &range.nHighest, kind.nHighestXid) != 0) {
        return kDefaultRange;
    }
    return range;
}

int Generate(const ZAFOLDAP_HOST *pHost, const POOL_KIND &kind) {
    const char *szAttr = kind.account.szNumberAttr;
    ZAFOLDAP_ID_POOL pool{szAttr, kind.account.szFilter, ReadRange(pHost, kind)};
    if (pool.range.nHighest <= pool.range.nLowest) {
        ZAFO_LOG("Bad %s min(%llu), max(%llu) value.", kind.szTitle, Printed{pool.range.nLowest},
                 Printed{pool.range.nHighest});
        return -1;
    }
    const auto dn = PoolDN(*pHost, "CurID");
    if (!dn) return -1;
    uint64_t nNumber = 0;
    if (ZAFOLDAPAtomicIncr(pHost, dn->c_str(), szAttr, &nNumber, ZAFOLDAPIdPoolFindFree, &pool) !=
        0) {
        ZAFO_LOG("get %s from %s failed.", szAttr, dn->c_str());
        return -1;
    }
    return static_cast<int>(nNumber);
}

// Every number in use, ascending; nothing when the search failed.
std::optional<std::vector<uint64_t>> UsedNumbers(const ZAFOLDAP_HOST *pHost,
                                                 const ZAFOLDAP_ID_POOL &pool) {
    ZAFOLDAP_SEARCH_REQUEST request{};
    request.szFilter = pool.szFilter;
    zafo::List dns, values;
    if (ZAFOLDAPSearchEachValue(pHost, &request, pool.szAttr, dns.address(), values.address()) <
        0) {
        ZAFO_LOG("search %s failed.", pool.szAttr);
        return {};
    }
    std::vector<uint64_t> used;
    used.reserve(static_cast<size_t>(values.size()));
    for (int i = 0; i < values.size(); ++i) {
        if (values[i][0] == '\0') ZAFO_LOG("No %s found for %s", pool.szAttr, dns[i]);
        used.push_back(strtoull(values[i], nullptr, 10));
    }
    std::sort(used.begin(), used.end());
    return used;
}

// `nCounter` itself when nobody carries it, else the next free number.
std::optional<uint64_t> FreeNumberFrom(const ZAFOLDAP_HOST *pHost, uint64_t nCounter,
                                       const ZAFOLDAP_ID_POOL &pool) {
    const auto filter = zafo::AccountFilter(pool.szFilter, pool.szAttr, std::to_string(nCounter));
    if (!filter) return {};
    const int nFound = ZAFOLDAPBrowserGetFirstDN(pHost, filter->c_str(), nullptr, 0);
    if (nFound < 0) {
        ZAFO_LOG("get [%s] failed.", filter->c_str());
        return {};
    }
    if (nFound == 0) return nCounter;

    const auto used = UsedNumbers(pHost, pool);
    if (!used) return {};
    if (!std::binary_search(used->begin(), used->end(), nCounter)) {
        ZAFO_LOG("cannot find %llu", Printed{nCounter});
        return {};
    }
    return zafo::NextFreeNumber(*used, nCounter, pool.range);
}

int GenerateSID(const ZAFOLDAP_HOST *pHost, char *szSID, size_t cbSID) {
    const auto dn = DomainDN(*pHost);
    if (!dn) return -1;
    char szDomainSID[kMaxSID] = "";
    if (ZAFOLDAPSearchGetValueByDN(pHost, dn->c_str(), "objectClass=sambaDomain", "sambaSID",
                                   szDomainSID, sizeof szDomainSID) < 0) {
        ZAFO_LOG("get sambaSID failed.");
        return -1;
    }
    if (ZAFOLDAPSambaXidGet(pHost, szDomainSID, sizeof szDomainSID, ZAFOLDAP_XID_DOMAIN_SID) != 0) {
        ZAFO_LOG("get domain SID failed.");
        return -1;
    }
    uint64_t nRid = 0;
    if (ZAFOLDAPAtomicIncr(pHost, dn->c_str(), "sambaNextUserRid", &nRid, nullptr, nullptr) != 0) {
        ZAFO_LOG("get sambaNextUserRid from %s failed.", dn->c_str());
        return -1;
    }
    snprintf(szSID, cbSID, "%s-%llu", szDomainSID, Printed{nRid});
    return 0;
}

}  // namespace

int ZAFOLDAPIdPoolFindFree(const ZAFOLDAP_HOST *pHost, uint64_t *pValue, uint64_t *pNext,
                           void *pTruck) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    if (pValue == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pValue");
    if (pNext == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pNext");
    if (pTruck == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pTruck");

    return zafo::Guarded(-1, [=] {
        const auto *pPool = static_cast<const ZAFOLDAP_ID_POOL *>(pTruck);
        const auto nFree = FreeNumberFrom(pHost, *pValue, *pPool);
        if (!nFree) return -1;
        *pValue = *nFree;
        *pNext = zafo::NumberAfter(*nFree, pPool->range);
        return 0;
    });
}

int ZAFOLDAPSambaXidGet(const ZAFOLDAP_HOST *pHost, char *szBuf, size_t cbBuf, int type) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    if (szBuf == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szBuf");
    if (cbBuf == 0) return ZAFO_BAD_ARGUMENT("0 < cbBuf");

    if (type < 0 || type >= static_cast<int>(std::size(kXids))) {
        ZAFO_LOG("unknown type [%d]", type);
        return -1;
    }
    return zafo::Guarded(-1, [=] { return ReadXid(pHost, type, szBuf, cbBuf); });
}

int ZAFOLDAPSambaGetIDFromDB(const ZAFOLDAP_HOST *pHost, uint64_t *pValue, int type) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    if (pValue == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pValue");

    char szValue[kMaxText] = "";
    if (ZAFOLDAPSambaXidGet(pHost, szValue, sizeof szValue, type) != 0) {
        ZAFO_LOG("get xid failed.");
        return -1;
    }
    *pValue = strtoull(szValue, nullptr, 10);
    return 0;
}

int ZAFOLDAPSambaUIDGen(const ZAFOLDAP_HOST *pHost) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    return zafo::Guarded(-1, [=] { return Generate(pHost, kUidPool); });
}

int ZAFOLDAPSambaGIDGen(const ZAFOLDAP_HOST *pHost) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    return zafo::Guarded(-1, [=] { return Generate(pHost, kGidPool); });
}

int ZAFOLDAPSambaSIDGen(const ZAFOLDAP_HOST *pHost, char *szSID, size_t cbSID) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    if (szSID == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szSID");
    if (cbSID == 0) return ZAFO_BAD_ARGUMENT("0 < cbSID");
    return zafo::Guarded(-1, [=] { return GenerateSID(pHost, szSID, cbSID); });
}
