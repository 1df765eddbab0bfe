// SPDX-License-Identifier: Apache-2.0
#include "accounts/account_search.h"

#include <cstdlib>

#include "frame/log.h"
#include "platform/error.h"
#include "platform/user.h"

namespace zafo {

namespace {

int Append(QLIBSZLIST **ppList, const char *sz) {
    if (ppList == nullptr || QLIBCSzListPush(ppList, sz) >= 0) return 0;
    ZAFO_LOG("QLIBCSzListPush failed. [%s] [0x%04X]", sz, PlatformError());
    return -1;
}

}  // namespace

std::optional<std::string> AccountFilter(std::string_view condition, std::string_view attr,
                                         std::string_view value) {
    std::string filter("(&(");
    filter.append(condition).append(")(").append(attr).append("=").append(value).append("))");
    if (filter.size() <= kMaxFilter) return filter;
    QLIBCErrSet(QLIB_ERR_BUFFER_TOO_SMALL);
    return std::nullopt;
}

int ListAccounts(const ZAFOLDAP_HOST *pHost, const char *szFilter, const ACCOUNT_LISTING &listing) {
    const char *szNameAttr = listing.szNameAttr;
    OpenSearch search;
    if (szNameAttr != nullptr) {
        search.AskFor({"dn", szNameAttr});
    } else {
        search.AskFor({"dn"});
    }
    search.request.szFilter = szFilter;
    if (search.Open(pHost) != 0) return -1;

    int nCount = 0;
    int nFound = 0;
    while ((nFound = search.Next()) == 1) {
        const char *szDN = search.First("dn");
        const char *szName = szNameAttr != nullptr ? search.First(szNameAttr) : "";
        if (szDN == nullptr || szName == nullptr) continue;
        if (Append(listing.ppDNList, szDN) != 0 || Append(listing.ppNameList, szName) != 0) {
            return -1;
        }
        ++nCount;
    }
    if (nFound < 0) {
        ZAFO_LOG("ZAFOLDAPSearchGetNext get next failed");
        return -1;
    }
    return nCount;
}

int ListAccountsByNumber(const ZAFOLDAP_HOST *pHost, const ACCOUNT_KIND &kind, unsigned int nNumber,
                         QLIBSZLIST **ppDNList) {
    const auto filter = AccountFilter(kind.szFilter, kind.szNumberAttr, std::to_string(nNumber));
    if (!filter) return -1;
    const bool blFill = ppDNList != nullptr && *ppDNList != nullptr;
    return ListAccounts(pHost, filter->c_str(), {nullptr, blFill ? ppDNList : nullptr, nullptr});
}

int FirstEntryAt(const ZAFOLDAP_HOST *pHost, const char *szDN, OpenSearch *pSearch) {
    pSearch->request.szBase = szDN;
    pSearch->request.blBaseAsIs = 1;
    if (pSearch->Open(pHost) != 0) return -1;
    const int nFound = pSearch->Next();
    if (nFound < 0) ZAFO_LOG("ZAFOLDAPSearchGetNext get next failed");
    return nFound;
}

int UserNameAt(const ZAFOLDAP_HOST *pHost, const char *szUserDN, FoundText &szName) {
    int nFound = ZAFOLDAPPosixGetUserUID(pHost, szUserDN, szName, sizeof szName);
    if (nFound > 0 && !FitsDN(szName)) nFound = -1;
    if (nFound < 0) ZAFO_LOG("ZAFOLDAPUserDN2UID failed. [%s] ", szUserDN);
    if (nFound == 0) QLIBCErrSet(QLIB_ERR_NO_SUCH_USER);
    return nFound;
}

uint32_t AccountNumber(const char *szText) {
    if (szText == nullptr) return UID_ERR;
    const long long nNumber = std::strtoll(szText, nullptr, 10);
    return nNumber >= INT32_MIN && nNumber <= UINT32_MAX ? static_cast<uint32_t>(nNumber) : UID_ERR;
}

}  // namespace zafo
