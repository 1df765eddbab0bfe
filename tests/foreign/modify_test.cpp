// SPDX-License-Identifier: Apache-2.0
//
// Running ldapmodify on a change file.
#include <signal.h>
#include <unistd.h>

#include <optional>

#include "tests/foreign/change_fixture.h"

namespace zafo::foreign::modify_test {

constexpr const char *kPath = "/tmp/foreign_modify.ldif";
const std::string kChange = "dn: dc=a\nchangetype: modify\nreplace: cn\ncn: b\n";

class Modify : public ChangeTest {
  protected:
    void SetUp() override {
        ChangeTest::SetUp();
        WriteChange(&ldif_, kPath);
        Stale();
    }
    void TearDown() override {
        ZAFOLDAPLdifClose(&ldif_);
        unlink(kPath);
        ChangeTest::TearDown();
    }
    void ExpectConsumed() {
        EXPECT_EQ(ldif_.pFile, nullptr);
        EXPECT_STREQ(ldif_.szPath, "");
        EXPECT_FALSE(Exists(kPath));
    }
    ZAFOLDAP_LDIF ldif_{};
    Host host_;
};
ZAFO_FOREIGN_SUITE(Modify);

TEST_P(Modify, RunsTheToolOnTheFinishedFileAndRemovesIt) {
    platform().On("ldapmodify").Prints("modifying entry \"dc=a\"\n\n");
    EXPECT_EQ(ZAFOLDAPModify(host_, &ldif_, 0), 0);
    ASSERT_EQ(platform().Runs().size(), 1U);
    const Run run = platform().Runs().at(0);
    EXPECT_EQ(run.path, "/usr/zafo/bin/ldapmodify");
    EXPECT_EQ(run.how, "QLIBCPopen r");
    EXPECT_EQ(run.argv, (Strings{"-x", "-H", "ldap://ldap.x.example", "-D",
                                 "cn=admin,dc=x,dc=example", "-f", kPath, "-w", "secret"}));
    EXPECT_EQ(run.change, kChange);
    EXPECT_TRUE(run.closed);
    EXPECT_EQ(ldif_.nExitCode, 0);
    ExpectConsumed();
    ExpectSlotsUntouched();
    EXPECT_EQ(Log(), Strings{});
}

struct Connection {
    int add;
    int ssl;
    std::optional<std::string> bind_dn;
    std::optional<std::string> password;
    Strings start;  // the first three arguments
};
const Connection kConnections[] = {
    {0, 0, "cn=a", "p", {"-x", "-H", "ldap://h:1389"}},
    {1, 0, "cn=a", "p", {"-ax", "-H", "ldap://h:1389"}},
    {-1, 1, "cn=a", "p", {"-ax", "-H", "ldaps://h:1389"}},
    {0, 1, std::nullopt, "p", {"-x", "-H", "ldaps://h:1389"}},
    {1, 2, "cn=a", std::nullopt, {"-ax", "-ZH", "ldap://h:1389"}},
    {0, 2, std::nullopt, std::nullopt, {"-x", "-ZH", "ldap://h:1389"}},
    {0, 3, "", "", {"-x", "-H", "ldap://h:1389"}},
    {7, -1, "cn=a b,dc='x'", "p w'\"$", {"-ax", "-H", "ldap://h:1389"}},
};

TEST_P(Modify, PassesAllArgumentsWhateverTheConnectionHas) {
    for (const Connection &connection : kConnections) {
        WriteChange(&ldif_, kPath);
        platform().Forget();
        Host host;
        host.uri = "h:1389";
        host.base.reset();
        host.ssl = connection.ssl;
        host.bind_dn = connection.bind_dn;
        host.password = connection.password;
        EXPECT_EQ(ZAFOLDAPModify(host, &ldif_, connection.add), 0);
        Strings expected = connection.start;
        for (const std::string &argument :
             {std::string("-D"), connection.bind_dn.value_or(""), std::string("-f"),
              std::string(kPath), std::string("-w"), connection.password.value_or("")})
            expected.push_back(argument);
        ASSERT_EQ(platform().Runs().size(), 1U);
        EXPECT_EQ(platform().Runs().at(0).argv, expected);
    }
}

TEST_P(Modify, CutsTheAddressAfter4094Characters) {
    const std::string name(5000, 'h');
    for (const int ssl : {0, 1}) {
        WriteChange(&ldif_, kPath);
        platform().Forget();
        Host host;
        host.uri = name;
        host.ssl = ssl;
        EXPECT_EQ(ZAFOLDAPModify(host, &ldif_, 0), 0);
        EXPECT_EQ(platform().Runs().at(0).argv.at(2),
                  ((ssl == 1 ? "ldaps://" : "ldap://") + name).substr(0, 4094));
    }
}

TEST_P(Modify, KeepsAnAddressOf4094Characters) {
    host_.uri = std::string(4094 - 7, 'h');
    EXPECT_EQ(ZAFOLDAPModify(host_, &ldif_, 0), 0);
    EXPECT_EQ(platform().Runs().at(0).argv.at(2), "ldap://" + *host_.uri);
}

TEST_P(Modify, RunsNothingForAFileWithoutAttributeLines) {
    ASSERT_EQ(ZAFOLDAPLdifInit(&ldif_, kPath), 0);
    ZAFOLDAPLdifTargetDN(&ldif_, "dc=a");
    ZAFOLDAPLdifChangeType(&ldif_, "delete");
    EXPECT_EQ(ZAFOLDAPModify(host_, &ldif_, 0), 0);
    EXPECT_EQ(platform().Runs().size(), 0U);
    ExpectConsumed();
    ExpectSlotsUntouched();
}

TEST_P(Modify, TakesAFileThatIsClosedAlready) {
    ZAFOLDAPLdifClose(&ldif_);
    EXPECT_EQ(ZAFOLDAPModify(host_, &ldif_, 0), 0);
    EXPECT_EQ(Changes(), Strings{kChange});
    ExpectConsumed();
}

TEST_P(Modify, ReportsThatTheToolCannotBeStarted) {
    platform().On("ldapmodify").CannotStart(0x4321);
    EXPECT_EQ(ZAFOLDAPModify(host_, &ldif_, 1), -1);
    EXPECT_EQ(PlatformError(), 0x0900);
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
    EXPECT_EQ(Log(), Strings{"Execute [] failed!"});
    EXPECT_EQ(ldif_.nExitCode, 0);
    ExpectConsumed();
}

TEST_P(Modify, MakesTheExitCodeTheLibrarysError) {
    for (const int code : {1, 16, 20, 32, 34, 49, 50, 53, 68, 80, 127, 128, 254, 255}) {
        WriteChange(&ldif_, kPath);
        Stale();
        platform().On("ldapmodify").Exits(code);
        EXPECT_EQ(ZAFOLDAPModify(host_, &ldif_, 0), -1);
        EXPECT_EQ(LibraryError(), code);
        EXPECT_EQ(ldif_.nExitCode, code);
        EXPECT_EQ(PlatformError(), kStalePlatformError);
        ExpectConsumed();
    }
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(Modify, LogsTheRawStatusOfAToolThatWasKilled) {
    for (const int status : {SIGKILL, SIGPIPE, SIGSEGV | 0x80}) {
        WriteChange(&ldif_, kPath);
        Stale();
        platform().On("ldapmodify").Status(status);
        EXPECT_EQ(ZAFOLDAPModify(host_, &ldif_, 0), -1);
        ExpectSlotsUntouched();
        EXPECT_EQ(ldif_.nExitCode, 0);
        ExpectConsumed();
        EXPECT_EQ(TakeLog(), Strings{"ldapmodify terminate abnormal " + std::to_string(status)});
    }
}

TEST_P(Modify, TakesAStatusThatMakesNoSenseForAFailure) {
    platform().On("ldapmodify").Status(-1);
    EXPECT_EQ(ZAFOLDAPModify(host_, &ldif_, 0), -1);
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
    ExpectConsumed();
}

TEST_P(Modify, DoesNotReadTheOutput) {
    platform().On("ldapmodify").Prints(std::string(20000, 'm') + "\n\nmore\n").Exits(20);
    EXPECT_EQ(ZAFOLDAPModify(host_, &ldif_, 0), -1);
    EXPECT_EQ(LibraryError(), 20);
    EXPECT_FALSE(platform().Runs().at(0).read_to_end);
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(Modify, ChecksItsArgumentsInOrderAndLeavesTheFile) {
    ExpectArgumentFailure("((void *)0) != pHost",
                          [&] { return ZAFOLDAPModify(nullptr, nullptr, 0); });
    ExpectArgumentFailure("((void *)0) != pHost",
                          [&] { return ZAFOLDAPModify(nullptr, &ldif_, 0); });
    Host nowhere;
    nowhere.uri.reset();
    ExpectArgumentFailure("NULL != pHost->szUri",
                          [&] { return ZAFOLDAPModify(nowhere, nullptr, 0); });
    ExpectArgumentFailure("NULL != pHost->szUri",
                          [&] { return ZAFOLDAPModify(nowhere, &ldif_, 0); });
    ExpectArgumentFailure("((void *)0) != pLDIF",
                          [&] { return ZAFOLDAPModify(host_, nullptr, 0); });
    EXPECT_STREQ(ldif_.szPath, kPath);
    EXPECT_TRUE(Exists(kPath));
    EXPECT_EQ(ZAFOLDAPModify(host_, &ldif_, 0), 0);
    EXPECT_EQ(Changes(), Strings{kChange});
}

TEST_P(Modify, LeavesNoTemporaryFile) {
    ZAFOLDAP_LDIF temporary;
    ASSERT_EQ(ZAFOLDAPLdifInit(&temporary, nullptr), 0);
    ZAFOLDAPLdifAttr(&temporary, "dn", "dc=a");
    const std::string path = temporary.szPath;
    platform().On("ldapmodify").Exits(68);
    EXPECT_EQ(ZAFOLDAPModify(host_, &temporary, 1), -1);
    EXPECT_FALSE(Exists(path));
    EXPECT_EQ(platform().Runs().at(0).argv.at(6), path);
}

}  // namespace zafo::foreign::modify_test
