// SPDX-License-Identifier: Apache-2.0
//
// Compare-and-swap in a directory: one modify request that deletes the value read and adds the next
// one. A server applies a request to an entry entirely or not at all (RFC 4511 section 4.6), and
// deleting a value that does not exist fails.
#include <stdlib.h>

#include <string>

#include "src/accounts/account_record.h"
#include "src/core/change_file.h"
#include "src/core/check_connection.h"
#include "src/frame/guard.h"
#include "src/frame/log.h"
#include "zafoldap/samba.h"
#include "zafoldap/search.h"

namespace {

constexpr int kAttempts = 10;
constexpr size_t kMaxValue = 1024;

void WriteSwap(ZAFOLDAP_LDIF *ldif, const char *dn, const char *attribute, const char *removed,
               const char *added) {
    zafo::WriteValue(ldif, "dn", dn);
    zafo::WriteValue(ldif, "changetype", "modify");
    zafo::WriteValue(ldif, "delete", attribute);
    zafo::WriteValue(ldif, attribute, removed);
    ZAFOLDAPLdifSepAttr(ldif);
    zafo::WriteValue(ldif, "add", attribute);
    zafo::WriteValue(ldif, attribute, added);
}

int Swap(const ZAFOLDAP_HOST *host, const char *dn, const char *attribute, const char *removed,
         const char *added) {
    zafo::ChangeFile change;
    if (change.Open() != 0) return -1;
    WriteSwap(change.get(), dn, attribute, removed, added);
    return change.Apply(host);
}

// Determines the counter's next value; the check may replace *value, which is what gets reported. 0
// or -1.
int Decide(const ZAFOLDAP_HOST *host, uint64_t *value, uint64_t *next, ZAFOLDAP_ATOMIC_CHECK check,
           void *context) {
    *next = *value + 1;
    if (check == nullptr || check(host, value, next, context) >= 0) return 0;
    return ZAFO_DEBUG_FAILURE("Check failed.");
}

int Increase(const ZAFOLDAP_HOST *host, const char *dn, const char *attribute, uint64_t *reported,
             ZAFOLDAP_ATOMIC_CHECK check, void *context) {
    std::string old, next;
    for (int i = 0; i < kAttempts; ++i) {
        char value[kMaxValue];
        if (ZAFOLDAPSearchGetValueByDN(host, dn, nullptr, attribute, value, sizeof value) < 0) {
            return ZAFO_FAILURE("get [%s] failed.", attribute);
        }
        uint64_t number = strtoull(value, nullptr, 10);
        old = std::to_string(number);
        uint64_t next_number = 0;
        if (Decide(host, &number, &next_number, check, context) != 0) return -1;
        next = std::to_string(next_number);
        if (ZAFOLDAPAtomicRemoveAdd(host, dn, attribute, old.c_str(), next.c_str()) == 0) {
            *reported = number;
            return 0;
        }
    }
    return ZAFO_FAILURE("replace [%s] from [%s] -> [%s] failed. ", attribute, old.c_str(),
                        next.c_str());
}

}  // namespace

int ZAFOLDAPAtomicRemoveAdd(const ZAFOLDAP_HOST *host, const char *dn, const char *attribute,
                            const char *removed, const char *added) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    if (dn == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szDN");
    if (attribute == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szAttr");
    if (removed == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szRemoveVal");
    if (added == nullptr) return ZAFO_BAD_ARGUMENT("NULL != szAddVal");
    if (!zafo::IsOneLine(dn)) return ZAFO_NOT_ONE_LINE("szDN");
    if (!zafo::IsOneLine(attribute)) return ZAFO_NOT_ONE_LINE("szAttr");
    if (!zafo::IsOneLine(removed)) return ZAFO_NOT_ONE_LINE("szRemoveVal");
    if (!zafo::IsOneLine(added)) return ZAFO_NOT_ONE_LINE("szAddVal");

    const int result = zafo::Guarded(-1, [=] { return Swap(host, dn, attribute, removed, added); });
    if (result != 0) {
        ZAFO_DEBUG_LOG("ZAFOLDAPModify failed [%s,%s,%s,%s] [0x%04X]", dn, attribute, removed,
                       added, zafo::PlatformError());
    }
    return result;
}

int ZAFOLDAPAtomicIncr(const ZAFOLDAP_HOST *host, const char *dn, const char *attribute,
                       uint64_t *value, ZAFOLDAP_ATOMIC_CHECK check, void *context) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    if (dn == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szDN");
    if (attribute == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szAttr");
    if (value == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pValue");

    return zafo::Guarded(-1, [=] { return Increase(host, dn, attribute, value, check, context); });
}
