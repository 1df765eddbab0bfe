// SPDX-License-Identifier: Apache-2.0
//
// Changes written through the library and checked with the system's own client.
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/integration/integration.h"

namespace zafo::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

constexpr const char *kParent = "ou=changes,dc=example,dc=com";
constexpr const char *kEntry = "cn=subject,ou=changes,dc=example,dc=com";

std::vector<std::string> ChangeFiles() {
    std::vector<std::string> names;
    for (const auto &item : std::filesystem::directory_iterator("/tmp")) {
        if (item.path().extension() == ".ldif") names.push_back(item.path());
    }
    return names;
}

// A parent and one entry, created anew for every test by the system's own client.
class Modify : public testing::Test {
  protected:
    Modify() {
        ExampleDirectory &directory = ExampleDirectory::Get();
        directory.Add(
            LdifEntry(kParent).Add("objectClass", "organizationalUnit").Add("ou", "changes"));
        directory.Add(LdifEntry(kEntry)
                          .Add("objectClass", "inetOrgPerson")
                          .Add("cn", "subject")
                          .Add("sn", "Before")
                          .Add("description", "first")
                          .Add("description", "second"));
        ZAFOLDAPErrReset();
        EXPECT_EQ(ZAFOLDAPLdifInit(&ldif_, nullptr), 0);
    }

    ~Modify() override {
        ExampleDirectory::Get().Client("ldapdelete", {"-r", kParent});
        EXPECT_THAT(ChangeFiles(), IsEmpty());
    }

    void Begin(const char *dn, const char *type) {
        ZAFOLDAPLdifTargetDN(&ldif_, dn);
        ZAFOLDAPLdifChangeType(&ldif_, type);
    }

    int Apply(int add = 0) { return ZAFOLDAPModify(connection_, &ldif_, add); }

    std::vector<std::string> Values(const char *attribute, const std::string &dn = kEntry) {
        const std::vector<LdifEntry> entries = ExampleDirectory::Get().Read(dn, "base");
        return entries.empty() ? std::vector<std::string>() : entries[0].All(attribute);
    }

    std::vector<LdifEntry> Below(const char *parent = kParent) {
        return ExampleDirectory::Get().Read(parent, "children");
    }

    Connection connection_;
    ZAFOLDAP_LDIF ldif_;
};

TEST_F(Modify, ARecordWithoutAChangeTypeIsAddedInAddMode) {
    ZAFOLDAPLdifTargetDN(&ldif_, "cn=new,ou=changes,dc=example,dc=com");
    ZAFOLDAPLdifAttr(&ldif_, "objectClass", "%s", "inetOrgPerson");
    ZAFOLDAPLdifAttr(&ldif_, "cn", "%s", "new");
    ZAFOLDAPLdifAttr(&ldif_, "sn", "%s %d", "Number", 1);
    EXPECT_EQ(Apply(1), 0);
    EXPECT_THAT(Values("sn", "cn=new,ou=changes,dc=example,dc=com"), ElementsAre("Number 1"));
}

TEST_F(Modify, AddByChangeTypeNeedsNoAddMode) {
    Begin("cn=new,ou=changes,dc=example,dc=com", "add");
    ZAFOLDAPLdifAttr(&ldif_, "objectClass", "organizationalRole");
    ZAFOLDAPLdifAttr(&ldif_, "cn", "new");
    EXPECT_EQ(Apply(), 0);
    EXPECT_THAT(Below(), SizeIs(2));
}

TEST_F(Modify, ManyRecordsOfOneFileAreAllApplied) {
    constexpr int kRecords = 300;
    for (int n = 0; n < kRecords; ++n) {
        const std::string cn = "entry " + std::to_string(n);
        ZAFOLDAPLdifTargetDN(&ldif_, ("cn=" + cn + "," + kParent).c_str());
        ZAFOLDAPLdifAttr(&ldif_, "objectClass", "organizationalRole");
        ZAFOLDAPLdifAttr(&ldif_, "cn", "%s", cn.c_str());
    }
    EXPECT_EQ(Apply(1), 0);
    EXPECT_THAT(Below(), SizeIs(kRecords + 1));
}

TEST_F(Modify, ReplacePutsOneValueInPlaceOfAll) {
    Begin(kEntry, "modify");
    ZAFOLDAPLdifAttrReplace(&ldif_, "description", "%s", "only");
    EXPECT_EQ(Apply(), 0);
    EXPECT_THAT(Values("description"), ElementsAre("only"));
}

