// SPDX-License-Identifier: Apache-2.0
//
// The access rules of the appliance's own server.
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "tests/foreign/server.h"
#include "zafoldap/server.h"

namespace zafo::foreign::access_rules_test {

std::string Rules(const std::string &operators) {
    const std::string set = "\tby set=\"[" + operators + "]/memberUid & user/uid\" ";
    return "access to dn.base=\"\"\n"
           "\tby * read\n"
           "access to dn.base=\"cn=Subschema\"\n"
           "\tby * read\n"
           "access to attrs=userPassword\n"
           "\tby self =w\n" +
           set +
           "=w\n"
           "\tby anonymous auth\n"
           "access to attrs=sambaLMPassword,sambaNTPassword\n"
           "\tby self write\n" +
           set +
           "write\n"
           "access to attrs=shadowLastChange,sambaPwdLastSet\n"
           "\tby self write\n" +
           set +
           "write\n"
           "\tby users read\n"
           "access to attrs=homeDirectory,uid,cn,uidNumber,gidNumber\n" +
           set +
           "write\n"
           "\tby * read\n"
           "access to attrs=gecos,@inetOrgPerson\n"
           "\tby self write\n" +
           set +
           "write\n"
           "\tby * read\n"
           "access to *\n" +
           set +
           "write\n"
           "\tby * read\n";
}

std::string RulesOf(const std::string &suffix) {
    return Rules("cn=Directory Operators,cn=groups," + suffix);
}

class AccessRules : public ServerTest {
  protected:
    ZAFOLDAP_SERVER_PARAM parameters_{kSuffix, nullptr, nullptr, 0, 0, 0, 0, 0, 0};
    const char *path_ = "/tmp/rules";

