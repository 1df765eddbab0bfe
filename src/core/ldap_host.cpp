// SPDX-License-Identifier: Apache-2.0
#include <cstring>
#include <string>

#include "platform/error.h"
#include "src/core/list.h"
#include "src/frame/guard.h"
#include "src/frame/log.h"
#include "zafoldap/host.h"

namespace {

// The string field of each attribute number.
constexpr const char *ZAFOLDAP_HOST::*kStringFields[LDAP_HOST_ATTR_MAX] = {
    &ZAFOLDAP_HOST::szUri,        &ZAFOLDAP_HOST::szBaseDN,      &ZAFOLDAP_HOST::szBindDN,
    &ZAFOLDAP_HOST::szBindPasswd, &ZAFOLDAP_HOST::szLoginSuffix,
};

// A copy, which may be of a password.
class Copy {
  public:
    explicit Copy(const char *text) : text_(text != nullptr ? text : "") {}
    Copy(const Copy &) = delete;
    Copy &operator=(const Copy &) = delete;
    ~Copy() { explicit_bzero(text_.data(), text_.size()); }

    const char *get() const { return text_.c_str(); }

  private:
    std::string text_;
};

// The list may have moved: points every field that is set at its item again. Returns whether the
// list returned all items.
bool PointAtItems(ZAFOLDAP_HOST *host) {
    bool all = true;
    for (int i = 0; i < LDAP_HOST_ATTR_MAX; ++i) {
        const char *&field = host->*kStringFields[i];
        if (field == nullptr) continue;
        field = QLIBCSzListGet(host->plistBuffer, i);
        if (field == nullptr) all = false;
    }
    return all;
}

// Without the lost item the list is useless: the indexes of all later items are wrong.
void Clear(ZAFOLDAP_HOST *host) {
    QLIBCSzListRemoveAll(host->plistBuffer);
    for (const auto field : kStringFields)
        host->*field = nullptr;
}

// Both texts are copied first: the value may be an item of the list, and some platforms free the
// old item before they copy the new one.
int Set(ZAFOLDAP_HOST *host, int attr, const char *text) {
    const bool has_item = attr < host->plistBuffer->nItem;
    const Copy value(text);
    const Copy before(has_item ? QLIBCSzListGet(host->plistBuffer, attr) : nullptr);
    if (has_item && QLIBCSzListRemove(host->plistBuffer, attr) < 0) return -1;
    const bool is_stored = QLIBCSzListInsert(&host->plistBuffer, attr, value.get()) >= 0;
    if (is_stored) {
        host->*kStringFields[attr] = text != nullptr ? value.get() : nullptr;
    } else if (QLIBCSzListInsert(&host->plistBuffer, attr, before.get()) < 0) {
        Clear(host);
    }
    return PointAtItems(host) && is_stored ? 0 : -1;
}

}  // namespace

int ZAFOLDAPHostInit(ZAFOLDAP_HOST *host) {
    if (host == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost");

    *host = {};
    QLIBSZLIST *list = QLIBCSzListAlloc(zafo::kListCapacity);
    // Inserting past the end fills the gap: one item per attribute.
    if (list == nullptr || QLIBCSzListInsert(&list, LDAP_HOST_ATTR_MAX - 1, "") < 0) {
        zafo::FreeList(list);
        return zafo::FailWith(QLIB_ERR_OUT_OF_MEMORY);
    }
    host->plistBuffer = list;
    return 0;
}

int ZAFOLDAPHostSet(ZAFOLDAP_HOST *host, int attr, const char *value) {
    if (host == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost");
    if (host->plistBuffer == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pHost->plistBuffer");
    if (attr <= LDAP_HOST_ATTR_MIN) return ZAFO_BAD_ARGUMENT("LDAP_HOST_ATTR_MIN < attr");
    if (attr >= LDAP_HOST_ATTR_MAX) return ZAFO_BAD_ARGUMENT("LDAP_HOST_ATTR_MAX > attr");

    return zafo::Guarded(-1, [=] { return Set(host, attr, value); });
}

int ZAFOLDAPHostFree(ZAFOLDAP_HOST *host) {
    if (host == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost");
    zafo::FreeList(host->plistBuffer);
    *host = {};
    return 0;
}

int ZAFOLDAPHostClone(ZAFOLDAP_HOST *target, const ZAFOLDAP_HOST *source) {
    if (target == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pDst");
    if (source == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pSrc");

    *target = *source;
    if (source->plistBuffer == nullptr) return 0;
    target->plistBuffer = zafo::CloneList(source->plistBuffer);
    return target->plistBuffer != nullptr ? 0 : -1;
}
