// SPDX-License-Identifier: Apache-2.0
//
// What is logged and kept while the debug switch is on. That none of it happens while it is off is
// tested together with each feature.
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

#include "tests/core/connection_fixture.h"
#include "tests/core/without_tool.h"
#include "tests/rig/cipher.h"
#include "zafoldap/debug.h"

namespace zafo::core_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class DebugSwitch : public ConnectionTest {
  protected:
    void SetUp() override { ASSERT_EQ(ZAFOLDAPDebugEnabled(), 1); }

    // The log so far as "FILE text", without line numbers.
    Texts Logged() {
        Texts logged;
        for (const std::string &message : LibraryMessages()) {
            const size_t dot = message.find('.'), blank = message.find(' ');
            logged.push_back(message.substr(0, dot) + message.substr(blank));
        }
        return logged;
    }
};

const std::string kPlainCommand =
    "ldap_search search command: /usr/zafo/bin/ldapsearch -LLL -x -H 'ldap://server' "
    "-b 'dc=example,dc=com'";

TEST_F(DebugSwitch, SearchLogsItsCommandWithThePasswordMasked) {
    host_.szBindDN = "cn=admin";
    host_.szBindPasswd = "s3cret";
    Request request{"cn"};
    request.szFilter = "(uid=%n%s)";
    RunSearch(host_, request);
    EXPECT_THAT(Logged(),
                ElementsAre("ldap_search search command: /usr/zafo/bin/ldapsearch -LLL -x -H "
                            "'ldap://server' -D 'cn=admin' -w '****' -b 'dc=example,dc=com' "
                            "'(uid=%n%s)' 'cn'"));
    EXPECT_EQ(tools_.Calls().at(0).argv.at(8), "s3cret") << "the tool gets the real one";
}

TEST_F(DebugSwitch, NoPasswordIsNotMasked) {
    host_.szBindDN = "cn=admin";
    RunSearch(host_, Request());
    EXPECT_THAT(Logged(),
                ElementsAre("ldap_search search command: /usr/zafo/bin/ldapsearch -LLL -x -H "
                            "'ldap://server' -D 'cn=admin' -b 'dc=example,dc=com'"));
}

TEST_F(DebugSwitch, EmptyPasswordIsMaskedLikeAnyOther) {
    host_.szBindDN = "cn=admin";
    host_.szBindPasswd = "";
    RunSearch(host_, Request());
    EXPECT_THAT(Logged(), ElementsAre(HasSubstr("-w '****'")));
}

TEST_F(DebugSwitch, LoggedCommandIsCutTo4094Characters) {
    const std::string filter(6000, 'f');
    Request request;
    request.szFilter = filter.c_str();
    RunSearch(host_, request);
    const std::string whole =
        kPlainCommand.substr(kPlainCommand.find("/usr")) + " '" + filter + "'";
    EXPECT_THAT(Logged(), ElementsAre("ldap_search search command: " + whole.substr(0, 4094)));
}

TEST_F(DebugSwitch, SearchLogsTheToolsExitCode) {
    for (int code : {1, 32, 255}) {
        log_.Clear();
        tools_.Reset();
        tools_.On("ldapsearch").Exit(code);
        RunSearch(host_, Request());
        EXPECT_THAT(Logged(), ElementsAre(kPlainCommand,
                                          "ldap_search ldapsearch return " + std::to_string(code)));
    }
}

TEST_F(DebugSwitch, SearchLogsTheRawStatusOfAKilledTool) {
    tools_.On("ldapsearch").Die(SIGKILL);
    RunSearch(host_, Request());
    EXPECT_THAT(Logged(),
                ElementsAre(kPlainCommand, "ldap_search ldapsearch terminate abnormal 9"));
}

