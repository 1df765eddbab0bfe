// SPDX-License-Identifier: Apache-2.0
#include "platform/szhash.h"

#include <climits>

#include <gtest/gtest.h>

#include "tests/host/owners.h"

namespace {

using zafo::test::Map;
using zafo::test::NewMap;
using zafo::test::Value;

TEST(SzHash, AnyCapacityIsAHint) {
    for (const int capacity : {INT_MIN, -1, 0, 1, 1024, INT_MAX}) {
        SCOPED_TRACE(capacity);
        const Map map(QLIBCSzHashAlloc(capacity));
        ASSERT_NE(map, nullptr);
        EXPECT_EQ(QLIBCSzHashSetValue(map.get(), "k", "v"), 0);
    }
}

TEST(SzHash, KeysAreCaseSensitive) {
    const Map map = NewMap({{"uri", "a"}, {"URI", "b"}});
    EXPECT_EQ(Value(map, "uri"), "a");
    EXPECT_EQ(Value(map, "URI"), "b");
    EXPECT_EQ(Value(map, "Uri"), "(none)");
}

TEST(SzHash, SettingReplaces) {
    const Map map = NewMap({{"k", "old"}, {"k", "new"}});
    EXPECT_EQ(Value(map, "k"), "new");
}

TEST(SzHash, KeepsCopies) {
    const Map map = NewMap();
    char key[] = "k";
    char value[] = "v";
    QLIBCSzHashSetValue(map.get(), key, value);
    key[0] = value[0] = 'x';
    EXPECT_EQ(Value(map, "k"), "v");
}

TEST(SzHash, AValueOfTheMapCanBeStoredUnderAnotherOrTheSameKey) {
    const Map map = NewMap({{"a", "a value longer than any short string's own buffer"}});
    const std::string expected = Value(map, "a");
    EXPECT_EQ(QLIBCSzHashSetValue(map.get(), "b", QLIBCSzHashGetValue(map.get(), "a")), 0);
    EXPECT_EQ(QLIBCSzHashSetValue(map.get(), "a", QLIBCSzHashGetValue(map.get(), "a") + 2), 0);
    EXPECT_EQ(Value(map, "b"), expected);
    EXPECT_EQ(Value(map, "a"), expected.substr(2));
}

TEST(SzHash, RemovingAMissingKeySucceeds) {
    const Map map = NewMap({{"k", "v"}});
    EXPECT_EQ(QLIBCSzHashRemoveKey(map.get(), "k"), 0);
    EXPECT_EQ(QLIBCSzHashRemoveKey(map.get(), "k"), 0);
    EXPECT_EQ(Value(map, "k"), "(none)");
}

TEST(SzHash, HoldsEmptyKeysAndValues) {
    const Map map = NewMap({{"", ""}});
    EXPECT_EQ(Value(map, ""), "");
}

TEST(SzHash, AnAbsentKeyIsNotAnError) {
    const Map map = NewMap();
    QLIBCErrSet(QLIB_ERR_NONE);
    EXPECT_EQ(QLIBCSzHashGetValue(map.get(), "k"), nullptr);
    EXPECT_EQ(QLIBCErrGet(), QLIB_ERR_NONE);
}

TEST(SzHash, RefusesNullArguments) {
    const Map map = NewMap();
    const auto refused = [](int result) { return result == -1 && QLIBCErrGet() == 0x0D00; };
    QLIBCErrSet(0);
    EXPECT_TRUE(refused(QLIBCSzHashSetValue(nullptr, "k", "v")));
    QLIBCErrSet(0);
    EXPECT_TRUE(refused(QLIBCSzHashSetValue(map.get(), nullptr, "v")));
    QLIBCErrSet(0);
    EXPECT_TRUE(refused(QLIBCSzHashSetValue(map.get(), "k", nullptr)));
    QLIBCErrSet(0);
    EXPECT_TRUE(refused(QLIBCSzHashRemoveKey(nullptr, "k")));
    QLIBCErrSet(0);
    EXPECT_TRUE(refused(QLIBCSzHashRemoveKey(map.get(), nullptr)));
    EXPECT_EQ(QLIBCSzHashGetValue(nullptr, "k"), nullptr);
    EXPECT_EQ(QLIBCSzHashGetValue(map.get(), nullptr), nullptr);
    QLIBCSzHashFree(nullptr);
}

}  // namespace