TEST_F(Modify, DeleteTakesOneValueOrTheWholeAttribute) {
    Begin(kEntry, "modify");
    ZAFOLDAPLdifAttrDelete(&ldif_, "description", "%s", "first");
    EXPECT_EQ(Apply(), 0);
    EXPECT_THAT(Values("description"), ElementsAre("second"));

    ASSERT_EQ(ZAFOLDAPLdifInit(&ldif_, nullptr), 0);
    Begin(kEntry, "modify");
    ZAFOLDAPLdifAttrDelete(&ldif_, "description", nullptr);
    EXPECT_EQ(Apply(), 0);
    EXPECT_THAT(Values("description"), IsEmpty());
}

TEST_F(Modify, SeveralModificationsOfOneRecordAreSeparated) {
    Begin(kEntry, "modify");
    ZAFOLDAPLdifAttrReplace(&ldif_, "sn", "After");
    ZAFOLDAPLdifAttrDelete(&ldif_, "description", "second");
    ZAFOLDAPLdifSepAttr(&ldif_);
    ZAFOLDAPLdifAttr(&ldif_, "add", "mail");
    ZAFOLDAPLdifAttr(&ldif_, "mail", "a@example.com");
    ZAFOLDAPLdifAttr(&ldif_, "mail", "b@example.com");
    EXPECT_EQ(Apply(), 0);
    EXPECT_THAT(Values("sn"), ElementsAre("After"));
    EXPECT_THAT(Values("description"), ElementsAre("first"));
    EXPECT_THAT(Values("mail"), ElementsAre("a@example.com", "b@example.com"));
}

TEST_F(Modify, ModrdnGivesTheEntryItsNewName) {
    Begin(kEntry, "modrdn");
    ZAFOLDAPLdifAttr(&ldif_, "newrdn", "cn=renamed");
    ZAFOLDAPLdifLine(&ldif_, "deleteoldrdn: %d", 1);
    EXPECT_EQ(Apply(), 0);
    const std::vector<LdifEntry> entries = Below();
    ASSERT_THAT(entries, SizeIs(1));
    EXPECT_EQ(entries[0].dn, std::string("cn=renamed,") + kParent);
    EXPECT_THAT(entries[0].All("cn"), ElementsAre("renamed"));
}

// A change file without attribute lines counts as empty, so a deletion is written with them.
TEST_F(Modify, DeleteRemovesTheEntry) {
    ZAFOLDAPLdifAttr(&ldif_, "dn", "%s", kEntry);
    ZAFOLDAPLdifAttr(&ldif_, "changetype", "delete");
    EXPECT_EQ(Apply(), 0);
    EXPECT_THAT(Below(), IsEmpty());
}

TEST_F(Modify, AFileWithoutAttributeLinesChangesNothingAndSucceeds) {
    Begin(kEntry, "delete");
    EXPECT_EQ(Apply(), 0);
    EXPECT_THAT(Below(), SizeIs(1));
}

TEST_F(Modify, PlainTextInUTF8IsStoredAsItIs) {
    Begin(kEntry, "modify");
    ZAFOLDAPLdifAttrReplace(&ldif_, "sn", "%s", "Größe 山田 👩🏽‍🚀");
    EXPECT_EQ(Apply(), 0);
    EXPECT_THAT(Values("sn"), ElementsAre("Größe 山田 👩🏽‍🚀"));
}

TEST_F(Modify, ALongValueIsStoredWhole) {
    const std::string value(100'000, 'x');
    Begin(kEntry, "modify");
    ZAFOLDAPLdifAttrReplace(&ldif_, "description", "%s", value.c_str());
    EXPECT_EQ(Apply(), 0);
    EXPECT_THAT(Values("description"), ElementsAre(value));
}

TEST_F(Modify, ABase64ValueReachesTheServerWithItsFinalZeroByte) {
    Begin(kEntry, "modify");
    ZAFOLDAPLdifAttr(&ldif_, "replace", "description");
    ZAFOLDAPLdifAttr64(&ldif_, "description", "%s", " : leading blank and colon");
    EXPECT_EQ(Apply(), 0);
    EXPECT_THAT(Values("description"),
                ElementsAre(std::string(" : leading blank and colon\0", 27)));
    // The NUL byte ends the value in text form, so the library reads what it wrote.
    EXPECT_THAT(Search(connection_, {.base = kEntry}).entries.at(0).All("description"),
                ElementsAre(" : leading blank and colon"));
}

TEST_F(Modify, TheNameOfAnEntryMayNeedEscapes) {
    for (const char *rdn : {"cn=Smith\\, John", "cn=Lučić", "cn=C\\+\\+"}) {
        SCOPED_TRACE(rdn);
        ZAFOLDAPLdifTargetDN(&ldif_, (std::string(rdn) + "," + kParent).c_str());
        ZAFOLDAPLdifAttr(&ldif_, "objectClass", "organizationalRole");
    }
    EXPECT_EQ(Apply(1), 0);
    EXPECT_THAT(Below(), SizeIs(4));
}

// A compare-and-swap: the server refuses the whole modification if the old value is gone.
TEST_F(Modify, ADeleteOfAMissingValueIs16AndChangesNothing) {
    Begin(kEntry, "modify");
    ZAFOLDAPLdifAttrDelete(&ldif_, "sn", "Somebody else's");
    ZAFOLDAPLdifSepAttr(&ldif_);
    ZAFOLDAPLdifAttr(&ldif_, "add", "sn");
    ZAFOLDAPLdifAttr(&ldif_, "sn", "Mine");
    EXPECT_EQ(Apply(), -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), 16);
    EXPECT_THAT(Values("sn"), ElementsAre("Before"));
}

