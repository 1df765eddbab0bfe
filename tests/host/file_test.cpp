// SPDX-License-Identifier: Apache-2.0
#include "platform/file.h"

#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/owners.h"
#include "tests/rig/system_log.h"

namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;
using zafo::test::Folder;
using zafo::test::List;
using zafo::test::Map;
using zafo::test::ModeOf;
using zafo::test::NewMap;
using zafo::test::ReadFile;
using zafo::test::Value;
using zafo::test::WriteFile;

class SectionFile : public testing::Test {
  protected:
    void Write(const std::string &text) { WriteFile(path_, text); }
    std::string Text() const { return ReadFile(path_); }
    int Get(const char *section, const Map &map) const {
        return QLIBCFileGetSection(path_.c_str(), section, map.get());
    }
    int Add(const char *section, const Map &map = nullptr) const {
        return QLIBCFileAddSection(path_.c_str(), section, map.get(), 0);
    }
    int Set(const char *section, const Map &map, const char *name = nullptr) const {
        return QLIBCFileSetSection(path_.c_str(), section, name, map.get(), 0);
    }
    int Remove(const char *section) const { return QLIBCFileRemoveSection(path_.c_str(), section); }

    Folder folder_;
    std::string path_ = folder_ / "test.conf";
};

TEST_F(SectionFile, GivesThePairsOfASection) {
    Write("# head\n[root]\nuri=localhost\n  ssl = start_tls\t\n\n;no\n[ other ]\nuri=b\nempty=\n");
    const Map map = NewMap();
    EXPECT_EQ(Get("root", map), 2);
    EXPECT_EQ(Value(map, "uri"), "localhost");
    EXPECT_EQ(Value(map, "ssl"), "start_tls");
    const Map other = NewMap({{"kept", "1"}, {"uri", "replaced"}});
    EXPECT_EQ(Get("other", other), 2);
    EXPECT_EQ(Value(other, "uri"), "b");
    EXPECT_EQ(Value(other, "empty"), "");
    EXPECT_EQ(Value(other, "kept"), "1");
}

TEST_F(SectionFile, AMissingOrEmptySectionIsNotFound) {
    const Map map = NewMap();
    const auto notFound = [&](const char *section) {
        QLIBCErrSet(0);
        return Get(section, map) == 0 && QLIBCErrGet() == 0x2200;
    };
    EXPECT_TRUE(notFound("root"));
    Write("");
    EXPECT_TRUE(notFound("root"));
    Write("[root]\n[b]\nk=v\n");
    EXPECT_TRUE(notFound("root"));
    EXPECT_TRUE(notFound("Root"));
}

TEST_F(SectionFile, ReadsLinesWithCarriageReturnsAndWithoutALastLineBreak) {
    Write("[a]\r\nk=v\r\nq=\"x \"\r\n[b]\r\nl=w");
    const Map map = NewMap();
    EXPECT_EQ(Get("a", map), 2);
    EXPECT_EQ(Value(map, "k"), "v");
    EXPECT_EQ(Value(map, "q"), "x ");
    EXPECT_EQ(Get("b", map), 1);
    EXPECT_EQ(Value(map, "l"), "w");
}

TEST_F(SectionFile, RoundTripsEveryValue) {
    const std::vector<std::string> values = {"",
                                             " ",
                                             " a",
                                             "a ",
                                             "\ta",
                                             "\"",
                                             "\"a\"",
                                             "a\"b",
                                             "\\",
                                             "a\\",
                                             "\\n",
                                             "a\nb",
                                             "\n",
                                             "\r\n",
                                             "# no",
                                             "; no",
                                             "a # b",
                                             "a=b",
                                             "=",
                                             "[x]",
                                             "\vx\v",
                                             "Zo\xC3\xAB",
                                             "\xFF\x80",
                                             "cn=a\\, b,dc=x",
                                             std::string(5000, 'x'),
                                             "\"a\" \"b\"",
                                             "\x01\x7F"};
    Map map = NewMap();
    for (size_t i = 0; i < values.size(); ++i) {
        QLIBCSzHashSetValue(map.get(), (std::string("k") + std::to_string(i)).c_str(),
                            values[i].c_str());
    }
    ASSERT_EQ(Add("s", map), 0);
    ASSERT_EQ(Add("t"), 0);
    ASSERT_EQ(Set("t", map), 0);
    for (const char *section : {"s", "t"}) {
        map = NewMap();
        ASSERT_EQ(Get(section, map), static_cast<int>(values.size()));
        for (size_t i = 0; i < values.size(); ++i) {
            EXPECT_EQ(Value(map, std::string("k") + std::to_string(i)), values[i]);
        }
    }
}

