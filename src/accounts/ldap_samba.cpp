// SPDX-License-Identifier: Apache-2.0
//
// The appliance's bookkeeping in a directory, below "cn=zafoconf": four sambaUnixIdPool entries
// (uidNumber, gidNumber) hold the pools. The sambaDomain entry (sambaSID, sambaNextUserRid)
// directly below the base DN is the Samba domain.
#include "src/accounts/ldap_samba.h"

#include <stdlib.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "src/accounts/account_kind.h"
#include "src/accounts/account_search.h"
#include "src/core/check_connection.h"
#include "src/core/domain_component.h"
#include "src/core/list.h"
#include "src/frame/guard.h"
#include "src/frame/log.h"
#include "src/frame/text.h"
#include "zafoldap/browser.h"
#include "zafoldap/search.h"

namespace {

constexpr size_t kMaxPoolValue = 1024;
constexpr size_t kMaxSID = 256;

// For "%llu" in log lines.
using Printed = unsigned long long;

struct Xid {
    const char *entry;  // below "cn=zafoconf"; NULL: the Samba domain
    const char *attribute;
};

constexpr Xid kXids[] = {
    {"MaxNum", "uidNumber"},  // ZAFOLDAP_XID_MAX_NUM_UID and so on
    {"MaxNum", "gidNumber"}, {"MinID", "uidNumber"}, {"MaxID", "uidNumber"}, {"CurID", "uidNumber"},
    {"MinID", "gidNumber"},  {"MaxID", "gidNumber"}, {"CurID", "gidNumber"}, {nullptr, "sambaSID"},
};

struct PoolKind {
    const char *title;
    const zafo::AccountKind &account;
    int lowest_xid;
    int highest_xid;
};

constexpr PoolKind kUidPool{"UID", zafo::kUsers, ZAFOLDAP_XID_MIN_UID, ZAFOLDAP_XID_MAX_UID};
constexpr PoolKind kGidPool{"GID", zafo::kGroups, ZAFOLDAP_XID_MIN_GID, ZAFOLDAP_XID_MAX_GID};
constexpr zafo::NumberRange kDefaultRange{0, 4294967295};

const char *BaseDN(const ZAFOLDAP_HOST &host) {
    return host.szBaseDN != nullptr ? host.szBaseDN : "";
}

std::optional<std::string> IfItFits(std::string dn) {
    if (!zafo::FitsDN(dn)) return {};
    return dn;
}

std::optional<std::string> PoolDN(const ZAFOLDAP_HOST &host, const char *entry) {
    return IfItFits(std::string("cn=") + entry + ",cn=zafoconf," + BaseDN(host));
}

std::optional<std::string> DomainDN(const ZAFOLDAP_HOST &host) {
    const auto domain = zafo::DomainComponent(BaseDN(host), __FILE_NAME__);
    if (!domain) return {};
    return IfItFits("sambaDomainName=" + *domain + "," + BaseDN(host));
}

enum class Found {
    kValue,
    kNone,  // no such entry, or it has no value; the buffer is unchanged
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

int ReadXid(const ZAFOLDAP_HOST *host, int type, char *buffer, size_t size) {
    const Xid &xid = kXids[type];
    const auto dn = xid.entry != nullptr ? PoolDN(*host, xid.entry) : DomainDN(*host);
    if (!dn) return -1;
    const Found found = zafo::Guarded(
        Found::kFailed, [&] { return ReadValue(host, *dn, xid.attribute, buffer, size); });
    if (found != Found::kFailed) return 0;
    return ZAFO_FAILURE("get %s [%d] failed.", xid.attribute, type);
}

zafo::NumberRange ReadRange(const ZAFOLDAP_HOST *host, const PoolKind &kind) {
    zafo::NumberRange range{};
    if (ZAFOLDAPSambaGetIDFromDB(host, &range.lowest, kind.lowest_xid) != 0 ||
        ZAFOLDAPSambaGetIDFromDB(host, &range.highest, kind.highest_xid) != 0) {
        return kDefaultRange;
    }
    return range;
}

int Generate(const ZAFOLDAP_HOST *host, const PoolKind &kind) {
    const char *attribute = kind.account.number_attribute;
    zafo::IdPool pool{attribute, kind.account.filter, ReadRange(host, kind)};
    if (pool.range.highest <= pool.range.lowest) {
        return ZAFO_FAILURE("Bad %s min(%llu), max(%llu) value.", kind.title,
                            Printed{pool.range.lowest}, Printed{pool.range.highest});
    }
    const auto dn = PoolDN(*host, "CurID");
    if (!dn) return -1;
    uint64_t number = 0;
    if (ZAFOLDAPAtomicIncr(host, dn->c_str(), attribute, &number, ZAFOLDAPIdPoolFindFree, &pool) !=
        0) {
        return ZAFO_FAILURE("get %s from %s failed.", attribute, dn->c_str());
    }
    return static_cast<int>(number);
}

// All numbers in use, in ascending order; nothing if the search failed.
std::optional<std::vector<uint64_t>> UsedNumbers(const ZAFOLDAP_HOST *host,
                                                 const zafo::IdPool &pool) {
    ZAFOLDAP_SEARCH_REQUEST request{};
    request.szFilter = pool.filter;
    zafo::List dns, values;
    if (ZAFOLDAPSearchEachValue(host, &request, pool.attribute, dns.address(), values.address()) <
        0) {
        ZAFO_LOG("search %s failed.", pool.attribute);
        return {};
    }
    std::vector<uint64_t> used;
    used.reserve(static_cast<size_t>(values.size()));
    for (int i = 0; i < values.size(); ++i) {
        if (values[i][0] == '\0') ZAFO_LOG("No %s found for %s", pool.attribute, dns[i]);
        used.push_back(strtoull(values[i], nullptr, 10));
    }
    std::sort(used.begin(), used.end());
    return used;
}

// `counter` itself if no account has it, else the next free number.
std::optional<uint64_t> FreeNumberFrom(const ZAFOLDAP_HOST *host, uint64_t counter,
                                       const zafo::IdPool &pool) {
    const auto filter = zafo::AccountFilter(pool.filter, pool.attribute, std::to_string(counter));
    if (!filter) return {};
    const int found = ZAFOLDAPBrowserGetFirstDN(host, filter->c_str(), nullptr, 0);
    if (found < 0) {
        ZAFO_LOG("get [%s] failed.", filter->c_str());
        return {};
    }
    if (found == 0) return counter;

    const auto used = UsedNumbers(host, pool);
    if (!used) return {};
    if (!std::binary_search(used->begin(), used->end(), counter)) {
        ZAFO_LOG("cannot find %llu", Printed{counter});
        return {};
    }
    return zafo::NextFreeNumber(*used, counter, pool.range);
}

int GenerateSID(const ZAFOLDAP_HOST *host, char *sid, size_t size) {
    const auto dn = DomainDN(*host);
    if (!dn) return -1;
    char domain_sid[kMaxSID] = "";
    if (ZAFOLDAPSearchGetValueByDN(host, dn->c_str(), "objectClass=sambaDomain", "sambaSID",
                                   domain_sid, sizeof domain_sid) < 0) {
        return ZAFO_FAILURE("get sambaSID failed.");
    }
    if (ZAFOLDAPSambaXidGet(host, domain_sid, sizeof domain_sid, ZAFOLDAP_XID_DOMAIN_SID) != 0) {
        return ZAFO_FAILURE("get domain SID failed.");
    }
    uint64_t rid = 0;
    if (ZAFOLDAPAtomicIncr(host, dn->c_str(), "sambaNextUserRid", &rid, nullptr, nullptr) != 0) {
        return ZAFO_FAILURE("get sambaNextUserRid from %s failed.", dn->c_str());
    }
    snprintf(sid, size, "%s-%llu", domain_sid, Printed{rid});
    return 0;
}

}  // namespace

int ZAFOLDAPIdPoolFindFree(const ZAFOLDAP_HOST *host, uint64_t *value, uint64_t *next,
                           void *context) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    if (value == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pValue");
    if (next == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pNext");
    if (context == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pTruck");

    return zafo::Guarded(-1, [=] {
        const auto *pool = static_cast<const zafo::IdPool *>(context);
        const auto free_number = FreeNumberFrom(host, *value, *pool);
        if (!free_number) return -1;
        *value = *free_number;
        *next = zafo::NumberAfter(*free_number, pool->range);
        return 0;
    });
}

int ZAFOLDAPSambaXidGet(const ZAFOLDAP_HOST *host, char *buffer, size_t size, int type) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    if (buffer == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szBuf");
    if (size == 0) return ZAFO_BAD_ARGUMENT("0 < cbBuf");

    if (type < 0 || type >= static_cast<int>(std::size(kXids))) {
        return ZAFO_FAILURE("unknown type [%d]", type);
    }
    return zafo::Guarded(-1, [=] { return ReadXid(host, type, buffer, size); });
}

int ZAFOLDAPSambaGetIDFromDB(const ZAFOLDAP_HOST *host, uint64_t *value, int type) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    if (value == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pValue");

    char text[kMaxPoolValue] = "";
    if (ZAFOLDAPSambaXidGet(host, text, sizeof text, type) != 0) {
        return ZAFO_FAILURE("get xid failed.");
    }
    *value = strtoull(text, nullptr, 10);
    return 0;
}

int ZAFOLDAPSambaUIDGen(const ZAFOLDAP_HOST *host) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    return zafo::Guarded(-1, [=] { return Generate(host, kUidPool); });
}

int ZAFOLDAPSambaGIDGen(const ZAFOLDAP_HOST *host) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    return zafo::Guarded(-1, [=] { return Generate(host, kGidPool); });
}

int ZAFOLDAPSambaSIDGen(const ZAFOLDAP_HOST *host, char *sid, size_t size) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    if (sid == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szSID");
    if (size == 0) return ZAFO_BAD_ARGUMENT("0 < cbSID");
    return zafo::Guarded(-1, [=] { return GenerateSID(host, sid, size); });
}
