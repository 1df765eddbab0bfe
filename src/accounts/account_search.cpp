// SPDX-License-Identifier: Apache-2.0
#include "src/accounts/account_search.h"

#include <cstdlib>

#include "platform/error.h"
#include "platform/user.h"
#include "src/frame/log.h"

namespace zafo {

namespace {

int Append(QLIBSZLIST **list, const char *text) {
    if (list == nullptr || QLIBCSzListPush(list, text) >= 0) return 0;
    return ZAFO_FAILURE("QLIBCSzListPush failed. [%s] [0x%04X]", text, PlatformError());
}

bool IsTaken(int found, int error) {
    if (found != 0) ZAFOLDAPErrSet(error);
    return found != 0;
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

int ListAccounts(const ZAFOLDAP_HOST *host, const char *filter, const AccountListing &listing) {
    const char *name_attribute = listing.name_attribute;
    OpenSearch search;
    if (name_attribute != nullptr) {
        search.AskFor({"dn", name_attribute});
    } else {
        search.AskFor({"dn"});
    }
    search.request.szFilter = filter;
    if (search.Open(host) != 0) return -1;

    int count = 0;
    int found = 0;
    while ((found = search.Next()) == 1) {
        const char *dn = search.First("dn");
        const char *name = name_attribute != nullptr ? search.First(name_attribute) : "";
        if (dn == nullptr || name == nullptr) continue;
        if (Append(listing.dns, dn) != 0 || Append(listing.names, name) != 0) return -1;
        ++count;
    }
    if (found < 0) return ZAFO_FAILURE("ZAFOLDAPSearchGetNext get next failed");
    return count;
}

int ListAccountsByNumber(const ZAFOLDAP_HOST *host, const AccountKind &kind, unsigned int number,
                         QLIBSZLIST **dns) {
    const auto filter = AccountFilter(kind.filter, kind.number_attribute, std::to_string(number));
    if (!filter) return -1;
    const bool fill = dns != nullptr && *dns != nullptr;
    return ListAccounts(host, filter->c_str(), {nullptr, fill ? dns : nullptr, nullptr});
}

bool IsNameTaken(const ZAFOLDAP_HOST *host, const AccountKind &kind, const char *name) {
    return IsTaken(kind.find_by_name(host, name, nullptr, 0), kind.name_taken);
}

bool IsNumberTaken(const ZAFOLDAP_HOST *host, const AccountKind &kind, unsigned int number) {
    return IsTaken(kind.count_by_number(host, number, nullptr), kind.number_taken);
}

int FirstEntryAt(const ZAFOLDAP_HOST *host, const char *dn, OpenSearch *search) {
    search->request.szBase = dn;
    search->request.blBaseAsIs = 1;
    if (search->Open(host) != 0) return -1;
    const int found = search->Next();
    if (found < 0) ZAFO_LOG("ZAFOLDAPSearchGetNext get next failed");
    return found;
}

int UserNameAt(const ZAFOLDAP_HOST *host, const char *user_dn, FoundText &name) {
    int found = ZAFOLDAPPosixGetUserUID(host, user_dn, name, sizeof name);
    if (found > 0 && !FitsDN(name)) found = -1;
    if (found < 0) ZAFO_LOG("ZAFOLDAPUserDN2UID failed. [%s] ", user_dn);
    if (found == 0) QLIBCErrSet(QLIB_ERR_NO_SUCH_USER);
    return found;
}

uint32_t AccountNumber(const char *text) {
    if (text == nullptr) return UID_ERR;
    const long long number = std::strtoll(text, nullptr, 10);
    return number >= INT32_MIN && number <= UINT32_MAX ? static_cast<uint32_t>(number) : UID_ERR;
}

}  // namespace zafo