TEST_F(SectionFile, AChangeTouchesNothingElse) {
    const std::string head = "# head\n\n; c1\n[a]\n  k  =  v\n\n# inside\nl=\"w\"\n";
    const std::string tail = "\n# of b\n[ b ]\nk = v ; kept\n\n\n";
    Write(head + tail);
    const Map map = NewMap();
    Get("a", map);
    EXPECT_EQ(Set("a", map), 0);
    EXPECT_EQ(Text(), head + tail);
    QLIBCSzHashSetValue(map.get(), "new", "n");
    QLIBCSzHashSetValue(map.get(), "k", "v2");
    EXPECT_EQ(Set("a", map), 0);
    EXPECT_EQ(Text(), "# head\n\n; c1\n[a]\nk=v2\n\n# inside\nl=\"w\"\nnew=n\n" + tail);
}

TEST_F(SectionFile, SavingALoadedMapKeepsWhatOthersChangedMeanwhile) {
    Write("[a]\nmine=1\ntheirs=1\ngone=1\nboth=1\n");
    const Map mine = NewMap();
    const Map theirs = NewMap();
    Get("a", mine);
    Get("a", theirs);
    QLIBCSzHashSetValue(theirs.get(), "theirs", "2");
    QLIBCSzHashSetValue(theirs.get(), "added", "2");
    QLIBCSzHashSetValue(theirs.get(), "both", "2");
    EXPECT_EQ(Set("a", theirs), 0);
    QLIBCSzHashSetValue(mine.get(), "mine", "3");
    QLIBCSzHashSetValue(mine.get(), "both", "3");
    QLIBCSzHashRemoveKey(mine.get(), "gone");
    EXPECT_EQ(Set("a", mine), 0);
    EXPECT_EQ(Text(), "[a]\nmine=3\ntheirs=2\nboth=3\nadded=2\n");
}

TEST_F(SectionFile, TwoThatSaveANewSectionConcurrentlyLoseNothing) {
    const Map one = NewMap();
    const Map two = NewMap();
    EXPECT_EQ(Get("a", one), 0);
    EXPECT_EQ(Get("a", two), 0);
    EXPECT_EQ(Add("a"), 0);
    EXPECT_EQ(Add("a"), 0);
    QLIBCSzHashSetValue(one.get(), "one", "1");
    QLIBCSzHashSetValue(two.get(), "two", "2");
    EXPECT_EQ(Set("a", one), 0);
    EXPECT_EQ(Set("a", two), 0);
    EXPECT_EQ(Text(), "[a]\none=1\ntwo=2\n");
}

TEST_F(SectionFile, AnyOtherMapReplacesAllKeys) {
    Write("[a]\nk=1\nold=1\n[b]\nk=1\n");
    EXPECT_EQ(Set("a", NewMap({{"k", "2"}, {"x", "2"}})), 0);
    EXPECT_EQ(Text(), "[a]\nk=2\nx=2\n[b]\nk=1\n");
    const Map map = NewMap();
    Get("a", map);
    EXPECT_EQ(Set("b", map), 0);
    EXPECT_EQ(Text(), "[a]\nk=2\nx=2\n[b]\nk=2\nx=2\n");
}

TEST_F(SectionFile, OfRepeatedSectionsAndKeysTheLastCounts) {
    Write("[a]\nk=1\nk=2\n[b]\n[a]\nl=1\nk=3\n");
    Map map = NewMap();
    EXPECT_EQ(Get("a", map), 2);
    EXPECT_EQ(Value(map, "k"), "3");
    QLIBCSzHashSetValue(map.get(), "k", "4");
    EXPECT_EQ(Set("a", map), 0);
    map = NewMap();
    Get("a", map);
    EXPECT_EQ(Value(map, "k"), "4");
    QLIBCSzHashRemoveKey(map.get(), "k");
    EXPECT_EQ(Set("a", map), 0);
    EXPECT_EQ(Text(), "[a]\n[b]\n[a]\nl=1\n");
}

