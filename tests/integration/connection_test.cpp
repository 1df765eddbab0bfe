// SPDX-License-Identifier: Apache-2.0
//
// Where connections come from: the directory browser's saved ones and the appliance's own client
// binding.
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/error.h"
#include "platform/file.h"
#include "platform/szhash.h"
#include "tests/integration/integration.h"
#include "tests/rig/cipher.h"

namespace zafo::test {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr const char *kBrowserFile = "/usr/zafo/etc/private/ldapbrowser.conf";
constexpr const char *kBindFile = "/usr/zafo/etc/nslcd.conf";

mode_t ModeOf(const char *path) {
    struct stat status {};
    EXPECT_EQ(stat(path, &status), 0) << path;
    return status.st_mode & 07777;
}

// A record that the test loads from a file.
class Loaded {
  public:
    ~Loaded() { ZAFOLDAPHostFree(&host_); }
    ZAFOLDAP_HOST *operator->() { return &host_; }
    ZAFOLDAP_HOST *Record() { return &host_; }

    int FromBrowser(const char *section) {
        QLIBCErrSet(QLIB_ERR_NONE);
        ZAFOLDAPErrReset();
        ZAFOLDAPHostFree(&host_);
        return ZAFOLDAPHostInitByBrowserConfig(&host_, section);
    }

    int FromBinding() {
        QLIBCErrSet(QLIB_ERR_NONE);
        ZAFOLDAPErrReset();
        ZAFOLDAPHostFree(&host_);
        return ZAFOLDAPHostInitByBindConfig(&host_);
    }

