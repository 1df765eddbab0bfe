// SPDX-License-Identifier: Apache-2.0
//
// Running ldapmodify on a change file.
#include <filesystem>
#include <optional>

#include "platform/error.h"
#include "tests/core/core_fixture.h"
#include "tests/core/signals.h"
#include "tests/core/without_tool.h"
#include "zafoldap/modify.h"

namespace zafo::core_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using Text = std::optional<std::string>;

class Modify : public CoreTest {
  protected:
    // Adds a change of one attribute.
    void Fill() {
        ASSERT_EQ(ZAFOLDAPLdifInit(&ldif_, nullptr), 0);
        ZAFOLDAPLdifTargetDN(&ldif_, "dc=a");
        ZAFOLDAPLdifChangeType(&ldif_, "modify");
        ZAFOLDAPLdifAttrReplace(&ldif_, "cn", "%s", "x");
        path_ = ldif_.szPath;
    }
    int Run(int add = 0) {
        Fill();
        const int result = ZAFOLDAPModify(&host_, &ldif_, add);
        ExpectConsumed();
        return result;
    }
    void ExpectConsumed() {
        EXPECT_EQ(ldif_.pFile, nullptr);
        EXPECT_STREQ(ldif_.szPath, "");
        EXPECT_FALSE(std::filesystem::exists(path_));
    }

    ZAFOLDAP_LDIF ldif_{};
    std::string path_;
};

