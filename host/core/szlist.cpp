// SPDX-License-Identifier: Apache-2.0
//
// The block of a list: the header, followed by the items' text growing upwards, and the items' text
// offsets growing downwards from the end of the block (item 0 is the last word). Adding an item
// allocates nothing until the two meet; then the block doubles, or, if most of its text is holes
// left by removed items, the items move to a new block.
#include "platform/szlist.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <string_view>
#include <unordered_set>

#include "base/ascii.h"
#include "host/core/fail.h"

namespace {

using zafo::Fail;
using zafo::FailNull;

using Offset = size_t;

constexpr size_t kWord = sizeof(Offset);
static_assert(sizeof(QLIBSZLIST) % kWord == 0);

char *Text(QLIBSZLIST *list) {
    return reinterpret_cast<char *>(list + 1);
}

const char *Text(const QLIBSZLIST *list) {
    return reinterpret_cast<const char *>(list + 1);
}

// One past the offset of item 0.
Offset *OffsetsEnd(const QLIBSZLIST *list) {
    const char *end = reinterpret_cast<const char *>(list) + list->cbBlock;
    return reinterpret_cast<Offset *>(const_cast<char *>(end));
}

Offset &OffsetOf(const QLIBSZLIST *list, int index) {
    return OffsetsEnd(list)[-static_cast<ptrdiff_t>(index) - 1];
}

char *Item(QLIBSZLIST *list, int index) {
    return Text(list) + OffsetOf(list, index);
}

const char *Item(const QLIBSZLIST *list, int index) {
    return Text(list) + OffsetOf(list, index);
}

bool Holds(const QLIBSZLIST *list, int index) {
    return list != nullptr && index >= 0 && index < list->nItem;
}

size_t Items(const QLIBSZLIST *list) {
    return static_cast<size_t>(list->nItem);
}

size_t Used(const QLIBSZLIST *list) {
    return sizeof(QLIBSZLIST) + list->cbText + Items(list) * kWord;
}

// Deleter for a block from malloc.
struct BlockFree {
    void operator()(QLIBSZLIST *list) const { std::free(list); }
};
using Block = std::unique_ptr<QLIBSZLIST, BlockFree>;

// An empty list in a block of `cbBlock` bytes, or nothing.
Block NewBlock(size_t cbBlock, int capacity) {
    Block list(static_cast<QLIBSZLIST *>(std::malloc(cbBlock)));
    if (list)
        *list = {.nItem = 0, .nCapacity = capacity, .cbBlock = cbBlock, .cbText = 0, .cbHole = 0};
    return list;
}

// The size to grow to for `cbNeeded` bytes in total; 0 if no block can be that large.
size_t GrownSize(const QLIBSZLIST *list, size_t cbNeeded) {
    constexpr size_t kLargest = PTRDIFF_MAX / kWord * kWord;
    if (cbNeeded > kLargest - kWord) return 0;
    const size_t doubled = list->cbBlock > kLargest / 2 ? kLargest : list->cbBlock * 2;
    return std::max(doubled, (cbNeeded + kWord - 1) / kWord * kWord);
}

// Moves the items to a new block without the holes.
bool Compact(QLIBSZLIST **ppList, size_t cbBlock) {
    const QLIBSZLIST *from = *ppList;
    Block to = NewBlock(cbBlock, from->nCapacity);
    if (!to) return false;
    for (int i = 0; i < from->nItem; ++i) {
        const char *item = Item(from, i);
        const size_t cb = std::strlen(item) + 1;
        std::memcpy(Text(to.get()) + to->cbText, item, cb);
        OffsetOf(to.get(), i) = to->cbText;
        to->cbText += cb;
    }
    to->nItem = from->nItem;
    std::free(*ppList);
    *ppList = to.release();
    return true;
}

// The offsets move to the new end of the block.
bool Grow(QLIBSZLIST **ppList, size_t cbBlock) {
    const size_t cbOld = (*ppList)->cbBlock;
    auto *list = static_cast<QLIBSZLIST *>(std::realloc(*ppList, cbBlock));
    if (list == nullptr) return false;
    *ppList = list;
    const size_t cbOffsets = Items(list) * kWord;
    char *block = reinterpret_cast<char *>(list);
    std::memmove(block + cbBlock - cbOffsets, block + cbOld - cbOffsets, cbOffsets);
    list->cbBlock = cbBlock;
    return true;
}

// Reserve where the block is too small. Not inlined: items are added by the million.
[[gnu::noinline]] const char *MakeRoom(QLIBSZLIST **ppList, size_t cbMore, const char *sz) {
    const QLIBSZLIST *list = *ppList;
    const size_t cbUsed = Used(list);
    if (cbMore > PTRDIFF_MAX - cbUsed) return nullptr;
    const auto begin = reinterpret_cast<uintptr_t>(list);
    const auto at = reinterpret_cast<uintptr_t>(sz);
    const bool own = at >= begin && at - begin < list->cbBlock;
    if (!own && list->cbHole > list->cbText / 2 &&
        cbUsed - list->cbHole + cbMore <= list->cbBlock && Compact(ppList, list->cbBlock)) {
        return sz;
    }
    const size_t cbBlock = GrownSize(list, cbUsed + cbMore);
    if (cbBlock == 0 || !Grow(ppList, cbBlock)) return nullptr;
    return own ? reinterpret_cast<const char *>(*ppList) + (at - begin) : sz;
}

// Makes room for `cbText` more bytes of text and `nItems` more items. Returns where the caller's
// text `sz`, which may be in the list itself, is then, or nullptr.
const char *Reserve(QLIBSZLIST **ppList, size_t cbText, size_t nItems, const char *sz) {
    const size_t cbMore = cbText + nItems * kWord;
    const bool fits = cbMore <= (*ppList)->cbBlock - Used(*ppList);
    return fits ? sz : MakeRoom(ppList, cbMore, sz);
}

// Appends text for which there is room; returns its offset.
Offset AddText(QLIBSZLIST *list, const char *sz, size_t cb) {
    const Offset at = list->cbText;
    if (cb == 1) {
        Text(list)[at] = '\0';
    } else {
        std::memcpy(Text(list) + at, sz, cb);
    }
    list->cbText += cb;
    return at;
}

// Drops the text of an item: frees the space if it is the last text, else leaves a hole.
void DropText(QLIBSZLIST *list, Offset at) {
    const size_t cb = std::strlen(Text(list) + at) + 1;
    if (at + cb == list->cbText) {
        list->cbText = at;
    } else {
        list->cbHole += cb;
    }
}

void SetCount(QLIBSZLIST *list, int count) {
    list->nItem = count;
    if (count == 0) list->cbText = list->cbHole = 0;
}

// ASCII only, regardless of the locale: sorting and finding must agree.
unsigned char Lower(char c) {
    return static_cast<unsigned char>(zafo::LowerCase(c));
}

int CompareNoCase(const char *a, const char *b) {
    for (;; ++a, ++b) {
        const int difference = Lower(*a) - Lower(*b);
        if (difference != 0 || *a == '\0') return difference;
    }
}

struct HashNoCase {
    size_t operator()(std::string_view text) const {
        uint64_t hash = 0xcbf29ce484222325U;
        for (const char c : text)
            hash = (hash ^ Lower(c)) * 0x100000001b3U;
        return static_cast<size_t>(hash ^ (hash >> 32));
    }
};

struct EqualNoCase {
    bool operator()(std::string_view a, std::string_view b) const {
        return zafo::EqualIgnoringCase(a, b);
    }
};

// Keeps the items that are not in `other`.
template <typename Set>
void Subtract(QLIBSZLIST *list, const QLIBSZLIST *other) {
    Set unwanted;
    unwanted.reserve(Items(other));
    for (int i = 0; i < other->nItem; ++i)
        unwanted.insert(Item(other, i));
    int kept = 0;
    for (int i = 0; i < list->nItem; ++i) {
        const std::string_view item = Item(list, i);
        if (unwanted.contains(item)) {
            list->cbHole += item.size() + 1;
        } else {
            OffsetOf(list, kept++) = OffsetOf(list, i);
        }
    }
    SetCount(list, kept);
}

}  // namespace

