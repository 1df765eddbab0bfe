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

// An empty list in a block of `block_size` bytes, or nothing.
Block NewBlock(size_t block_size, int capacity) {
    Block list(static_cast<QLIBSZLIST *>(std::malloc(block_size)));
    if (list)
        *list = {
            .nItem = 0, .nCapacity = capacity, .cbBlock = block_size, .cbText = 0, .cbHole = 0};
    return list;
}

// The size to grow to for `needed` bytes in total; 0 if no block can be that large.
size_t GrownSize(const QLIBSZLIST *list, size_t needed) {
    constexpr size_t kLargest = PTRDIFF_MAX / kWord * kWord;
    if (needed > kLargest - kWord) return 0;
    const size_t doubled = list->cbBlock > kLargest / 2 ? kLargest : list->cbBlock * 2;
    return std::max(doubled, (needed + kWord - 1) / kWord * kWord);
}

// Moves the items to a new block without the holes.
bool Compact(QLIBSZLIST **block, size_t block_size) {
    const QLIBSZLIST *from = *block;
    Block to = NewBlock(block_size, from->nCapacity);
    if (!to) return false;
    for (int i = 0; i < from->nItem; ++i) {
        const char *item = Item(from, i);
        const size_t size = std::strlen(item) + 1;
        std::memcpy(Text(to.get()) + to->cbText, item, size);
        OffsetOf(to.get(), i) = to->cbText;
        to->cbText += size;
    }
    to->nItem = from->nItem;
    std::free(*block);
    *block = to.release();
    return true;
}

// The offsets move to the new end of the block.
bool Grow(QLIBSZLIST **block, size_t block_size) {
    const size_t old_size = (*block)->cbBlock;
    auto *list = static_cast<QLIBSZLIST *>(std::realloc(*block, block_size));
    if (list == nullptr) return false;
    *block = list;
    const size_t offsets_size = Items(list) * kWord;
    char *bytes = reinterpret_cast<char *>(list);
    std::memmove(bytes + block_size - offsets_size, bytes + old_size - offsets_size, offsets_size);
    list->cbBlock = block_size;
    return true;
}

// Reserve where the block is too small. Not inlined: items are added by the million.
[[gnu::noinline]] const char *MakeRoom(QLIBSZLIST **block, size_t more, const char *item) {
    const QLIBSZLIST *list = *block;
    const size_t used = Used(list);
    if (more > PTRDIFF_MAX - used) return nullptr;
    const auto begin = reinterpret_cast<uintptr_t>(list);
    const auto at = reinterpret_cast<uintptr_t>(item);
    const bool own = at >= begin && at - begin < list->cbBlock;
    if (!own && list->cbHole > list->cbText / 2 && used - list->cbHole + more <= list->cbBlock &&
        Compact(block, list->cbBlock)) {
        return item;
    }
    const size_t block_size = GrownSize(list, used + more);
    if (block_size == 0 || !Grow(block, block_size)) return nullptr;
    return own ? reinterpret_cast<const char *>(*block) + (at - begin) : item;
}

// Makes room for `text_size` more bytes of text and `items` more items. Returns where the caller's
// text `item`, which may be in the list itself, is then, or nullptr.
const char *Reserve(QLIBSZLIST **block, size_t text_size, size_t items, const char *item) {
    const size_t more = text_size + items * kWord;
    const bool fits = more <= (*block)->cbBlock - Used(*block);
    return fits ? item : MakeRoom(block, more, item);
}

// Appends text for which there is room; returns its offset.
Offset AddText(QLIBSZLIST *list, const char *item, size_t size) {
    const Offset at = list->cbText;
    if (size == 1) {
        Text(list)[at] = '\0';
    } else {
        std::memcpy(Text(list) + at, item, size);
    }
    list->cbText += size;
    return at;
}

