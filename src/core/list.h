// SPDX-License-Identifier: Apache-2.0
//
// Owners of the platform's string list and map. What a platform may differ in is not counted on: a
// result below 0 is a failure and any other a success, and NULL is given to no function.
#pragma once

#include <memory>
#include <new>
#include <utility>

#include "platform/szhash.h"
#include "platform/szlist.h"

namespace zafo {

// First size of every list and map that the library makes.
constexpr int kListCapacity = 1024;

inline void FreeList(QLIBSZLIST *pList) {
    if (pList != nullptr) QLIBCSzListFree(pList);
}

// The item of an index that the list has. One that is not given all the same was lost for want of
// memory: throws std::bad_alloc.
inline const char *ItemAt(const QLIBSZLIST *pList, int i) {
    const char *szItem = QLIBCSzListGet(pList, i);
    if (szItem == nullptr) throw std::bad_alloc();
    return szItem;
}

// An owned string list; making one that cannot be allocated throws std::bad_alloc.
class List {
  public:
    List() : p_(QLIBCSzListAlloc(kListCapacity)) {
        if (p_ == nullptr) throw std::bad_alloc();
    }
    List(List &&other) noexcept : p_(std::exchange(other.p_, nullptr)) {}
    List &operator=(List &&other) noexcept {
        std::swap(p_, other.p_);
        return *this;
    }
    List(const List &) = delete;
    List &operator=(const List &) = delete;
    ~List() { FreeList(p_); }

    void Push(const char *sz) {
        if (QLIBCSzListPush(&p_, sz) < 0) throw std::bad_alloc();
    }
    int size() const { return p_->nItem; }
    const char *operator[](int i) const { return ItemAt(p_, i); }
    QLIBSZLIST *get() const { return p_; }
    QLIBSZLIST **address() { return &p_; }

  private:
    QLIBSZLIST *p_;
};

struct FreeMap {
    void operator()(QLIBSZHASH *p) const { QLIBCSzHashFree(p); }
};
using Map = std::unique_ptr<QLIBSZHASH, FreeMap>;

inline Map MakeMap() {
    return Map(QLIBCSzHashAlloc(kListCapacity));
}

// A new list with the capacity and the items of `pSource`, those left out that are NULL; nullptr
// when it cannot be made.
inline QLIBSZLIST *CloneList(const QLIBSZLIST *pSource) {
    QLIBSZLIST *pList = QLIBCSzListAlloc(pSource->nCapacity);
    if (pList == nullptr) return nullptr;
    for (int i = 0; i < pSource->nItem; ++i) {
        const char *szItem = QLIBCSzListGet(pSource, i);
        if (szItem != nullptr && QLIBCSzListPush(&pList, szItem) < 0) {
            QLIBCSzListFree(pList);
            return nullptr;
        }
    }
    return pList;
}

}  // namespace zafo