TEST_F(SectionFile, AddsASectionOnce) {
    EXPECT_EQ(Add("a", NewMap({{"k", "v"}})), 0);
    EXPECT_EQ(Add("b"), 0);
    EXPECT_EQ(Add("a", NewMap({{"k", "other"}})), 0);
    EXPECT_EQ(Text(), "[a]\nk=v\n\n[b]\n");
}

TEST_F(SectionFile, RenamesASection) {
    Write("[a]\nk=v\n[b]\n");
    const Map map = NewMap();
    Get("a", map);
    EXPECT_EQ(Set("a", map, "c d"), 0);
    EXPECT_EQ(Text(), "[c d]\nk=v\n[b]\n");
    EXPECT_EQ(Set("c d", NewMap(), "b"), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0D00);
    EXPECT_EQ(Text(), "[c d]\nk=v\n[b]\n");
}

TEST_F(SectionFile, SettingAMissingSectionFails) {
    EXPECT_EQ(Set("a", NewMap()), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x2200);
    Write("[b]\n");
    QLIBCErrSet(0);
    EXPECT_EQ(Set("a", NewMap({{"k", "v"}})), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x2200);
    EXPECT_EQ(Text(), "[b]\n");
}

TEST_F(SectionFile, RemovesASectionWithTheCommentsRightAboveIt) {
    Write("# head\n\n# of a\n; of a\n[a]\nk=v\n# in a\n\n# of b\n[b]\nk=v\n");
    EXPECT_EQ(Remove("a"), 1);
    EXPECT_EQ(Text(), "# head\n\n# of b\n[b]\nk=v\n");
    EXPECT_EQ(Remove("a"), 0);
    EXPECT_EQ(Remove("b"), 1);
    EXPECT_EQ(Text(), "# head\n\n");
    unlink(path_.c_str());
    EXPECT_EQ(Remove("a"), 0);
}

TEST_F(SectionFile, NamesItsSectionsInFileOrder) {
    List list;
    EXPECT_EQ(QLIBCFileEnumSection(path_.c_str(), list.Address()), 0);
    Write("[b]\n[a]\nk=v\n[ c d ]\n[b]\n[e]f]\n");
    EXPECT_EQ(QLIBCFileEnumSection(path_.c_str(), list.Address()), 4);
    EXPECT_THAT(list.Items(), ElementsAre("b", "a", "c d", "e]f"));
}

struct DamageRow {
    std::string text;
    int line;
};

TEST_F(SectionFile, ADamagedFileIsRefusedNamedInTheLogAndLeftAsItIs) {
    const DamageRow rows[] = {{"[a]\nno pair\n", 2},
                              {"k=v\n[a]\n", 1},
                              {"[a]\nk=\"open\n", 2},
                              {"[a\n", 1},
                              {"[a]\n[]\n", 2},
                              {"[a] x\n", 1},
                              {"[a]\nk=\"a\" b\n", 2},
                              {"[a]\nk=\"\\x\"\n", 2},
                              {"[a]\nk=\"a\\\n", 2},
                              {"[a]\n=v\n", 2},
                              {std::string("[a]\nk=\0v\n", 9), 2},
                              {std::string("# \0\n", 4), 1},
                              {"\n\n[a]\n\xFF\xFE\n", 4}};
    auto &log = zafo::rig::SystemLog::Get();
    for (const DamageRow &row : rows) {
        SCOPED_TRACE(row.text);
        Write(row.text);
        log.Clear();
        QLIBCErrSet(0);
        EXPECT_EQ(Get("a", NewMap()), -1);
        EXPECT_EQ(QLIBCErrGet(), 0x0F00);
        const std::vector<std::string> messages = log.Messages();
        ASSERT_EQ(messages.size(), 1U);
        EXPECT_TRUE(messages[0].starts_with("file.cpp:")) << messages[0];
        EXPECT_NE(messages[0].find("[" + path_ + "] line " + std::to_string(row.line) + ":"),
                  std::string::npos)
            << messages[0];
        EXPECT_EQ(log.Priorities(), std::vector<int>{LOG_USER | LOG_ERR});
        List list;
        EXPECT_EQ(Add("b"), -1);
        EXPECT_EQ(Set("a", NewMap()), -1);
        EXPECT_EQ(Remove("a"), -1);
        EXPECT_EQ(QLIBCFileEnumSection(path_.c_str(), list.Address()), -1);
        EXPECT_EQ(QLIBCErrGet(), 0x0F00);
        EXPECT_EQ(Text(), row.text);
    }
}

