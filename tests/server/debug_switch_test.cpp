// SPDX-License-Identifier: Apache-2.0
//
// What the server's functions log only while the debug switch is on.
#include <dlfcn.h>

#include <csignal>
#include <filesystem>
#include <utility>

#include "tests/server/default_accounts.h"
#include "tests/server/skeleton.h"

namespace zafo::server_test {

// The number of the list allocation, from now on, that fails; 0: none.
static int g_lists_until_failure = 0;

namespace {

namespace fs = std::filesystem;

// Change files are kept in debug mode.
void RemoveChangeFiles() {
    for (const auto &entry : fs::directory_iterator("/tmp")) {
        if (entry.path().extension() == ".ldif") fs::remove(entry.path());
    }
}

class DebugServer : public CreationTest {
  protected:
    DebugServer() { EXPECT_EQ(ZAFOLDAPDebugEnabled(), 1); }
    ~DebugServer() override { RemoveChangeFiles(); }

    // The log lines of one source.
    Texts Said(const std::string &source) {
        Texts texts;
        for (const std::string &message : log_.Messages()) {
            if (message.starts_with(source + ".cpp:"))
                texts.push_back(message.substr(message.find(' ') + 1));
        }
        return texts;
    }
};

TEST_F(DebugServer, EntriesThatExistAreNamed) {
    Script({0, 1, 2, 3, 4, 5, 6, 7, 8});
    EXPECT_EQ(Create(), 0);
    Texts expected;
    for (const std::string &dn : kSkeleton)
        expected.push_back("node [" + dn + "] is already exist");
    EXPECT_EQ(LoggedTexts(), expected);
}

TEST_F(DebugServer, PartsOfTheNewSIDAreNamed) {
    Script();
    EXPECT_EQ(ZAFOLDAPServerSambaDomainCreate(kBase.c_str(), &parms_), 0);
    EXPECT_THAT(Said("random_sid"),
                ElementsAre("Generate SID[0] = 42", "Generate SID[1] = 4294967295",
                            "Generate SID[2] = 0", "SID: S-1-5-21-42-4294967295-0"));
}

class DebugSlapadd : public DebugServer {
  protected:
    int Load() {
        ZAFOLDAPLdifInit(&ldif_, nullptr);
        path_ = ldif_.szPath;
        ZAFOLDAPLdifTargetDN(&ldif_, kBase.c_str());
        ZAFOLDAPLdifAttr(&ldif_, "dc", "%s", "example");
        return ZAFOLDAPServerSlapadd(&ldif_);
    }
    std::string Command() const {
        return "/usr/zafo/bin/slapadd -b 'dc=example,dc=com' -l '" + path_ + "'";
    }

    ZAFOLDAP_LDIF ldif_{};
    std::string path_;
};

TEST_F(DebugSlapadd, CommandAndWhatTheToolSaysAreLogged) {
    tools_.On("slapadd").Output("first\n\n  second %s%n\nlast without a line break");
    EXPECT_EQ(Load(), 0);
    EXPECT_THAT(LoggedTexts(),
                ElementsAre(Command(), "first", "  second %s%n", "last without a line break"));
}

TEST_F(DebugSlapadd, ExitCodeIsLoggedAfterTheOutput) {
    tools_.On("slapadd").Output("words\n").Exit(3);
    EXPECT_EQ(Load(), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre(Command(), "words", "slapadd return 3"));
}

TEST_F(DebugSlapadd, ChangeFileIsKept) {
    EXPECT_EQ(Load(), 0);
    EXPECT_TRUE(fs::exists(path_));
    EXPECT_STREQ(ldif_.szPath, "");
}

TEST_F(DebugServer, AccessRulesAreAnnounced) {
    EXPECT_EQ(ZAFOLDAPServerACLConfGen(&parms_), 0);
    EXPECT_THAT(LoggedTexts(),
                ElementsAre("gen tmp conf",
                            testing::MatchesRegex("write acl conf to /usr/zafo/etc/openldap/"
                                                  "slapd-acls\\.conf\\.[A-Za-z0-9]{6}")));
}

class DebugEnable : public ServiceTest {
  protected:
    ~DebugEnable() override { RemoveChangeFiles(); }
};

TEST_F(DebugEnable, AccessRulesAreAnnouncedByTheirPlace) {
    SKIP_WITHOUT_CIPHER();
    Write(kTemplate, "database mdb\n");
    tools_.On("slappasswd").Output(kHash + "\n");
    tools_.On("slapadd").Exit(1);
    EXPECT_EQ(ZAFOLDAPServerEnable(&parms_), -1);
    EXPECT_THAT(LoggedTexts(),
                Contains("write acl conf to /usr/zafo/etc/openldap/slapd-acls.conf"));
}

class DebugDefaultAdd : public DebugServer {
  protected:
    void SetUp() override {
        SKIP_WITHOUT_CIPHER();
        EXPECT_EQ(ZAFOLDAPBrowserConfSet(&host_, nullptr), 0);
    }
    void PrepareAllExist() {
        Prepare({kDefaultSteps[0],
                 kDefaultSteps[1],
                 kDefaultSteps[2],
                 {"ldapsearch", "dn: cn=x,dc=example,dc=com\n\n"}});
        tools_.On("ldapmodify").Exit(20);
    }
};

TEST_F(DebugDefaultAdd, WhatExistsIsNamed) {
    Prepare({kDefaultSteps[0],
             kDefaultSteps[1],
             kDefaultSteps[2],
             {"ldapsearch", "dn: cn=x,dc=example,dc=com\n\n"}});
    tools_.On("ldapmodify").Exit(20);
    EXPECT_EQ(ZAFOLDAPServerDefaultAdd(), 0);
    EXPECT_THAT(
        Said("ldap_server_default"),
        ElementsAre("default group: [users] is already exists, skip",
                    "default group: [Directory Operators] is already exists, skip",
                    "default group: [administrators] is already exists, skip",
                    "default user: [admin] is already exists, skip",
                    "[admin] already in group [cn=Directory Operators,cn=groups,dc=example,dc=com]",
                    "[admin] already in group [cn=administrators,cn=groups,dc=example,dc=com]"));
}

// The list of a single name is one of many that are allocated during the call.
TEST_F(DebugDefaultAdd, ListOfTheAdministratorThatCannotBeMadeIsLogged) {
    std::set<std::string> logged;
    for (int nth = 1; nth < 200; ++nth) {
        PrepareAllExist();
        log_.Clear();
        g_lists_until_failure = nth;
        const int result = ZAFOLDAPServerDefaultAdd();
        if (std::exchange(g_lists_until_failure, 0) > 0) break;  // no further allocations
        const Texts said = Said("ldap_server_default");
        if (said.empty() || said.back() != "out of memory.") continue;
        EXPECT_EQ(result, -1);
        EXPECT_EQ(QLIBCErrGet(), 0x0200);
        EXPECT_THAT(said, SizeIs(5)) << "after the skipped accounts, before the memberships";
        logged.insert(said.back());
    }
    EXPECT_THAT(logged, ElementsAre("out of memory."));
}

}  // namespace
}  // namespace zafo::server_test

// Replaces the platform's function for all callers.
extern "C" __attribute__((visibility("default"))) QLIBSZLIST *QLIBCSzListAlloc(int capacity) {
    using Function = QLIBSZLIST *(*)(int);
    static const auto original = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "QLIBCSzListAlloc"));
    int &left = zafo::server_test::g_lists_until_failure;
    return left > 0 && --left == 0 ? nullptr : original(capacity);
}