TEST_F(Modify, ToolGetsExactlyTheseArgumentsOverTheWholeGrid) {
    for (int add : {0, 1, -1}) {
        for (int ssl : {0, 1, 2, 3}) {
            for (const Text &bind : {Text(), Text(""), Text("cn=ann, 'bob' %n")}) {
                for (const Text &password : {Text(), Text(""), Text("s'e cret %s")}) {
                    host_.nSSLType = ssl;
                    host_.szBindDN = bind ? bind->c_str() : nullptr;
                    host_.szBindPasswd = password ? password->c_str() : nullptr;
                    EXPECT_EQ(Run(add), 0);
                    EXPECT_THAT(
                        tools_.Calls().back().argv,
                        ElementsAre("/usr/zafo/bin/ldapmodify", add ? "-ax" : "-x",
                                    ssl == 2 ? "-ZH" : "-H",
                                    ssl == 1 ? "ldaps://server" : "ldap://server", "-D",
                                    bind.value_or(""), "-f", path_, "-w", password.value_or("")));
                }
            }
        }
    }
    EXPECT_EQ(tools_.Calls().size(), 3u * 4 * 3 * 3);
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(Modify, AddressIsCutAt4094Characters) {
    const std::string uri(5000, 'u');
    host_.szUri = uri.c_str();
    EXPECT_EQ(Run(), 0);
    EXPECT_EQ(tools_.Calls().at(0).argv.at(3), ("ldap://" + uri).substr(0, 4094));
}

TEST_F(Modify, ToolFindsTheWholePrivateFile) {
    EXPECT_EQ(Run(), 0);
    const auto call = tools_.Calls().at(0);
    const auto &file = call.files.at(path_);
    EXPECT_EQ(file.content, "dn: dc=a\nchangetype: modify\nreplace: cn\ncn: x\n");
    EXPECT_EQ(file.mode & 07777, 0600u);
    EXPECT_TRUE(call.InputIsNull());
    for (const auto &[number, target] : call.descriptors)
        EXPECT_TRUE(number <= 2 || call.secrets.contains(number)) << target;
}

TEST_F(Modify, EmptyFileRunsNothingAndIsRemoved) {
    ASSERT_EQ(ZAFOLDAPLdifInit(&ldif_, nullptr), 0);
    ZAFOLDAPLdifTargetDN(&ldif_, "dc=a");
    ZAFOLDAPLdifChangeType(&ldif_, "modify");
    path_ = ldif_.szPath;
    EXPECT_EQ(ZAFOLDAPModify(&host_, &ldif_, 0), 0);
    ExpectConsumed();
    EXPECT_TRUE(tools_.Calls().empty());
}

TEST_F(Modify, EmptyFileNeedsNoTool) {
    const WithoutTool without("ldapmodify");
    ASSERT_EQ(ZAFOLDAPLdifInit(&ldif_, nullptr), 0);
    EXPECT_EQ(ZAFOLDAPModify(&host_, &ldif_, 0), 0);
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(Modify, FileThatIsClosedAlreadyIsRun) {
    Fill();
    ZAFOLDAPLdifClose(&ldif_);
    EXPECT_EQ(ZAFOLDAPModify(&host_, &ldif_, 1), 0);
    ExpectConsumed();
    EXPECT_EQ(tools_.Calls().size(), 1u);
}

TEST_F(Modify, EveryExitCodeBecomesTheLibraryError) {
    for (int code = 0; code <= 255; ++code) {
        SCOPED_TRACE(code);
        tools_.Reset();
        tools_.On("ldapmodify").Exit(code);
        SetStaleCodes();
        EXPECT_EQ(Run(), code == 0 ? 0 : -1);
        EXPECT_EQ(ldif_.nExitCode, code);
        EXPECT_EQ(ZAFOLDAPErrGet(), code == 0 ? kStaleLdapCode : code);
        EXPECT_EQ(QLIBCErrGet(), kStalePlatformCode);
    }
    EXPECT_THAT(log_.Messages(), IsEmpty()) << "exit codes are logged while debugging only";
}

TEST_F(Modify, DeathByEverySignalIsLoggedAndLeavesTheLibraryError) {
    for (int signal : DeadlySignals()) {
        SCOPED_TRACE(signal);
        tools_.Reset();
        tools_.On("ldapmodify").Die(signal);
        SetStaleCodes();
        log_.Clear();
        EXPECT_EQ(Run(), -1);
        EXPECT_EQ(ldif_.nExitCode, 0);
        EXPECT_EQ(ZAFOLDAPErrGet(), kStaleLdapCode);
        EXPECT_EQ(QLIBCErrGet(), kStalePlatformCode);
        EXPECT_THAT(log_.Messages(),
                    ElementsAre(MatchesRegex("ldap_modify\\.cpp:[0-9]+ ldapmodify terminate "
                                             "abnormal " +
                                             std::to_string(signal))));
    }
}

TEST_F(Modify, ToolThatCannotBeStartedIsLoggedAndConsumesTheFile) {
    const WithoutTool without("ldapmodify");
    EXPECT_EQ(Run(), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0900);
    EXPECT_EQ(ZAFOLDAPErrGet(), kStaleLdapCode);
    EXPECT_THAT(log_.Messages(),
                ElementsAre(MatchesRegex("ldap_modify\\.cpp:[0-9]+ Execute \\[\\] failed!")));
}

TEST_F(Modify, ToolsWordsAreNotLogged) {
    tools_.On("ldapmodify").IgnoreSignals().Output("modifying entry \"dc=a\"\n\n");
    EXPECT_EQ(Run(), 0);
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(Modify, BadArgumentLeavesTheFile) {
    Fill();
    host_.szUri = nullptr;
    EXPECT_EQ(ZAFOLDAPModify(&host_, &ldif_, 0), -1);
    EXPECT_NE(ldif_.pFile, nullptr);
    EXPECT_TRUE(std::filesystem::exists(path_));
    ZAFOLDAPLdifClose(&ldif_);
    ZAFOLDAPLdifUnlink(&ldif_);
}

TEST_F(Modify, WaitsForTheToolsEnd) {
    tools_.On("ldapmodify").CloseOutput().Sleep(std::chrono::milliseconds(300)).Exit(68);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(Run(), -1);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(300));
    EXPECT_EQ(ZAFOLDAPErrGet(), 68);
}

}  // namespace
}  // namespace zafo::core_test