QLIBSZLIST *QLIBCSzListAlloc(int nCapacity) {
    const int capacity = std::max(nCapacity, 1);
    // Room for offsets too, assuming sixteen bytes of text per item.
    const size_t items = static_cast<size_t>(capacity) / 16 + 4;
    const size_t text = (static_cast<size_t>(capacity) + kWord) / kWord * kWord;
    Block list = NewBlock(sizeof(QLIBSZLIST) + text + items * kWord, capacity);
    return list ? list.release() : FailNull(QLIB_ERR_OUT_OF_MEMORY);
}

void QLIBCSzListFree(QLIBSZLIST *pList) {
    std::free(pList);
}

int QLIBCSzListPush(QLIBSZLIST **ppList, const char *sz) {
    if (ppList == nullptr || *ppList == nullptr || sz == nullptr)
        return Fail(QLIB_ERR_BAD_ARGUMENT);
    // Lists of marks hold mostly empty texts: avoid the call for them.
    const size_t cb = *sz == '\0' ? 1 : std::strlen(sz) + 1;
    const char *text = (*ppList)->nItem < INT_MAX ? Reserve(ppList, cb, 1, sz) : nullptr;
    if (text == nullptr) return Fail(QLIB_ERR_OUT_OF_MEMORY);
    QLIBSZLIST *list = *ppList;
    OffsetOf(list, list->nItem) = AddText(list, text, cb);
    ++list->nItem;
    return 0;
}

const char *QLIBCSzListGet(const QLIBSZLIST *pList, int nIndex) {
    if (!Holds(pList, nIndex)) return FailNull(QLIB_ERR_BAD_ARGUMENT);
    return Item(pList, nIndex);
}

