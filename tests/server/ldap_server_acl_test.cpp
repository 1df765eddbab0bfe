// SPDX-License-Identifier: Apache-2.0
//
// The access rules of the local server.
#include <unistd.h>

#include <filesystem>

#include "tests/server/server_fixture.h"

namespace zafo::server_test {
namespace {

namespace fs = std::filesystem;

const std::string kOther = "/usr/zafo/etc/openldap/other.conf";

class AccessRules : public ServerTest {
  protected:
    ~AccessRules() override {
        fs::remove(kOther);
        for (const std::string &name : FilesLike(std::string(kRules) + "."))
            fs::remove("/usr/zafo/etc/openldap/" + name);
    }
    // The access rules for a suffix, as installed.
    std::string RulesOf(const std::string &suffix) {
        parms_.szSuffix = suffix.c_str();
        EXPECT_EQ(ZAFOLDAPServerACLConfGen(&parms_), 0);
        parms_.szSuffix = kBase.c_str();
        return ContentOf(kRules);
    }
};

TEST_F(AccessRules, AreThisText) {
    EXPECT_EQ(RulesOf(kBase), GoldenFile("access_rules.conf"));
    EXPECT_THAT(log_.Messages(), IsEmpty());
    EXPECT_THAT(tools_.Calls(), IsEmpty());
    ExpectSlotsUntouched();
}

TEST_F(AccessRules, SameSuffixGivesTheSameBytes) {
    const std::string first = RulesOf(kBase);
    RulesOf("dc=other");
    EXPECT_EQ(RulesOf(kBase), first);
}

TEST_F(AccessRules, SuffixIsWrittenAsGiven) {
    const std::string golden = GoldenFile("access_rules.conf");
    for (const char *suffix : {"", "dc=big company,dc=com", " o=\"Q & A\", c=DE ",
                               "o=back\\\\slash", "o=[x]/%s%n", "o=zo\xC3\xAB"}) {
        EXPECT_EQ(RulesOf(suffix), Replaced(golden, kBase, suffix));
    }
}

TEST_F(AccessRules, GroupsDNIsCutAt1023Bytes) {
    const std::string golden = GoldenFile("access_rules.conf");
    const std::string group = "cn=Directory Operators,cn=groups,";
    const std::string longest = "dc=" + std::string(1023 - group.size() - 3, 'x');
    EXPECT_EQ(RulesOf(longest), Replaced(golden, kBase, longest));
    EXPECT_EQ(RulesOf(longest + ",dc=com"), Replaced(golden, kBase, longest));
}

TEST_F(AccessRules, ReplaceTheOldOnesAndLeaveNoOtherFile) {
    Write(kRules, std::string(100'000, 'x'));
    EXPECT_EQ(RulesOf(kBase), GoldenFile("access_rules.conf"));
    EXPECT_THAT(FilesLike(kRules), ElementsAre("slapd-acls.conf"));
}

TEST_F(AccessRules, SuffixOfTwoLinesIsRefusedAndTheOldOnesStay) {
    Write(kRules, "old\n");
    for (const char *suffix : {"dc=a\naccess to * by * write", "dc=a\r"}) {
        parms_.szSuffix = suffix;
        SetStaleCodes();
        EXPECT_EQ(ZAFOLDAPServerACLConfGen(&parms_), -1);
        ExpectSlots(kStaleLdapCode, 0x0D00);
    }
    EXPECT_EQ(ContentOf(kRules), "old\n");
    EXPECT_THAT(FilesLike(kRules), ElementsAre("slapd-acls.conf"));
}

TEST_F(AccessRules, FolderWithoutRoomForATemporaryFileIsLogged) {
    fs::rename("/usr/zafo/etc/openldap", "/usr/zafo/etc/openldap.away");
    EXPECT_EQ(ZAFOLDAPServerACLConfGen(&parms_), -1);
    fs::rename("/usr/zafo/etc/openldap.away", "/usr/zafo/etc/openldap");
    EXPECT_THAT(LoggedTexts(), ElementsAre("generate temp file for "
                                           "/usr/zafo/etc/openldap/slapd-acls.conf failed."));
    ExpectSlots(kStaleLdapCode, 0x0900);
}

TEST_F(AccessRules, RulesThatCannotBeInstalledAreLogged) {
    fs::create_directories(std::string(kRules) + "/full");
    EXPECT_EQ(ZAFOLDAPServerACLConfGen(&parms_), -1);
    EXPECT_THAT(LoggedTexts(),
                ElementsAre(testing::MatchesRegex(
                    "rename /usr/zafo/etc/openldap/slapd-acls\\.conf\\.[A-Za-z0-9]{6} -> "
                    "/usr/zafo/etc/openldap/slapd-acls\\.conf failed\\. Is a directory")));
    EXPECT_THAT(FilesLike(kRules), SizeIs(2)) << "the rules stay in the temporary file";
}

class WriteACL : public AccessRules {};

TEST_F(WriteACL, MakesOrOverwritesTheFile) {
    EXPECT_EQ(ZAFOLDAPServerWriteACL(kOther.c_str(), &parms_), 0);
    EXPECT_EQ(ContentOf(kOther), GoldenFile("access_rules.conf"));
    Write(kOther, std::string(100'000, 'x'));
    EXPECT_EQ(ZAFOLDAPServerWriteACL(kOther.c_str(), &parms_), 0);
    EXPECT_EQ(ContentOf(kOther), GoldenFile("access_rules.conf"));
    EXPECT_FALSE(fs::exists(kRules));
}

TEST_F(WriteACL, FileThatCannotBeOpenedIsAFailureWithoutALog) {
    for (const char *path : {"/no/such/folder/rules", "/tmp", ""}) {
        SetStaleCodes();
        EXPECT_EQ(ZAFOLDAPServerWriteACL(path, &parms_), -1) << path;
        ExpectSlotsUntouched();
    }
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(WriteACL, FullDiskIsNotNoticed) {
    EXPECT_EQ(ZAFOLDAPServerWriteACL("/dev/full", &parms_), 0);
}

}  // namespace
}  // namespace zafo::server_test
