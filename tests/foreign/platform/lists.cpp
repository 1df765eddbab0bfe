// SPDX-License-Identifier: Apache-2.0
//
// Lists and maps. A list that frees first releases its block and every text in it before it reads
// its arguments.
#include <strings.h>

#include <algorithm>
#include <cstdlib>

#include "tests/foreign/platform/state.h"

struct QLIBSZHASH {
    std::map<std::string, char *> *pairs;
};

namespace zafo::foreign {

namespace {

constexpr int kSortedMark = 0x5EED;

ListBlock *BlockOf(QLIBSZLIST *list) {
    return reinterpret_cast<ListBlock *>(list);
}
const ListBlock *BlockOf(const QLIBSZLIST *list) {
    return reinterpret_cast<const ListBlock *>(list);
}

// Moves every text of the list, which invalidates pointers that a caller still holds.
void MoveTexts(const Step &step, ListBlock *block) {
    for (char *&item : *block->items) {
        char *moved = Copy(item);
        step.state().quarantine.TakeText(item);
        item = moved;
    }
}

// Moves the block as well.
ListBlock *MoveBlock(const Step &step, QLIBSZLIST **list) {
    ListBlock *old = BlockOf(*list);
    auto *moved = static_cast<ListBlock *>(std::malloc(sizeof(ListBlock)));
    if (moved == nullptr) std::abort();
    *moved = *old;
    step.state().Made(moved, step.state().live[old]);
    step.state().Freed(old);
    step.state().quarantine.Take(old, sizeof *old);
    *list = &moved->head;
    return moved;
}

// Moving takes time proportional to the list, so a long one moves only occasionally.
bool Moves(const Step &step, const ListBlock *block) {
    const size_t count = block->items->size();
    return step.temperament().frees_first && (count <= 64 || count % 512 == 0);
}

ListBlock *Move(const Step &step, QLIBSZLIST **list) {
    ListBlock *block = BlockOf(*list);
    if (!Moves(step, block)) return block;
    MoveTexts(step, block);
    return MoveBlock(step, list);
}

void Changed(ListBlock *block) {
    block->head.nItem = static_cast<int>(block->items->size());
    block->head.cbHole = 0;
}

bool Usable(const Step &step, QLIBSZLIST *const *list) {
    return step.Given(list, "address of a list") && step.Live(*list, "list");
}

bool HasItem(const Step &step, const QLIBSZLIST *list, int index) {
    if (index >= 0 && static_cast<size_t>(index) < BlockOf(list)->items->size()) return true;
    step.Fault("no item " + Decimal(index));
    return false;
}

int Insert(const Step &step, QLIBSZLIST **list, size_t index, const char *text) {
    char *early = step.temperament().frees_first ? nullptr : Copy(text);
    ListBlock *block = Move(step, list);
    while (block->items->size() < index)
        block->items->push_back(Copy(""));
    char *item = early != nullptr ? early : Copy(text);
    block->items->insert(block->items->begin() + static_cast<std::ptrdiff_t>(index), item);
    Changed(block);
    return step.Success();
}

void Drop(const Step &step, QLIBSZLIST *list, size_t index) {
    ListBlock *block = BlockOf(list);
    step.state().quarantine.TakeText((*block->items)[index]);
    block->items->erase(block->items->begin() + static_cast<std::ptrdiff_t>(index));
    if (Moves(step, block)) MoveTexts(step, block);
    const bool sorted = block->head.cbHole == kSortedMark;
    Changed(block);
    if (sorted) block->head.cbHole = kSortedMark;
}

QLIBSZLIST *MakeList(const Step &step, int capacity, const char *by) {
    auto *block = static_cast<ListBlock *>(std::calloc(1, sizeof(ListBlock)));
    if (block == nullptr) std::abort();
    block->items = new std::vector<char *>;
    block->head.nCapacity = capacity;
    step.state().Made(block, by);
    return &block->head;
}

bool SameText(const char *a, const char *b, int flags) {
    return flags == QLIB_SZLIST_SORT_NOCASE ? strcasecmp(a, b) == 0 : std::strcmp(a, b) == 0;
}

}  // namespace

void Append(QLIBSZLIST **list, const std::string &item) {
    ListBlock *block = BlockOf(*list);
    block->items->push_back(Copy(item.c_str()));
    Changed(block);
}

Strings Items(const QLIBSZLIST *list) {
    const std::vector<char *> &items = *BlockOf(list)->items;
    return {items.begin(), items.end()};
}

Pairs PairsOf(const QLIBSZHASH *map) {
    Pairs pairs;
    if (Platform::Get().state().live.count(map) != 0)
        for (const auto &[key, value] : *map->pairs)
            pairs[key] = value;
    return pairs;
}

void Assign(QLIBSZHASH *map, const Pairs &pairs) {
    for (const auto &[key, value] : pairs) {
        char *&place = (*map->pairs)[key];
        Platform::Get().state().quarantine.TakeText(place);
        place = Copy(value.c_str());
    }
}

List::List(std::initializer_list<const char *> items) : list_(nullptr) {
    Platform::State &state = Platform::Get().state();
    auto *block = static_cast<ListBlock *>(std::calloc(1, sizeof(ListBlock)));
    if (block == nullptr) std::abort();
    block->items = new std::vector<char *>;
    block->head.nCapacity = 1024;
    state.Made(block, kTestsList);
    list_ = &block->head;
    for (const char *item : items)
        Append(&list_, item);
}

List::~List() {
    Platform::State &state = Platform::Get().state();
    if (state.live.count(list_) == 0) return;  // already freed, perhaps intentionally by the test
    for (char *item : *BlockOf(list_)->items)
        state.quarantine.TakeText(item);
    delete BlockOf(list_)->items;
    state.live.erase(list_);
    state.quarantine.Take(list_, sizeof(ListBlock));
}

Strings List::Items() const {
    return foreign::Items(list_);
}

}  // namespace zafo::foreign