// Drops the text of an item: frees the space if it is the last text, else leaves a hole.
void DropText(QLIBSZLIST *list, Offset at) {
    const size_t size = std::strlen(Text(list) + at) + 1;
    if (at + size == list->cbText) {
        list->cbText = at;
    } else {
        list->cbHole += size;
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

QLIBSZLIST *QLIBCSzListAlloc(int wanted) {
    const int capacity = std::max(wanted, 1);
    // Room for offsets too, assuming sixteen bytes of text per item.
    const size_t items = static_cast<size_t>(capacity) / 16 + 4;
    const size_t text = (static_cast<size_t>(capacity) + kWord) / kWord * kWord;
    Block list = NewBlock(sizeof(QLIBSZLIST) + text + items * kWord, capacity);
    return list ? list.release() : FailNull(QLIB_ERR_OUT_OF_MEMORY);
}

void QLIBCSzListFree(QLIBSZLIST *list) {
    std::free(list);
}

int QLIBCSzListPush(QLIBSZLIST **block, const char *item) {
    if (block == nullptr || *block == nullptr || item == nullptr)
        return Fail(QLIB_ERR_BAD_ARGUMENT);
    // Lists of marks hold mostly empty texts: avoid the call for them.
    const size_t size = *item == '\0' ? 1 : std::strlen(item) + 1;
    const char *text = (*block)->nItem < INT_MAX ? Reserve(block, size, 1, item) : nullptr;
    if (text == nullptr) return Fail(QLIB_ERR_OUT_OF_MEMORY);
    QLIBSZLIST *list = *block;
    OffsetOf(list, list->nItem) = AddText(list, text, size);
    ++list->nItem;
    return 0;
}

const char *QLIBCSzListGet(const QLIBSZLIST *list, int index) {
    if (!Holds(list, index)) return FailNull(QLIB_ERR_BAD_ARGUMENT);
    return Item(list, index);
}

int QLIBCSzListInsert(QLIBSZLIST **block, int index, const char *item) {
    if (block == nullptr || *block == nullptr || item == nullptr || index < 0) {
        return Fail(QLIB_ERR_BAD_ARGUMENT);
    }
    const size_t size = std::strlen(item) + 1;
    const int gap = std::max(index - (*block)->nItem, 0);
    const auto gap_size = static_cast<size_t>(gap);
    const char *text = std::max(index, (*block)->nItem) < INT_MAX
                           ? Reserve(block, gap_size + size, gap_size + 1, item)
                           : nullptr;
    if (text == nullptr) return Fail(QLIB_ERR_OUT_OF_MEMORY);
    QLIBSZLIST *list = *block;
    for (int i = 0; i < gap; ++i) {
        OffsetOf(list, list->nItem) = AddText(list, "", 1);
        ++list->nItem;
    }
    const Offset at = AddText(list, text, size);
    Offset *lowest = OffsetsEnd(list) - list->nItem;
    std::memmove(lowest - 1, lowest, static_cast<size_t>(list->nItem - index) * kWord);
    OffsetOf(list, index) = at;
    ++list->nItem;
    return 0;
}

int QLIBCSzListSet(QLIBSZLIST **block, int index, const char *item) {
    if (block == nullptr || !Holds(*block, index) || item == nullptr)
        return Fail(QLIB_ERR_BAD_ARGUMENT);
    const size_t size = std::strlen(item) + 1;
    const size_t old_size = std::strlen(Item(*block, index)) + 1;
    const char *text = size > old_size ? Reserve(block, size, 0, item) : item;
    if (text == nullptr) return Fail(QLIB_ERR_OUT_OF_MEMORY);
    QLIBSZLIST *list = *block;
    // Making room may have moved the items to a new block, in a different order.
    const Offset at = OffsetOf(list, index);
    if (at + old_size == list->cbText) {
        std::memmove(Text(list) + at, text, size);
        list->cbText = at + size;
    } else if (size <= old_size) {
        std::memmove(Text(list) + at, text, size);
        list->cbHole += old_size - size;
    } else {
        OffsetOf(list, index) = AddText(list, text, size);
        list->cbHole += old_size;
    }
    return 0;
}

int QLIBCSzListRemove(QLIBSZLIST *list, int index) {
    if (!Holds(list, index)) return Fail(QLIB_ERR_BAD_ARGUMENT);
    DropText(list, OffsetOf(list, index));
    Offset *lowest = OffsetsEnd(list) - list->nItem;
    std::memmove(lowest + 1, lowest, static_cast<size_t>(list->nItem - index - 1) * kWord);
    SetCount(list, list->nItem - 1);
    return 0;
}

int QLIBCSzListRemoveAll(QLIBSZLIST *list) {
    if (list == nullptr) return Fail(QLIB_ERR_BAD_ARGUMENT);
    SetCount(list, 0);
    return 0;
}

int QLIBCSzListPop(QLIBSZLIST *list) {
    if (list == nullptr || list->nItem == 0) return Fail(QLIB_ERR_BAD_ARGUMENT);
    DropText(list, OffsetOf(list, list->nItem - 1));
    SetCount(list, list->nItem - 1);
    return 0;
}

int QLIBCSzListSub(QLIBSZLIST *list, const QLIBSZLIST *other, int flags) {
    if (list == nullptr || other == nullptr) return zafo::FailZero(QLIB_ERR_BAD_ARGUMENT);
    return zafo::OutOfMemoryIs(0, [=] {
        if ((flags & QLIB_SZLIST_SORT_NOCASE) != 0) {
            Subtract<std::unordered_set<std::string_view, HashNoCase, EqualNoCase>>(list, other);
        } else {
            Subtract<std::unordered_set<std::string_view>>(list, other);
        }
        return 1;
    });
}

int QLIBCSzListCaseFind(const QLIBSZLIST *list, const char *item) {
    if (list == nullptr || item == nullptr) return Fail(QLIB_ERR_BAD_ARGUMENT);
    int low = 0;
    for (int high = list->nItem; low < high;) {
        const int middle = low + (high - low) / 2;
        if (CompareNoCase(Item(list, middle), item) < 0) {
            low = middle + 1;
        } else {
            high = middle;
        }
    }
    return low < list->nItem && CompareNoCase(Item(list, low), item) == 0 ? low : -1;
}

int QLIBCSzListSortItems(QLIBSZLIST *list, int flags) {
    if (list == nullptr) return Fail(QLIB_ERR_BAD_ARGUMENT);
    const char *text = Text(list);
    const auto sort = [&](auto compare) {
        const std::reverse_iterator first(OffsetsEnd(list));
        std::sort(first, first + list->nItem,
                  [=](Offset a, Offset b) { return compare(text + a, text + b) < 0; });
    };
    if ((flags & QLIB_SZLIST_SORT_NOCASE) != 0) {
        sort(CompareNoCase);
    } else {
        sort([](const char *a, const char *b) { return std::strcmp(a, b); });
    }
    return 0;
}