TEST_F(SectionFile, OnlyRegularFilesCanBeRead) {
    std::filesystem::create_directory(path_);
    EXPECT_EQ(Get("a", NewMap()), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0900);
    std::filesystem::remove(path_);
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    QLIBCErrSet(0);
    EXPECT_EQ(Get("a", NewMap()), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0900);
}

TEST_F(SectionFile, RefusesNamesThatCannotBeReadBack) {
    for (const char *name : {"", " a", "a ", "a\nb", "\t"}) {
        SCOPED_TRACE(name);
        QLIBCErrSet(0);
        EXPECT_EQ(Add(name), -1);
        EXPECT_EQ(QLIBCErrGet(), 0x0D00);
    }
    for (const char *key : {"", " k", "k ", "a=b", "#k", ";k", "[k", "a\nb"}) {
        SCOPED_TRACE(key);
        QLIBCErrSet(0);
        EXPECT_EQ(Add("a", NewMap({{key, "v"}})), -1);
        EXPECT_EQ(QLIBCErrGet(), 0x0D00);
    }
    EXPECT_FALSE(std::filesystem::exists(path_));
    for (const char *name : {"]", "[", "a]b", "#a", "a=b", "Zo\xC3\xAB", "100%n"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(Add(name, NewMap({{"k", name}})), 0);
        const Map map = NewMap();
        EXPECT_EQ(Get(name, map), 1);
        EXPECT_EQ(Value(map, "k"), name);
    }
}

TEST_F(SectionFile, RefusesBadArguments) {
    const Map map = NewMap();
    List list;
    QLIBSZLIST *none = nullptr;
    const char *path = path_.c_str();
    const int results[] = {
        QLIBCFileGetSection(nullptr, "a", map.get()),
        QLIBCFileGetSection(path, nullptr, map.get()),
        QLIBCFileGetSection(path, "a", nullptr),
        QLIBCFileAddSection(nullptr, "a", nullptr, 0),
        QLIBCFileAddSection(path, nullptr, nullptr, 0),
        QLIBCFileAddSection(path, "a", nullptr, 1),
        QLIBCFileSetSection(nullptr, "a", nullptr, map.get(), 0),
        QLIBCFileSetSection(path, nullptr, nullptr, map.get(), 0),
        QLIBCFileSetSection(path, "a", nullptr, nullptr, 0),
        QLIBCFileSetSection(path, "a", nullptr, map.get(), 1),
        QLIBCFileSetSection(path, "a", "", map.get(), 0),
        QLIBCFileGetPair(nullptr, map.get()),
        QLIBCFileGetPair(path, nullptr),
        QLIBCFileEnumSection(nullptr, list.Address()),
        QLIBCFileEnumSection(path, nullptr),
        QLIBCFileEnumSection(path, &none),
        QLIBCFileRemoveSection(nullptr, "a"),
        QLIBCFileRemoveSection(path, nullptr),
    };
    EXPECT_THAT(results, testing::Each(-1));
    EXPECT_EQ(QLIBCErrGet(), 0x0D00);
    EXPECT_TRUE(folder_.Names().empty());
}

TEST(PairFile, GivesThePairsAndSkipsOtherLines) {
    const Folder folder;
    const std::string path = folder / "pairs";
    WriteFile(path,
              "status=1\n task = backup now \n\nno pair\n# c=d\nq=\" x \"\nopen=\"y\n=z\nlast=2");
    const Map map = NewMap({{"kept", "1"}});
    EXPECT_EQ(QLIBCFileGetPair(path.c_str(), map.get()), 5);
    EXPECT_EQ(Value(map, "status"), "1");
    EXPECT_EQ(Value(map, "task"), "backup now");
    EXPECT_EQ(Value(map, "q"), " x ");
    EXPECT_EQ(Value(map, "open"), "\"y");
    EXPECT_EQ(Value(map, "last"), "2");
    EXPECT_EQ(Value(map, "kept"), "1");
}

TEST(PairFile, DistinguishesEmptyMissingAndUnreadableFiles) {
    const Folder folder;
    WriteFile(folder / "empty", "");
    const Map map = NewMap();
    EXPECT_EQ(QLIBCFileGetPair((folder / "empty").c_str(), map.get()), 0);
    EXPECT_EQ(QLIBCFileGetPair((folder / "absent").c_str(), map.get()), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0900);
    EXPECT_EQ(QLIBCFileGetPair(folder.Path().c_str(), map.get()), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0A00);
}

}  // namespace
