// SPDX-License-Identifier: Apache-2.0
//
// Whether a connection can be used for accounts.
#include "tests/accounts/reading_fixture.h"
#include "tests/core/connection_fixture.h"

namespace zafo::accounts_test {
namespace {

constexpr const char *kUser = "dn: uid=ann,dc=x\nuid: ann\n\n";
constexpr const char *kSubschema = "dn:\nsubschemaSubentry: cn=Subschema\n\n";

// A schema that defines these classes.
std::string Schema(const Texts &classes) {
    std::string schema = "dn: cn=Subschema\n";
    for (const std::string &name : classes)
        schema += "objectClasses: ( 1.2.3 NAME '" + name + "' )\n";
    return schema + "\n";
}

const Texts kNeeded = {"posixAccount", "posixGroup", "inetOrgPerson", "shadowAccount"};

class CheckEnumUser : public ReadingTest {
  protected:
    int Run() { return ZAFOLDAPPosixCheckEnumUser(&host_); }
};

TEST_F(CheckEnumUser, AsksForOneUser) {
    Run();
    EXPECT_THAT(Commands(),
                ElementsAre(SearchWords(kBase, {"-z", "1", "objectClass=posixAccount", "dn", "cn",
                                                "uid", "gecos", "shadowExpire", "mail"})));
}

TEST_F(CheckEnumUser, PassesWithOneUserWithNoneAndWithTooMany) {
    tools_.On("ldapsearch").Output(kUser);
    tools_.On("ldapsearch");
    tools_.On("ldapsearch").Output(kUser).Exit(4);
    tools_.On("ldapsearch").Exit(4);
    for (const char *answer : {"one", "none", "size limit", "size limit at once"}) {
        SCOPED_TRACE(answer);
        core_test::SetStaleCodes();
        EXPECT_EQ(Run(), 0);
        ExpectSlots(0, kStalePlatformCode);
    }
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

class ClientCheck : public ReadingTest {
  protected:
    ClientCheck() { host_.szBindDN = "cn=admin"; }
    int Run() { return ZAFOLDAPClientCheckBindInfo(&host_); }
};

TEST_F(ClientCheck, ListsUsersThenReadsTheSchema) {
    Answer(kUser);
    Answer(kSubschema);
    Answer(Schema({"top"}));
    EXPECT_EQ(Run(), 0) << "what the schema holds is not judged";
    EXPECT_EQ(Commands().size(), 3u);
    EXPECT_EQ(host_.nSchema, 0u) << "the record is left alone";
    ExpectSlots(0, kStalePlatformCode);
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(ClientCheck, UnreadableSchemaIsNotSupported) {
    Answer(kUser);
    tools_.On("ldapsearch").Exit(50);
    EXPECT_EQ(Run(), -1);
    EXPECT_THAT(LoggedTexts(),
                ElementsAre("get support schema failed(-2), ldap_insufficient_access (50)"));
    ExpectSlots(-65537, kStalePlatformCode);

    log_.Clear();
    tools_.Reset();
    Answer(kUser);
    Answer(kSubschema);
    tools_.On("ldapsearch").Exit(32);
    EXPECT_EQ(Run(), -1);
    EXPECT_THAT(LoggedTexts(),
                ElementsAre("get support schema failed(-3), ldap_no_such_object (32)"));
    ExpectSlots(-65537, kStalePlatformCode);
}

TEST_F(ClientCheck, FailedListingNamesWhoBound) {
    tools_.On("ldapsearch").Exit(49);
    EXPECT_EQ(Run(), -1);
    host_.szBindDN = nullptr;
    EXPECT_EQ(Run(), -1);
    EXPECT_THAT(LoggedTexts(),
                ElementsAre("check enum failed, dn=[cn=admin], ldap_invalid_credentials (49)",
                            "check enum failed, dn=[(null)], ldap_invalid_credentials (49)"));
    ExpectSlots(49, kStalePlatformCode);
    EXPECT_EQ(Commands().size(), 2u);
}

// The appliance's own client binding.
class BindingCheck : public core_test::ConnectionTest {
  protected:
    static void Bind() {
        Write(core_test::kNslcdConf, "uri ldap://server\nbase dc=example,dc=com\n");
    }
};

TEST_F(BindingCheck, WithoutABindingIsSilent) {
    EXPECT_EQ(ZAFOLDAPClientCheckBindInfo(nullptr), -1);
    EXPECT_THAT(log_.Messages(), IsEmpty());
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

TEST_F(BindingCheck, ListsUsersAndLeavesTheSchema) {
    Bind();
    ScriptWholeServer();
    tools_.On("ldapsearch").Output(kUser);
    EXPECT_EQ(ZAFOLDAPClientCheckBindInfo(nullptr), 0);
    EXPECT_EQ(tools_.Calls().size(), 4u);
    EXPECT_EQ(ZAFOLDAPErrGet(), 0);
}

TEST_F(BindingCheck, ServerThatCannotBeAskedFailsSilently) {
    Bind();
    tools_.On("ldapsearch").Exit(255);
    EXPECT_EQ(ZAFOLDAPClientCheckBindInfo(nullptr), -1);
    EXPECT_THAT(log_.Messages(), IsEmpty());
    EXPECT_EQ(ZAFOLDAPErrGet(), 255);
}

TEST_F(BindingCheck, FailedListingIsLogged) {
    Bind();
    ScriptWholeServer();
    tools_.On("ldapsearch").Exit(50);
    EXPECT_EQ(ZAFOLDAPClientCheckBindInfo(nullptr), -1);
    EXPECT_THAT(LoggedTexts(),
                ElementsAre("check enum failed, dn=[(null)], ldap_insufficient_access (50)"));
    EXPECT_EQ(ZAFOLDAPErrGet(), 50);
}

class BrowserCheck : public core_test::ConnectionTest {
  protected:
    // Checks the test's own connection against a server with these classes.
    int Check(const Texts &classes) {
        tools_.Reset();
        tools_.On("ldapsearch").Output(kUser);
        tools_.On("ldapsearch").IgnoreSignals().Output(kSubschema);
        tools_.On("ldapsearch").IgnoreSignals().Output(Schema(classes));
        return ZAFOLDAPBrowserCheckBindInfo(&host_, "ignored");
    }
};

TEST_F(BrowserCheck, PassesWithAllClasses) {
    EXPECT_EQ(Check(kNeeded), 0);
    EXPECT_EQ(ZAFOLDAPErrGet(), 0);
    EXPECT_EQ(host_.nSchema, 0u);
}

TEST_F(BrowserCheck, EveryMissingClassIsReported) {
    for (size_t missing = 0; missing < kNeeded.size(); ++missing) {
        SCOPED_TRACE(kNeeded[missing]);
        Texts classes = kNeeded;
        classes.erase(classes.begin() + static_cast<std::ptrdiff_t>(missing));
        EXPECT_EQ(Check(classes), 0) << "the listing itself worked";
        EXPECT_EQ(ZAFOLDAPErrGet(), -65537);
    }
}

// The server's classes are added to those already in the record.
TEST_F(BrowserCheck, ClassesOfTheRecordCountToo) {
    host_.nSchema = 0x01C0;  // all but posixAccount
    EXPECT_EQ(Check({"posixAccount"}), 0);
    EXPECT_EQ(ZAFOLDAPErrGet(), 0);
    EXPECT_EQ(Check({"posixGroup"}), 0);
    EXPECT_EQ(ZAFOLDAPErrGet(), -65537);
    EXPECT_EQ(host_.nSchema, 0x01C0u) << "the record is left alone";
}

TEST_F(BrowserCheck, UnreadableSchemaIsIgnored) {
    tools_.On("ldapsearch").Output(kUser);
    tools_.On("ldapsearch").Exit(50);
    EXPECT_EQ(ZAFOLDAPBrowserCheckBindInfo(&host_, nullptr), 0);
    EXPECT_EQ(ZAFOLDAPErrGet(), 50);
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(BrowserCheck, FailedListingFails) {
    tools_.On("ldapsearch").Exit(49);
    EXPECT_EQ(ZAFOLDAPBrowserCheckBindInfo(&host_, nullptr), -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), 49);
    EXPECT_EQ(tools_.Calls().size(), 1u);
}

TEST_F(BrowserCheck, MissingSavedConnectionFails) {
    EXPECT_EQ(ZAFOLDAPBrowserCheckBindInfo(nullptr, "ann"), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x2200);
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

class SavedConnectionCheck : public BrowserCheck {
  protected:
    SavedConnectionCheck() { Write(core_test::kBrowserConf, "[ann]\nuri=server\nbasedn=dc=x\n"); }

    int CheckSaved(const Texts &classes) {
        tools_.On("ldapsearch").IgnoreSignals().Output("dn: cn=zafoconf,dc=x\n\n");
        tools_.On("ldapsearch").IgnoreSignals().Output(kSubschema);
        tools_.On("ldapsearch").IgnoreSignals().Output(Schema(classes));
        tools_.On("ldapsearch").Output(kUser);
        return ZAFOLDAPBrowserCheckBindInfo(nullptr, "ann");
    }
};

TEST_F(SavedConnectionCheck, PassesWithAllClasses) {
    EXPECT_EQ(CheckSaved(kNeeded), 0);
    EXPECT_EQ(ZAFOLDAPErrGet(), 0);
    EXPECT_EQ(tools_.Calls().size(), 4u);
}

TEST_F(SavedConnectionCheck, MissingClassIsReported) {
    EXPECT_EQ(CheckSaved({"posixAccount", "posixGroup", "inetOrgPerson"}), 0);
    EXPECT_EQ(ZAFOLDAPErrGet(), -65537);
}

TEST_F(SavedConnectionCheck, FailedListingIsReturnedAndTheClassesAreNotJudged) {
    tools_.On("ldapsearch").IgnoreSignals().Output("dn: cn=zafoconf,dc=x\n\n");
    tools_.On("ldapsearch").IgnoreSignals().Output(kSubschema);
    tools_.On("ldapsearch").IgnoreSignals().Output(Schema({"top"}));
    tools_.On("ldapsearch").Exit(49);
    EXPECT_EQ(ZAFOLDAPBrowserCheckBindInfo(nullptr, "ann"), -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), 49);
}

TEST_F(SavedConnectionCheck, ServerThatCannotBeAskedFails) {
    tools_.On("ldapsearch").Exit(255);
    tools_.On("ldapsearch").Output(kUser);
    EXPECT_EQ(ZAFOLDAPBrowserCheckBindInfo(nullptr, "ann"), -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), 255);
    EXPECT_EQ(tools_.Calls().size(), 1u) << "users are not even asked for";
}

}  // namespace
}  // namespace zafo::accounts_test