  private:
    ZAFOLDAP_HOST host_{};
};

class SavedConnection : public testing::Test {
  protected:
    void SetUp() override { std::filesystem::remove(kBrowserFile); }
    void TearDown() override { std::filesystem::remove(kBrowserFile); }
    Loaded loaded_;
};

TEST_F(SavedConnection, IsCompleteWhenReadBack) {
    SKIP_WITHOUT_CIPHER();
    for (const int ssl_type : {0, 1, 2}) {
        SCOPED_TRACE(ssl_type);
        Connection connection(ssl_type == 1 ? "localhost:636" : "localhost", ssl_type,
                              rig::kApplianceBase);
        ZAFOLDAPHostSet(connection.Record(), LDAP_HOST_ATTR_LOGIN_SUFFIX, "example.com");
        ASSERT_EQ(ZAFOLDAPBrowserConfSet(connection, "office"), 0);
        EXPECT_EQ(loaded_.FromBrowser("office"), 1);
        EXPECT_STREQ(loaded_->szUri, connection.Record()->szUri);
        EXPECT_STREQ(loaded_->szBaseDN, rig::kApplianceBase);
        EXPECT_STREQ(loaded_->szBindDN, ExampleDirectory::Get().BindDN());
        EXPECT_STREQ(loaded_->szBindPasswd, ExampleDirectory::Get().Password().c_str());
        EXPECT_STREQ(loaded_->szLoginSuffix, "example.com");
        EXPECT_EQ(loaded_->nSSLType, ssl_type);
        EXPECT_EQ(loaded_->nServerType, ZAFOLDAP_SERVER_ZAFO);
        EXPECT_EQ(loaded_->nSchema, 0x01FFU);
        EXPECT_EQ(Search(loaded_.Record(), {.attributes = {"1.1"}}).entries.size(), 4U);
    }
}

TEST_F(SavedConnection, WithoutANameIsRoot) {
    SKIP_WITHOUT_CIPHER();
    ASSERT_EQ(ZAFOLDAPBrowserConfSet(Connection(), nullptr), 0);
    EXPECT_THAT(FileContent(kBrowserFile), HasSubstr("[root]"));
    EXPECT_EQ(loaded_.FromBrowser(nullptr), 1);
    EXPECT_EQ(loaded_.FromBrowser("root"), 1);
}

TEST_F(SavedConnection, KeepsItsPasswordSecretAndWhole) {
    SKIP_WITHOUT_CIPHER();
    ASSERT_EQ(ZAFOLDAPBrowserConfSet(Connection(), "office"), 0);
    for (const std::string &password :
         {std::string("secret"), std::string("  blanks = [and] ; # \"quotes\" \\ "),
          std::string("Zoë山田👩🏽‍🚀"), std::string("%s%n%d"),
          std::string(1023, 'x')}) {
        SCOPED_TRACE(password);
        Connection connection;
        connection.BindAs("cn=somebody,dc=example,dc=com", password.c_str());
        ASSERT_EQ(ZAFOLDAPBrowserConfSet(connection, "office"), 0);
        EXPECT_THAT(FileContent(kBrowserFile), Not(HasSubstr(password)));
        EXPECT_THAT(FileContent(kBrowserFile), Not(HasSubstr(rig::Base64(password))));
        EXPECT_EQ(loaded_.FromBrowser("office"), 0);  // the server does not know it
        EXPECT_STREQ(loaded_->szBindPasswd, password.c_str());
    }
}

TEST_F(SavedConnection, IsReadableForItsOwnerOnly) {
    SKIP_WITHOUT_CIPHER();
    ASSERT_EQ(ZAFOLDAPBrowserConfSet(Connection(), "office"), 0);
    EXPECT_EQ(ModeOf(kBrowserFile), 0600U);
    EXPECT_EQ(ModeOf("/usr/zafo/etc/private"), 0700U);
}

TEST_F(SavedConnection, SavedWithoutPasswordAndBindDNKeepsThoseOfTheFile) {
    SKIP_WITHOUT_CIPHER();
    ASSERT_EQ(ZAFOLDAPBrowserConfSet(Connection(), "office"), 0);
    Connection changed("zafo", 2);
    changed.BindAs(nullptr, nullptr);
    ASSERT_EQ(ZAFOLDAPBrowserConfSet(changed, "office"), 0);
    EXPECT_EQ(loaded_.FromBrowser("office"), 1);
    EXPECT_STREQ(loaded_->szUri, "zafo");
    EXPECT_STREQ(loaded_->szBindDN, ExampleDirectory::Get().BindDN());
    EXPECT_STREQ(loaded_->szBindPasswd, ExampleDirectory::Get().Password().c_str());
}

TEST_F(SavedConnection, LeavesOtherSectionsCommentsAndKeysAlone) {
    SKIP_WITHOUT_CIPHER();
    const std::string before =
        "# connections of the office\n\n[other]\nuri=somewhere\nnote=keep me\n\n";
    WriteFile(kBrowserFile, before);
    ASSERT_EQ(ZAFOLDAPBrowserConfSet(Connection(), "office"), 0);
    EXPECT_THAT(FileContent(kBrowserFile), StartsWith(before));
}

TEST_F(SavedConnection, ThatDoesNotExistIs2200) {
    SKIP_WITHOUT_CIPHER();
    EXPECT_EQ(loaded_.FromBrowser("office"), -1);
    EXPECT_EQ(QLIBCErrGet(), QLIB_ERR_SECTION_NOT_FOUND);
    ASSERT_EQ(ZAFOLDAPBrowserConfSet(Connection(), "office"), 0);
    EXPECT_EQ(loaded_.FromBrowser("another"), -1);
    EXPECT_EQ(QLIBCErrGet(), QLIB_ERR_SECTION_NOT_FOUND);
}

TEST_F(SavedConnection, InADamagedFileIsNeitherReadNorWritten) {
    for (const char *damage : {"[office\nuri=localhost\n", "[office]\nno pair\n",
                               "uri=before any section\n", "[office]\nuri=\"no end\n"}) {
        SCOPED_TRACE(damage);
        WriteFile(kBrowserFile, damage);
        EXPECT_EQ(loaded_.FromBrowser("office"), -1);
        EXPECT_EQ(ZAFOLDAPBrowserConfSet(Connection(), "office"), -1);
        EXPECT_EQ(FileContent(kBrowserFile), damage);
    }
}

TEST_F(SavedConnection, WithAForeignCipherTextIsAFailure) {
    WriteFile(kBrowserFile, "[office]\nuri=localhost\nbindpw=bm90IG91cnM=\n");
    EXPECT_EQ(loaded_.FromBrowser("office"), -1);
}

TEST_F(SavedConnection, ToAServerThatIsDownIsUsableButNotClassified) {
    SKIP_WITHOUT_CIPHER();
    ASSERT_EQ(ZAFOLDAPBrowserConfSet(Connection("127.0.0.1:1"), "office"), 0);
    EXPECT_EQ(loaded_.FromBrowser("office"), 0);
    EXPECT_STREQ(loaded_->szUri, "127.0.0.1:1");
    EXPECT_EQ(loaded_->nSchema, 0U);
}

TEST_F(SavedConnection, OfTheLocalServerIsLocalhostWithStartTLS) {
    SKIP_WITHOUT_CIPHER();
    const ExampleDirectory &directory = ExampleDirectory::Get();
    ZAFOLDAP_SERVER_PARAM parameters{};
    parameters.szSuffix = rig::kExampleBase;
    parameters.szRootDN = directory.BindDN();
    parameters.szRootPW = directory.Password().c_str();
    ASSERT_EQ(ZAFOLDAPBrowserConfSetByServerParam(&parameters), 0);
    EXPECT_EQ(loaded_.FromBrowser(nullptr), 1);
    EXPECT_STREQ(loaded_->szUri, "localhost");
    EXPECT_STREQ(loaded_->szLoginSuffix, "example.com");
    EXPECT_EQ(loaded_->nSSLType, 2);
    EXPECT_EQ(loaded_->nServerType, ZAFOLDAP_SERVER_GENERIC);
}

// Saves `rounds` connections from a separate process.
pid_t SaveInAnotherProcess(const std::string &name, int rounds) {
    const pid_t pid = fork();
    if (pid != 0) return pid;
    ZAFOLDAP_HOST host{};
    int failures = 0;
    for (int round = 0; round < rounds; ++round) {
        const std::string uri = name + std::to_string(round) + ".example.com";
        host.szUri = uri.c_str();
        host.szBindPasswd = name.c_str();
        failures += ZAFOLDAPBrowserConfSet(&host, uri.c_str()) == 0 ? 0 : 1;
    }
    _exit(failures == 0 ? 0 : 1);
}

TEST_F(SavedConnection, TwoProcessesSavingConcurrentlyLoseNothing) {
    SKIP_WITHOUT_CIPHER();
    constexpr int kRounds = 25;
    const std::vector<std::string> names = {"anna", "bob"};
    std::vector<pid_t> children;
    for (const std::string &name : names)
        children.push_back(SaveInAnotherProcess(name, kRounds));
    for (const pid_t child : children) {
        int status = -1;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
    const std::unique_ptr<QLIBSZHASH, void (*)(QLIBSZHASH *)> map(QLIBCSzHashAlloc(16),
                                                                  QLIBCSzHashFree);
    for (const std::string &name : names) {
        for (int round = 0; round < kRounds; ++round) {
            const std::string section = name + std::to_string(round) + ".example.com";
            SCOPED_TRACE(section);
            EXPECT_GT(QLIBCFileGetSection(kBrowserFile, section.c_str(), map.get()), 0);
            const char *uri = QLIBCSzHashGetValue(map.get(), "uri");
            ASSERT_NE(uri, nullptr);
            EXPECT_EQ(uri, section);
        }
    }
}

class Binding : public testing::Test {
  protected:
    void SetUp() override { ExampleDirectory::Get(); }
    void TearDown() override { std::filesystem::remove(kBindFile); }

    // A complete nslcd.conf(5) as the appliance writes it when it joins a directory.
    static std::string Conf(const std::string &uri, const std::string &ssl) {
        const ExampleDirectory &directory = ExampleDirectory::Get();
        return "# the directory this appliance is bound to\n"
               "uid nslcd\n"
               "gid nslcd\n"
               "uri " +
               uri +
               "\n"
               "base dc=example,dc=com\n"
               "binddn " +
               directory.BindDN() +
               "\n"
               "bindpw " +
               directory.Password() +
               "\n"
               "ssl " +
               ssl +
               "\n"
               "tls_reqcert demand\n"
               "tls_cacertfile /usr/zafo/etc/ssl/ca.pem\n"
               "map passwd gecos cn\n"
               "nss_min_uid 1000\n";
    }

    Loaded loaded_;
};

TEST_F(Binding, FillsACompleteConnection) {
    struct Row {
        const char *uri;
        const char *ssl;
        const char *stored;
        int ssl_type;
    };
    for (const Row &row : {Row{"ldap://127.0.0.1", "off", "127.0.0.1", 0},
                           Row{"ldap://localhost:389", "start_tls", "localhost:389", 2},
                           Row{"ldaps://localhost:636", "on", "localhost:636", 1},
                           Row{"LDAPS://zafo:636", "off", "zafo:636", 1},
                           Row{"ldap://127.0.0.1:1 ldap://127.0.0.1:389", "off",
                               "127.0.0.1:1 ldap://127.0.0.1:389", 0}}) {
        SCOPED_TRACE(row.uri);
        WriteFile(kBindFile, Conf(row.uri, row.ssl));
        EXPECT_EQ(loaded_.FromBinding(), 1);
        EXPECT_STREQ(loaded_->szUri, row.stored);
        EXPECT_STREQ(loaded_->szBaseDN, rig::kExampleBase);
        EXPECT_STREQ(loaded_->szBindDN, ExampleDirectory::Get().BindDN());
        EXPECT_STREQ(loaded_->szBindPasswd, ExampleDirectory::Get().Password().c_str());
        EXPECT_STREQ(loaded_->szLoginSuffix, "example.com");
        EXPECT_EQ(loaded_->nSSLType, row.ssl_type);
        EXPECT_EQ(loaded_->nSchema, 0x01FFU);
        EXPECT_EQ(Search(loaded_.Record(), {.filter = "(uid=reader)"}).entries.size(), 1U);
    }
}

TEST_F(Binding, IsReadFromAFileThatNslcdItselfAccepts) {
    if (access("/usr/sbin/nslcd", X_OK) != 0) GTEST_SKIP() << "nslcd is not installed";
    WriteFile("/etc/nslcd.conf", "");
    if (rig::RunProgram({"chown", "nslcd:nslcd", "/etc/nslcd.conf"}).exit_code != 0) {
        GTEST_SKIP() << "nslcd cannot become its own user in an ordinary user's root";
    }
    WriteFile(kBindFile, Conf("ldap://localhost", "start_tls"));
    std::filesystem::copy_file(kBindFile, "/etc/nslcd.conf",
                               std::filesystem::copy_options::overwrite_existing);
    std::filesystem::permissions("/etc/nslcd.conf", std::filesystem::perms(0600));
    const rig::ProgramRun run = rig::RunProgram({"timeout", "0.5", "/usr/sbin/nslcd", "-d"});
    EXPECT_THAT(run.err, HasSubstr("CFG: base dc=example,dc=com"));
    EXPECT_THAT(run.err, HasSubstr("accepting connections"));
    EXPECT_EQ(loaded_.FromBinding(), 1);
}

TEST_F(Binding, WithoutAPasswordLeavesItUnset) {
    WriteFile(kBindFile, "uri ldap://127.0.0.1\nbase dc=example,dc=com\n");
    EXPECT_EQ(loaded_.FromBinding(), 1);  // everyone may read the schema
    EXPECT_EQ(loaded_->szBindDN, nullptr);
    EXPECT_EQ(loaded_->szBindPasswd, nullptr);
}

TEST_F(Binding, ThatDoesNotExistIsAFailure) {
    EXPECT_EQ(loaded_.FromBinding(), -1);
    EXPECT_EQ(QLIBCErrGet(), QLIB_ERR_OPEN_FAILED);
}

}  // namespace
}  // namespace zafo::test
