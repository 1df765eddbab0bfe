// SPDX-License-Identifier: Apache-2.0
//
// Stored passwords of local users: crypt hashes, Samba hashes; and the number of users allowed.
#include <thread>

#include "tests/host/account_fixture.h"

namespace {

using namespace zafo::test;
using testing::HasSubstr;
using testing::MatchesRegex;

const std::string kNone(32, 'X');
const std::string kLm = "E52CAC67419A9A224A3B108F3FA6CB6D";
const std::string kNt = "8846f7eaee8fb117ad06bdd830b7586c";

class LocalPassword : public LocalAccounts {
  protected:
    // The two hashes separated by a blank, or the platform error.
    static std::string Samba(const char *name) {
        char lm[33] = "untouched";
        char nt[33] = "untouched";
        const int error =
            ErrorOf([&] { return QLIBUserSmbPasswdGet(name, lm, sizeof lm, nt, sizeof nt); });
        return error == 0 ? std::string(lm) + " " + nt : std::to_string(error);
    }
    static void WriteSamba(const std::string &line) {
        std::filesystem::create_directories("/usr/zafo/etc/private");
        WriteFile(kSmbPasswd, line + "\n");
    }
    static bool HaveProgram(const std::string &name) {
        return Run("command -v " + name + " >/dev/null") == 0;
    }
};

TEST_F(LocalPassword, IsImportedWithBothSambaHashes) {
    ASSERT_EQ(Import("alice", "$6$new$hash", kLm, kNt), 0);
    EXPECT_EQ(Samba("alice"), kLm + " " + kNt);
    const std::string today = std::to_string(time(nullptr) / 86400);
    EXPECT_EQ(Line("/etc/shadow", "alice"), "alice:$6$new$hash:" + today + ":0:99999:7::20000:");
    EXPECT_THAT(Line(kSmbPasswd, "alice"), MatchesRegex("alice:1000:" + kLm + ":" + kNt +
                                                        ":\\[U          \\]:LCT-[0-9A-F]{8}:"));
    EXPECT_EQ(ModeOf(kSmbPasswd), 0600U);
    EXPECT_EQ(ModeOf("/etc/shadow"), 0640U);
}

TEST_F(LocalPassword, IsNotTouchedByAnEmptyHash) {
    const std::string shadow = ReadFile("/etc/shadow");
    ASSERT_EQ(Import("alice", "", "", kNt), 0);
    EXPECT_EQ(ReadFile("/etc/shadow"), shadow);
    EXPECT_EQ(Samba("alice"), kNone + " " + kNt);
}

TEST_F(LocalPassword, KeepsItsAgeWhenItIsTheSame) {
    const std::string shadow = ReadFile("/etc/shadow");
    ASSERT_EQ(Import("alice", "{CRYPT}" + std::string(kHash)), 0);
    EXPECT_EQ(ReadFile("/etc/shadow"), shadow);
}

TEST_F(LocalPassword, GetsAShadowLineWhereThereIsNone) {
    WriteFile("/etc/shadow", "root:*:1::::::\n");
    ASSERT_EQ(Import("alice", kHash), 0);
    EXPECT_EQ(Hash("alice"), kHash);
    EXPECT_EQ(Run("passwd -S alice | grep -q '^alice P '"), 0);
}

TEST_F(LocalPassword, IsImportedForAllUsersOrNone) {
    ASSERT_EQ(Add(Bob()), 0);
    const char *names[] = {"alice", "bob"};
    const char *crypts[] = {"$6$a$alice", "{crypt}$6$b$bob"};
    const char *none[] = {nullptr, ""};
    const char *nts[] = {kNt.c_str(), nullptr};
    ASSERT_EQ(QLIBUserImportPasswd(names, crypts, none, nts, 2), 0);
    EXPECT_EQ(Hash("alice"), "$6$a$alice");
    EXPECT_EQ(Hash("bob"), "$6$b$bob");
    EXPECT_EQ(Samba("alice"), kNone + " " + kNt);
    EXPECT_EQ(Samba("bob"), kNone + " " + kNone);
    const char *other[] = {"alice", "carol"};
    const std::string shadow = ReadFile("/etc/shadow");
    const std::string samba = ReadFile(kSmbPasswd);
    EXPECT_EQ(ErrorOf([&] { return QLIBUserImportPasswd(other, none, none, none, 2); }),
              QLIB_ERR_NO_SUCH_USER);
    EXPECT_EQ(ReadFile("/etc/shadow"), shadow);
    EXPECT_EQ(ReadFile(kSmbPasswd), samba);
    EXPECT_EQ(QLIBUserImportPasswd(names, crypts, none, nts, 0), 0);
}

TEST_F(LocalPassword, IsRefusedUnlessItIsAHash) {
    struct Case {
        std::string crypt, lm, nt;
    };
    const std::string shadow = ReadFile("/etc/shadow");
    for (const auto &[crypt, lm, nt] :
         {Case{"secret", "", ""}, Case{"{SSHA}abcdefgh", "", ""}, Case{"$6$a$b:c", "", ""},
          Case{"$6$a$b\nroot:$6$a$b", "", ""}, Case{"{crypt}", "", ""}, Case{"", kLm + "0", ""},
          Case{"", "", "8846f7"}, Case{"", "", kNt.substr(1) + "g"},
          Case{"", "NO PASSWORDXXXXXXXXXXXXXXXXXXXXX", ""}, Case{"", "", kNt.substr(3) + ":[N"}}) {
        SCOPED_TRACE(crypt + "," + lm + "," + nt);
        EXPECT_EQ(Import("alice", crypt, lm, nt), QLIB_ERR_BAD_ARGUMENT);
    }
    EXPECT_EQ(ReadFile("/etc/shadow"), shadow);
    EXPECT_FALSE(std::filesystem::exists(kSmbPasswd));
}

TEST_F(LocalPassword, IsNotImportedWithoutArguments) {
    const char *texts[] = {""};
    for (int missing = 0; missing < 4; ++missing) {
        const auto at = [&](int i) { return i == missing ? nullptr : texts; };
        EXPECT_EQ(ErrorOf([&] { return QLIBUserImportPasswd(at(0), at(1), at(2), at(3), 1); }),
                  QLIB_ERR_BAD_ARGUMENT);
    }
    EXPECT_EQ(ErrorOf([&] { return QLIBUserImportPasswd(texts, texts, texts, texts, -1); }),
              QLIB_ERR_BAD_ARGUMENT);
}

TEST_F(LocalPassword, ReplacesTheSambaLineOfItsUserOnly) {
    const std::string carol = "carol:1007:" + kLm + ":" + kLm + ":[DU         ]:LCT-5F000000:\n";
    WriteSamba("# kept\n" + carol + "alice:1000:" + kLm + ":" + kLm + ":[U          ]:LCT-1:");
    ASSERT_EQ(Import("alice", "", "", kNt), 0);
    EXPECT_THAT(ReadFile(kSmbPasswd), HasSubstr("# kept\n" + carol + "alice:1000:" + kNone));
    ASSERT_EQ(Import("alice", "", "", ""), 0);
    EXPECT_EQ(ReadFile(kSmbPasswd), "# kept\n" + carol);
}

TEST_F(LocalPassword, OfSambaIsMissingWhereSambaAllowsNoLogin) {
    EXPECT_EQ(Samba("alice"), kNone + " " + kNone);
    for (const std::string &line :
         {"alice:1000:" + kLm + ":" + kNt + ":[DU         ]:LCT-5F000000:",
          "alice:1000:" + kLm + ":" + kNt + ":[NU         ]:LCT-5F000000:",
          "alice:1000:NO PASSWORDXXXXXXXXXXXXXXXXXXXXX:" + kNone + ":[U          ]:LCT-5F000000:",
          "alice:1001:" + kLm + ":" + kNt + ":[U          ]:LCT-5F000000:",
          std::string("alice:1000"),
          "alicea:1000:" + kLm + ":" + kNt + ":[U          ]:LCT-5F000000:",
          std::string("alice:")}) {
        SCOPED_TRACE(line);
        WriteSamba(line);
        EXPECT_EQ(Samba("alice"), kNone + " " + kNone);
    }
}

TEST_F(LocalPassword, OfSambaIsReadWithoutFlagsToo) {
    WriteSamba("alice:1000:" + kNone + ":" + kNt + ":::");
    EXPECT_EQ(Samba("alice"), kNone + " " + kNt);
}

TEST_F(LocalPassword, OfSambaFitsItsBuffersOrIsMissing) {
    char lm[33] = "untouched";
    char nt[33] = "untouched";
    const auto get = [&](const char *name, char *a, size_t cbA, char *b, size_t cbB) {
        return ErrorOf([=] { return QLIBUserSmbPasswdGet(name, a, cbA, b, cbB); });
    };
    EXPECT_EQ(get("alice", lm, 32, nt, 33), QLIB_ERR_BUFFER_TOO_SMALL);
    EXPECT_EQ(get("alice", lm, 33, nt, 0), QLIB_ERR_BUFFER_TOO_SMALL);
    EXPECT_EQ(get("bob", lm, 33, nt, 33), QLIB_ERR_NO_SUCH_USER);
    EXPECT_EQ(get(nullptr, lm, 33, nt, 33), QLIB_ERR_BAD_ARGUMENT);
    EXPECT_EQ(get("alice", nullptr, 33, nt, 33), QLIB_ERR_BAD_ARGUMENT);
    EXPECT_EQ(get("alice", lm, 33, nullptr, 33), QLIB_ERR_BAD_ARGUMENT);
    EXPECT_STREQ(lm, "untouched");
    EXPECT_STREQ(nt, "untouched");
}

TEST_F(LocalPassword, OfSambaIsReadFromRegularFilesOnly) {
    std::filesystem::create_directories(kSmbPasswd);
    EXPECT_EQ(Samba("alice"), std::to_string(QLIB_ERR_OPEN_FAILED));
    EXPECT_EQ(Import("alice", "", kLm, kNt), QLIB_ERR_OPEN_FAILED);
}

TEST_F(LocalPassword, OfSambaIsReadBySambaItself) {
    if (!HaveProgram("pdbedit")) GTEST_SKIP() << "pdbedit (package samba) is not installed";
    ASSERT_EQ(Add(Bob()), 0);
    ASSERT_EQ(Import("alice", "", kLm, kNt), 0);
    ASSERT_EQ(Import("bob", "", "", kNt), 0);
    Folder folder;
    WriteFile(folder / "smb.conf",
              "[global]\nlanman auth = yes\nlock directory = " + (folder / "lock") +
                  "\nstate directory = " + (folder / "lock") + "\ncache directory = " +
                  (folder / "lock") + "\nprivate dir = " + (folder / "lock") + "\n");
    std::filesystem::create_directories(folder / "lock");
    ASSERT_EQ(Run("pdbedit -s " + (folder / "smb.conf") + " -b smbpasswd:" + kSmbPasswd + " -Lw >" +
                  (folder / "out")),
              0);
    const std::string out = ReadFile(folder / "out");
    std::string upper = kNt;
    std::transform(upper.begin(), upper.end(), upper.begin(), ::toupper);
    // Newer releases of Samba ignore the LM hash.
    EXPECT_THAT(out, MatchesRegex("alice:1000:(" + kLm + "|" + kNone + "):" + upper +
                                  ":\\[U          \\]:LCT-[0-9A-F]{8}:\nbob:1001:" + kNone + ":" +
                                  upper + ":\\[U          \\]:LCT-[0-9A-F]{8}:\n"));
}

TEST_F(LocalPassword, ComesFromManyThreadsAndNoneIsLost) {
    std::vector<std::thread> threads;
    for (uint32_t i = 0; i < 8; ++i) {
        const std::string name = "u" + std::to_string(i);
        ZAFOUSER user = Bob();
        user.szName = const_cast<char *>(name.c_str());
        user.pw_uid = 2000 + i;
        ASSERT_EQ(Add(user), 0);
    }
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back(
            [i] { Import("u" + std::to_string(i), "$6$a$" + std::to_string(i), kLm, kNt); });
    }
    for (std::thread &thread : threads)
        thread.join();
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(Hash("u" + std::to_string(i)), "$6$a$" + std::to_string(i));
        EXPECT_EQ(Samba(("u" + std::to_string(i)).c_str()), kLm + " " + kNt);
    }
}

