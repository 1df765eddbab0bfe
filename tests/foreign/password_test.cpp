// SPDX-License-Identifier: Apache-2.0
//
// Hashing a password, and setting one through the server.
#include <cerrno>
#include <cstring>
#include <optional>

#include "tests/foreign/change_fixture.h"

namespace zafo::foreign::password_test {

const std::string kHash = "{CRYPT}$1$ab$0123456789abcdefghijkl";

class EncryptPasswd : public ChangeTest {
  protected:
    int Encrypt(const char *clear = "geheim") {
        return ZAFOLDAPEncryptPasswd(clear, hash_, sizeof hash_);
    }
    char hash_[16384] = "before";
};
ZAFO_FOREIGN_SUITE(EncryptPasswd);

TEST_P(EncryptPasswd, TakesTheLineThatTheToolPrints) {
    platform().On("slappasswd").Prints(kHash + "\n");
    EXPECT_EQ(Encrypt(), 0);
    EXPECT_EQ(hash_, kHash);
    ASSERT_EQ(platform().Runs().size(), 1U);
    const Run run = platform().Runs().at(0);
    EXPECT_EQ(run.path, "/usr/zafo/bin/slappasswd");
    EXPECT_EQ(run.how, "QLIBCPopen r");
    EXPECT_EQ(run.argv, (Strings{"-h", "{CRYPT}", "-s", "geheim", "-c", "$1$%.2s"}));
    EXPECT_TRUE(run.closed);
    ExpectSlotsUntouched();
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(EncryptPasswd, PassesEveryPasswordAsOneArgument) {
    for (const char *clear : {"", "-s", "a b'c\"$(x)", "p\xc3\xa4ss%s"}) {
        platform().Forget();
        platform().On("slappasswd").Prints(kHash + "\n");
        EXPECT_EQ(Encrypt(clear), 0);
        EXPECT_EQ(platform().Runs().at(0).argv.at(3), clear);
    }
}

TEST_P(EncryptPasswd, TakesOneLineOnlyWithOrWithoutItsBreak) {
    platform().On("slappasswd").Prints(kHash);
    EXPECT_EQ(Encrypt(), 0);
    EXPECT_EQ(hash_, kHash);
    platform().On("slappasswd").Prints("first\nsecond\n");
    EXPECT_EQ(Encrypt(), 0);
    EXPECT_STREQ(hash_, "first");
    platform().On("slappasswd").Prints("\n");
    EXPECT_EQ(Encrypt(), 0);
    EXPECT_STREQ(hash_, "");
    platform().On("slappasswd").Prints("a\r\n");
    EXPECT_EQ(Encrypt(), 0);
    EXPECT_STREQ(hash_, "a\r");
}

TEST_P(EncryptPasswd, DoesNotExamineTheStatusOfTheTool) {
    platform().On("slappasswd").Prints(kHash + "\n").Exits(1);
    EXPECT_EQ(Encrypt(), 0);
    EXPECT_EQ(hash_, kHash);
    platform().On("slappasswd").Prints(kHash + "\n").Dies(9);
    EXPECT_EQ(Encrypt(), 0);
    platform().On("slappasswd").Prints(kHash + "\n").Status(-1);
    EXPECT_EQ(Encrypt(), 0);
    ExpectSlotsUntouched();
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(EncryptPasswd, CutsTheLineToTheBuffer) {
    char small[] = "beforebefore";
    platform().On("slappasswd").Prints(kHash + "\n").Always();
    EXPECT_EQ(ZAFOLDAPEncryptPasswd("geheim", small, 8), 0);
    EXPECT_STREQ(small, "{CRYPT}");
    EXPECT_EQ(small[8], 'f');
    EXPECT_EQ(ZAFOLDAPEncryptPasswd("geheim", small, 2), 0);
    EXPECT_STREQ(small, "{");
}

TEST_P(EncryptPasswd, LeavesTheEmptyTextInABufferOfOneByte) {
    char one[] = "before";
    platform().On("slappasswd").Prints(kHash + "\n");
    EXPECT_EQ(ZAFOLDAPEncryptPasswd("geheim", one, 1), 0);
    EXPECT_STREQ(one, "");
    EXPECT_EQ(one[1], 'e');
}

TEST_P(EncryptPasswd, LogsAToolThatCannotBeStarted) {
    platform().On("slappasswd").CannotStart(0x0900);
    EXPECT_EQ(Encrypt(), -1);
    EXPECT_EQ(PlatformError(), 0x0900);
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
    EXPECT_EQ(TakeLog(), Strings{"Popen failed [0x0900]"});
    platform().On("slappasswd").CannotStart(0x1234);
    EXPECT_EQ(Encrypt(), -1);
    EXPECT_EQ(PlatformError(), 0x1234);
    EXPECT_EQ(Log(), Strings{"Popen failed [0x1234]"});
}

TEST_P(EncryptPasswd, LogsThatNothingCanBeRead) {
    errno = 0;
    platform().On("slappasswd").Exits(1);
    EXPECT_EQ(Encrypt(), -1);
    ASSERT_EQ(Log().size(), 1U);
    EXPECT_EQ(Log()[0].find("Failed to read from popen ("), 0U) << Log()[0];
    EXPECT_EQ(Log()[0].back(), ')');
    ExpectSlotsUntouched();
    EXPECT_TRUE(platform().Runs().at(0).closed);
}

TEST_P(EncryptPasswd, LogsAReadError) {
    platform().On("slappasswd").ReadFails();
    EXPECT_EQ(Encrypt(), -1);
    EXPECT_EQ(Log(), Strings{std::string("Failed to read from popen (") + strerror(EIO) + ")"});
    ExpectSlotsUntouched();
    EXPECT_TRUE(platform().Runs().at(0).closed);
}

TEST_P(EncryptPasswd, ReadsAgainUpToFourTimesWhenInterrupted) {
    for (int times = 1; times <= 4; ++times) {
        platform().On("slappasswd").Interrupted(times).Prints(kHash + "\n");
        EXPECT_EQ(Encrypt(), 0) << times;
        EXPECT_EQ(hash_, kHash) << times;
    }
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(EncryptPasswd, GivesUpSilentlyAfterFiveInterruptions) {
    platform().On("slappasswd").Interrupted(5).Prints(kHash + "\n");
    EXPECT_EQ(Encrypt(), -1);
    EXPECT_EQ(Log(), Strings{});
    ExpectSlotsUntouched();
    EXPECT_TRUE(platform().Runs().at(0).closed);
}

TEST_P(EncryptPasswd, ChecksItsArgumentsInOrder) {
    ExpectArgumentFailure("((void *)0) != szClearPass",
                          [] { return ZAFOLDAPEncryptPasswd(nullptr, nullptr, 0); });
    ExpectArgumentFailure("((void *)0) != szEncryptPass",
                          [] { return ZAFOLDAPEncryptPasswd("", nullptr, 0); });
    ExpectArgumentFailure("0 < cbEncryptPass", [&] { return ZAFOLDAPEncryptPasswd("", hash_, 0); });
    EXPECT_STREQ(hash_, "before");
}

class Passwd : public ChangeTest {
  protected:
    int Set(Host &host, const char *clear = "neu") {
        return ZAFOLDAPPasswd(host, "uid=ann,dc=x", clear);
    }
    Host host_;
};
ZAFO_FOREIGN_SUITE(Passwd);

struct Bound {
    int ssl;
    std::optional<std::string> bind_dn;
    std::optional<std::string> password;
    Strings expected;
};
const Bound kBound[] = {
    {0, "cn=a", "p", {"-x", "-H", "ldap://h:389", "-D", "cn=a", "-w", "p"}},
    {1, "cn=a", "p", {"-x", "-H", "ldaps://h:389", "-D", "cn=a", "-w", "p"}},
    {2, "cn=a", "p", {"-x", "-H", "ldap://h:389", "-Z", "-D", "cn=a", "-w", "p"}},
    {3, "cn=a", "", {"-x", "-H", "ldap://h:389", "-D", "cn=a", "-w", ""}},
    {-1, "cn=a", std::nullopt, {"-x", "-H", "ldap://h:389", "-D", "cn=a"}},
    {0, "", "p", {"-x", "-H", "ldap://h:389", "-D", "", "-w", "p"}},
    {0, std::nullopt, "p", {"-x", "-H", "ldap://h:389"}},
    {2, std::nullopt, std::nullopt, {"-x", "-H", "ldap://h:389", "-Z"}},
};

TEST_P(Passwd, RunsTheToolAsTheConnectionSays) {
    for (const Bound &bound : kBound) {
        platform().Forget();
        Stale();
        Host host;
        host.uri = "h:389";
        host.base.reset();
        host.ssl = bound.ssl;
        host.bind_dn = bound.bind_dn;
        host.password = bound.password;
        EXPECT_EQ(Set(host), 0);
        Strings expected = bound.expected;
        for (const char *text : {"-s", "neu", "uid=ann,dc=x"})
            expected.emplace_back(text);
        ASSERT_EQ(platform().Runs().size(), 1U);
        const Run run = platform().Runs().at(0);
        EXPECT_EQ(run.path, "/usr/zafo/bin/ldappasswd");
        EXPECT_EQ(run.how, "QLIBCExecv");
        EXPECT_EQ(run.bits, 1);
        EXPECT_EQ(run.argv, expected);
        ExpectSlotsUntouched();
    }
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(Passwd, SetsAnEmptyPassword) {
    EXPECT_EQ(Set(host_, ""), 0);
    const Strings argv = platform().Runs().at(0).argv;
    EXPECT_EQ(Strings(argv.end() - 3, argv.end()), (Strings{"-s", "", "uid=ann,dc=x"}));
}

TEST_P(Passwd, CutsTheAddressAfter1024Characters) {
    host_.uri = std::string(2000, 'h');
    host_.ssl = 1;
    EXPECT_EQ(Set(host_), 0);
    EXPECT_EQ(platform().Runs().at(0).argv.at(2), ("ldaps://" + *host_.uri).substr(0, 1024));
}

TEST_P(Passwd, PassesLongTextsWhole) {
    const std::string name = "uid=" + std::string(3000, 'n');
    const std::string clear(5000, 'c');
    host_.bind_dn = std::string(3000, 'b');
    host_.password = std::string(3000, 'p');
    EXPECT_EQ(ZAFOLDAPPasswd(host_, name.c_str(), clear.c_str()), 0);
    EXPECT_EQ(platform().Runs().at(0).argv,
              (Strings{"-x", "-H", "ldap://ldap.x.example", "-D", *host_.bind_dn, "-w",
                       *host_.password, "-s", clear, name}));
}

TEST_P(Passwd, LogsTheResultOfAToolThatFails) {
    for (const int result : {1, 49, 255, -1, -7}) {
        Stale();
        platform().On("ldappasswd").Status(result);
        EXPECT_EQ(Set(host_), -1) << result;
        ExpectSlotsUntouched();
        EXPECT_EQ(TakeLog(), Strings{"Failed to set password for uid=ann,dc=x (err=" +
                                     std::to_string(result) + ")"});
    }
}

TEST_P(Passwd, LeavesThePlatformsErrorOfAToolThatCannotBeStarted) {
    platform().On("ldappasswd").CannotStart(0x0900);
    EXPECT_EQ(Set(host_), -1);
    EXPECT_EQ(PlatformError(), 0x0900);
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
    EXPECT_EQ(Log(), Strings{"Failed to set password for uid=ann,dc=x (err=-1)"});
}

TEST_P(Passwd, ChecksItsArgumentsInOrder) {
    Host nowhere;
    nowhere.uri.reset();
    ExpectArgumentFailure("((void *)0) != pHost",
                          [] { return ZAFOLDAPPasswd(nullptr, nullptr, nullptr); });
    ExpectArgumentFailure("NULL != pHost->szUri",
                          [&] { return ZAFOLDAPPasswd(nowhere, nullptr, nullptr); });
    ExpectArgumentFailure("((void *)0) != szUserDN",
                          [&] { return ZAFOLDAPPasswd(host_, nullptr, nullptr); });
    ExpectArgumentFailure("NULL != szClearPass",
                          [&] { return ZAFOLDAPPasswd(host_, "uid=ann", nullptr); });
}

}  // namespace zafo::foreign::password_test