TEST_F(DebugSwitch, FailedSearchLogsItsErrorFileAndRemovesIt) {
    tools_.On("ldapsearch").Exit(1);
    ZAFOLDAP_SEARCH_REQUEST request{};
    ZAFOLDAP_RESULT result;
    ASSERT_EQ(ZAFOLDAPSearchInit(&host_, &request, &result), 0);
    const std::string error_file = result.szErrFile;
    Write(error_file.c_str(), "first %n%s\n\n  last");
    EXPECT_EQ(ZAFOLDAPSearchGetNext(&request, &result), -1);
    EXPECT_FALSE(std::filesystem::exists(error_file));
    EXPECT_STREQ(result.szErrFile, "");
    EXPECT_THAT(Logged(),
                ElementsAre(kPlainCommand, "ldap_search ldapsearch return 1",
                            "ldap_search   first %n%s", "ldap_search   ", "ldap_search     last"));
    ZAFOLDAPSearchFree(&request, &result);
}

// Anyone can leave a file under that name.
TEST_F(DebugSwitch, OnlyAFileOfTheUsersOwnIsLoggedAsErrorFile) {
    Write("/tmp/private", "precious\n");
    const std::pair<const char *, std::function<int(const char *)>> kPlants[] = {
        {"link", [](const char *name) { return symlink("/tmp/private", name); }},
        {"second name", [](const char *name) { return link("/tmp/private", name); }},
        {"FIFO", [](const char *name) { return mkfifo(name, 0644); }},
        {"file of another user",
         [](const char *name) { return Write(name, "a lie\n"), chown(name, 65534, 65534); }},
    };
    for (const auto &[what, plant] : kPlants) {
        SCOPED_TRACE(what);
        log_.Clear();
        tools_.Reset();
        tools_.On("ldapsearch").Exit(1);
        ZAFOLDAP_SEARCH_REQUEST request{};
        ZAFOLDAP_RESULT result;
        ASSERT_EQ(ZAFOLDAPSearchInit(&host_, &request, &result), 0);
        const std::string error_file = result.szErrFile;
        if (plant(error_file.c_str()) != 0) GTEST_SKIP() << "this root has only one user";
        EXPECT_EQ(ZAFOLDAPSearchGetNext(&request, &result), -1);
        EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(error_file)));
        EXPECT_THAT(Logged(), ElementsAre(kPlainCommand, "ldap_search ldapsearch return 1"));
        ZAFOLDAPSearchFree(&request, &result);
    }
    std::filesystem::remove("/tmp/private");
}

TEST_F(DebugSwitch, SucceedingSearchDoesNotLogItsErrorFile) {
    ZAFOLDAP_SEARCH_REQUEST request{};
    ZAFOLDAP_RESULT result;
    ASSERT_EQ(ZAFOLDAPSearchInit(&host_, &request, &result), 0);
    const std::string error_file = result.szErrFile;
    Write(error_file.c_str(), "a warning\n");
    EXPECT_EQ(ZAFOLDAPSearchGetNext(&request, &result), 0);
    EXPECT_FALSE(std::filesystem::exists(error_file));
    EXPECT_THAT(Logged(), ElementsAre(kPlainCommand));
    ZAFOLDAPSearchFree(&request, &result);
}

class DebugModify : public DebugSwitch {
  protected:
    int Run(int add = 0) {
        EXPECT_EQ(ZAFOLDAPLdifInit(&ldif_, nullptr), 0);
        path_ = ldif_.szPath;
        ZAFOLDAPLdifTargetDN(&ldif_, "dc=a");
        ZAFOLDAPLdifAttr(&ldif_, "cn", "%s", "x");
        return ZAFOLDAPModify(&host_, &ldif_, add);
    }
    ~DebugModify() override { std::filesystem::remove(path_); }

    std::string Command(const std::string &words) const {
        return "ldap_modify /usr/zafo/bin/ldapmodify " + words + " -f '" + path_ + "' -w '****'";
    }

    ZAFOLDAP_LDIF ldif_{};
    std::string path_;
};

TEST_F(DebugModify, KeepsTheChangeFileForInspection) {
    EXPECT_EQ(Run(), 0);
    EXPECT_STREQ(ldif_.szPath, "");
    EXPECT_EQ(ContentOf(path_), "dn: dc=a\ncn: x\n");
}

