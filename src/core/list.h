// SPDX-License-Identifier: Apache-2.0
//
// Owners of the platform's string list and map. Platforms differ, so any result below 0 is a
// failure and any other a success, and no function is passed NULL.
#pragma once

#include <initializer_list>
#include <memory>
#include <new>
#include <utility>

#include "platform/szhash.h"
#include "platform/szlist.h"

namespace zafo {

// Initial capacity of every list and map that the library makes.
constexpr int kListCapacity = 1024;

inline void FreeList(QLIBSZLIST *list) {
    if (list != nullptr) QLIBCSzListFree(list);
}

// The item at a valid index. If the platform returns none, it was lost for lack of memory: throws
// std::bad_alloc.
inline const char *ItemAt(const QLIBSZLIST *list, int i) {
    const char *item = QLIBCSzListGet(list, i);
    if (item == nullptr) throw std::bad_alloc();
    return item;
}

// An owned string list; the constructors throw std::bad_alloc.
class List {
  public:
    List() : list_(QLIBCSzListAlloc(kListCapacity)) {
        if (list_ == nullptr) throw std::bad_alloc();
    }
    explicit List(std::initializer_list<const char *> items) : List() {
        for (const char *item : items)
            Push(item);
    }
    List(List &&other) noexcept : list_(std::exchange(other.list_, nullptr)) {}
    List &operator=(List &&other) noexcept {
        std::swap(list_, other.list_);
        return *this;
    }
    ~List() { FreeList(list_); }

    void Push(const char *text) {
        if (QLIBCSzListPush(&list_, text) < 0) throw std::bad_alloc();
    }
    int size() const { return list_->nItem; }
    const char *operator[](int i) const { return ItemAt(list_, i); }
    QLIBSZLIST *get() const { return list_; }
    QLIBSZLIST **address() { return &list_; }

  private:
    QLIBSZLIST *list_;
};

struct FreeMap {
    void operator()(QLIBSZHASH *p) const { QLIBCSzHashFree(p); }
};
using Map = std::unique_ptr<QLIBSZHASH, FreeMap>;

inline Map MakeMap() {
    return Map(QLIBCSzHashAlloc(kListCapacity));
}

// A new list with the capacity and items of `source`, skipping NULL items; nullptr on failure.
inline QLIBSZLIST *CloneList(const QLIBSZLIST *source) {
    QLIBSZLIST *list = QLIBCSzListAlloc(source->nCapacity);
    if (list == nullptr) return nullptr;
    for (int i = 0; i < source->nItem; ++i) {
        const char *item = QLIBCSzListGet(source, i);
        if (item != nullptr && QLIBCSzListPush(&list, item) < 0) {
            QLIBCSzListFree(list);
            return nullptr;
        }
    }
    return list;
}

}  // namespace zafo
