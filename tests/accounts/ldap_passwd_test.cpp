// SPDX-License-Identifier: Apache-2.0
//
// Hashing a password, and setting one through the server.
#include <fcntl.h>
#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <optional>

#include "platform/error.h"
#include "tests/accounts/accounts_fixture.h"
#include "tests/core/without_tool.h"

namespace zafo::core_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Text = std::optional<std::string>;

class EncryptPasswd : public AccountsTest {
  protected:
    int Encrypt(const char *password = "secret", size_t size = sizeof hash_) {
        return ZAFOLDAPEncryptPasswd(password, hash_, size);
    }
    char hash_[256] = "untouched";
};

TEST_F(EncryptPasswd, ToolGetsThePasswordAsASeparateArgument) {
    tools_.On("slappasswd").Output("{CRYPT}$1$ab$digest\n");
    for (const char *password : {"", "secret", "-w", "a 'b' \"c\" $HOME %n", "zw\xC3\xB6lf"}) {
        EXPECT_EQ(Encrypt(password), 0);
        EXPECT_THAT(tools_.Calls().back().argv,
                    ElementsAre("/usr/zafo/bin/slappasswd", "-h", "{CRYPT}", "-s", password, "-c",
                                "$1$%.2s"));
        EXPECT_STREQ(hash_, "{CRYPT}$1$ab$digest");
    }
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(EncryptPasswd, IsTheFirstLineWithoutItsLineBreak) {
    const std::pair<const char *, const char *> kOutputs[] = {{"hash\n", "hash"},
                                                              {"hash", "hash"},
                                                              {"one\ntwo\n", "one"},
                                                              {"\n", ""},
                                                              {" h \r\n", " h \r"}};
    for (const auto &[output, hash] : kOutputs) {
        tools_.Reset();
        tools_.On("slappasswd").Output(output);
        EXPECT_EQ(Encrypt(), 0);
        EXPECT_STREQ(hash_, hash);
    }
}

TEST_F(EncryptPasswd, IsCutToTheBuffer) {
    tools_.On("slappasswd").Output("hash\n");
    const std::pair<size_t, const char *> kSizes[] = {{1, ""}, {2, "h"}, {5, "hash"}, {6, "hash"}};
    for (const auto &[size, hash] : kSizes) {
        hash_[size] = '#';
        EXPECT_EQ(Encrypt("secret", size), 0);
        EXPECT_STREQ(hash_, hash);
        EXPECT_EQ(hash_[size], '#');
    }
}

TEST_F(EncryptPasswd, ToolsExitStatusDoesNotCount) {
    tools_.On("slappasswd").Output("hash\n").Exit(1);
    tools_.On("slappasswd").Output("hash\n").Die(SIGKILL);
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(Encrypt(), 0);
    EXPECT_STREQ(hash_, "hash");
}

TEST_F(EncryptPasswd, ToolThatPrintsNothingIsAFailure) {
    tools_.On("slappasswd").Exit(1);
    EXPECT_EQ(Encrypt(), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre("Failed to read from popen (Success)"));
    EXPECT_EQ(QLIBCErrGet(), kStalePlatformCode);
    EXPECT_EQ(ZAFOLDAPErrGet(), kStaleLdapCode);
}

TEST_F(EncryptPasswd, ToolThatCannotBeStartedIsAFailure) {
    const WithoutTool without("slappasswd");
    EXPECT_EQ(Encrypt(), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre("Popen failed [0x0900]"));
    EXPECT_EQ(QLIBCErrGet(), 0x0900);
}

// Signals interrupt the process while it waits; the tool waits for the last of them.
class InterruptedEncryptPasswd : public EncryptPasswd {
  protected:
    ~InterruptedEncryptPasswd() override {
        setitimer(ITIMER_REAL, &kNever, nullptr);
        signal(SIGALRM, SIG_DFL);
        unlink(kGo);
    }

    void Interrupt(int times) {
        left_ = times;
        struct sigaction action {};
        action.sa_handler = [](int) {
            if (--left_ == 0) close(open(kGo, O_CREAT | O_WRONLY, 0600));
        };
        sigaction(SIGALRM, &action, nullptr);
        const itimerval every{{0, 20'000}, {0, 100'000}};
        setitimer(ITIMER_REAL, &every, nullptr);
        tools_.On("slappasswd").WaitForFile(kGo).Output("hash\n");
    }

    static constexpr const char *kGo = "/tmp/interrupted-enough";
    static constexpr itimerval kNever{};
    static inline std::atomic<int> left_;
};

TEST_F(InterruptedEncryptPasswd, ReadsAgain) {
    Interrupt(3);
    const int result = Encrypt();
    setitimer(ITIMER_REAL, &kNever, nullptr);
    EXPECT_EQ(result, 0);
    EXPECT_STREQ(hash_, "hash");
}

TEST_F(InterruptedEncryptPasswd, GivesUpSilentlyAfterFiveTimes) {
    Interrupt(12);
    const int result = Encrypt();
    setitimer(ITIMER_REAL, &kNever, nullptr);
    EXPECT_EQ(result, -1);
    EXPECT_THAT(log_.Messages(), IsEmpty());
    EXPECT_EQ(QLIBCErrGet(), kStalePlatformCode);
}

class Passwd : public AccountsTest {
  protected:
    int Change(const char *password = "new") { return ZAFOLDAPPasswd(&host_, kDN, password); }
    static constexpr const char *kDN = "uid=ann,cn=users,dc=example,dc=com";
};

TEST_F(Passwd, ToolGetsExactlyTheseArgumentsOverTheWholeGrid) {
    for (int ssl : {0, 1, 2, 3}) {
        for (const Text &bind : {Text(), Text(""), Text("cn=ann, 'bob' %n")}) {
            for (const Text &secret : {Text(), Text(""), Text("s'e cret %s")}) {
                for (const char *password : {"", "-n e'w %n"}) {
                    host_.nSSLType = ssl;
                    host_.szBindDN = bind ? bind->c_str() : nullptr;
                    host_.szBindPasswd = secret ? secret->c_str() : nullptr;
                    EXPECT_EQ(Change(password), 0);
                    Texts wanted = {"/usr/zafo/bin/ldappasswd", "-x", "-H",
                                    ssl == 1 ? "ldaps://server" : "ldap://server"};
                    if (ssl == 2) wanted.emplace_back("-Z");
                    if (bind) wanted.insert(wanted.end(), {"-D", *bind});
                    if (bind && secret) wanted.insert(wanted.end(), {"-w", *secret});
                    wanted.insert(wanted.end(), {"-s", password, kDN});
                    EXPECT_EQ(tools_.Calls().back().argv, wanted);
                }
            }
        }
    }
    EXPECT_EQ(tools_.Calls().size(), 4u * 3 * 3 * 2);
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(Passwd, AddressIsCutAt1024Characters) {
    const std::string uri(3000, 'u');
    host_.szUri = uri.c_str();
    EXPECT_EQ(Change(), 0);
    EXPECT_EQ(tools_.Calls().at(0).argv.at(3), ("ldap://" + uri).substr(0, 1024));
}

TEST_F(Passwd, FailedToolIsLoggedAndLeavesBothSlots) {
    for (int code : {1, 49, 53, 255}) {
        tools_.Reset();
        tools_.On("ldappasswd").Exit(code);
        log_.Clear();
        EXPECT_EQ(Change(), -1);
        EXPECT_THAT(LoggedTexts(),
                    ElementsAre("Failed to set password for uid=ann,cn=users,dc=example,dc=com "
                                "(err=" +
                                std::to_string(code) + ")"));
    }
    EXPECT_EQ(QLIBCErrGet(), kStalePlatformCode);
    EXPECT_EQ(ZAFOLDAPErrGet(), kStaleLdapCode);
}

TEST_F(Passwd, KilledToolIsAFailure) {
    tools_.On("ldappasswd").Die(SIGKILL);
    EXPECT_EQ(Change(), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre(testing::EndsWith("(err=137)")));
}

TEST_F(Passwd, ToolThatCannotBeStartedIsAFailure) {
    const WithoutTool without("ldappasswd");
    EXPECT_EQ(Change(), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre(testing::EndsWith("(err=-1)")));
    EXPECT_EQ(ZAFOLDAPErrGet(), kStaleLdapCode);
}

TEST_F(Passwd, DNIsNotUsedAsAFormatByTheLog) {
    tools_.On("ldappasswd").Exit(1);
    EXPECT_EQ(ZAFOLDAPPasswd(&host_, "uid=100%n%s", "x"), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre("Failed to set password for uid=100%n%s (err=1)"));
}

}  // namespace
}  // namespace zafo::core_test
