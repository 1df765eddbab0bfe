// SPDX-License-Identifier: Apache-2.0
//
// The automount maps published for home folders.
#include "tests/foreign/home.h"
#include "zafoldap/home.h"

namespace zafo::foreign::automount_test {

// --- The maps ---------------------------------------------------------------------------

std::string Map(const std::string &name) {
    return "dn: automountMapName=" + name + ",dc=x,dc=example\nautomountMapName: " + name +
           "\nobjectClass: top\nobjectClass: automountMap\n";
}
std::string Master() {
    return "dn: automountKey=/home,automountMapName=auto_master,dc=x,dc=example\n"
           "automountKey: /home\nautomountInformation: auto_home\nobjectClass: top\n"
           "objectClass: automount\n";
}
std::string Wildcard(const std::string &information) {
    return std::string("dn: ") + kWildcard +
           "\nautomountKey: *\nautomountInformation: " + information +
           "\nobjectClass: top\nobjectClass: automount\n";
}
std::string Replacement(const std::string &information) {
    return std::string("dn: ") + kWildcard +
           "\nchangetype: modify\nreplace: automountInformation\nautomountInformation: " +
           information + "\n";
}

class AutomountCreate : public HomeTest {
  protected:
    void SetUp() override {
        HomeTest::SetUp();
        SaveConnection();
    }
    // The connection; creating folders ends at the mount.
    void AnswerServer() {
        AnswerConnection({"top"});
        platform().On("mount").Exits(32);
    }
    // The results of the first n changes.
    void ChangesEndWith(const Strings &exits) {
        for (const std::string &code : exits)
            platform().On("ldapmodify").Exits(std::stoi(code));
    }
    // A directory with one user, for calls that partly fail.
    void AnswerAlways() {
        LeaveEmptyAtUnmounting();
        platform()
            .On("ldapsearch", "cn=zafoconf,")
            .Prints(Entry("cn=zafoconf,dc=x,dc=example", {}))
            .Always();
        platform()
            .On("ldapsearch", "subschemaSubentry")
            .Prints("dn:\nsubschemaSubentry: cn=Subschema\n\n")
            .Always();
        platform()
            .On("ldapsearch")
            .Prints(Entry("uid=ann,dc=x",
                          {{"uid", "ann"}, {"uidNumber", "1001"}, {"gidNumber", "1002"}}))
            .Always();
    }
    std::string PublishedFor(const std::string &path) {
        Again();
        AnswerConnection({"top"});
        platform().On("mount").Exits(32).Always();
        EXPECT_EQ(ZAFOLDAPServerAutomountCreate("nas", path.c_str()), 0) << path;
        return Published();
    }
    std::string Published() {
        const Strings written = Changes();
        if (written.size() != 4) return std::to_string(written.size()) + " changes";
        const std::string key = "\nautomountInformation: ";
        const size_t begin = written[3].find(key) + key.size();
        return written[3].substr(begin, written[3].find('\n', begin) - begin);
    }
};
ZAFO_FOREIGN_SUITE(AutomountCreate);

TEST_P(AutomountCreate, ChecksItsArgumentsInOrder) {
    ExpectArgumentFailure("((void *)0) != szHost",
                          [] { return ZAFOLDAPServerAutomountCreate(nullptr, nullptr); });
    ExpectArgumentFailure("NULL != szHomeFolderPath",
                          [] { return ZAFOLDAPServerAutomountCreate("nas", nullptr); });
}

TEST_P(AutomountCreate, PublishesFourEntries) {
    AnswerServer();
    EXPECT_EQ(ZAFOLDAPServerAutomountCreate("nas.x.example", "/volume1/homes"), 0);
    EXPECT_EQ(Changes(), (Strings{Map("auto_master"), Master(), Map("auto_home"),
                                  Wildcard("-fstype=nfs nas.x.example:/volume1/homes/&")}));
    for (const Run &run : platform().RunsOf("ldapmodify")) {
        EXPECT_EQ(run.argv,
                  (Strings{"-ax", "-H", "ldap://localhost", "-D", "cn=admin,dc=x,dc=example", "-f",
                           run.argv.at(6), "-w", "secret"}));
        EXPECT_FALSE(Exists(run.argv.at(6)));
    }
}

TEST_P(AutomountCreate, MakesTheFoldersOfAllUsers) {
    AnswerConnection({"top"});
    LeaveEmptyAtUnmounting();
    AnswerUsers({"ann"});
    AnswerUser("ann", 1001, 2001);
    EXPECT_EQ(ZAFOLDAPServerAutomountCreate("nas", "/a b"), 0);
    EXPECT_EQ(Mounts(), Strings{"nas:/a b"});
    EXPECT_EQ(MadeFolders(), (Strings{MountPoint(), FolderOf("ann")}));
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(AutomountCreate, OnlySaysThatFoldersCannotBeMade) {
    AnswerServer();
    EXPECT_EQ(ZAFOLDAPServerAutomountCreate("nas", "/homes/"), 0);
    ASSERT_FALSE(Log().empty());
    EXPECT_EQ(Log().back(),
              "Create user home folders failed. [nas] [/homes/] " + Slot(kStalePlatformError));
    EXPECT_EQ(Mounts(), Strings{"nas:/homes/"});
}

TEST_P(AutomountCreate, NeedsASavedConnection) {
    platform().sections.clear();
    EXPECT_EQ(ZAFOLDAPServerAutomountCreate("nas", "/homes"), -1);
    EXPECT_EQ(Log(), Strings{"Init config failed. Start server first."});
    EXPECT_TRUE(platform().Runs().empty());
}

TEST_P(AutomountCreate, NeedsAServerThatAnswers) {
    platform().On("ldapsearch").Exits(255);
    EXPECT_EQ(ZAFOLDAPServerAutomountCreate("nas", "/homes"), -1);
    EXPECT_EQ(Log(), Strings{"Init config failed. Start server first."});
    EXPECT_TRUE(platform().RunsOf("ldapmodify").empty());
}

TEST_P(AutomountCreate, KeepsEntriesThatExist) {
    AnswerServer();
    ChangesEndWith({"68", "68", "68", "0"});
    EXPECT_EQ(ZAFOLDAPServerAutomountCreate("nas", "/homes"), 0);
    EXPECT_EQ(Changes(), (Strings{Map("auto_master"), Master(), Map("auto_home"),
                                  Wildcard("-fstype=nfs nas:/homes/&")}));
}

TEST_P(AutomountCreate, BringsTheWildcardUpToDate) {
    AnswerServer();
    ChangesEndWith({"68", "68", "68", "68", "0"});
    EXPECT_EQ(ZAFOLDAPServerAutomountCreate("other", "/new/homes"), 0);
    ASSERT_EQ(Changes().size(), 5u);
    EXPECT_EQ(Changes()[4], Replacement("-fstype=nfs other:/new/homes/&"));
    const Run run = platform().RunsOf("ldapmodify").at(4);
    EXPECT_EQ(run.argv.at(0), "-x");
    EXPECT_EQ(platform().RunsOf("mount").size(), 1u);
}

TEST_P(AutomountCreate, SaysWhenTheWildcardCannotBeBroughtUpToDate) {
    AnswerConnection({"top"});
    ChangesEndWith({"0", "0", "0", "68", "50"});
    EXPECT_EQ(ZAFOLDAPServerAutomountCreate("nas", "/homes"), -1);
    EXPECT_EQ(LibraryError(), 50);
    EXPECT_EQ(Log(),
              Strings{"Failed to update 'automountInformation' ldap_insufficient_access (50)"});
    EXPECT_TRUE(platform().RunsOf("mount").empty());
}

TEST_P(AutomountCreate, FailsAtTheFirstEntryThatIsRefused) {
    for (size_t failing = 0; failing < 4; ++failing) {
        Again();
        AnswerConnection({"top"});
        Strings exits(failing, "0");
        exits.push_back("50");
        ChangesEndWith(exits);
        EXPECT_EQ(ZAFOLDAPServerAutomountCreate("nas", "/homes"), -1) << failing;
        EXPECT_EQ(LibraryError(), 50);
        EXPECT_EQ(Changes().size(), failing + 1) << failing;
        EXPECT_TRUE(platform().RunsOf("mount").empty());
    }
}

TEST_P(AutomountCreate, DoesNotTakeAnEarlierErrorForAnEntryThatExists) {
    for (size_t failing = 0; failing < 4; ++failing) {
        Again();
        AnswerConnection({"top"});
        ZAFOLDAPErrSet(68);
        for (size_t good = 0; good < failing; ++good)
            platform().On("ldapmodify").Exits(68);
        platform().On("ldapmodify").Dies(9);
        EXPECT_EQ(ZAFOLDAPServerAutomountCreate("nas", "/homes"), -1) << failing;
        EXPECT_EQ(Changes().size(), failing + 1) << failing;
    }
}

TEST_P(AutomountCreate, DoesNotReplaceTheWildcardForAnErrorOfAnEarlierEntry) {
    AnswerServer();
    ChangesEndWith({"68", "0", "68", "0"});
    EXPECT_EQ(ZAFOLDAPServerAutomountCreate("nas", "/homes"), 0);
    EXPECT_EQ(Changes().size(), 4u);
}

TEST_P(AutomountCreate, PublishesMapsWithoutABaseDN) {
    platform().sections[kBrowserConf]["root"].erase("basedn");
    platform()
        .On("ldapsearch", "subschemaSubentry")
        .Prints("dn:\nsubschemaSubentry: cn=Subschema\n\n");
    platform()
        .On("ldapsearch", "objectclasses")
        .Prints("dn: cn=Subschema\nobjectclasses: ( 1 NAME 'top' )\n\n");
    platform().On("mount").Exits(32);
    ZAFOLDAPServerAutomountCreate("nas", "/homes");
    const Strings written = Changes();
    ASSERT_GE(written.size(), 3u);
    EXPECT_EQ(written[0],
              "dn: automountMapName=auto_master\nautomountMapName: auto_master\n"
              "objectClass: top\nobjectClass: automountMap\n");
    EXPECT_EQ(written[2],
              "dn: automountMapName=auto_home\nautomountMapName: auto_home\n"
              "objectClass: top\nobjectClass: automountMap\n");
}

TEST_P(AutomountCreate, EscapesThePath) {
    const std::pair<const char *, const char *> paths[] = {
        {"/a b", "/a\\ b"},       {"/$HOME", "/\\$HOME"},   {"/a&b", "/a\\&b"},
        {"/a $&", "/a\\ \\$\\&"}, {"/a\\b", "/a\\b"},       {"/a\\ b", "/a\\\\ b"},
        {"/homes/", "/homes"},    {"/homes//", "/homes/"},  {"/", ""},
        {"homes", "homes"},       {"/100%s%n", "/100%s%n"}, {"/a'b\"c", "/a'b\"c"},
        {"/x /", "/x\\ "},
    };
    for (const auto &[path, published] : paths)
        EXPECT_EQ(PublishedFor(path), std::string("-fstype=nfs nas:") + published + "/&") << path;
}

TEST_P(AutomountCreate, PublishesAPathOf4093BytesEscaped) {
    const std::string plain = "/" + std::string(4092, 'p');
    EXPECT_EQ(PublishedFor(plain), "-fstype=nfs nas:" + plain + "/&");
    const std::string slash = "/" + std::string(4091, 'p') + "/";
    EXPECT_EQ(PublishedFor(slash), "-fstype=nfs nas:" + slash + "&");
    const std::string blanks = "/" + std::string(2046, ' ');
    std::string escaped = "/";
    for (int blank = 0; blank < 2046; ++blank)
        escaped += "\\ ";
    ASSERT_EQ(escaped.size(), 4093u);
    EXPECT_EQ(PublishedFor(blanks), "-fstype=nfs nas:" + escaped + "/&");
}

TEST_P(AutomountCreate, RefusesAPathThatReaches4094BytesEscaped) {
    for (const std::string &path :
         {"/" + std::string(4093, 'p'), "/" + std::string(4092, 'p') + "/",
          "/p" + std::string(2046, '$'), "/" + std::string(9000, 'p')}) {
        Again();
        AnswerConnection({"top"});
        EXPECT_EQ(ZAFOLDAPServerAutomountCreate("nas", path.c_str()), -1) << path.size();
        EXPECT_EQ(PlatformError(), 0x0200);
        EXPECT_EQ(Changes().size(), 3u) << "the maps are there before";
        EXPECT_EQ(Log(), Strings{"Escape [" + path + "] failed. [0x0200]"}) << path.size();
        EXPECT_TRUE(platform().RunsOf("mount").empty());
    }
}

TEST_P(AutomountCreate, PublishesNoLineBreak) {
    for (const auto &[host, path] :
         {std::pair<const char *, const char *>{"nas\nx: y", "/homes"},
          std::pair<const char *, const char *>{"nas", "/homes\nx: y"}}) {
        Again();
        AnswerAlways();
        EXPECT_EQ(ZAFOLDAPServerAutomountCreate(host, path), -1) << host << path;
        for (const std::string &change : Changes())
            EXPECT_EQ(change.find("\nx: y"), std::string::npos) << change;
    }
}

TEST_P(AutomountCreate, FailsCleanlyAtEveryCallThatFails) {
    FailEveryCall(WhatFails(), [this] {
        AnswerAlways();
        return ZAFOLDAPServerAutomountCreate("nas", "/homes");
    });
}

TEST_P(AutomountCreate, FailsCleanlyAtListsThatHoldLessThanTheyCount) {
    FailEveryCall({"QLIBCSzListGet"}, [this] {
        AnswerAlways();
        return ZAFOLDAPServerAutomountCreate("nas", "/homes");
    });
}

TEST_P(AutomountCreate, PublishesWhatIsReadBack) {
    AnswerServer();
    EXPECT_EQ(ZAFOLDAPServerAutomountCreate("nas", "/vol 1/$x/&y"), 0);
    const std::string published = Published();
    platform().Forget();
    LeaveEmptyAtUnmounting();
    platform()
        .On("ldapsearch", kWildcard)
        .Prints(Entry(kWildcard, {{"automountInformation", published}}));
    EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreate(host_, &user_), 0);
    EXPECT_EQ(Mounts(), Strings{"nas:/vol 1/$x/&y/"});
}

}  // namespace zafo::foreign::automount_test