TEST_F(DebugModify, KeepsAnEmptyChangeFileToo) {
    ASSERT_EQ(ZAFOLDAPLdifInit(&ldif_, nullptr), 0);
    path_ = ldif_.szPath;
    EXPECT_EQ(ZAFOLDAPModify(&host_, &ldif_, 0), 0);
    EXPECT_TRUE(std::filesystem::exists(path_));
    EXPECT_STREQ(ldif_.szPath, "");
    EXPECT_TRUE(tools_.Calls().empty());
    EXPECT_THAT(Logged(), IsEmpty());
}

TEST_F(DebugModify, LogsItsCommandWithThePasswordMasked) {
    host_.szBindDN = "cn=admin %n";
    host_.szBindPasswd = "s3cret";
    host_.nSSLType = 2;
    EXPECT_EQ(Run(1), 0);
    EXPECT_THAT(Logged(), ElementsAre(Command("-ax -ZH 'ldap://server' -D 'cn=admin %n'")));
}

TEST_F(DebugModify, AnonymousBindIsShownAsEmptyText) {
    host_.nSSLType = 1;
    EXPECT_EQ(Run(), 0);
    EXPECT_THAT(Logged(), ElementsAre(Command("-x -H 'ldaps://server' -D ''")));
}

TEST_F(DebugModify, LogsTheToolsWordsLineByLineAndItsExitCode) {
    tools_.On("ldapmodify").Output("adding %n%s\n\n  blanks stay \nno line break").Exit(68);
    EXPECT_EQ(Run(), -1);
    EXPECT_THAT(Logged(),
                ElementsAre(Command("-x -H 'ldap://server' -D ''"), "ldap_modify adding %n%s",
                            "ldap_modify   blanks stay ", "ldap_modify no line break",
                            "ldap_modify ldapmodify return 68"));
}

TEST_F(DebugModify, LogsTheRawStatusOfAKilledTool) {
    tools_.On("ldapmodify").Output("words\n").Die(SIGTERM);
    EXPECT_EQ(Run(), -1);
    EXPECT_THAT(Logged(), ElementsAre(Command("-x -H 'ldap://server' -D ''"), "ldap_modify words",
                                      "ldap_modify ldapmodify terminate abnormal 15"));
}

TEST_F(DebugModify, ManyWordsOfTheToolAreReadToTheEnd) {
    std::string words;
    for (int i = 0; i < 2000; ++i)
        words += "line " + std::to_string(i) + "\n";
    tools_.On("ldapmodify").Output(words);
    EXPECT_EQ(Run(), 0);
    EXPECT_EQ(Logged().size(), 2001u);
}

TEST_F(DebugModify, StartFailureIsLoggedAfterTheCommand) {
    const WithoutTool without("ldapmodify");
    EXPECT_EQ(Run(), -1);
    EXPECT_THAT(Logged(), ElementsAre(Command("-x -H 'ldap://server' -D ''"),
                                      "ldap_modify Execute [] failed!"));
    EXPECT_TRUE(std::filesystem::exists(path_));
}

// What connections log, without the search commands in between.
class DebugConnection : public DebugSwitch {
  protected:
    Texts LoggedBesidesSearches() {
        Texts logged = Logged();
        std::erase_if(logged, [](const auto &text) { return text.starts_with("ldap_search "); });
        return logged;
    }
};

TEST_F(DebugConnection, ServerTypeIsLogged) {
    tools_.On("ldapsearch").Exit(32);
    tools_.On("ldapsearch").IgnoreSignals().Output("dn: ou=macosxodconfig\n\n");
    EXPECT_EQ(ZAFOLDAPBrowserCheckServerType(&host_), 0);
    EXPECT_THAT(LoggedBesidesSearches(),
                ElementsAre("ldap_browser_check_server_type Server [server] type is 2"));
}