using AccountLimit = LocalAccounts;

TEST_F(AccountLimit, IsAboutOrdinaryUsers) {
    EXPECT_EQ(QLIBUserNumRemained(), 4095);
    ASSERT_EQ(Add(Bob()), 0);
    EXPECT_EQ(QLIBUserNumRemained(), 4094);
}

TEST_F(AccountLimit, IsASettingAndNeverNegative) {
    struct Case {
        const char *limit;
        int remained;
    };
    for (const auto &[limit, remained] : {Case{"3", 2}, Case{"1", 0}, Case{"0", 0}}) {
        SCOPED_TRACE(limit);
        WriteFile(kAccountConf, std::string("[limit]\nusers=") + limit + "\n");
        EXPECT_EQ(QLIBUserNumRemained(), remained);
    }
}

TEST_F(AccountLimit, IsUnknownWhenTheSettingOrTheAccountsAre) {
    for (const char *text : {"[limit]\nusers=many\n", "[limit]\nusers=-1\n",
                             "[limit]\nusers=4294967296\n", "damaged\n"}) {
        SCOPED_TRACE(text);
        WriteFile(kAccountConf, text);
        QLIBCErrSet(QLIB_ERR_NONE);
        EXPECT_EQ(QLIBUserNumRemained(), -1);
        EXPECT_EQ(QLIBCErrGet(), QLIB_ERR_BAD_FORMAT);
    }
    std::filesystem::remove(kAccountConf);
    std::filesystem::remove("/etc/passwd");
    EXPECT_EQ(QLIBUserNumRemained(), -1);
    EXPECT_EQ(QLIBCErrGet(), QLIB_ERR_OPEN_FAILED);
}

}  // namespace
