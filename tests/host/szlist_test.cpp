// SPDX-License-Identifier: Apache-2.0
#include "platform/szlist.h"

#include <sys/resource.h>

#include <algorithm>
#include <climits>
#include <random>

#include <gtest/gtest.h>

#include "tests/host/owners.h"
#include "tests/rig/build.h"

namespace {

using zafo::test::List;
using Texts = std::vector<std::string>;

int Push(List &list, const std::string &text) {
    return QLIBCSzListPush(list.Address(), text.c_str());
}

TEST(SzList, KeepsTheCapacityItWasAllocatedWith) {
    for (const auto &[given, kept] : {std::pair{1024, 1024}, {1, 1}, {0, 1}, {-5, 1}}) {
        SCOPED_TRACE(given);
        List list(given);
        for (int i = 0; i < 100; ++i)
            Push(list, "a text of some length");
        EXPECT_EQ(list->nCapacity, kept);
        EXPECT_EQ(list->nItem, 100);
    }
}

TEST(SzList, GivesBackWhatWasPushedInOrder) {
    List list;
    list.Fill({"one", "", "three", "\xC3\xA9"});
    EXPECT_EQ(list.Items(), (Texts{"one", "", "three", "\xC3\xA9"}));
}

TEST(SzList, GetOutsideTheListIsABadArgument) {
    List list;
    list.Fill({"a"});
    for (const int index : {-1, 1, INT_MAX, INT_MIN}) {
        QLIBCErrSet(0);
        EXPECT_EQ(QLIBCSzListGet(list, index), nullptr) << index;
        EXPECT_EQ(QLIBCErrGet(), 0x0D00) << index;
    }
}

TEST(SzList, CarriesAMillionStringsInFewBlocks) {
    List list;
    int moves = 0;
    size_t block = list->cbBlock;
    for (int i = 0; i < 1000000; ++i) {
        ASSERT_EQ(Push(list, "value " + std::to_string(i)), 0);
        if (list->cbBlock != block) ++moves;
        block = list->cbBlock;
    }
    EXPECT_EQ(list->nItem, 1000000);
    EXPECT_STREQ(QLIBCSzListGet(list, 0), "value 0");
    EXPECT_STREQ(QLIBCSzListGet(list, 654321), "value 654321");
    EXPECT_STREQ(QLIBCSzListGet(list, 999999), "value 999999");
    EXPECT_LE(moves, 24);
    EXPECT_LE(list->cbBlock, 2 * (list->cbText + 1000000 * sizeof(size_t)));
}

TEST(SzList, CarriesTenMegabyteValues) {
    List list;
    const std::string large(10 << 20, 'x');
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(Push(list, large + std::to_string(i)), 0);
    EXPECT_EQ(list.Items(), (Texts{large + "0", large + "1", large + "2"}));
}

TEST(SzList, RefillingCostsNoMemory) {
    List list;
    for (int i = 0; i < 64; ++i)
        Push(list, std::string(100, 'x'));
    const size_t block = list->cbBlock;
    const QLIBSZLIST *address = list;
    for (int round = 0; round < 1000; ++round) {
        ASSERT_EQ(QLIBCSzListRemoveAll(list), 0);
        ASSERT_EQ(list->nItem, 0);
        for (int i = 0; i < 64; ++i)
            Push(list, std::string(100, 'x'));
    }
    EXPECT_EQ(list->cbBlock, block);
    EXPECT_EQ(static_cast<QLIBSZLIST *>(list), address);
}

TEST(SzList, PoppedTextIsUsedAgain) {
    List list;
    list.Fill({"keep", "x"});
    Push(list, "some text");
    QLIBCSzListPop(list);
    const size_t block = list->cbBlock;
    for (int i = 0; i < 10000; ++i) {
        Push(list, "some text");
        ASSERT_EQ(QLIBCSzListPop(list), 0);
    }
    EXPECT_EQ(list->cbBlock, block);
    EXPECT_EQ(list.Items(), (Texts{"keep", "x"}));
}

TEST(SzList, HolesAreUsedAgain) {
    List list;
    for (int i = 0; i < 100; ++i)
        Push(list, std::string(50, 'x'));
    const size_t block = list->cbBlock;
    for (int i = 0; i < 100000; ++i) {
        ASSERT_EQ(QLIBCSzListRemove(list, 0), 0);
        ASSERT_EQ(Push(list, std::to_string(i)), 0);
    }
    EXPECT_LE(list->cbBlock, 4 * block);
    EXPECT_EQ(list->nItem, 100);
    EXPECT_STREQ(QLIBCSzListGet(list, 99), "99999");
    EXPECT_STREQ(QLIBCSzListGet(list, 0), "99900");
}

TEST(SzList, InsertingBeyondTheEndFillsWithEmptyStrings) {
    List list;
    list.Fill({"a"});
    EXPECT_EQ(QLIBCSzListInsert(list.Address(), 4, "e"), 0);
    EXPECT_EQ(list.Items(), (Texts{"a", "", "", "", "e"}));
}

TEST(SzList, InsertsBeforeAnItem) {
    List list;
    list.Fill({"b", "d"});
    EXPECT_EQ(QLIBCSzListInsert(list.Address(), 0, "a"), 0);
    EXPECT_EQ(QLIBCSzListInsert(list.Address(), 2, "c"), 0);
    EXPECT_EQ(QLIBCSzListInsert(list.Address(), 4, "e"), 0);
    EXPECT_EQ(list.Items(), (Texts{"a", "b", "c", "d", "e"}));
}

TEST(SzList, SetsShorterLongerAndLastTexts) {
    List list;
    list.Fill({"first", "second", "third"});
    EXPECT_EQ(QLIBCSzListSet(list.Address(), 0, "1"), 0);
    EXPECT_EQ(QLIBCSzListSet(list.Address(), 1, "a much longer second"), 0);
    EXPECT_EQ(QLIBCSzListSet(list.Address(), 2, "3"), 0);
    EXPECT_EQ(QLIBCSzListSet(list.Address(), 2, ""), 0);
    EXPECT_EQ(list.Items(), (Texts{"1", "a much longer second", ""}));
}

TEST(SzList, AStringThatStandsInTheListItselfCanBeGiven) {
    List list;
    const std::string text(40, 'y');
    list.Fill({text});
    // Often enough that each of the three functions moves the block.
    for (int i = 0; i < 200; ++i) {
        ASSERT_EQ(QLIBCSzListPush(list.Address(), QLIBCSzListGet(list, 0)), 0);
        ASSERT_EQ(QLIBCSzListInsert(list.Address(), 0, QLIBCSzListGet(list, list->nItem - 1)), 0);
        ASSERT_EQ(QLIBCSzListPush(list.Address(), ""), 0);
        ASSERT_EQ(QLIBCSzListSet(list.Address(), list->nItem - 1, QLIBCSzListGet(list, 0)), 0);
    }
    const Texts items = list.Items();
    EXPECT_EQ(items, Texts(601, text));
    EXPECT_EQ(QLIBCSzListSet(list.Address(), 3, QLIBCSzListGet(list, 3) + 30), 0);
    EXPECT_STREQ(QLIBCSzListGet(list, 3), "yyyyyyyyyy");
}

TEST(SzList, RemovesItems) {
    List list;
    list.Fill({"a", "b", "c", "d"});
    EXPECT_EQ(QLIBCSzListRemove(list, 3), 0);
    EXPECT_EQ(QLIBCSzListRemove(list, 0), 0);
    EXPECT_EQ(list.Items(), (Texts{"b", "c"}));
    EXPECT_EQ(QLIBCSzListRemove(list, 0), 0);
    EXPECT_EQ(QLIBCSzListPop(list), 0);
    EXPECT_EQ(list->nItem, 0);
    EXPECT_EQ(QLIBCSzListPop(list), -1);
    EXPECT_EQ(QLIBCSzListRemove(list, 0), -1);
}

// Compares the list with a vector of strings, using every function that changes it.
TEST(SzList, BehavesAsAVectorOfStringsUnderRandomChanges) {
    std::mt19937 random(20240501);
    List list;
    Texts model;
    for (int step = 0; step < 50000; ++step) {
        const std::string text(random() % 40, static_cast<char>('a' + random() % 26));
        const int index = model.empty() ? 0 : static_cast<int>(random() % model.size());
        switch (random() % 8) {
            case 0:
            case 1:
            case 2:
                ASSERT_EQ(Push(list, text), 0);
                model.push_back(text);
                break;
            case 3:
                ASSERT_EQ(QLIBCSzListInsert(list.Address(), index, text.c_str()), 0);
                model.insert(model.begin() + index, text);
                break;
            case 4:
            case 5:
                if (model.empty()) break;
                ASSERT_EQ(QLIBCSzListSet(list.Address(), index, text.c_str()), 0);
                model[static_cast<size_t>(index)] = text;
                break;
            case 6:
                if (model.empty()) break;
                ASSERT_EQ(QLIBCSzListRemove(list, index), 0);
                model.erase(model.begin() + index);
                break;
            default:
                if (model.empty()) break;
                ASSERT_EQ(QLIBCSzListPop(list), 0);
                model.pop_back();
                break;
        }
        if (step % 500 == 0) {
            ASSERT_EQ(list.Items(), model) << "step " << step;
        }
    }
    EXPECT_EQ(list.Items(), model);
}

TEST(SzList, SubtractsByBytesOrWithoutCase) {
    List list, other;
    other.Fill({"B", "c", "nobody"});
    list.Fill({"a", "b", "B", "c", "C", "b"});
    EXPECT_EQ(QLIBCSzListSub(list, other, 0), 1);
    EXPECT_EQ(list.Items(), (Texts{"a", "b", "C", "b"}));
    EXPECT_EQ(QLIBCSzListSub(list, other, 16), 1);
    EXPECT_EQ(list.Items(), (Texts{"a"}));
    EXPECT_EQ(QLIBCSzListSub(list, list, 0), 1);
    EXPECT_EQ(list->nItem, 0);
}

TEST(SzList, SubtractsLargeListsInTimeThatTheirSizesCost) {
    constexpr int kCount = 400000;
    List list, other;
    for (int i = 0; i < kCount; ++i) {
        Push(list, "user" + std::to_string(i));
        if (i % 2 == 0) Push(other, "USER" + std::to_string(i));
    }
    EXPECT_EQ(QLIBCSzListSub(list, other, 16), 1);
    ASSERT_EQ(list->nItem, kCount / 2);
    EXPECT_STREQ(QLIBCSzListGet(list, 0), "user1");
    EXPECT_STREQ(QLIBCSzListGet(list, kCount / 2 - 1), "user399999");
}

TEST(SzList, SortsByBytesOrWithoutCase) {
    List list;
    list.Fill({"b", "A", "a_", "aB", "B"});
    EXPECT_EQ(QLIBCSzListSortItems(list, 0), 0);
    EXPECT_EQ(list.Items(), (Texts{"A", "B", "aB", "a_", "b"}));
    list.Fill({"c", "A", "a_", "aB", "B"});
    EXPECT_EQ(QLIBCSzListSortItems(list, QLIB_SZLIST_SORT_NOCASE), 0);
    EXPECT_EQ(list.Items(), (Texts{"A", "a_", "aB", "B", "c"}));
}

TEST(SzList, FindsWithoutCaseInASortedList) {
    List list;
    list.Fill({"uid", "CN", "objectClass", "mail", "member", "memberUid"});
    QLIBCSzListSortItems(list, QLIB_SZLIST_SORT_NOCASE);
    for (const char *name : {"UID", "cn", "OBJECTCLASS", "mail", "Member", "MEMBERuid"}) {
        const int index = QLIBCSzListCaseFind(list, name);
        ASSERT_GE(index, 0) << name;
        EXPECT_STRCASEEQ(QLIBCSzListGet(list, index), name);
    }
    for (const char *name : {"", "a", "memb", "zzz", "uidx"}) {
        EXPECT_EQ(QLIBCSzListCaseFind(list, name), -1) << name;
    }
}

TEST(SzList, RefusesBadArguments) {
    List list;
    list.Fill({"a"});
    QLIBSZLIST *none = nullptr;
    const int failures[] = {
        QLIBCSzListPush(nullptr, "x"),
        QLIBCSzListPush(&none, "x"),
        QLIBCSzListPush(list.Address(), nullptr),
        QLIBCSzListInsert(nullptr, 0, "x"),
        QLIBCSzListInsert(&none, 0, "x"),
        QLIBCSzListInsert(list.Address(), -1, "x"),
        QLIBCSzListInsert(list.Address(), 0, nullptr),
        QLIBCSzListSet(nullptr, 0, "x"),
        QLIBCSzListSet(&none, 0, "x"),
        QLIBCSzListSet(list.Address(), 1, "x"),
        QLIBCSzListSet(list.Address(), -1, "x"),
        QLIBCSzListSet(list.Address(), 0, nullptr),
        QLIBCSzListRemove(nullptr, 0),
        QLIBCSzListRemove(list, 1),
        QLIBCSzListRemoveAll(nullptr),
        QLIBCSzListPop(nullptr),
        QLIBCSzListCaseFind(nullptr, "x"),
        QLIBCSzListCaseFind(list, nullptr),
        QLIBCSzListSortItems(nullptr, 0),
    };
    EXPECT_TRUE(
        std::all_of(std::begin(failures), std::end(failures), [](int r) { return r == -1; }));
    EXPECT_EQ(QLIBCErrGet(), 0x0D00);
    EXPECT_EQ(QLIBCSzListSub(nullptr, list, 0), 0);
    EXPECT_EQ(QLIBCSzListSub(list, nullptr, 0), 0);
    EXPECT_EQ(list.Items(), Texts{"a"});
    QLIBCSzListFree(nullptr);
}

// Uses up memory by limiting the address space; the sanitizers reserve more than any limit.
const bool kLimitable = !zafo::rig::IsSanitized();

class AddressSpaceLimit {
  public:
    explicit AddressSpaceLimit(size_t bytes) {
        getrlimit(RLIMIT_AS, &before_);
        const rlimit limit{.rlim_cur = bytes, .rlim_max = before_.rlim_max};
        setrlimit(RLIMIT_AS, &limit);
    }
    AddressSpaceLimit(const AddressSpaceLimit &) = delete;
    AddressSpaceLimit &operator=(const AddressSpaceLimit &) = delete;
    ~AddressSpaceLimit() { setrlimit(RLIMIT_AS, &before_); }

