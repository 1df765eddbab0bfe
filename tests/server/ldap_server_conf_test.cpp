// SPDX-License-Identifier: Apache-2.0
//
// slapd.conf, written from its template.
#include <sys/stat.h>

#include <filesystem>

#include "tests/core/without_tool.h"
#include "tests/server/server_fixture.h"

namespace zafo::server_test {
namespace {

const std::string kHead =
    "# The appliance's own directory server\n"
    "include /usr/zafo/etc/openldap/schema/core.schema\n"
    "\n"
    "database\tmdb\n";
const std::string kSuffixLine = "suffix \"dc=template\"\n";
const std::string kRootDNLine = "rootdn   cn=template,dc=template\n";
const std::string kRootPWLine = "rootpw {NONE}\n";
const std::string kTail = "directory /usr/zafo/etc/openldap/data  # all of it\n";

class ServerConf : public ServerTest {
  protected:
    ServerConf() {
        Write(kTemplate, kHead + kSuffixLine + kRootDNLine + kRootPWLine + kTail);
        tools_.On("slappasswd").IgnoreSignals().Output(kHash + "\n");
    }
    // A failure leaves the existing file alone.
    void ExpectFailure(int platform_code, const Texts &logged) {
        Write(kConf, "old\n");
        SetStaleCodes();
        EXPECT_EQ(ZAFOLDAPServerConfSet(&parms_), -1);
        ExpectSlots(kStaleLdapCode, platform_code);
        EXPECT_EQ(LoggedTexts(), logged);
        EXPECT_EQ(ContentOf(kConf), "old\n");
        EXPECT_THAT(FilesLike(kConf), Contains("slapd.conf"));
    }
};

TEST_F(ServerConf, IsTheTemplateWithItsThreeValues) {
    EXPECT_EQ(ZAFOLDAPServerConfSet(&parms_), 0);
    EXPECT_EQ(ContentOf(kConf), kHead +
                                    "suffix dc=example,dc=com\n"
                                    "rootdn cn=admin,dc=example,dc=com\n"
                                    "rootpw " +
                                    kHash + "\n" + kTail);
    EXPECT_THAT(log_.Messages(), IsEmpty());
    ExpectSlotsUntouched();
}

TEST_F(ServerConf, IsReadByItsOwnerAndTheServersGroupAlone) {
    EXPECT_EQ(ZAFOLDAPServerConfSet(&parms_), 0);
    struct stat facts {};
    EXPECT_EQ(stat(kConf, &facts), 0);
    EXPECT_THAT(facts.st_mode & 07777, testing::AnyOf(0600u, 0640u));
}

TEST_F(ServerConf, HoldsThePasswordAsItsHashAlone) {
    EXPECT_EQ(ZAFOLDAPServerConfSet(&parms_), 0);
    EXPECT_THAT(Commands(), ElementsAre(HashCommand("secret")));
    EXPECT_THAT(ContentOf(kConf), testing::Not(HasSubstr("secret")));
}

TEST_F(ServerConf, ValuesWithBlanksAndQuotesAreReadBackAsTheyWere) {
    parms_.szSuffix = "dc=big \"red\" dog,dc=com";
    parms_.szRootDN = "cn=the admin";
    EXPECT_EQ(ZAFOLDAPServerConfSet(&parms_), 0);
    EXPECT_THAT(ContentOf(kConf), HasSubstr("suffix \"dc=big \\\"red\\\" dog,dc=com\"\n"
                                            "rootdn \"cn=the admin\"\n"));
}

TEST_F(ServerConf, FieldThatIsNullKeepsTheTemplatesValue) {
    const std::pair<const char * ZAFOLDAP_SERVER_PARAM::*, std::string> kFields[] = {
        {&ZAFOLDAP_SERVER_PARAM::szSuffix, kSuffixLine},
        {&ZAFOLDAP_SERVER_PARAM::szRootDN, kRootDNLine},
        {&ZAFOLDAP_SERVER_PARAM::szRootPW, kRootPWLine},
    };
    for (const auto &[field, line] : kFields) {
        ZAFOLDAP_SERVER_PARAM parms = parms_;
        parms.*field = nullptr;
        EXPECT_EQ(ZAFOLDAPServerConfSet(&parms), 0);
        for (const auto &[other, other_line] : kFields)
            EXPECT_EQ(ContentOf(kConf).find(other_line) != std::string::npos, other == field);
    }
}

TEST_F(ServerConf, WithoutAnyFieldIsTheTemplate) {
    Write(kConf, "old\n");
    const ZAFOLDAP_SERVER_PARAM nothing{};
    EXPECT_EQ(ZAFOLDAPServerConfSet(&nothing), 0);
    EXPECT_EQ(ContentOf(kConf), ContentOf(kTemplate));
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

TEST_F(ServerConf, NothingOfTheEarlierFileStays) {
    Write(kConf, "suffix dc=old\nindex objectClass eq\nrootpw old\n");
    EXPECT_EQ(ZAFOLDAPServerConfSet(&parms_), 0);
    EXPECT_THAT(ContentOf(kConf), testing::Not(HasSubstr("old")));
    EXPECT_THAT(ContentOf(kConf), testing::Not(HasSubstr("index")));
}

TEST_F(ServerConf, PasswordThatCannotBeHashedIsLogged) {
    tools_.Reset();
    tools_.On("slappasswd").Exit(1);
    ExpectFailure(kStalePlatformCode,
                  {"Failed to read from popen (Success)", "Encrypt password failed! [0x1234]"});
    const core_test::WithoutTool none("slappasswd");
    log_.Clear();
    ExpectFailure(0x0900, {"Popen failed [0x0900]", "Encrypt password failed! [0x0900]"});
}

TEST_F(ServerConf, NeedsTheTemplate) {
    std::filesystem::remove(kTemplate);
    ExpectFailure(0x0900, {});
}

TEST_F(ServerConf, ValueOfTwoLinesIsRefused) {
    parms_.szRootDN = "cn=admin\nrootpw x";
    ExpectFailure(0x0D00, {});
}

TEST_F(ServerConf, FolderInItsPlaceIsAFailure) {
    std::filesystem::create_directories(std::string(kConf) + "/full");
    EXPECT_EQ(ZAFOLDAPServerConfSet(&parms_), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0B00);
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

class SlapdConfSetOne : public ServerConf {};

TEST_F(SlapdConfSetOne, ChangesOneDirectiveAndNothingElse) {
    Write(kConf, "suffix dc=own\nindex objectClass eq\n");
    EXPECT_EQ(ZAFOLDAPSlapdConfSetOne("suffix", "dc=new"), 0);
    EXPECT_EQ(ContentOf(kConf), "suffix dc=new\nindex objectClass eq\n");
}

TEST_F(SlapdConfSetOne, StartsFromTheTemplateWithoutAFile) {
    EXPECT_EQ(ZAFOLDAPSlapdConfSetOne("rootpw", "x"), 0);
    EXPECT_EQ(ContentOf(kConf), kHead + kSuffixLine + kRootDNLine + "rootpw x\n" + kTail);
}

TEST_F(SlapdConfSetOne, GivesThePlatformsOwnResult) {
    const std::pair<const char *, const char *> kArguments[] = {
        {nullptr, "v"}, {"suffix", nullptr}, {"", "v"}, {"suffix", "a\nb"}};
    for (const auto &[key, value] : kArguments) {
        SetStaleCodes();
        EXPECT_EQ(ZAFOLDAPSlapdConfSetOne(key, value), -1);
        ExpectSlots(kStaleLdapCode, 0x0D00);
    }
    std::filesystem::remove(kTemplate);
    EXPECT_EQ(ZAFOLDAPSlapdConfSetOne("suffix", "v"), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0900);
    EXPECT_THAT(log_.Messages(), IsEmpty());
    EXPECT_FALSE(std::filesystem::exists(kConf));
}

}  // namespace
}  // namespace zafo::server_test