using namespace zafo::foreign;

QLIBSZLIST *QLIBCSzListAlloc(int nCapacity) {
    const Step step("QLIBCSzListAlloc", {Decimal(nCapacity)});
    return step.Fails() ? nullptr : MakeList(step, nCapacity, "QLIBCSzListAlloc");
}

void QLIBCSzListFree(QLIBSZLIST *pList) {
    const Step step("QLIBCSzListFree", {});
    if (!step.Live(pList, "list")) return;
    for (char *item : *BlockOf(pList)->items)
        step.state().quarantine.TakeText(item);
    delete BlockOf(pList)->items;
    step.state().Freed(pList);
    step.state().quarantine.Take(pList, sizeof(ListBlock));
}

int QLIBCSzListPush(QLIBSZLIST **ppList, const char *sz) {
    const Step step("QLIBCSzListPush", {Text(sz)});
    if (step.Fails()) return step.Result();
    if (!Usable(step, ppList) || !step.Given(sz, "text")) return -1;
    return Insert(step, ppList, BlockOf(*ppList)->items->size(), sz);
}

const char *QLIBCSzListGet(const QLIBSZLIST *pList, int nIndex) {
    const Step step("QLIBCSzListGet", {Decimal(nIndex)});
    if (step.Fails() || !step.Live(pList, "list") || !HasItem(step, pList, nIndex)) return nullptr;
    return (*BlockOf(pList)->items)[static_cast<size_t>(nIndex)];
}

int QLIBCSzListInsert(QLIBSZLIST **ppList, int nIndex, const char *sz) {
    const Step step("QLIBCSzListInsert", {Decimal(nIndex), Text(sz)});
    if (step.Fails()) return step.Result();
    if (!Usable(step, ppList) || !step.Given(sz, "text")) return -1;
    if (nIndex < 0) return step.Fault("no place " + Decimal(nIndex));
    return Insert(step, ppList, static_cast<size_t>(nIndex), sz);
}

int QLIBCSzListSet(QLIBSZLIST **ppList, int nIndex, const char *sz) {
    const Step step("QLIBCSzListSet", {Decimal(nIndex), Text(sz)});
    if (step.Fails()) return step.Result();
    if (!Usable(step, ppList) || !step.Given(sz, "text") || !HasItem(step, *ppList, nIndex))
        return -1;
    char *early = step.temperament().frees_first ? nullptr : Copy(sz);
    ListBlock *block = Move(step, ppList);
    char *&item = (*block->items)[static_cast<size_t>(nIndex)];
    step.state().quarantine.TakeText(item);
    item = early != nullptr ? early : Copy(sz);
    Changed(block);
    return step.Success();
}

int QLIBCSzListRemove(QLIBSZLIST *pList, int nIndex) {
    const Step step("QLIBCSzListRemove", {Decimal(nIndex)});
    if (step.Fails()) return step.Result();
    if (!step.Live(pList, "list") || !HasItem(step, pList, nIndex)) return -1;
    Drop(step, pList, static_cast<size_t>(nIndex));
    return step.Success();
}

int QLIBCSzListRemoveAll(QLIBSZLIST *pList) {
    const Step step("QLIBCSzListRemoveAll", {});
    if (step.Fails()) return step.Result();
    if (!step.Live(pList, "list")) return -1;
    while (!BlockOf(pList)->items->empty()) {
        step.state().quarantine.TakeText(BlockOf(pList)->items->back());
        BlockOf(pList)->items->pop_back();
    }
    Changed(BlockOf(pList));
    return step.Success();
}

int QLIBCSzListPop(QLIBSZLIST *pList) {
    const Step step("QLIBCSzListPop", {});
    if (step.Fails()) return step.Result();
    if (!step.Live(pList, "list")) return -1;
    if (BlockOf(pList)->items->empty()) return step.Fault("an empty list");
    Drop(step, pList, BlockOf(pList)->items->size() - 1);
    return step.Success();
}

