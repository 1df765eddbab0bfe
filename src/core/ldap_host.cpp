// SPDX-License-Identifier: Apache-2.0
#include "zafoldap/host.h"

#include <cstring>
#include <string>

#include "core/list.h"
#include "frame/guard.h"
#include "frame/log.h"
#include "platform/error.h"

namespace {

// The string field of every attribute number.
constexpr const char *ZAFOLDAP_HOST::*kStringFields[LDAP_HOST_ATTR_MAX] = {
    &ZAFOLDAP_HOST::szUri,        &ZAFOLDAP_HOST::szBaseDN,      &ZAFOLDAP_HOST::szBindDN,
    &ZAFOLDAP_HOST::szBindPasswd, &ZAFOLDAP_HOST::szLoginSuffix,
};

// A copy, which may be of a password.
class Copy {
  public:
    explicit Copy(const char *sz) : text_(sz != nullptr ? sz : "") {}
    Copy(const Copy &) = delete;
    Copy &operator=(const Copy &) = delete;
    ~Copy() { explicit_bzero(text_.data(), text_.size()); }

    const char *get() const { return text_.c_str(); }

  private:
    std::string text_;
};

// The list may have moved: every field that is set points at its item again. Whether all were
// given.
bool PointAtItems(ZAFOLDAP_HOST *pHost) {
    bool blAll = true;
    for (int i = 0; i < LDAP_HOST_ATTR_MAX; ++i) {
        const char *&szField = pHost->*kStringFields[i];
        if (szField == nullptr) continue;
        szField = QLIBCSzListGet(pHost->plistBuffer, i);
        if (szField == nullptr) blAll = false;
    }
    return blAll;
}

// Without its item the list cannot be used: the numbers of those behind are wrong.
void Clear(ZAFOLDAP_HOST *pHost) {
    QLIBCSzListRemoveAll(pHost->plistBuffer);
    for (const auto pszField : kStringFields)
        pHost->*pszField = nullptr;
}

// Copies come first: the value may be an item of the list, and is gone with it where a platform
// frees before it copies.
int Set(ZAFOLDAP_HOST *pHost, int attr, const char *szValue) {
    const bool blHasItem = attr < pHost->plistBuffer->nItem;
    const Copy value(szValue);
    const Copy before(blHasItem ? QLIBCSzListGet(pHost->plistBuffer, attr) : nullptr);
    if (blHasItem && QLIBCSzListRemove(pHost->plistBuffer, attr) < 0) return -1;
    const bool blStored = QLIBCSzListInsert(&pHost->plistBuffer, attr, value.get()) >= 0;
    if (blStored) {
        pHost->*kStringFields[attr] = szValue != nullptr ? value.get() : nullptr;
    } else if (QLIBCSzListInsert(&pHost->plistBuffer, attr, before.get()) < 0) {
        Clear(pHost);
    }
    return PointAtItems(pHost) && blStored ? 0 : -1;
}

}  // namespace

int ZAFOLDAPHostInit(ZAFOLDAP_HOST *pHost) {
    if (pHost == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost");

    *pHost = {};
    QLIBSZLIST *pList = QLIBCSzListAlloc(zafo::kListCapacity);
    // Inserting beyond the end fills the gap: one item for every attribute.
    if (pList == nullptr || QLIBCSzListInsert(&pList, LDAP_HOST_ATTR_MAX - 1, "") < 0) {
        zafo::FreeList(pList);
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

    return zafo::Guarded(-1, [=] { return Set(pHost, attr, szValue); });
}

int ZAFOLDAPHostFree(ZAFOLDAP_HOST *pHost) {
    if (pHost == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost");
    zafo::FreeList(pHost->plistBuffer);
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
