// SPDX-License-Identifier: Apache-2.0
//
// Publishing the automount maps of home folders in the appliance's own directory.
#include <signal.h>

#include "platform/error.h"
#include "tests/accounts/accounts_fixture.h"
#include "tests/accounts/home_fixture.h"

namespace zafo::core_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
namespace fs = std::filesystem;

constexpr const char *kSavedConnections = "/usr/zafo/etc/private/ldapbrowser.conf";

std::string Golden(const std::string &name) {
    return ContentOf("/mnt/src/tests/server/golden/" + name);
}

class AutomountCreate : public AccountsTest {
  protected:
    AutomountCreate() { Save(); }
    ~AutomountCreate() override {
        fs::remove(kSavedConnections);
        fs::remove(std::string(kSavedConnections) + ".lock");
    }

    // Saves the connection to the appliance's own server.
    void Save() { EXPECT_EQ(ZAFOLDAPBrowserConfSet(&host_, nullptr), 0); }
    // The answers of the server when the connection is loaded, then the users of the directory.
    void AnswerServer(const std::string &users = "") {
        Answer({"dn: cn=zafoconf,dc=x\n\n", "dn:\nsubschemaSubentry: cn=Subschema\n\n",
                "dn: cn=Subschema\nobjectClasses: ( 1 NAME 'top' )\n\n", users});
    }
    void Start() {
        tools_.Reset();
        log_.Clear();
        SetStaleCodes();
        AnswerServer();
    }
    // The exit codes of ldapmodify, in order.
    void Exit(const std::vector<int> &codes) {
        for (int code : codes)
            tools_.On("ldapmodify").Exit(code);
        tools_.On("ldapmodify").Exit(0);
    }
    int Create(const std::string &path = "/homes") {
        return ZAFOLDAPServerAutomountCreate("server", path.c_str());
    }
    // The value that the last change sets for the wildcard key.
    std::string Published() {
        const std::string name = "automountInformation: ";
        const std::string last = Changes().back();
        const size_t at = last.rfind(name) + name.size();
        return last.substr(at, last.find('\n', at) - at);
    }
    // Without a host or an exported path only the folders fail, which is logged.
    static Texts FoldersFailed(const std::string &path) {
        const std::string what = "server:" + path;
        return {"mount " + what + " to " + test::Exports::MountPoint() + " failed. [0x1234]",
                "nfs mount " + what + " failed. [0x1234]",
                "Create user home folders failed. [server] [" + path + "] [0x1234]"};
    }
    const test::Exports exports_;
};

