// SPDX-License-Identifier: Apache-2.0
#include "src/accounts/account_taken.h"

namespace zafo {

namespace {

bool IsTaken(int found, int error) {
    if (found == 0) return false;
    ZAFOLDAPErrSet(error);
    return true;
}

}  // namespace

bool IsNameTaken(const ZAFOLDAP_HOST *host, const AccountKind &kind, const char *name) {
    return IsTaken(kind.find_by_name(host, name, nullptr, 0), kind.name_taken);
}

bool IsNumberTaken(const ZAFOLDAP_HOST *host, const AccountKind &kind, unsigned int number) {
    return IsTaken(kind.count_by_number(host, number, nullptr), kind.number_taken);
}

}  // namespace zafo