    void SetUp() override {
        ServerTest::SetUp();
        std::filesystem::remove_all(path_);
    }
};
ZAFO_FOREIGN_SUITE(AccessRules);

TEST_P(AccessRules, AreEightRulesForTheSuffix) {
    EXPECT_EQ(ZAFOLDAPServerWriteACL(path_, &parameters_), 0);
    EXPECT_EQ(FileText(path_), RulesOf(kSuffix));
    EXPECT_EQ(Log(), Strings{});
    EXPECT_TRUE(platform().Calls().empty());
}

TEST_P(AccessRules, AreTheSameBytesForTheSameSuffix) {
    EXPECT_EQ(ZAFOLDAPServerWriteACL(path_, &parameters_), 0);
    const std::optional<std::string> first = FileText(path_);
    EXPECT_EQ(ZAFOLDAPServerWriteACL(path_, &parameters_), 0);
    EXPECT_EQ(FileText(path_), first);
}

TEST_P(AccessRules, HaveTheSuffixAsGiven) {
    for (const char *suffix :
         {"o=A B,c=XX", "o=\"quoted\",dc=x", "o=a\\,b", "o=100%s%n", "", "o=Zo\xc3\xab"}) {
        parameters_.szSuffix = suffix;
        EXPECT_EQ(ZAFOLDAPServerWriteACL(path_, &parameters_), 0);
        EXPECT_EQ(FileText(path_), RulesOf(suffix));
    }
}

TEST_P(AccessRules, UseAtMost1023BytesOfTheGroupsName) {
    const std::string suffix = "dc=" + std::string(3000, 'x');
    parameters_.szSuffix = suffix.c_str();
    EXPECT_EQ(ZAFOLDAPServerWriteACL(path_, &parameters_), 0);
    EXPECT_EQ(FileText(path_),
              Rules(("cn=Directory Operators,cn=groups," + suffix).substr(0, 1023)));
}

TEST_P(AccessRules, ReplaceALongerFile) {
    WriteFile(path_, std::string(20000, 'x'));
    EXPECT_EQ(ZAFOLDAPServerWriteACL(path_, &parameters_), 0);
    EXPECT_EQ(FileText(path_), RulesOf(kSuffix));
}

TEST_P(AccessRules, AreNotWrittenWithoutARecord) {
    ExpectArgumentFailure("((void *)0) != pParms",
                          [&] { return ZAFOLDAPServerWriteACL(path_, nullptr); });
    EXPECT_FALSE(Exists(path_));
}

TEST_P(AccessRules, AskForTheRecordBeforeThePath) {
    ExpectArgumentFailure("((void *)0) != pParms",
                          [] { return ZAFOLDAPServerWriteACL("/does/not/exist", nullptr); });
}

TEST_P(AccessRules, FailSilentlyWhereTheFileCannotBeOpened) {
    EXPECT_EQ(ZAFOLDAPServerWriteACL("/does/not/exist", &parameters_), -1);
    EXPECT_EQ(ZAFOLDAPServerWriteACL("/tmp", &parameters_), -1);
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(AccessRules, FailWithoutAPath) {
    EXPECT_EQ(ZAFOLDAPServerWriteACL(nullptr, &parameters_), -1);
}

TEST_P(AccessRules, SurviveARecordWithoutASuffix) {
    parameters_.szSuffix = nullptr;
    ZAFOLDAPServerWriteACL(path_, &parameters_);
    ZAFOLDAPServerACLConfGen(&parameters_);
}

class AccessRulesInPlace : public AccessRules {
  protected:
    // Files in the server's folder, without the data folder.
    Strings Files() {
        Strings names;
        for (const auto &file : std::filesystem::directory_iterator(kServerFolder))
            if (file.path() != kDataFolder) names.push_back(file.path().string());
        return names;
    }
};
ZAFO_FOREIGN_SUITE(AccessRulesInPlace);

TEST_P(AccessRulesInPlace, RefuseNoRecord) {
    ExpectArgumentFailure("((void *)0) != pParms",
                          [] { return ZAFOLDAPServerACLConfGen(nullptr); });
}

TEST_P(AccessRulesInPlace, TakeTheNameOfTheRulesBefore) {
    WriteFile(kAclConf, "access to * by * none\n");
    EXPECT_EQ(ZAFOLDAPServerACLConfGen(&parameters_), 0);
    EXPECT_EQ(FileText(kAclConf), RulesOf(kSuffix));
    EXPECT_EQ(Files(), Strings{kAclConf});
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(AccessRulesInPlace, ReplaceTheFileInOneStep) {
    WriteFile(kAclConf, "access to * by * none\n");
    struct stat before, after;
    ASSERT_EQ(stat(kAclConf, &before), 0);
    // A second link to the old file shows whether its content is touched.
    ASSERT_EQ(link(kAclConf, path_), 0);
    EXPECT_EQ(ZAFOLDAPServerACLConfGen(&parameters_), 0);
    ASSERT_EQ(stat(kAclConf, &after), 0);
    EXPECT_NE(before.st_ino, after.st_ino);
    EXPECT_EQ(FileText(path_), "access to * by * none\n");
}

TEST_P(AccessRulesInPlace, AskThePlatformForATemporaryFile) {
    EXPECT_EQ(ZAFOLDAPServerACLConfGen(&parameters_), 0);
    ASSERT_EQ(platform().CallsOf("ZAFOLDAPGenTmpConf").size(), 1u);
    EXPECT_EQ(platform().CallsOf("ZAFOLDAPGenTmpConf").at(0).arguments,
              (Strings{kAclConf, "0x0", "4095"}));
}

TEST_P(AccessRulesInPlace, NeedNoTemporaryFileThatExists) {
    platform().makes_temporary_conf = false;
    EXPECT_EQ(ZAFOLDAPServerACLConfGen(&parameters_), 0);
    EXPECT_EQ(FileText(kAclConf), RulesOf(kSuffix));
}

TEST_P(AccessRulesInPlace, StayWhenThereIsNoTemporaryName) {
    WriteFile(kAclConf, "before\n");
    for (int result : {-1, -2}) {
        platform().Fail("ZAFOLDAPGenTmpConf", 1, result, 0x0900);
        EXPECT_EQ(ZAFOLDAPServerACLConfGen(&parameters_), -1);
        EXPECT_EQ(TakeLog(),
                  Strings{"generate temp file for /usr/zafo/etc/openldap/slapd-acls.conf failed."});
    }
    EXPECT_EQ(FileText(kAclConf), "before\n");
}

TEST_P(AccessRulesInPlace, TakeEveryResultThatIsNotNegative) {
    for (int result : {0, 1, 42}) {
        platform().Returns("ZAFOLDAPGenTmpConf", result);
        EXPECT_EQ(ZAFOLDAPServerACLConfGen(&parameters_), 0) << result;
    }
}

TEST_P(AccessRulesInPlace, SurviveAnUnterminatedTemporaryName) {
    WriteFile(kAclConf, "before\n");
    platform().Fills("ZAFOLDAPGenTmpConf");
    EXPECT_EQ(ZAFOLDAPServerACLConfGen(&parameters_), -1);
    EXPECT_EQ(FileText(kAclConf), "before\n");
}

TEST_P(AccessRulesInPlace, SayWhereTheyCannotBeWritten) {
    platform().makes_temporary_conf = false;
    std::filesystem::remove_all(kServerFolder);
    EXPECT_EQ(ZAFOLDAPServerACLConfGen(&parameters_), -1);
    const Strings log = Log();
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0].rfind("write acl rules into /usr/zafo/etc/openldap/", 0), 0u) << log[0];
    EXPECT_EQ(log[0].substr(log[0].size() - 8), " failed.") << log[0];
}

TEST_P(AccessRulesInPlace, SayWhenTheyCannotBeInstalled) {
    std::filesystem::create_directory(kAclConf);
    EXPECT_EQ(ZAFOLDAPServerACLConfGen(&parameters_), -1);
    const Strings log = Log();
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0].rfind("rename /usr/zafo/etc/openldap/", 0), 0u) << log[0];
    const std::string tail = " -> /usr/zafo/etc/openldap/slapd-acls.conf failed. Is a directory";
    ASSERT_GT(log[0].size(), tail.size());
    EXPECT_EQ(log[0].substr(log[0].size() - tail.size()), tail);
    EXPECT_EQ(Files().size(), 2u) << "the temporary file stays";
}

}  // namespace zafo::foreign::access_rules_test