int QLIBCSzListInsert(QLIBSZLIST **ppList, int nIndex, const char *sz) {
    if (ppList == nullptr || *ppList == nullptr || sz == nullptr || nIndex < 0) {
        return Fail(QLIB_ERR_BAD_ARGUMENT);
    }
    const size_t cb = std::strlen(sz) + 1;
    const int gap = std::max(nIndex - (*ppList)->nItem, 0);
    const auto gapSize = static_cast<size_t>(gap);
    const char *text = std::max(nIndex, (*ppList)->nItem) < INT_MAX
                           ? Reserve(ppList, gapSize + cb, gapSize + 1, sz)
                           : nullptr;
    if (text == nullptr) return Fail(QLIB_ERR_OUT_OF_MEMORY);
    QLIBSZLIST *list = *ppList;
    for (int i = 0; i < gap; ++i) {
        OffsetOf(list, list->nItem) = AddText(list, "", 1);
        ++list->nItem;
    }
    const Offset at = AddText(list, text, cb);
    Offset *lowest = OffsetsEnd(list) - list->nItem;
    std::memmove(lowest - 1, lowest, static_cast<size_t>(list->nItem - nIndex) * kWord);
    OffsetOf(list, nIndex) = at;
    ++list->nItem;
    return 0;
}

int QLIBCSzListSet(QLIBSZLIST **ppList, int nIndex, const char *sz) {
    if (ppList == nullptr || !Holds(*ppList, nIndex) || sz == nullptr)
        return Fail(QLIB_ERR_BAD_ARGUMENT);
    const size_t cb = std::strlen(sz) + 1;
    const size_t cbOld = std::strlen(Item(*ppList, nIndex)) + 1;
    const char *text = cb > cbOld ? Reserve(ppList, cb, 0, sz) : sz;
    if (text == nullptr) return Fail(QLIB_ERR_OUT_OF_MEMORY);
    QLIBSZLIST *list = *ppList;
    // Making room may have moved the items to a new block, in a different order.
    const Offset at = OffsetOf(list, nIndex);
    if (at + cbOld == list->cbText) {
        std::memmove(Text(list) + at, text, cb);
        list->cbText = at + cb;
    } else if (cb <= cbOld) {
        std::memmove(Text(list) + at, text, cb);
        list->cbHole += cbOld - cb;
    } else {
        OffsetOf(list, nIndex) = AddText(list, text, cb);
        list->cbHole += cbOld;
    }
    return 0;
}

int QLIBCSzListRemove(QLIBSZLIST *pList, int nIndex) {
    if (!Holds(pList, nIndex)) return Fail(QLIB_ERR_BAD_ARGUMENT);
    DropText(pList, OffsetOf(pList, nIndex));
    Offset *lowest = OffsetsEnd(pList) - pList->nItem;
    std::memmove(lowest + 1, lowest, static_cast<size_t>(pList->nItem - nIndex - 1) * kWord);
    SetCount(pList, pList->nItem - 1);
    return 0;
}

int QLIBCSzListRemoveAll(QLIBSZLIST *pList) {
    if (pList == nullptr) return Fail(QLIB_ERR_BAD_ARGUMENT);
    SetCount(pList, 0);
    return 0;
}

int QLIBCSzListPop(QLIBSZLIST *pList) {
    if (pList == nullptr || pList->nItem == 0) return Fail(QLIB_ERR_BAD_ARGUMENT);
    DropText(pList, OffsetOf(pList, pList->nItem - 1));
    SetCount(pList, pList->nItem - 1);
    return 0;
}

int QLIBCSzListSub(QLIBSZLIST *pList, const QLIBSZLIST *pOther, int nFlags) {
    if (pList == nullptr || pOther == nullptr) return zafo::FailZero(QLIB_ERR_BAD_ARGUMENT);
    return zafo::OutOfMemoryIs(0, [=] {
        if ((nFlags & QLIB_SZLIST_SORT_NOCASE) != 0) {
            Subtract<std::unordered_set<std::string_view, HashNoCase, EqualNoCase>>(pList, pOther);
        } else {
            Subtract<std::unordered_set<std::string_view>>(pList, pOther);
        }
        return 1;
    });
}

int QLIBCSzListCaseFind(const QLIBSZLIST *pList, const char *sz) {
    if (pList == nullptr || sz == nullptr) return Fail(QLIB_ERR_BAD_ARGUMENT);
    int low = 0;
    for (int high = pList->nItem; low < high;) {
        const int middle = low + (high - low) / 2;
        if (CompareNoCase(Item(pList, middle), sz) < 0) {
            low = middle + 1;
        } else {
            high = middle;
        }
    }
    return low < pList->nItem && CompareNoCase(Item(pList, low), sz) == 0 ? low : -1;
}

int QLIBCSzListSortItems(QLIBSZLIST *pList, int nFlags) {
    if (pList == nullptr) return Fail(QLIB_ERR_BAD_ARGUMENT);
    const char *text = Text(pList);
    const auto sort = [&](auto compare) {
        const std::reverse_iterator first(OffsetsEnd(pList));
        std::sort(first, first + pList->nItem,
                  [=](Offset a, Offset b) { return compare(text + a, text + b) < 0; });
    };
    if ((nFlags & QLIB_SZLIST_SORT_NOCASE) != 0) {
        sort(CompareNoCase);
    } else {
        sort([](const char *a, const char *b) { return std::strcmp(a, b); });
    }
    return 0;
}
