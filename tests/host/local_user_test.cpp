// SPDX-License-Identifier: Apache-2.0
//
// Reading users from the system's own files.
#include "tests/host/account_fixture.h"

namespace {

using namespace zafo::test;
using testing::ElementsAre;

class LocalUser : public LocalAccounts {
  protected:
    static std::vector<std::string> Names() {
        List list;
        const int count = ZAFOUserEnum(list.Address(), ZAFO_ACCOUNT_LOCAL);
        EXPECT_EQ(count, list->nItem);
        return list.Items();
    }
    static void AddPasswd(const std::string &lines) {
        WriteFile("/etc/passwd", ReadFile("/etc/passwd") + lines);
    }
    static void SetShadow(const std::string &fields) {
        WriteFile("/etc/shadow", "alice:" + fields + "\n");
    }
    static long Today() { return static_cast<long>(time(nullptr) / 86400); }
};

TEST_F(LocalUser, HasEverythingThatTheFilesSay) {
    WriteFile(kAccountConf, "[mail]\nalice=a@example.com\n");
    ASSERT_EQ(Get("alice"), 0);
    EXPECT_STREQ(user_->szName, "alice");
    EXPECT_STREQ(user_->szPasswd, kHash);
    EXPECT_EQ(user_->pw_uid, 1000U);
    EXPECT_EQ(user_->pw_gid, 1000U);
    EXPECT_STREQ(user_->szFullname, "Alice Liddell");
    EXPECT_STREQ(user_->pw_dir, "/home/alice");
    EXPECT_STREQ(user_->pw_shell, "/bin/bash");
    EXPECT_EQ(user_->nExpire, 20000);
    EXPECT_EQ(user_->blDisallowChangePasswd, 0);
    EXPECT_STREQ(user_->szMail, "a@example.com");
    EXPECT_EQ(user_->nType, ZAFO_ACCOUNT_LOCAL);
}

TEST_F(LocalUser, WithoutAddressHasNone) {
    ASSERT_EQ(Get("alice"), 0);
    EXPECT_EQ(user_->szMail, nullptr);
}

TEST_F(LocalUser, IsFoundByNumber) {
    ASSERT_EQ(ZAFOUserGetLocalByUID(1000, &user_), 0);
    EXPECT_STREQ(user_->szName, "alice");
}

TEST_F(LocalUser, IsListedWhenItIsAnOrdinaryOne) {
    AddPasswd(
        "low:x:999:1000::/:\nlast:x:60000:1000::/:\nhigh:x:60001:1000::/:\n"
        "moved:x:1000001:1000::/:\nend:x:2097151:1000::/:\nbeyond:x:2097152:1000::/:\n");
    EXPECT_THAT(Names(), ElementsAre("alice", "last", "moved", "end"));
}

TEST_F(LocalUser, IsOrdinaryAsLoginDefsSay) {
    AddPasswd("old:x:500:1000::/:\n");
    WriteFile("/etc/login.defs", "UID_MIN 1000\n# UID_MAX 1\n UID_MIN\t500 \nUID_MAX\t999\n");
    EXPECT_THAT(Names(), ElementsAre("old"));
    WriteFile("/etc/login.defs", "UID_MIN many\nUID_MAXIMUM 1\nUID_MAX\n");
    EXPECT_THAT(Names(), ElementsAre("alice"));
    std::filesystem::remove("/etc/login.defs");
    EXPECT_THAT(Names(), ElementsAre("alice"));
}

TEST_F(LocalUser, OfTheSystemIsFoundSoThatItsNameAndNumberAreTaken) {
    EXPECT_EQ(Get("daemon"), 0);
    EXPECT_EQ(ZAFOUserGetLocal("root", &user_), 0);
    ASSERT_EQ(ZAFOUserGetLocalByUID(65534, &user_), 0);
    EXPECT_STREQ(user_->szName, "nobody");
}

TEST_F(LocalUser, ThatDoesNotExistLeavesTheRecordAsItWas) {
    ASSERT_EQ(Get("alice"), 0);
    for (const char *name : {"bob", "Alice", "alic", "alice:x", "", "alice\nroot"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(Get(name), QLIB_ERR_NO_SUCH_USER);
    }
    EXPECT_EQ(ErrorOf([&] { return ZAFOUserGetLocalByUID(7, &user_); }), QLIB_ERR_NO_SUCH_USER);
    EXPECT_EQ(ErrorOf([&] { return ZAFOUserGetLocal("bob", &user_); }), QLIB_ERR_NO_SUCH_USER);
    EXPECT_STREQ(user_->szName, "alice");
}

TEST_F(LocalUser, IsFoundAmongDamagedLinesAndLookups) {
    WriteFile("/etc/passwd",
              "\n:x:1000:1000::/:\nalice\nalice:x:1000\nalice:x:many:1000:::\n"
              "alice:x:4294967296:1000:::\nalice:x:4294967295:1000:::\n"
              "alice:x:1000:1000:A:/:/:/\n#alice:x:1:1:::\n+alice:x:1000:1000:::\n"
              "-@group:x:1000:1000:::\nalice:x:1000:1000:Right:/home:/bin/sh");
    ASSERT_EQ(Get("alice"), 0);
    EXPECT_STREQ(user_->szFullname, "Right");
    EXPECT_THAT(Names(), ElementsAre("alice"));
}

TEST_F(LocalUser, ThatNeedsNoPasswordIsLockedElsewhere) {
    SetShadow(":19000:0:99999:7:::");
    ASSERT_EQ(Get("alice"), 0);
    EXPECT_STREQ(user_->szPasswd, "!");
    WriteFile("/etc/passwd", "alice::1000:1000::/:\n");
    ASSERT_EQ(Get("alice"), 0);
    EXPECT_STREQ(user_->szPasswd, "!");
}

TEST_F(LocalUser, KeepsTheHashOfALockedPassword) {
    for (const std::string &hash : {std::string("*"), std::string("!"), "!" + std::string(kHash)}) {
        SetShadow(hash + ":19000:0:99999:7:::");
        ASSERT_EQ(Get("alice"), 0);
        EXPECT_EQ(user_->szPasswd, hash);
    }
}

TEST_F(LocalUser, WithoutAShadowLineIsLocked) {
    WriteFile("/etc/shadow", "root:*:::::::\n");
    ASSERT_EQ(Get("alice"), 0);
    EXPECT_STREQ(user_->szPasswd, "!");
    std::filesystem::remove("/etc/shadow");
    ASSERT_EQ(Get("alice"), 0);
    EXPECT_STREQ(user_->szPasswd, "!");
    EXPECT_EQ(user_->nExpire, 0);
}

TEST_F(LocalUser, HasTheHashOfTheOldPlaceToo) {
    WriteFile("/etc/passwd", "alice:" + std::string(kHash) + ":1000:1000::/:\n");
    ASSERT_EQ(Get("alice"), 0);
    EXPECT_STREQ(user_->szPasswd, kHash);
}

TEST_F(LocalUser, IsNotReadWithHalfOfItsFiles) {
    std::filesystem::remove("/etc/shadow");
    std::filesystem::create_directory("/etc/shadow");
    EXPECT_EQ(Get("alice"), QLIB_ERR_OPEN_FAILED);
    std::filesystem::remove("/etc/shadow");
    WriteFile(kAccountConf, "damaged");
    EXPECT_EQ(Get("alice"), QLIB_ERR_BAD_FORMAT);
    std::filesystem::remove("/etc/passwd");
    EXPECT_EQ(Get("alice"), QLIB_ERR_OPEN_FAILED);
    List list;
    EXPECT_EQ(ZAFOUserEnum(list.Address(), ZAFO_ACCOUNT_LOCAL), -1);
}

TEST_F(LocalUser, MayNotChangeAPasswordThatIsTooYoung) {
    struct Case {
        std::string changed, least;
        int expected;
    };
    const std::string today = std::to_string(Today());
    const std::string yesterday = std::to_string(Today() - 1);
    for (const auto &[changed, least, expected] :
         {Case{today, "1", 1}, Case{today, "99999", 1}, Case{yesterday, "2", 1},
          Case{yesterday, "1", 0}, Case{today, "0", 0}, Case{today, "", 0}, Case{"", "99999", 0},
          Case{"0", "99999", 1}, Case{"x", "1", 0}, Case{today, "-1", 0}}) {
        SCOPED_TRACE(changed + ":" + least);
        SetShadow("*:" + changed + ":" + least + ":99999:7:::");
        ASSERT_EQ(Get("alice"), 0);
        EXPECT_EQ(user_->blDisallowChangePasswd, expected);
    }
}

TEST_F(LocalUser, WithoutADayOfExpiryHasZero) {
    for (const char *expires : {"", "-1", "0", "never", "99999999999999999999"}) {
        SCOPED_TRACE(expires);
        SetShadow("*:19000:0:99999:7::" + std::string(expires) + ":");
        ASSERT_EQ(Get("alice"), 0);
        EXPECT_EQ(user_->nExpire, 0);
    }
    SetShadow("*");
    ASSERT_EQ(Get("alice"), 0);
    EXPECT_EQ(user_->nExpire, 0);
}

TEST_F(LocalUser, HasTheFirstGecosPartAsItsNameVerbatim) {
    AddPasswd("s:x:1005:1000:Smith & Sons,,:/:\nn:x:1006:1000::/:\n");
    ASSERT_EQ(Get("s"), 0);
    EXPECT_STREQ(user_->szFullname, "Smith & Sons");
    ASSERT_EQ(Get("n"), 0);
    EXPECT_STREQ(user_->szFullname, "");
}

TEST_F(LocalUser, HasTheStoredFullNameUntilAnotherProgramChangesIt) {
    WriteFile(kAccountConf, "[full-name]\nalice=Liddell, Alice\n");
    WriteFile("/etc/passwd", "alice:x:1000:1000:Liddell  Alice:/:/bin/sh\n");
    ASSERT_EQ(Get("alice"), 0);
    EXPECT_STREQ(user_->szFullname, "Liddell, Alice");
    WriteFile("/etc/passwd", "alice:x:1000:1000:Alice Hargreaves:/:/bin/sh\n");
    ASSERT_EQ(Get("alice"), 0);
    EXPECT_STREQ(user_->szFullname, "Alice Hargreaves");
}

TEST_F(LocalUser, IsNotAskedForWithoutArguments) {
    List list;
    EXPECT_EQ(ZAFOUserEnum(nullptr, ZAFO_ACCOUNT_LOCAL), -1);
    EXPECT_EQ(ZAFOUserEnum(list.Address(), ZAFO_ACCOUNT_DIRECTORY), -1);
    EXPECT_EQ(Get(nullptr), QLIB_ERR_BAD_ARGUMENT);
    for (const auto &call : {+[] { return ZAFOUserGet("alice", nullptr); },
                             +[] { return ZAFOUserGetLocal("alice", nullptr); },
                             +[] { return ZAFOUserGetLocalByUID(0, nullptr); }}) {
        EXPECT_EQ(ErrorOf(call), QLIB_ERR_BAD_ARGUMENT);
    }
}

TEST_F(LocalUser, LeavesNoDescriptorOpen) {
    const size_t before = OpenDescriptors();
    EXPECT_EQ(Get("alice"), 0);
    EXPECT_EQ(Get("bob"), QLIB_ERR_NO_SUCH_USER);
    EXPECT_EQ(Add(Bob()), 0);
    EXPECT_EQ(Add(Bob()), QLIB_ERR_BAD_ARGUMENT);
    EXPECT_EQ(OpenDescriptors(), before);
}

}  // namespace
