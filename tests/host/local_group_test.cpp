// SPDX-License-Identifier: Apache-2.0
//
// Groups in the system's own files.
#include <signal.h>
#include <sys/resource.h>

#include "tests/host/account_fixture.h"

namespace {

using namespace zafo::test;
using testing::ElementsAre;
using testing::IsEmpty;

class LocalGroup : public LocalAccounts {
  protected:
    ~LocalGroup() override { free(description_); }

    static std::vector<std::string> Names() {
        List list;
        const int count = ZAFOGroupEnum(list.Address(), ZAFO_ACCOUNT_LOCAL);
        EXPECT_EQ(count, list->nItem);
        return list.Items();
    }
    int Describe(const char *name) {
        return ErrorOf([&] { return ZAFOGroupDescGet(name, &description_, &size_); });
    }
    static std::string Everything() {
        return ReadFile("/etc/group") + "\f" + ReadFile("/etc/gshadow") + "\f" +
               ReadFile(kAccountConf);
    }

    char *description_ = nullptr;
    size_t size_ = 0;
};

TEST_F(LocalGroup, HasItsNumberAndMembers) {
    ASSERT_EQ(GetGroup("staff"), 0);
    EXPECT_STREQ(group_->szName, "staff");
    EXPECT_EQ(group_->nGid, 1000U);
    EXPECT_EQ(group_->nType, ZAFO_ACCOUNT_LOCAL);
    EXPECT_THAT(Members(), ElementsAre("alice", "bob"));
    ASSERT_EQ(ZAFOGroupGetLocalByGID(100, &group_), 0);
    EXPECT_STREQ(group_->szName, "users");
    EXPECT_THAT(Members(), IsEmpty());
}

TEST_F(LocalGroup, IsListedWhenItIsAnOrdinaryOne) {
    WriteFile("/etc/group", ReadFile("/etc/group") +
                                "low:x:999:\nlast:x:60000:\nhigh:x:60001:\nmoved:x:1000001:\n");
    EXPECT_THAT(Names(), ElementsAre("staff", "last", "moved"));
    WriteFile("/etc/login.defs", "GID_MIN 100\nGID_MAX 999\nUID_MIN 1\n");
    EXPECT_THAT(Names(), ElementsAre("users", "low", "moved"));
}

TEST_F(LocalGroup, OfTheSystemIsFoundSoThatItsNameAndNumberAreTaken) {
    EXPECT_EQ(ErrorOf([&] { return ZAFOGroupGetLocal("daemon", &group_); }), 0);
    EXPECT_EQ(ErrorOf([&] { return ZAFOGroupGetLocalByGID(0, &group_); }), 0);
}

TEST_F(LocalGroup, ThatDoesNotExistLeavesTheRecordAsItWas) {
    ASSERT_EQ(GetGroup("staff"), 0);
    EXPECT_EQ(GetGroup("team"), QLIB_ERR_NO_SUCH_GROUP);
    EXPECT_EQ(ErrorOf([&] { return ZAFOGroupGetLocal("Staff", &group_); }), QLIB_ERR_NO_SUCH_GROUP);
    EXPECT_EQ(ErrorOf([&] { return ZAFOGroupGetLocalByGID(7, &group_); }), QLIB_ERR_NO_SUCH_GROUP);
    EXPECT_STREQ(group_->szName, "staff");
}

TEST_F(LocalGroup, IsFoundAmongDamagedLinesAndLookups) {
    WriteFile("/etc/group",
              "team\nteam:x\nteam:x:many:\nteam:x:4294967295:\nteam:x:1005:a:b\n"
              "+team:x:1005:\n#team:x:1005:\nteam:x:1006:,a,,b,");
    ASSERT_EQ(GetGroup("team"), 0);
    EXPECT_EQ(group_->nGid, 1006U);
    EXPECT_THAT(Members(), ElementsAre("a", "b"));
}

TEST_F(LocalGroup, IsMadeWithMembersWhoDoNotExistYet) {
    ASSERT_EQ(AddGroup("team", 1000001, {"carol", "alice", "carol"}), 0);
    EXPECT_EQ(Line("/etc/group", "team"), "team:x:1000001:carol,alice");
    EXPECT_EQ(Line("/etc/gshadow", "team"), "team:!::carol,alice");
    ASSERT_EQ(GetGroup("team"), 0);
    EXPECT_THAT(Members(), ElementsAre("carol", "alice"));
    EXPECT_EQ(ModeOf("/etc/group"), 0644U);
    EXPECT_EQ(ModeOf("/etc/gshadow"), 0640U);
    EXPECT_EQ(Run("useradd -N -M -g 1000 -u 1002 carol && id -Gn carol | grep -q team"), 0);
}

TEST_F(LocalGroup, HasTheNamesThatDirectoriesHave) {
    uint32_t gid = 2000;
    for (const std::string name : {"Domain Users", "Directory Operators", "größe", "a.b", "R&D"}) {
        SCOPED_TRACE(name);
        ASSERT_EQ(AddGroup(name, ++gid), 0);
        ASSERT_EQ(ZAFOGroupGetLocalByGID(gid, &group_), 0);
        EXPECT_EQ(group_->szName, name);
    }
    EXPECT_EQ(Run("getent group 'Domain Users' >/dev/null"), 0);
}

TEST_F(LocalGroup, NeedsNoShadowFile) {
    std::filesystem::remove("/etc/gshadow");
    ASSERT_EQ(AddGroup("team", 1001), 0);
    EXPECT_EQ(Line("/etc/group", "team"), "team:x:1001:");
    EXPECT_FALSE(std::filesystem::exists("/etc/gshadow"));
}

TEST_F(LocalGroup, HoldsManyMembers) {
    std::vector<std::string> members;
    for (int i = 0; i < 5000; ++i)
        members.push_back("member.number." + std::to_string(i));
    ASSERT_EQ(AddGroup("team", 1001, members), 0);
    ASSERT_EQ(GetGroup("team"), 0);
    EXPECT_EQ(Members(), members);
}

TEST_F(LocalGroup, IsRefusedAndNothingIsWritten) {
    const std::string before = Everything();
    struct Case {
        const char *name;
        uint32_t gid;
        std::vector<std::string> members;
    };
    for (const auto &[name, gid, members] :
         {Case{"staff", 1001, {}}, Case{"daemon", 1001, {}}, Case{"team", 1000, {}},
          Case{"team", 0, {}}, Case{"team", 27, {}}, Case{"team", 65534, {}},
          Case{"team", GID_ERR, {}}, Case{"te:am", 1001, {}}, Case{"te\nam", 1001, {}},
          Case{"+team", 1001, {}}, Case{"", 1001, {}}, Case{"team", 1001, {"a,root"}},
          Case{"team", 1001, {"a:b"}}, Case{"team", 1001, {"a\nroot:x:0:a"}},
          Case{"team", 1001, {"alice", ""}}}) {
        SCOPED_TRACE(std::string(name) + " " + std::to_string(gid));
        EXPECT_EQ(AddGroup(name, gid, members), QLIB_ERR_BAD_ARGUMENT);
        EXPECT_EQ(Everything(), before);
    }
    EXPECT_EQ(ErrorOf([] { return ZAFOGroupSet(0, nullptr); }), QLIB_ERR_BAD_ARGUMENT);
    EXPECT_EQ(ErrorOf([&] { return ZAFOGroupSet(1, group_); }), QLIB_ERR_BAD_ARGUMENT);
}

TEST_F(LocalGroup, DoesNotExistWhenItsFilesCannotBeWritten) {
    const std::string before = Everything();
    EXPECT_TRUE(InProcesses(1, [&](int) {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{16, 16};
        setrlimit(RLIMIT_FSIZE, &limit);
        return AddGroup("team", 1001) == QLIB_ERR_WRITE_FAILED ? 0 : 1;
    }));
    EXPECT_EQ(Everything(), before);
}

TEST_F(LocalGroup, IsNotReadWithoutItsFile) {
    std::filesystem::remove("/etc/group");
    List list;
    EXPECT_EQ(ErrorOf([&] { return ZAFOGroupEnum(list.Address(), ZAFO_ACCOUNT_LOCAL); }),
              QLIB_ERR_OPEN_FAILED);
    EXPECT_EQ(GetGroup("staff"), QLIB_ERR_OPEN_FAILED);
    EXPECT_EQ(Describe("staff"), QLIB_ERR_OPEN_FAILED);
    EXPECT_EQ(AddGroup("team", 1001), QLIB_ERR_OPEN_FAILED);
}

TEST_F(LocalGroup, HasItsDescriptionInABufferThatGrows) {
    WriteFile(kAccountConf, "[description]\nstaff=" + std::string(3000, 'd') + "\nusers=all\n");
    ASSERT_EQ(Describe("users"), 0);
    EXPECT_STREQ(description_, "all");
    ASSERT_EQ(Describe("staff"), 0);
    EXPECT_EQ(description_, std::string(3000, 'd'));
    EXPECT_EQ(size_, 3001U);
    ASSERT_EQ(Describe("users"), 0);
    EXPECT_STREQ(description_, "all");
    EXPECT_EQ(size_, 3001U);
}

TEST_F(LocalGroup, WithoutDescriptionHasAnEmptyOne) {
    ASSERT_EQ(Describe("staff"), 0);
    EXPECT_STREQ(description_, "");
}

TEST_F(LocalGroup, HasNoDescriptionOfAnEarlierGroupOfTheName) {
    WriteFile(kAccountConf, "[description]\nteam=an old one\nstaff=Staff\n");
    ASSERT_EQ(AddGroup("team", 1001), 0);
    ASSERT_EQ(Describe("team"), 0);
    EXPECT_STREQ(description_, "");
    ASSERT_EQ(Describe("staff"), 0);
    EXPECT_STREQ(description_, "Staff");
}

TEST_F(LocalGroup, IsNotDescribedWhenThereIsNoneOrTheFileIsDamaged) {
    EXPECT_EQ(Describe("team"), QLIB_ERR_NO_SUCH_GROUP);
    WriteFile(kAccountConf, "damaged");
    EXPECT_EQ(Describe("staff"), QLIB_ERR_BAD_FORMAT);
    EXPECT_EQ(description_, nullptr);
}

TEST_F(LocalGroup, IsNotAskedForWithoutArguments) {
    List list;
    EXPECT_EQ(ZAFOGroupEnum(nullptr, ZAFO_ACCOUNT_LOCAL), -1);
    EXPECT_EQ(ZAFOGroupEnum(list.Address(), ZAFO_ACCOUNT_DIRECTORY), -1);
    EXPECT_EQ(GetGroup(nullptr), QLIB_ERR_BAD_ARGUMENT);
    EXPECT_EQ(Describe(nullptr), QLIB_ERR_BAD_ARGUMENT);
    EXPECT_EQ(ErrorOf([] { return ZAFOGroupGetLocalByGID(0, nullptr); }), QLIB_ERR_BAD_ARGUMENT);
    EXPECT_EQ(ErrorOf([] { return ZAFOGroupDescGet("staff", nullptr, nullptr); }),
              QLIB_ERR_BAD_ARGUMENT);
}

}  // namespace
