// SPDX-License-Identifier: Apache-2.0
#include "accounts/account_taken.h"

namespace zafo {

namespace {

bool IsTaken(int nFound, int nError) {
    if (nFound == 0) return false;
    ZAFOLDAPErrSet(nError);
    return true;
}

}  // namespace

bool IsNameTaken(const ZAFOLDAP_HOST *pHost, const ACCOUNT_KIND &kind, const char *szName) {
    return IsTaken(kind.pfnFindByName(pHost, szName, nullptr, 0), kind.nNameTaken);
}

bool IsNumberTaken(const ZAFOLDAP_HOST *pHost, const ACCOUNT_KIND &kind, unsigned int nNumber) {
    return IsTaken(kind.pfnCountByNumber(pHost, nNumber, nullptr), kind.nNumberTaken);
}

}  // namespace zafo
