// SPDX-License-Identifier: Apache-2.0
//
// Compare-and-swap in a directory: one modify request that deletes the value read
// and adds the next one. A server applies a request to an entry as a whole or not
// at all (RFC 4511 section 4.6), and to delete a value that is not there fails.
#include <stdlib.h>

#include <string>

#include "accounts/account_record.h"
#include "accounts/one_line.h"
#include "core/change_file.h"
#include "core/check_connection.h"
#include "frame/guard.h"
#include "frame/log.h"
#include "zafoldap/debug.h"
#include "zafoldap/samba.h"
#include "zafoldap/search.h"

namespace {

constexpr int kAttempts = 10;
constexpr size_t kMaxValue = 1024;

void WriteSwap(ZAFOLDAP_LDIF *pLDIF, const char *szDN, const char *szAttr, const char *szRemoveVal,
               const char *szAddVal) {
    zafo::WriteValue(pLDIF, "dn", szDN);
    zafo::WriteValue(pLDIF, "changetype", "modify");
    zafo::WriteValue(pLDIF, "delete", szAttr);
    zafo::WriteValue(pLDIF, szAttr, szRemoveVal);
    ZAFOLDAPLdifSepAttr(pLDIF);
    zafo::WriteValue(pLDIF, "add", szAttr);
    zafo::WriteValue(pLDIF, szAttr, szAddVal);
}

int Swap(const ZAFOLDAP_HOST *pHost, const char *szDN, const char *szAttr, const char *szRemoveVal,
         const char *szAddVal) {
    zafo::ChangeFile change;
    if (change.Open() != 0) return -1;
    WriteSwap(change.get(), szDN, szAttr, szRemoveVal, szAddVal);
    return change.Apply(pHost);
}

// What the counter is to become; *pValue may be replaced by what is to be reported. 0 or -1.
int Decide(const ZAFOLDAP_HOST *pHost, uint64_t *pValue, uint64_t *pNext,
           ZAFOLDAP_ATOMIC_CHECK pfnCheck, void *pTruck) {
    *pNext = *pValue + 1;
    if (pfnCheck == nullptr || pfnCheck(pHost, pValue, pNext, pTruck) >= 0) return 0;
    ZAFO_DEBUG_LOG("Check failed.");
    return -1;
}

int Increase(const ZAFOLDAP_HOST *pHost, const char *szDN, const char *szAttr, uint64_t *pValue,
             ZAFOLDAP_ATOMIC_CHECK pfnCheck, void *pTruck) {
    std::string old, next;
    for (int i = 0; i < kAttempts; ++i) {
        char szValue[kMaxValue];
        if (ZAFOLDAPSearchGetValueByDN(pHost, szDN, nullptr, szAttr, szValue, sizeof szValue) < 0) {
            ZAFO_LOG("get [%s] failed.", szAttr);
            return -1;
        }
        uint64_t nValue = strtoull(szValue, nullptr, 10);
        old = std::to_string(nValue);
        uint64_t nNext = 0;
        if (Decide(pHost, &nValue, &nNext, pfnCheck, pTruck) != 0) return -1;
        next = std::to_string(nNext);
        if (ZAFOLDAPAtomicRemoveAdd(pHost, szDN, szAttr, old.c_str(), next.c_str()) == 0) {
            *pValue = nValue;
            return 0;
        }
    }
    ZAFO_LOG("replace [%s] from [%s] -> [%s] failed. ", szAttr, old.c_str(), next.c_str());
    return -1;
}

}  // namespace

int ZAFOLDAPAtomicRemoveAdd(const ZAFOLDAP_HOST *pHost, const char *szDN, const char *szAttr,
                            const char *szRemoveVal, const char *szAddVal) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    if (szDN == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szDN");
    if (szAttr == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szAttr");
    if (szRemoveVal == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szRemoveVal");
    if (szAddVal == nullptr) return ZAFO_BAD_ARGUMENT("NULL != szAddVal");
    if (!zafo::IsOneLine(szDN)) return ZAFO_NOT_ONE_LINE("szDN");
    if (!zafo::IsOneLine(szAttr)) return ZAFO_NOT_ONE_LINE("szAttr");
    if (!zafo::IsOneLine(szRemoveVal)) return ZAFO_NOT_ONE_LINE("szRemoveVal");
    if (!zafo::IsOneLine(szAddVal)) return ZAFO_NOT_ONE_LINE("szAddVal");

    const int nResult =
        zafo::Guarded(-1, [=] { return Swap(pHost, szDN, szAttr, szRemoveVal, szAddVal); });
    if (nResult != 0) {
        ZAFO_DEBUG_LOG("ZAFOLDAPModify failed [%s,%s,%s,%s] [0x%04X]", szDN, szAttr, szRemoveVal,
                       szAddVal, zafo::PlatformError());
    }
    return nResult;
}

int ZAFOLDAPAtomicIncr(const ZAFOLDAP_HOST *pHost, const char *szDN, const char *szAttr,
                       uint64_t *pValue, ZAFOLDAP_ATOMIC_CHECK pfnCheck, void *pTruck) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    if (szDN == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szDN");
    if (szAttr == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szAttr");
    if (pValue == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pValue");

    return zafo::Guarded(-1,
                         [=] { return Increase(pHost, szDN, szAttr, pValue, pfnCheck, pTruck); });
}