  private:
    rlimit before_{};
};

TEST(SzList, StaysAsItIsWhenMemoryRunsOut) {
    if (!kLimitable)
        GTEST_SKIP() << "the address sanitizer does not work with a limited address space";
    List list;
    // Larger than anything freed before, so that the heap cannot serve it.
    const std::string large(64 << 20, 'z');
    list.Fill({"first", large, "last"});
    const QLIBSZLIST *address = list;
    const QLIBSZLIST header = *address;
    const std::string text(header.cbBlock * 2, 'y');
    {
        const AddressSpaceLimit limit(1 << 20);
        QLIBCErrSet(0);
        EXPECT_EQ(QLIBCSzListPush(list.Address(), text.c_str()), -1);
        EXPECT_EQ(QLIBCErrGet(), 0x0200);
        EXPECT_EQ(QLIBCSzListInsert(list.Address(), 50000000, "x"), -1);
        EXPECT_EQ(QLIBCSzListSet(list.Address(), 0, text.c_str()), -1);
    }
    EXPECT_EQ(static_cast<QLIBSZLIST *>(list), address);
    EXPECT_EQ(list->cbText, header.cbText);
    EXPECT_EQ(list->cbHole, header.cbHole);
    EXPECT_TRUE(list.Items() == (Texts{"first", large, "last"}));
}

TEST(SzList, AnIndexNoListCanHoldIsOutOfMemory) {
    List list;
    EXPECT_EQ(QLIBCSzListInsert(list.Address(), INT_MAX, "x"), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0200);
    EXPECT_EQ(list->nItem, 0);
}

}  // namespace
