// SPDX-License-Identifier: Apache-2.0
//
// Saving connections.
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/crypt.h"
#include "platform/error.h"
#include "tests/core/connection_fixture.h"
#include "tests/rig/cipher.h"

namespace zafo::core_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;

class BrowserConf : public ConnectionTest {
  protected:
    BrowserConf() {
        host_.szBindDN = "cn=admin,dc=example,dc=com";
        host_.szBindPasswd = "clear-secret";
        host_.szLoginSuffix = "example.com";
        host_.nSSLType = 1;
    }

    static std::string Deciphered(const std::string &cipher) {
        char clear[1024] = "";
        EXPECT_EQ(QLIBCryptSzDecrypt(cipher.c_str(), clear, sizeof clear), 0);
        return clear;
    }
};

TEST_F(BrowserConf, SavesEveryFieldUnderItsKey) {
    SKIP_WITHOUT_CIPHER();
    EXPECT_EQ(ZAFOLDAPBrowserConfSet(&host_, "ann"), 0);
    auto section = Section("ann");
    EXPECT_EQ(Deciphered(section["bindpw"]), "clear-secret");
    section.erase("bindpw");
    EXPECT_EQ(section, (std::map<std::string, std::string>{{"uri", "server"},
                                                           {"basedn", "dc=example,dc=com"},
                                                           {"binddn", "cn=admin,dc=example,dc=com"},
                                                           {"loginsuffix", "example.com"},
                                                           {"ssl", "on"}}));
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(BrowserConf, NoSectionIsRoot) {
    SKIP_WITHOUT_CIPHER();
    EXPECT_EQ(ZAFOLDAPBrowserConfSet(&host_, nullptr), 0);
    EXPECT_EQ(Section("root")["uri"], "server");
}

TEST_F(BrowserConf, FileIsPrivateAndHoldsNoClearPassword) {
    SKIP_WITHOUT_CIPHER();
    const mode_t mask = umask(0);
    EXPECT_EQ(ZAFOLDAPBrowserConfSet(&host_, nullptr), 0);
    umask(mask);
    struct stat status {};
    ASSERT_EQ(stat(kBrowserConf, &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
    EXPECT_THAT(ContentOf(kBrowserConf), Not(HasSubstr("clear-secret")));
}

TEST_F(BrowserConf, NullFieldsKeepTheirKeys) {
    SKIP_WITHOUT_CIPHER();
    ASSERT_EQ(ZAFOLDAPBrowserConfSet(&host_, nullptr), 0);
    const auto before = Section("root");
    ZAFOLDAP_HOST other{};
    other.szUri = "other";
    other.nSSLType = 2;
    EXPECT_EQ(ZAFOLDAPBrowserConfSet(&other, nullptr), 0);
    auto expected = before;
    expected["uri"] = "other";
    expected["ssl"] = "start_tls";
    EXPECT_EQ(Section("root"), expected) << "the password too, enciphered as it was";
}

TEST_F(BrowserConf, TransportSecurityIsSavedAsText) {
    SKIP_WITHOUT_CIPHER();
    const char *texts[] = {"off", "on", "start_tls"};
    for (int type = 0; type < 3; ++type) {
        host_.nSSLType = type;
        EXPECT_EQ(ZAFOLDAPBrowserConfSet(&host_, nullptr), 0);
        EXPECT_EQ(Section("root")["ssl"], texts[type]);
    }
}

TEST_F(BrowserConf, OtherConnectionsCommentsAndUnknownKeysStay) {
    SKIP_WITHOUT_CIPHER();
    Write(kBrowserConf, "# ours\n[ann]\nuri=a\n\n[root]\n; note\nnote=kept\nuri=old\n");
    EXPECT_EQ(ZAFOLDAPBrowserConfSet(&host_, nullptr), 0);
    EXPECT_EQ(Section("ann"), (std::map<std::string, std::string>{{"uri", "a"}}));
    EXPECT_EQ(Section("root")["note"], "kept");
    EXPECT_EQ(Section("root")["uri"], "server");
    EXPECT_THAT(ContentOf(kBrowserConf), HasSubstr("# ours\n"));
    EXPECT_THAT(ContentOf(kBrowserConf), HasSubstr("; note\n"));
}

TEST_F(BrowserConf, EmptySectionIsFilled) {
    SKIP_WITHOUT_CIPHER();
    Write(kBrowserConf, "[root]\n");
    EXPECT_EQ(ZAFOLDAPBrowserConfSet(&host_, nullptr), 0);
    EXPECT_EQ(Section("root")["uri"], "server");
}

TEST_F(BrowserConf, AwkwardValuesSurviveTheRoundTrip) {
    SKIP_WITHOUT_CIPHER();
    const Texts values = {" blanks ", "quote\" and \\", "#hash",       ";semi",   "a=b",
                          "[x]",      "Zo\xc3\xab",     "line\nbreak", "100%n%s", "\t"};
    for (const std::string &value : values) {
        SCOPED_TRACE(value);
        host_.szBaseDN = value.c_str();
        host_.szBindPasswd = value.c_str();
        ASSERT_EQ(ZAFOLDAPBrowserConfSet(&host_, nullptr), 0);
        auto section = Section("root");
        EXPECT_EQ(section["basedn"], value);
        EXPECT_EQ(Deciphered(section["bindpw"]), value);
    }
}

TEST_F(BrowserConf, LongestPasswordFitsAndALongerOneIsRefused) {
    SKIP_WITHOUT_CIPHER();
    const std::string longest(1023, 'p'), longer(1024, 'p');
    host_.szBindPasswd = longest.c_str();
    ASSERT_EQ(ZAFOLDAPBrowserConfSet(&host_, nullptr), 0);
    EXPECT_EQ(Deciphered(Section("root")["bindpw"]), longest);
    const std::string before = ContentOf(kBrowserConf);
    host_.szBindPasswd = longer.c_str();
    host_.szUri = "other";
    EXPECT_EQ(ZAFOLDAPBrowserConfSet(&host_, nullptr), -1);
    EXPECT_THAT(log_.Messages(),
                ElementsAre(MatchesRegex("ldap_browser_conf\\.cpp:[0-9]+ Encrypt password failed! "
                                         "\\[0x0D00\\]")));
    EXPECT_EQ(ContentOf(kBrowserConf), before);
}

TEST_F(BrowserConf, UnknownTransportSecurityIsRefused) {
    SKIP_WITHOUT_CIPHER();
    ASSERT_EQ(ZAFOLDAPBrowserConfSet(&host_, nullptr), 0);
    const std::string before = ContentOf(kBrowserConf);
    for (int type : {-1, 3}) {
        host_.nSSLType = type;
        host_.szUri = "other";
        log_.Clear();
        EXPECT_EQ(ZAFOLDAPBrowserConfSet(&host_, nullptr), -1);
        EXPECT_THAT(log_.Messages(),
                    ElementsAre(MatchesRegex("ldap_browser_conf\\.cpp:[0-9]+ Bad parameters\\.")));
        EXPECT_EQ(ContentOf(kBrowserConf), before);
    }
}

TEST_F(BrowserConf, DamagedFileIsReportedAndLeftAlone) {
    const std::string damaged = "[root]\nuri=old\nthis is no pair\n";
    Write(kBrowserConf, damaged);
    EXPECT_EQ(ZAFOLDAPBrowserConfSet(&host_, nullptr), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0F00);
    EXPECT_THAT(LibraryMessages(),
                ElementsAre(MatchesRegex("ldap_browser_conf\\.cpp:[0-9]+ save borwser conf "
                                         "\\[root\\] failed! \\[0x0F00\\]")));
    EXPECT_EQ(ContentOf(kBrowserConf), damaged);
}

TEST_F(BrowserConf, MissingFolderIsReported) {
    std::filesystem::rename("/usr/zafo/etc/private", "/usr/zafo/etc/private.away");
    const int result = ZAFOLDAPBrowserConfSet(&host_, "ann");
    std::filesystem::rename("/usr/zafo/etc/private.away", "/usr/zafo/etc/private");
    EXPECT_EQ(result, -1);
    EXPECT_THAT(log_.Messages(),
                ElementsAre(MatchesRegex("ldap_browser_conf\\.cpp:[0-9]+ save borwser conf "
                                         "\\[ann\\] failed! \\[0x[0-9A-F]{4}\\]")));
}

TEST_F(BrowserConf, ProcessesThatSaveConcurrentlyLoseNothing) {
    SKIP_WITHOUT_CIPHER();
    constexpr int kProcesses = 8, kSections = 10;
    ASSERT_EQ(ZAFOLDAPBrowserConfSet(&host_, nullptr), 0);
    std::vector<pid_t> children;
    for (int process = 0; process < kProcesses; ++process) {
        children.push_back(fork());
        if (children.back() != 0) continue;
        int failures = 0;
        for (int i = 0; i < kSections; ++i) {
            const std::string name = "u" + std::to_string(process) + "_" + std::to_string(i);
            host_.szUri = name.c_str();
            failures += ZAFOLDAPBrowserConfSet(&host_, name.c_str()) != 0;
        }
        _exit(failures);
    }
    for (const pid_t child : children) {
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    for (int process = 0; process < kProcesses; ++process) {
        for (int i = 0; i < kSections; ++i) {
            const std::string name = "u" + std::to_string(process) + "_" + std::to_string(i);
            EXPECT_EQ(Section(name.c_str())["uri"], name);
        }
    }
}

class ServerParamConf : public ConnectionTest {
  protected:
    ZAFOLDAP_SERVER_PARAM param_{};
};

TEST_F(ServerParamConf, SavesTheLocalServerUnderRoot) {
    SKIP_WITHOUT_CIPHER();
    param_.szSuffix = "dc=example,dc=com";
    param_.szRootDN = "uid=root,cn=users,dc=example,dc=com";
    param_.szRootPW = "pw";
    EXPECT_EQ(ZAFOLDAPBrowserConfSetByServerParam(&param_), 0);
    auto section = Section("root");
    EXPECT_EQ(section.count("bindpw"), 1u);
    section.erase("bindpw");
    EXPECT_EQ(section,
              (std::map<std::string, std::string>{{"uri", "localhost"},
                                                  {"basedn", "dc=example,dc=com"},
                                                  {"binddn", "uid=root,cn=users,dc=example,dc=com"},
                                                  {"loginsuffix", "example.com"},
                                                  {"ssl", "start_tls"}}));
}

TEST_F(ServerParamConf, SuffixWithoutDomainComponentsKeepsTheLoginSuffix) {
    Write(kBrowserConf, "[root]\nloginsuffix=old.example\n");
    param_.szSuffix = "o=example";
    EXPECT_EQ(ZAFOLDAPBrowserConfSetByServerParam(&param_), 0);
    EXPECT_EQ(Section("root")["loginsuffix"], "old.example");
    EXPECT_EQ(Section("root")["basedn"], "o=example");
}

TEST_F(ServerParamConf, NullFieldsKeepTheirKeys) {
    Write(kBrowserConf, "[root]\nbinddn=cn=old\nbasedn=dc=old\n");
    EXPECT_EQ(ZAFOLDAPBrowserConfSetByServerParam(&param_), 0);
    EXPECT_EQ(Section("root")["binddn"], "cn=old");
    EXPECT_EQ(Section("root")["basedn"], "dc=old");
    EXPECT_EQ(Section("root")["uri"], "localhost");
}

}  // namespace
}  // namespace zafo::core_test
