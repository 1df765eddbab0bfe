// SPDX-License-Identifier: Apache-2.0
//
// What the account functions log while the debug switch is on.
#include <filesystem>

#include "tests/accounts/accounts_fixture.h"
#include "zafoldap/debug.h"

namespace zafo::core_test {
namespace {

using testing::ElementsAre;

class AccountsDebug : public AccountsTest {
  protected:
    AccountsDebug() { EXPECT_EQ(ZAFOLDAPDebugEnabled(), 1); }
    // Change files are kept in debug mode.
    ~AccountsDebug() override {
        for (const auto &entry : std::filesystem::directory_iterator("/tmp")) {
            if (entry.path().extension() == ".ldif") std::filesystem::remove(entry.path());
        }
    }
    // The log lines of one library source, as "text".
    Texts LoggedBy(const std::string &source) {
        Texts texts;
        for (const std::string &message : log_.Messages()) {
            if (message.starts_with(source + ".cpp:"))
                texts.push_back(message.substr(message.find(' ') + 1));
        }
        return texts;
    }
};

TEST_F(AccountsDebug, HashingLogsItsCommandWithThePasswordMasked) {
    tools_.On("slappasswd").Output("hash\n");
    char hash[16];
    EXPECT_EQ(ZAFOLDAPEncryptPasswd("s3cret", hash, sizeof hash), 0);
    EXPECT_THAT(LoggedTexts(),
                ElementsAre("cmd: /usr/zafo/bin/slappasswd -h '{CRYPT}' -s '****' -c '$1$%.2s'"));
}

TEST_F(AccountsDebug, SettingLogsItsCommandWithItsPasswords) {
    host_.nSSLType = 2;
    host_.szBindDN = "cn=admin";
    host_.szBindPasswd = "old %n";
    EXPECT_EQ(ZAFOLDAPPasswd(&host_, "uid=ann", ""), 0);
    EXPECT_THAT(LoggedTexts(),
                ElementsAre("cmd: /usr/zafo/bin/ldappasswd -x -H 'ldap://server' -Z -D 'cn=admin' "
                            "-w 'old %n' -s '' 'uid=ann'"));
}

TEST_F(AccountsDebug, ItemsThatBeginWithADashAreNotQuoted) {
    EXPECT_EQ(ZAFOLDAPPasswd(&host_, "uid=ann", "-new 'one'"), 0);
    EXPECT_THAT(LoggedTexts(),
                ElementsAre("cmd: /usr/zafo/bin/ldappasswd -x -H 'ldap://server' -s -new 'one' "
                            "'uid=ann'"));
}

TEST_F(AccountsDebug, CommandEndsBeforeTheFirstItemWithoutRoom) {
    const std::string start = "cmd: /usr/zafo/bin/ldappasswd -x -H 'ldap://server' -s";
    const size_t room = 1023 + std::string("cmd: ").size() - start.size() - 3;
    const std::string fits(room, 'p'), too_long(room + 1, 'p');
    EXPECT_EQ(ZAFOLDAPPasswd(&host_, "x", fits.c_str()), 0);
    EXPECT_EQ(ZAFOLDAPPasswd(&host_, "x", too_long.c_str()), 0);
    EXPECT_THAT(LoggedTexts(), ElementsAre(start + " '" + fits + "'", start));
}

TEST_F(AccountsDebug, LostSwapIsLogged) {
    tools_.On("ldapmodify").Exit(16);
    EXPECT_EQ(ZAFOLDAPAtomicRemoveAdd(&host_, "cn=c", "uidNumber", "1", "2"), -1);
    EXPECT_THAT(LoggedBy("ldap_atomic"),
                ElementsAre("ZAFOLDAPModify failed [cn=c,uidNumber,1,2] [0x1234]"));
}

TEST_F(AccountsDebug, CheckFunctionThatGivesUpIsLogged) {
    Answer({Entry1("uidNumber", "41")});
    uint64_t value = 0;
    const ZAFOLDAP_ATOMIC_CHECK refuse = [](const ZAFOLDAP_HOST *, uint64_t *, uint64_t *, void *) {
        return -1;
    };
    EXPECT_EQ(ZAFOLDAPAtomicIncr(&host_, "cn=c", "uidNumber", &value, refuse, nullptr), -1);
    EXPECT_THAT(LoggedBy("ldap_atomic"), ElementsAre("Check failed."));
}

TEST_F(AccountsDebug, SuggestedBaseDNsAreLogged) {
    List list;
    Answer({"dn:\nnamingContexts: dc=a\nnamingContexts: dc=%n\n\n"});
    EXPECT_EQ(ZAFOLDAPBrowserSuggestBaseDN(&host_, list.Address()), 0);
    EXPECT_THAT(LoggedBy("ldap_browser_suggest_base_dn"),
                ElementsAre("suggest basedn: 2", "  [dc=a]", "  [dc=%n]"));
}

TEST_F(AccountsDebug, RefusedBaseDNQuestionIsNotLoggedAndAFailedOneIs) {
    List list;
    for (int code : {47, 50, 51}) {
        tools_.Reset();
        log_.Clear();
        Refuse(code);
        ZAFOLDAPBrowserSuggestBaseDN(&host_, list.Address());
        EXPECT_EQ(LoggedBy("ldap_browser_suggest_base_dn"),
                  code == 51 ? Texts{"suggest basedn: 0"} : Texts{});
    }
}

}  // namespace
}  // namespace zafo::core_test
