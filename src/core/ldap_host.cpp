// SPDX-License-Identifier: Apache-2.0
#include "zafoldap/host.h"

#include "core/list.h"
#include "frame/log.h"
#include "platform/error.h"

namespace {

// The string field of every attribute number.
constexpr const char *ZAFOLDAP_HOST::*kStringFields[LDAP_HOST_ATTR_MAX] = {
    &ZAFOLDAP_HOST::szUri,        &ZAFOLDAP_HOST::szBaseDN,      &ZAFOLDAP_HOST::szBindDN,
    &ZAFOLDAP_HOST::szBindPasswd, &ZAFOLDAP_HOST::szLoginSuffix,
};

}  // namespace

int ZAFOLDAPHostInit(ZAFOLDAP_HOST *pHost) {
    if (pHost == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost");

    *pHost = {};
    QLIBSZLIST *pList = QLIBCSzListAlloc(zafo::kListCapacity);
    // Inserting beyond the end fills the gap: one item for every attribute.
    if (pList == nullptr || QLIBCSzListInsert(&pList, LDAP_HOST_ATTR_MAX - 1, "") != 0) {
        QLIBCSzListFree(pList);
        QLIBCErrSet(QLIB_ERR_OUT_OF_MEMORY);
        return -1;
    }
    pHost->plistBuffer = pList;
    return 0;
}

int ZAFOLDAPHostSet(ZAFOLDAP_HOST *pHost, int attr, const char *szValue) {
    if (pHost == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost");
    if (pHost->plistBuffer == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pHost->plistBuffer");
    if (attr <= LDAP_HOST_ATTR_MIN) return ZAFO_BAD_ARGUMENT("LDAP_HOST_ATTR_MIN < attr");
    if (attr >= LDAP_HOST_ATTR_MAX) return ZAFO_BAD_ARGUMENT("LDAP_HOST_ATTR_MAX > attr");

    const bool blSet = szValue != nullptr;
    if (QLIBCSzListSet(&pHost->plistBuffer, attr, blSet ? szValue : "") != 0) return -1;

    // The list may have moved: every field that is set points at its item again.
    for (int i = 0; i < LDAP_HOST_ATTR_MAX; ++i) {
        const char *&szField = pHost->*kStringFields[i];
        const bool blHasValue = i == attr ? blSet : szField != nullptr;
        szField = blHasValue ? QLIBCSzListGet(pHost->plistBuffer, i) : nullptr;
    }
    return 0;
}

int ZAFOLDAPHostFree(ZAFOLDAP_HOST *pHost) {
    if (pHost == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost");
    QLIBCSzListFree(pHost->plistBuffer);
    *pHost = {};
    return 0;
}

int ZAFOLDAPHostClone(ZAFOLDAP_HOST *pDst, const ZAFOLDAP_HOST *pSrc) {
    if (pDst == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pDst");
    if (pSrc == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pSrc");

    *pDst = *pSrc;
    if (pSrc->plistBuffer == nullptr) return 0;
    pDst->plistBuffer = zafo::CloneList(pSrc->plistBuffer);
    return pDst->plistBuffer != nullptr ? 0 : -1;
}
