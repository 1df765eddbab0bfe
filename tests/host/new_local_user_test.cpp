// SPDX-License-Identifier: Apache-2.0
//
// Creating users in the system's own files, which shadow-utils also read and write.
#include <signal.h>
#include <sys/resource.h>

#include <thread>

#include "tests/host/account_fixture.h"
#include "tests/rig/system_log.h"

namespace {

using namespace zafo::test;
using testing::HasSubstr;

class NewLocalUser : public LocalAccounts {
  protected:
    // The content of all account files.
    static std::string Everything() {
        std::string all;
        for (const char *path : {"/etc/passwd", "/etc/shadow", "/etc/group", "/etc/gshadow",
                                 kSmbPasswd, kAccountConf}) {
            all += ReadFile(path) + "\f";
        }
        return all;
    }

    static ZAFOUSER With(const std::function<void(ZAFOUSER &)> &change) {
        ZAFOUSER user = Bob();
        change(user);
        return user;
    }
    static ZAFOUSER Named(const char *name) {
        return With([=](ZAFOUSER &user) { user.szName = const_cast<char *>(name); });
    }
    static ZAFOUSER WithPassword(const char *hash) {
        return With([&](ZAFOUSER &user) { user.szPasswd = const_cast<char *>(hash); });
    }
};

TEST_F(NewLocalUser, IsInTheFilesAndIsReadBack) {
    ZAFOUSER bob = Bob();
    bob.szPasswd = const_cast<char *>(kHash);
    bob.nExpire = 21000;
    bob.szMail = const_cast<char *>("bob@example.com");
    ASSERT_EQ(Add(bob), 0);
    EXPECT_EQ(Line("/etc/passwd", "bob"), "bob:x:1001:1000:Bob O'Brien:/volume1/homes/bob:/bin/sh");
    const std::string today = std::to_string(time(nullptr) / 86400);
    EXPECT_EQ(Line("/etc/shadow", "bob"),
              "bob:" + std::string(kHash) + ":" + today + ":0:99999:7::21000:");
    ASSERT_EQ(Get("bob"), 0);
    EXPECT_STREQ(user_->szPasswd, kHash);
    EXPECT_STREQ(user_->szFullname, "Bob O'Brien");
    EXPECT_EQ(user_->nExpire, 21000);
    EXPECT_STREQ(user_->szMail, "bob@example.com");
    EXPECT_EQ(user_->blDisallowChangePasswd, 0);
}

TEST_F(NewLocalUser, LeavesTheOtherLinesAndTheModesAsTheyAre) {
    WriteFile("/etc/passwd", "# accounts\n" + ReadFile("/etc/passwd") + "damaged:line\n+::::::");
    const std::string passwd = ReadFile("/etc/passwd");
    const std::string shadow = ReadFile("/etc/shadow");
    ASSERT_EQ(Add(Bob()), 0);
    std::string expected = passwd;
    expected.insert(passwd.find("+::"), Line("/etc/passwd", "bob") + "\n");
    EXPECT_EQ(ReadFile("/etc/passwd"), expected + "\n");
    EXPECT_EQ(ReadFile("/etc/shadow"), shadow + Line("/etc/shadow", "bob") + "\n");
    EXPECT_EQ(ModeOf("/etc/passwd"), 0644U);
    EXPECT_EQ(ModeOf("/etc/shadow"), 0640U);
}

TEST_F(NewLocalUser, IsValidForTheSystemsOwnTools) {
    ZAFOUSER bob = WithPassword(kHash);
    ASSERT_EQ(Add(bob), 0);
    ASSERT_EQ(AddGroup("bobs", 1001, {"bob"}), 0);
    EXPECT_EQ(Run("pwck -r -q | grep bob | grep -v directory"), 1);
    EXPECT_EQ(Run("grpck -r | grep bobs"), 1);
    EXPECT_EQ(Run("test \"$(id -un 1001) $(id -Gn bob)\" = 'bob staff bobs'"), 0);
    EXPECT_EQ(Run("passwd -S bob | grep -q '^bob P '"), 0);
    EXPECT_EQ(Run("usermod -L bob && passwd -S bob | grep -q '^bob L '"), 0);
    ASSERT_EQ(Get("bob"), 0);
    EXPECT_EQ(user_->szPasswd, "!" + std::string(kHash));
    EXPECT_EQ(Run("userdel bob 2>/dev/null"), 0);
    EXPECT_EQ(Get("bob"), QLIB_ERR_NO_SUCH_USER);
}

TEST_F(NewLocalUser, GetsNoHomeFolder) {
    ASSERT_EQ(Add(Bob()), 0);
    EXPECT_FALSE(std::filesystem::exists("/volume1"));
}

TEST_F(NewLocalUser, HasTheDefaultsOfNewUsersForWhatIsNotGiven) {
    const ZAFOUSER plain = With([](ZAFOUSER &user) {
        user.pw_dir = nullptr;
        user.pw_shell = const_cast<char *>("");
        user.szFullname = nullptr;
    });
    std::filesystem::create_directories("/etc/default");
    WriteFile("/etc/default/useradd", "# SHELL=/no\nHOME=/srv/home\nSHELL=/bin/zsh\n");
    ASSERT_EQ(Add(plain), 0);
    EXPECT_EQ(Line("/etc/passwd", "bob"), "bob:x:1001:1000::/srv/home/bob:/bin/zsh");
    std::filesystem::remove("/etc/default/useradd");
    WriteFile("/etc/login.defs", "PASS_MAX_DAYS 90\n");
    ASSERT_EQ(Add(With([&](ZAFOUSER &user) {
                  user = plain;
                  user.szName = const_cast<char *>("carol");
                  user.pw_uid = 1002;
              })),
              0);
    EXPECT_EQ(Line("/etc/passwd", "carol"), "carol:x:1002:1000::/home/carol:/bin/sh");
    EXPECT_THAT(Line("/etc/shadow", "carol"), HasSubstr(":0:90::::"));
}

TEST_F(NewLocalUser, WhoMayNotChangeThePasswordIsReadBackAsSuch) {
    ASSERT_EQ(Add(With([](ZAFOUSER &user) { user.blDisallowChangePasswd = 1; })), 0);
    ASSERT_EQ(Get("bob"), 0);
    EXPECT_EQ(user_->blDisallowChangePasswd, 1);
    EXPECT_THAT(Line("/etc/shadow", "bob"), HasSubstr(":100000:99999:"));
}

TEST_F(NewLocalUser, NeverExpiresWithoutADay) {
    ASSERT_EQ(Add(With([](ZAFOUSER &user) { user.nExpire = -1; })), 0);
    EXPECT_TRUE(Line("/etc/shadow", "bob").ends_with(":7:::"));
}

TEST_F(NewLocalUser, KeepsAHashOfCryptWithoutItsScheme) {
    const std::string hashes[] = {
        kHash,
        "$1$ab$kMF3oQy2vYbFJvBcz5q0G1",
        "$y$j9T$F5Jx5fExrKuPp53xLKQ..1$X3DX6M94c7o.9agCG9G317fhZg9SqC.5i5rd.",
        "$2b$05$abcdefghijklmnopqrstuuIkDZAOJgnRWyVjYQV7oLoYb8lPVtH6e",
        "$md5,rounds=904$iPPKEBnEkp3JV8uX$$0L6m7rOFTVFn.SGqo2M9W1",
        "abJnggxhB/yWI",
        "_J9..K0AyUubDrfOgO4s",
        "!",
        "*",
        "!!",
        "!" + std::string(kHash)};
    uint32_t uid = 2000;
    for (const std::string &hash : hashes) {
        for (const std::string scheme : {"", "{crypt}", "{CRYPT}", "{cRypt}"}) {
            SCOPED_TRACE(scheme + hash);
            const std::string name = "u" + std::to_string(++uid);
            const std::string text = scheme + hash;
            ZAFOUSER user = WithPassword(text.c_str());
            user.szName = const_cast<char *>(name.c_str());
            user.pw_uid = uid;
            ASSERT_EQ(Add(user), 0);
            EXPECT_EQ(Hash(name), hash);
        }
    }
}

TEST_F(NewLocalUser, IsLockedWithAnyOtherPassword) {
    uint32_t uid = 2000;
    for (const std::string text :
         {"", "secret", "{SSHA}1w9dBSTZ6RrVZ/9JXaqe1mMPJFSSAdHw", "{crypt}", "{crypt}{crypt}",
          "{crypt}x", "x", "$6$", "$6$nohash",
          "$6$a$b:0:0:99999:7:::", "$6$a$b\nroot::0:0:99999:7:::", "$6$a b$c", "$6$a$b;c",
          "abJnggxhB/yW:", "!$6$a$b\nroot::", "* :", "{MD5}$1$a$b"}) {
        SCOPED_TRACE(text);
        const std::string name = "u" + std::to_string(++uid);
        ZAFOUSER user = WithPassword(text.c_str());
        user.szName = const_cast<char *>(name.c_str());
        user.pw_uid = uid;
        ASSERT_EQ(Add(user), 0);
        EXPECT_EQ(Hash(name), "!");
    }
    ASSERT_EQ(Add(Bob()), 0);
    EXPECT_EQ(Hash("bob"), "!");
    EXPECT_EQ(Hash("root"), "*");
}

TEST_F(NewLocalUser, KeepsTheNamesThatDirectoriesHave) {
    uint32_t uid = 2000;
    for (const std::string name :
         {"anna.müller", "Anna", "a", "DOM\\anna", "anna b", "host$", "_svc", "o'brien", "a@b",
          "x!", "1st", "12345678901234567890123456789o12"}) {
        SCOPED_TRACE(name);
        ZAFOUSER user = Named(name.c_str());
        user.pw_uid = ++uid;
        user.szMail = const_cast<char *>("m@example.com");
        ASSERT_EQ(Add(user), 0);
        ASSERT_EQ(Get(name.c_str()), 0);
        EXPECT_EQ(user_->szName, name);
        EXPECT_STREQ(user_->szMail, "m@example.com");
    }
}

TEST_F(NewLocalUser, KeepsAFullNameThatTheFileCannotHold) {
    uint32_t uid = 2000;
    for (const std::string full_name : {"Müller, Anna", "a:b", "root:x:0",
                                        "line\nroot::0:0:::", "\"quoted\"", " blanks ", "100%n"}) {
        SCOPED_TRACE(full_name);
        const std::string name = "u" + std::to_string(++uid);
        ZAFOUSER user = Named(name.c_str());
        user.pw_uid = uid;
        user.szFullname = const_cast<char *>(full_name.c_str());
        ASSERT_EQ(Add(user), 0);
        ASSERT_EQ(Get(name.c_str()), 0);
        EXPECT_EQ(user_->szFullname, full_name);
        EXPECT_STREQ(user_->pw_shell, "/bin/sh");
    }
    EXPECT_EQ(Line("/etc/passwd", "u2001"),
              "u2001:x:2001:1000:Müller  Anna:/volume1/homes/bob:/bin/sh");
    EXPECT_EQ(Line("/etc/passwd", "root"), "root:x:0:0:root:/root:/bin/bash");
}

TEST_F(NewLocalUser, HasBlanksForWhatAFieldCannotShow) {
    ASSERT_EQ(Add(With([](ZAFOUSER &user) {
                  user.szFullname = const_cast<char *>(
                      "a\u202Eb\xC2\x9B"
                      "c\x9D"
                      "d\xE9"
                      "e\u00E9f\u4E2D");
              })),
              0);
    EXPECT_THAT(Line("/etc/passwd", "bob"), HasSubstr(":a b c d\xE9"
                                                      "e\u00E9f\u4E2D:"));
}

struct Refused {
    const char *what;
    const char *said;
    std::function<void(ZAFOUSER &)> change;
    int error = QLIB_ERR_BAD_ARGUMENT;
};

void SetText(char *&field, const char *text) {
    field = const_cast<char *>(text);
}

const std::vector<Refused> &Refusals() {
    static const std::vector<Refused> cases = {
        {"a number below the ordinary ones", "number out of range",
         [](ZAFOUSER &u) { u.pw_uid = 999; }},
        {"root's number", "number out of range", [](ZAFOUSER &u) { u.pw_uid = 0; }},
        {"a number above the ordinary ones", "number out of range",
         [](ZAFOUSER &u) { u.pw_uid = 60001; }},
        {"nobody's number", "number out of range", [](ZAFOUSER &u) { u.pw_uid = 65534; }},
        {"no number", "number out of range", [](ZAFOUSER &u) { u.pw_uid = UID_ERR; }},
        {"a number that is taken", "name or number is taken", [](ZAFOUSER &u) { u.pw_uid = 1000; }},
        {"a name that is taken", "name or number is taken",
         [](ZAFOUSER &u) { SetText(u.szName, "alice"); }},
        {"a system account's name", "name or number is taken",
         [](ZAFOUSER &u) { SetText(u.szName, "daemon"); }},
        {"no such group", "the primary group", [](ZAFOUSER &u) { u.pw_gid = 4711; },
         QLIB_ERR_NO_SUCH_GROUP},
        {"no group", "the primary group", [](ZAFOUSER &u) { u.pw_gid = UINT32_MAX; },
         QLIB_ERR_NO_SUCH_GROUP},
        {"root's group", "the primary group", [](ZAFOUSER &u) { u.pw_gid = 0; },
         QLIB_ERR_NO_SUCH_GROUP},
        {"a system group", "the primary group", [](ZAFOUSER &u) { u.pw_gid = 1; },
         QLIB_ERR_NO_SUCH_GROUP},
        {"a home with a separator", "invalid home folder",
         [](ZAFOUSER &u) { SetText(u.pw_dir, "/a:/b"); }},
        {"a home with a line break", "invalid home folder",
         [](ZAFOUSER &u) { SetText(u.pw_dir, "/a\nroot::0"); }},
        {"a home with a control character of Latin-1", "invalid home folder",
         [](ZAFOUSER &u) {
             SetText(u.pw_dir,
                     "/a\xC2\x9B"
                     "2J");
         }},
        {"a home that reads backwards", "invalid home folder",
         [](ZAFOUSER &u) { SetText(u.pw_dir, "/\u202Eanna"); }},
        {"a line that shadow-utils take for damage", "its passwd line is too long",
         [](ZAFOUSER &u) {
             static const std::string long_name(1000, 'n');
             SetText(u.szFullname, long_name.c_str());
         }},
        {"a relative home", "invalid home folder", [](ZAFOUSER &u) { SetText(u.pw_dir, "home"); }},
        {"a shell with a line break", "invalid login shell",
         [](ZAFOUSER &u) { SetText(u.pw_shell, "/bin/sh\nx"); }},
        {"a relative shell", "invalid login shell", [](ZAFOUSER &u) { SetText(u.pw_shell, "sh"); }},
        {"no name", "invalid name", [](ZAFOUSER &u) { u.szName = nullptr; }},
    };
    return cases;
}

TEST_F(NewLocalUser, IsRefusedAndNothingIsWritten) {
    const std::string before = Everything();
    for (const Refused &refused : Refusals()) {
        SCOPED_TRACE(refused.what);
        zafo::rig::SystemLog::Get().Clear();
        EXPECT_EQ(Add(With(refused.change)), refused.error);
        EXPECT_THAT(zafo::rig::SystemLog::Get().Messages(),
                    testing::ElementsAre(
                        testing::AllOf(testing::StartsWith("local user ["),
                                       HasSubstr(std::string("] refused: ") + refused.said))));
        EXPECT_EQ(Everything(), before);
    }
}

TEST_F(NewLocalUser, IsRefusedWithANameThatWouldBeReadAsSomethingElse) {
    const std::string before = Everything();
    for (const char *name : {"",
                             "-r",
                             "+bob",
                             "a:b",
                             "a,b",
                             "a/b",
                             "a=b",
                             "a\nb",
                             "a\tb",
                             "\x7f",
                             "a\xC2\x85"
                             "b",
                             "a\x9B"
                             "b",
                             "anna\u202E",
                             "anna\u2066",
                             "anna\u2028"
                             "root",
                             " a",
                             "a ",
                             "#a",
                             ";a",
                             "[a]",
                             "~a",
                             "!a",
                             "*a",
                             ".",
                             "..",
                             "0",
                             "1001",
                             "123456789012345678901234567890123"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(Add(Named(name)), QLIB_ERR_BAD_ARGUMENT);
    }
    EXPECT_EQ(Everything(), before);
}

TEST_F(NewLocalUser, MayHaveTheDistributionsGroupOfUsers) {
    EXPECT_EQ(Add(With([](ZAFOUSER &user) { user.pw_gid = 100; })), 0);
}

TEST_F(NewLocalUser, HasNothingOfAnEarlierUserOfTheName) {
    const std::string digits(32, 'A');
    WriteFile(kSmbPasswd, "bob:1001:" + digits + ":" + digits + ":[U          ]:LCT-00000001:\n");
    WriteFile(kAccountConf, "[mail]\nbob=old@example.com\n[full-name]\nbob=Bob O'Brien\n");
    WriteFile("/etc/shadow", ReadFile("/etc/shadow") + "bob:" + kHash + ":1:0:99999:7:::\n");
    ASSERT_EQ(Add(Bob()), 0);
    ASSERT_EQ(Get("bob"), 0);
    EXPECT_EQ(user_->szMail, nullptr);
    EXPECT_STREQ(user_->szPasswd, "!");
    EXPECT_EQ(Line(kSmbPasswd, "bob"), "(none)");
    EXPECT_EQ(Run("test $(grep -c ^bob: /etc/shadow) = 1"), 0);
}

TEST_F(NewLocalUser, CountsInItsResult) {
    QLIBCMRESULT *result = QLIBCMResultAlloc();
    ASSERT_NE(result, nullptr);
    const ZAFOUSER bob = Bob();
    EXPECT_EQ(ZAFOUserSetOne(0, &bob, result), 0);
    EXPECT_EQ(ZAFOUserSetOne(0, &bob, result), -1);
    EXPECT_EQ(result->nDone, 1);
    EXPECT_EQ(result->nFailed, 1);
    EXPECT_EQ(result->nError, QLIB_ERR_BAD_ARGUMENT);
    QLIBCMResultFree(result);
    QLIBCMResultFree(nullptr);
}

TEST_F(NewLocalUser, IsOnlyMadeNotChanged) {
    const ZAFOUSER bob = Bob();
    EXPECT_EQ(ErrorOf([&] { return ZAFOUserSetOne(1, &bob, nullptr); }), QLIB_ERR_BAD_ARGUMENT);
    EXPECT_EQ(ErrorOf([&] { return ZAFOUserSetOne(0, nullptr, nullptr); }), QLIB_ERR_BAD_ARGUMENT);
}

TEST_F(NewLocalUser, WithoutAShadowFileIsRefused) {
    std::filesystem::remove("/etc/shadow");
    const std::string before = Everything();
    EXPECT_EQ(Add(Bob()), QLIB_ERR_OPEN_FAILED);
    EXPECT_EQ(Everything(), before);
    EXPECT_FALSE(std::filesystem::exists("/etc/shadow"));
}

// A file size limit stands in for a full disk.
TEST_F(NewLocalUser, DoesNotExistWhenItsFilesCannotBeWritten) {
    const std::string before = Everything();
    const bool failed = InProcesses(1, [](int) {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{64, 64};
        setrlimit(RLIMIT_FSIZE, &limit);
        return Add(Bob()) == QLIB_ERR_WRITE_FAILED ? 0 : 1;
    });
    EXPECT_TRUE(failed);
    EXPECT_EQ(Everything(), before);
    EXPECT_FALSE(std::filesystem::exists("/etc/shadow.new"));
}

TEST_F(NewLocalUser, WaitsForTheHolderOfTheAccountFilesLock) {
    int held[2];
    ASSERT_EQ(pipe(held), 0);
    const pid_t pid = fork();
    if (pid == 0) {
        const int file = open("/etc/.pwd.lock", O_WRONLY | O_CREAT, 0600);
        struct flock whole {};
        whole.l_type = F_WRLCK;
        const bool locked = fcntl(file, F_SETLK, &whole) == 0;
        if (write(held[1], "x", 1) != 1 || !locked) _exit(1);
        usleep(300000);
        const bool waited = Line("/etc/passwd", "bob") == "(none)";
        _exit(waited ? 0 : 1);
    }
    char byte;
    ASSERT_EQ(read(held[0], &byte, 1), 1);
    EXPECT_EQ(Add(Bob()), 0);
    int status = -1;
    EXPECT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_EQ(status, 0);
    close(held[0]);
    close(held[1]);
}

TEST_F(NewLocalUser, IsNotMadeWhenTheLockCannotBeTaken) {
    const std::string before = Everything();
    std::filesystem::remove("/etc/.pwd.lock");
    std::filesystem::create_directory("/etc/.pwd.lock");
    EXPECT_EQ(Add(Bob()), QLIB_ERR_OPEN_FAILED);
    EXPECT_EQ(AddGroup("team", 1001), QLIB_ERR_OPEN_FAILED);
    EXPECT_EQ(Import("alice", "!"), QLIB_ERR_OPEN_FAILED);
    std::filesystem::remove("/etc/.pwd.lock");
    EXPECT_EQ(Everything(), before);
}

// This library, useradd, and several threads of one process write concurrently: no account is lost.
TEST_F(NewLocalUser, WorksAlongsideOtherWriters) {
    constexpr int kUsers = 20;
    const auto add = [](const std::string &prefix, uint32_t first) {
        int failed = 0;
        for (uint32_t i = 0; i < kUsers; ++i) {
            const std::string name = prefix + std::to_string(i);
            ZAFOUSER user = Named(name.c_str());
            user.pw_uid = first + i;
            failed += ZAFOUserSetOne(0, &user, nullptr) == 0 ? 0 : 1;
        }
        return failed;
    };
    const bool all = InProcesses(3, [&](int process) {
        if (process == 0) {
            return Run(
                "for i in $(seq 20); do useradd -N -M -g 1000 -u $((6000 + i)) t$i || exit 1; "
                "done");
        }
        int failed = 0;
        const auto first = static_cast<uint32_t>(2000 * process);
        std::thread other([&] { failed = add("b" + std::to_string(process), first + 1000); });
        const int mine = add("a" + std::to_string(process), first);
        other.join();
        return mine + failed;
    });
    EXPECT_TRUE(all);
    List list;
    EXPECT_EQ(ZAFOUserEnum(list.Address(), ZAFO_ACCOUNT_LOCAL), 1 + 5 * kUsers);
    EXPECT_EQ(Run("test $(wc -l </etc/shadow) = 104"), 0);
}

// At any moment an account either exists with its password or not at all.
TEST_F(NewLocalUser, IsCompleteOrMissingWhenItsCreatorIsKilled) {
    const std::string passwd = ReadFile("/etc/passwd");
    int made = 0;
    for (int round = 0; round < 40; ++round) {
        const pid_t pid = fork();
        if (pid == 0) {
            for (uint32_t i = 0;; ++i) {
                const std::string name = "k" + std::to_string(i);
                ZAFOUSER user = WithPassword(kHash);
                user.szName = const_cast<char *>(name.c_str());
                user.pw_uid = 2000 + i;
                ZAFOUserSetOne(0, &user, nullptr);
            }
        }
        usleep(static_cast<useconds_t>(1000 + 137 * round));
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
        List list;
        ASSERT_GE(ZAFOUserEnum(list.Address(), ZAFO_ACCOUNT_LOCAL), 1);
        for (const std::string &name : list.Items()) {
            ASSERT_EQ(Hash(name), kHash) << name;
            ++made;
        }
        WriteFile("/etc/passwd", passwd);
    }
    EXPECT_GT(made, 40);
    ZAFOUSER again = WithPassword(kHash);
    EXPECT_EQ(Add(again), 0);
}

}  // namespace