TEST_F(DebugConnection, FailedOwnServerCheckIsLogged) {
    tools_.On("ldapsearch").Exit(49);
    EXPECT_EQ(ZAFOLDAPBrowserCheckServerType(&host_), -1);
    EXPECT_THAT(LoggedBesidesSearches(),
                ElementsAre("ldap_browser_check_server_type ZAFOLDAPBrowserCheckZafoSchema failed, "
                            "ldap_invalid_credentials (49)"));
}

TEST_F(DebugConnection, FailedAppleCheckIsLogged) {
    tools_.On("ldapsearch").Exit(32);
    tools_.On("ldapsearch").Exit(99);
    EXPECT_EQ(ZAFOLDAPBrowserCheckServerType(&host_), -1);
    EXPECT_THAT(LoggedBesidesSearches(),
                ElementsAre("ldap_browser_check_server_type ZAFOLDAPBrowserCheckMacSchema failed, "
                            " (99)"))
        << "a code without a message has an empty key";
}

TEST_F(DebugConnection, MissingSavedConnectionIsLogged) {
    EXPECT_EQ(ZAFOLDAPHostInitByBrowserConfig(&record_, "ann"), -1);
    EXPECT_THAT(
        Logged(),
        ElementsAre("ldap_host_init conf not found: /usr/zafo/etc/private/ldapbrowser.conf"));
}

TEST_F(DebugConnection, UnclassifiedServerOfASavedConnectionIsLogged) {
    Write(kBrowserConf, "[root]\nuri=server\nbasedn=dc=x\n");
    tools_.On("ldapsearch").Exit(255);
    EXPECT_EQ(ZAFOLDAPHostInitByBrowserConfig(&record_, nullptr), 0);
    EXPECT_THAT(
        LoggedBesidesSearches(),
        ElementsAre("ldap_browser_check_server_type ZAFOLDAPBrowserCheckZafoSchema failed, "
                    "ldap_operations_error (255)",
                    "ldap_host_init check server type failed, ldap_operations_error (255)"));
}

TEST_F(DebugConnection, UnreadableSchemaOfASavedConnectionIsLogged) {
    Write(kBrowserConf, "[root]\nuri=server\nbasedn=dc=x\n");
    tools_.On("ldapsearch").IgnoreSignals().Output("dn: cn=zafoconf,dc=x\n\n");
    tools_.On("ldapsearch").Exit(50);
    EXPECT_EQ(ZAFOLDAPHostInitByBrowserConfig(&record_, nullptr), 0);
    EXPECT_THAT(
        LoggedBesidesSearches(),
        ElementsAre("ldap_browser_check_server_type Server [server] type is 1",
                    "ldap_host_init get support schema failed, ldap_insufficient_access (50)"));
}

TEST_F(DebugConnection, ClientBindingHasNoSuchLines) {
    Write(kNslcdConf, "uri ldap://server\nbase dc=x\n");
    tools_.On("ldapsearch").IgnoreSignals().Output("dn: cn=zafoconf,dc=x\n\n");
    tools_.On("ldapsearch").Exit(50);
    EXPECT_EQ(ZAFOLDAPHostInitByBindConfig(&record_), 0);
    EXPECT_THAT(LoggedBesidesSearches(),
                ElementsAre("ldap_browser_check_server_type Server [server] type is 1"));
}

TEST_F(DebugConnection, PasswordsOfSavedConnectionsStayOutOfTheLog) {
    SKIP_WITHOUT_CIPHER();
    host_.szBindDN = "cn=admin";
    host_.szBindPasswd = "s3cret";
    ASSERT_EQ(ZAFOLDAPBrowserConfSet(&host_, nullptr), 0);
    ScriptWholeServer();
    EXPECT_EQ(ZAFOLDAPHostInitByBrowserConfig(&record_, nullptr), 1);
    EXPECT_STREQ(record_.szBindPasswd, "s3cret");
    for (const std::string &message : log_.Messages())
        EXPECT_THAT(message, Not(HasSubstr("s3cret")));
}

}  // namespace
}  // namespace zafo::core_test