int QLIBCSzListSub(QLIBSZLIST *pList, const QLIBSZLIST *pOther, int nFlags) {
    const Step step("QLIBCSzListSub", {Hex(static_cast<unsigned>(nFlags))});
    if (step.Fails()) return step.Result();
    if (!step.Live(pList, "list") || !step.Live(pOther, "other list")) return 0;
    const std::vector<char *> &others = *BlockOf(pOther)->items;
    for (size_t i = BlockOf(pList)->items->size(); i-- > 0;) {
        const char *item = (*BlockOf(pList)->items)[i];
        if (std::any_of(others.begin(), others.end(),
                        [&](const char *other) { return SameText(item, other, nFlags); }))
            Drop(step, pList, i);
    }
    return step.Success(step.temperament().success == 0 ? 1 : step.temperament().success);
}

int QLIBCSzListCaseFind(const QLIBSZLIST *pList, const char *sz) {
    const Step step("QLIBCSzListCaseFind", {Text(sz)});
    if (step.Fails()) return step.Result();
    if (!step.Live(pList, "list") || !step.Given(sz, "text")) return -1;
    if (pList->cbHole != kSortedMark) return step.Fault("a list that is not sorted");
    const std::vector<char *> &items = *BlockOf(pList)->items;
    const auto place =
        std::lower_bound(items.begin(), items.end(), sz,
                         [](const char *a, const char *b) { return strcasecmp(a, b) < 0; });
    if (place == items.end() || strcasecmp(*place, sz) != 0) return step.Success(-1);
    return step.Success(static_cast<int>(place - items.begin()));
}

int QLIBCSzListSortItems(QLIBSZLIST *pList, int nFlags) {
    const Step step("QLIBCSzListSortItems", {Hex(static_cast<unsigned>(nFlags))});
    if (step.Fails()) return step.Result();
    if (!step.Live(pList, "list")) return -1;
    ListBlock *block = BlockOf(pList);
    const bool nocase = nFlags == QLIB_SZLIST_SORT_NOCASE;
    std::sort(block->items->begin(), block->items->end(), [nocase](const char *a, const char *b) {
        return (nocase ? strcasecmp(a, b) : std::strcmp(a, b)) < 0;
    });
    if (step.temperament().frees_first) MoveTexts(step, block);
    Changed(block);
    block->head.cbHole = nocase ? kSortedMark : 0;
    return step.Success();
}

QLIBSZHASH *QLIBCSzHashAlloc(int nCapacity) {
    const Step step("QLIBCSzHashAlloc", {Decimal(nCapacity)});
    if (step.Fails()) return nullptr;
    auto *map = static_cast<QLIBSZHASH *>(std::malloc(sizeof(QLIBSZHASH)));
    if (map == nullptr) std::abort();
    map->pairs = new std::map<std::string, char *>;
    step.state().Made(map, "QLIBCSzHashAlloc");
    return map;
}

void QLIBCSzHashFree(QLIBSZHASH *pHash) {
    const Step step("QLIBCSzHashFree", {});
    if (!step.Live(pHash, "map")) return;
    for (const auto &[key, value] : *pHash->pairs)
        step.state().quarantine.TakeText(value);
    delete pHash->pairs;
    step.state().Freed(pHash);
    step.state().quarantine.Take(pHash, sizeof *pHash);
}

const char *QLIBCSzHashGetValue(const QLIBSZHASH *pHash, const char *szKey) {
    const Step step("QLIBCSzHashGetValue", {Text(szKey)});
    if (step.Fails() || !step.Live(pHash, "map") || !step.Given(szKey, "key")) return nullptr;
    const auto found = pHash->pairs->find(szKey);
    return found == pHash->pairs->end() ? nullptr : found->second;
}

int QLIBCSzHashSetValue(QLIBSZHASH *pHash, const char *szKey, const char *szValue) {
    const Step step("QLIBCSzHashSetValue", {Text(szKey), Text(szValue)});
    if (step.Fails()) return step.Result();
    if (!step.Live(pHash, "map") || !step.Given(szKey, "key") || !step.Given(szValue, "value"))
        return -1;
    char *early = step.temperament().frees_first ? nullptr : Copy(szValue);
    const std::string key = szKey;
    if (step.temperament().frees_first) {
        for (auto &[other, value] : *pHash->pairs) {
            char *moved = Copy(value);
            step.state().quarantine.TakeText(value);
            value = moved;
        }
    }
    char *&place = (*pHash->pairs)[key];
    step.state().quarantine.TakeText(place);
    place = early != nullptr ? early : Copy(szValue);
    return step.Success();
}

int QLIBCSzHashRemoveKey(QLIBSZHASH *pHash, const char *szKey) {
    const Step step("QLIBCSzHashRemoveKey", {Text(szKey)});
    if (step.Fails()) return step.Result();
    if (!step.Live(pHash, "map") || !step.Given(szKey, "key")) return -1;
    const auto found = pHash->pairs->find(szKey);
    if (found == pHash->pairs->end())
        return step.temperament().absent_removal_fails ? step.Failure(0) : step.Success();
    step.state().quarantine.TakeText(found->second);
    pHash->pairs->erase(found);
    return step.Success();
}