TEST_F(Modify, AnEntryThatExistsIs68) {
    ZAFOLDAPLdifTargetDN(&ldif_, kEntry);
    ZAFOLDAPLdifAttr(&ldif_, "objectClass", "organizationalRole");
    EXPECT_EQ(Apply(1), -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), 68);
    EXPECT_EQ(ldif_.nExitCode, 68);
}

TEST_F(Modify, AnEntryThatDoesNotExistIs32) {
    Begin("cn=nobody,ou=changes,dc=example,dc=com", "modify");
    ZAFOLDAPLdifAttrReplace(&ldif_, "sn", "x");
    EXPECT_EQ(Apply(), -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), 32);
}

TEST_F(Modify, AnAttributeThatTheClassForbidsIs65) {
    Begin(kEntry, "modify");
    ZAFOLDAPLdifAttrReplace(&ldif_, "uidNumber", "1");
    EXPECT_EQ(Apply(), -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), 65);
}

TEST_F(Modify, AUserWithoutTheRightIs50) {
    connection_.BindAs(rig::kReaderDN, rig::kExampleUserPassword);
    Begin(kEntry, "modify");
    ZAFOLDAPLdifAttrReplace(&ldif_, "sn", "x");
    EXPECT_EQ(Apply(), -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), 50);
    EXPECT_THAT(Values("sn"), ElementsAre("Before"));
}

TEST_F(Modify, AWrongPasswordIs49) {
    connection_.BindAs(ExampleDirectory::Get().BindDN(), "not the password");
    Begin(kEntry, "modify");
    ZAFOLDAPLdifAttrReplace(&ldif_, "sn", "x");
    EXPECT_EQ(Apply(), -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), 49);
}

TEST_F(Modify, TheRecordsBeforeTheFailingOneStay) {
    for (const char *cn : {"one", "subject", "three"}) {
        ZAFOLDAPLdifTargetDN(&ldif_, (std::string("cn=") + cn + "," + kParent).c_str());
        ZAFOLDAPLdifAttr(&ldif_, "objectClass", "organizationalRole");
        ZAFOLDAPLdifAttr(&ldif_, "cn", "%s", cn);
    }
    EXPECT_EQ(Apply(1), -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), 68);
    std::vector<std::string> names;
    for (const LdifEntry &entry : Below())
        names.push_back(entry.All("cn").at(0));
    EXPECT_THAT(names, UnorderedElementsAre("subject", "one"));
}

struct WayThere {
    const char *name;
    const char *uri;
    int ssl_type;
};

TEST_F(Modify, WorksOverEveryTransport) {
    for (const WayThere &endpoint :
         {WayThere{"plain", "127.0.0.1", 0},
          {"ldaps", "localhost:636", 1},
          {"StartTLS", "zafo", 2},
          {"first server dead", "127.0.0.1:1 ldap://127.0.0.1:389", 0}}) {
        SCOPED_TRACE(endpoint.name);
        Connection connection(endpoint.uri, endpoint.ssl_type);
        ZAFOLDAP_LDIF ldif;
        ASSERT_EQ(ZAFOLDAPLdifInit(&ldif, nullptr), 0);
        ZAFOLDAPLdifTargetDN(&ldif, kEntry);
        ZAFOLDAPLdifChangeType(&ldif, "modify");
        ZAFOLDAPLdifAttrReplace(&ldif, "sn", "%s", endpoint.name);
        EXPECT_EQ(ZAFOLDAPModify(connection, &ldif, 0), 0);
        EXPECT_THAT(Values("sn"), ElementsAre(endpoint.name));
    }
    Apply();
}

}  // namespace
}  // namespace zafo::test