TEST_F(AutomountCreate, AddsFourEntries) {
    exports_.Add();
    Start();
    EXPECT_EQ(Create(), 0);
    std::string written;
    for (const std::string &change : Changes())
        written += (written.empty() ? "" : "\n") + change;
    EXPECT_EQ(written, Golden("automount_maps.ldif"));
    for (const Texts &call : CallsOf("ldapmodify"))
        EXPECT_EQ(call.at(0), "-ax") << "as new entries";
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(AutomountCreate, WithoutABaseDNTheMapsStandAlone) {
    host_.szBaseDN = nullptr;
    fs::remove(kSavedConnections);
    Save();
    exports_.Add();
    Start();
    EXPECT_EQ(Create(), 0);
    Texts dns;
    for (const std::string &change : Changes())
        dns.push_back(change.substr(0, change.find('\n')));
    EXPECT_THAT(dns, ElementsAre("dn: automountMapName=auto_master",
                                 "dn: automountKey=/home,automountMapName=auto_master",
                                 "dn: automountMapName=auto_home",
                                 "dn: automountKey=*,automountMapName=auto_home"));
}

TEST_F(AutomountCreate, EntriesThatExistAreKeptAndTheKeyOfAllUsersIsUpdated) {
    exports_.Add();
    Start();
    Exit({68, 68, 68, 68});
    EXPECT_EQ(Create(), 0);
    ASSERT_THAT(Changes(), SizeIs(5));
    EXPECT_EQ(Changes().back(), Golden("automount_update.ldif"));
    EXPECT_EQ(CallsOf("ldapmodify").back().at(0), "-x");
}

TEST_F(AutomountCreate, OtherErrorOfTheServerEndsTheCallAtEveryEntry) {
    for (size_t entry = 0; entry < 4; ++entry) {
        for (const int code : {21, 50, 255}) {
            Start();
            std::vector<int> codes(entry, 68);
            codes.push_back(code);
            Exit(codes);
            EXPECT_EQ(Create(), -1);
            EXPECT_THAT(Changes(), SizeIs(entry + 1));
            EXPECT_EQ(ZAFOLDAPErrGet(), code);
            EXPECT_THAT(log_.Messages(), IsEmpty());
        }
    }
    EXPECT_THAT(exports_.Mounted(), IsEmpty());
}

// The library error of an earlier step must not make a failure look like an existing entry.
TEST_F(AutomountCreate, KilledToolEndsTheCallAtEveryEntry) {
    for (size_t entry = 0; entry < 4; ++entry) {
        SCOPED_TRACE(entry);
        Start();
        for (size_t i = 0; i < entry; ++i)
            tools_.On("ldapmodify").Exit(68);
        tools_.On("ldapmodify").Die(SIGKILL);
        ZAFOLDAPErrSet(68);
        EXPECT_EQ(Create(), -1);
        EXPECT_THAT(Changes(), SizeIs(entry + 1));
    }
}

TEST_F(AutomountCreate, KeyThatCannotBeUpdatedIsAFailure) {
    Start();
    Exit({0, 0, 0, 68, 50});
    EXPECT_EQ(Create(), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre("Failed to update 'automountInformation' "
                                           "ldap_insufficient_access (50)"));
    EXPECT_THAT(exports_.Mounted(), IsEmpty());
}

TEST_F(AutomountCreate, PathIsEscapedAndLosesOneSlashAtItsEnd) {
    const std::pair<const char *, const char *> kPaths[] = {
        {"/homes", "server:/homes/&"},
        {"/homes/", "server:/homes/&"},
        {"/homes//", "server:/homes//&"},
        {"/", "server:/&"},
        {"", "server:/&"},
        {"/a b$c&d", R"(server:/a\ b\$c\&d/&)"},
        {"/ ", R"(server:/\ /&)"},
        {"/a\\b", R"(server:/a\b/&)"},
        {"/%n%s", "server:/%n%s/&"},
        {"/zo\xC3\xAB", "server:/zo\xC3\xAB/&"},
    };
    for (const auto &[path, value] : kPaths) {
        Start();
        EXPECT_EQ(Create(path), 0) << path;
        EXPECT_EQ(Published(), std::string("-fstype=nfs ") + value);
    }
}

TEST_F(AutomountCreate, PathIsReadBackAsItWasWithASlash) {
    const test::User ann;
    const std::pair<const char *, const char *> kPaths[] = {{"/homes", "server:/homes/"},
                                                            {"/homes/", "server:/homes/"},
                                                            {"/a b$c&d", "server:/a b$c&d/"},
                                                            {"/ $&$ &", "server:/ $&$ &/"},
                                                            {"/", "server:/"}};
    for (const auto &[path, what] : kPaths) {
        SCOPED_TRACE(path);
        exports_.Add(path);
        Start();
        EXPECT_EQ(Create(path), 0);
        const std::string published = Published();
        tools_.Reset();
        Answer({Entry1("automountInformation", published)});
        EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreate(&host_, &ann), 0);
        EXPECT_EQ(exports_.Mounted().back(), exports_.MountCall(what));
    }
}

TEST_F(AutomountCreate, PathMayBe4093BytesLongEscaped) {
    const std::string fits = "/" + std::string(2046, ' ');  // 1 + 2 * 2046
    Start();
    EXPECT_EQ(Create(fits), 0);
    EXPECT_EQ(Published().size(), std::string("-fstype=nfs server:/&").size() + 4093);
    for (const std::string &path : {fits + "a", fits + "/", fits + "$", "a" + fits}) {
        Start();
        EXPECT_EQ(Create(path), -1);
        EXPECT_EQ(QLIBCErrGet(), 0x0200);
        EXPECT_THAT(LoggedTexts(), ElementsAre("Escape [" + path + "] failed. [0x0200]"));
        EXPECT_THAT(Changes(), SizeIs(3)) << "the maps are there";
    }
}

TEST_F(AutomountCreate, FoldersThatCannotBeMadeAreOnlyLogged) {
    Start();
    EXPECT_EQ(Create("/no"), 0);
    EXPECT_EQ(LoggedTexts(), FoldersFailed("/no"));
}

TEST_F(AutomountCreate, NeedsTheSavedConnectionAndItsServer) {
    const std::string refused = "Init config failed. Start server first.";
    Refuse(255);
    EXPECT_EQ(Create(), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre(refused));
    fs::remove(kSavedConnections);
    log_.Clear();
    EXPECT_EQ(Create(), -1);
    EXPECT_THAT(LoggedTexts(), testing::Contains(refused));
    EXPECT_EQ(QLIBCErrGet(), 0x2200);
    EXPECT_THAT(Changes(), IsEmpty());
}

TEST_F(AutomountCreate, DNThatIsTooLongIsNotCut) {
    const std::string base(990, 'b');  // the maps fit, their keys do not
    host_.szBaseDN = base.c_str();
    Save();
    Start();
    EXPECT_EQ(Create(), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0E00);
    EXPECT_THAT(Changes(), SizeIs(1));
}

}  // namespace
}  // namespace zafo::core_test
