// SPDX-License-Identifier: Apache-2.0
//
// Accounts that a real server refuses to create, change or delete: the error returned, and what is
// in the directory afterwards. A multi-step change keeps the steps that succeeded.
#include <filesystem>
#include <functional>

#include "platform/error.h"
#include "tests/integration/accounts.h"
#include "tests/integration/listener.h"

namespace zafo::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string kAliceDN = std::string("uid=alice,") + kUsersDN;
const std::string kBobDN = std::string("uid=bob,") + kUsersDN;
const std::string kTeamDN = std::string("cn=team,") + kGroupsDN;
constexpr const char *kLimitsFile = "/usr/zafo/etc/tools.conf";

const rig::Variant &VariantNamed(std::string_view name) {
    for (const rig::Variant &variant : rig::kVariants) {
        if (variant.name == name) return variant;
    }
    throw std::invalid_argument("no such kind of server");
}

// Alice and a team exist. The calls use a connection that a test may change.
class Refused : public AccountTest {
  protected:
    explicit Refused(const char *variant = "posix")
        : AccountTest(VariantNamed(variant)), connection_(directory_) {
        directory_.Change("dn: " + kAliceDN +
                          "\nchangetype: add\nobjectClass: inetOrgPerson\n"
                          "objectClass: posixAccount\nuid: alice\ncn: alice\nsn: alice\n"
                          "uidNumber: 5001\ngidNumber: 6001\nhomeDirectory: /homes/alice\n"
                          "mail: alice@example.com\nuserPassword: Geheimnis\n\n"
                          "dn: " +
                          kTeamDN +
                          "\nchangetype: add\nobjectClass: posixGroup\ncn: team\n"
                          "gidNumber: 6001\n");
        Changes();
    }

    int Add(Person person, const char *container = nullptr, const Texts &extra = {}) {
        ZAFOUSER record = person.Record();
        StringList list;
        for (const std::string &item : extra)
            QLIBCSzListPush(list.Slot(), item.c_str());
        return ZAFOLDAPBrowserUserCreate(connection_, &record, *list.Slot(), container);
    }
    int Change(const std::string &dn, Person wish) {
        const ZAFOUSER record = wish.Record();
        return ZAFOLDAPBrowserUserEdit(connection_, dn.c_str(), &record, nullptr, nullptr);
    }

    // Expects a call to fail with this library error and to make exactly these changes.
    void Expect(int code, const std::function<int()> &call, const Texts &changes = {}) {
        ZAFOLDAPErrReset();
        EXPECT_EQ(call(), -1);
        EXPECT_EQ(ZAFOLDAPErrGet(), code);
        EXPECT_EQ(Changes(), changes);
    }

    Connection connection_;
};

const Person kBob{.name = "bob", .password = "b", .uid = 5002, .gid = 6001};

TEST_F(Refused, AReadOnlyUserChangesNothing) {
    connection_.BindAs(kAliceDN.c_str(), "Geheimnis");
    const unsigned gid = 7;
    Expect(50, [&] { return Add(kBob); });
    Expect(50, [&] { return Change(kAliceDN, {.shell = "/bin/x"}); });
    Expect(50, [&] { return Change(kAliceDN, {.name = "anna"}); });
    Expect(50, [&] {
        return ZAFOLDAPBrowserGroupEdit(connection_, kTeamDN.c_str(), "crew", "x", &gid);
    });
    Expect(50, [&] { return ZAFOLDAPBrowserDeleteUser(connection_, "alice"); });
    Expect(50, [&] { return ZAFOLDAPBrowserDeleteGroup(connection_, "team"); });
}

TEST_F(Refused, AWrongPasswordDoesNotProveThatANameIsFree) {
    connection_.BindAs(directory_.BindDN(), "wrong");
    Expect(ZAFOLDAP_ERR_USERNAME_EXISTS, [&] { return Add(kBob); });
    Expect(49, [&] { return Change(kAliceDN, {.shell = "/bin/x"}); });
    Expect(49, [&] { return ZAFOLDAPBrowserDeleteUser(connection_, "alice"); });
}

TEST_F(Refused, AnExistingEntryThatIsNotAUserIsSeenByTheServerOnly) {
    directory_.Add(LdifEntry(kBobDN).Add("objectClass", "account").Add("uid", "bob"));
    Changes();
    Expect(68, [&] { return Add(kBob); });
}

TEST_F(Refused, AContainerThatDoesNotExistIs32) {
    Expect(32, [&] { return Add(kBob, "cn=nowhere"); });
}

TEST_F(Refused, ExtraAttributesThatTheServerDoesNotKnowAre17) {
    Expect(17, [&] { return Add(kBob, nullptr, {"favouriteColour", "blue"}); });
}

TEST_F(Refused, AServerOfUnknownKindGetsNoUser) {
    connection_.Record()->nSchema = 0;
    Expect(2, [&] { return Add(kBob); });
}

// An entry of class "account" may not have a password.
TEST_F(Refused, AUserWhosePasswordIsRefusedExistsWithoutIt) {
    connection_.Record()->nSchema = ZAFOLDAP_CLASS_TOP;
    Expect(0,
           [&] {
               return Add(kBob, nullptr, {"objectClass", "account", "uid", "bob"});
           },
           {"+ " + kBobDN});
    EXPECT_FALSE(LetsIn(kBobDN, "b"));
}

TEST_F(Refused, AnEditIsTakenAsAWholeOrNotAtAll) {
    Expect(21, [&] { return Change(kAliceDN, {.gid = 7, .shell = "/bin/zsh", .mail = "ä"}); });
    Expect(21, [&] { return Change(kAliceDN, {.name = "", .gid = 7}); });
}

// The first record sets the other name, the second moves the entry.
TEST_F(Refused, ARenameOntoAnotherEntryKeepsTheFirstRecordOfTheTwo) {
    directory_.Add(LdifEntry(kBobDN).Add("objectClass", "account").Add("uid", "bob"));
    Changes();
    Expect(68, [&] { return Change(kAliceDN, {.name = "bob", .gid = 7}); },
           {kAliceDN + " - cn: alice", kAliceDN + " - gidNumber: 6001", kAliceDN + " + cn: bob",
            kAliceDN + " + gidNumber: 7"});
}

TEST_F(Refused, AnRdnOfBothNamesIsNotRenamed) {
    const std::string dn = std::string("uid=both+cn=both,") + kUsersDN;
    directory_.Add(LdifEntry(dn)
                       .Add("objectClass", "inetOrgPerson")
                       .Add("objectClass", "posixAccount")
                       .Add("uid", "both")
                       .Add("cn", "both")
                       .Add("sn", "both")
                       .Add("uidNumber", "7001")
                       .Add("gidNumber", "7001")
                       .Add("homeDirectory", "/x"));
    Changes();
    Expect(64, [&] { return Change(dn, {.name = "other"}); });
}

TEST_F(Refused, AnEntryWithChildrenIsNotDeleted) {
    directory_.Add(LdifEntry("cn=child," + kAliceDN)
                       .Add("objectClass", "organizationalRole")
                       .Add("cn", "child"));
    Changes();
    Expect(66, [&] { return ZAFOLDAPBrowserDeleteUser(connection_, "alice"); });
    Expect(66, [&] { return ZAFOLDAPBrowserDeleteDN(connection_, kAliceDN.c_str()); });
    Expect(32, [&] { return ZAFOLDAPBrowserDeleteDN(connection_, kBobDN.c_str()); });
}

// A group that lists Alice by name only, as groups created with their members do.
TEST_F(Refused, ADeletedUserStaysInAGroupThatCannotFollow) {
    EXPECT_EQ(CreateGroup("crew", 6002, {"alice"}), 0);
    Changes();
    Expect(16, [&] { return ZAFOLDAPBrowserDeleteUser(connection_, "alice"); }, {"- " + kAliceDN});
}

TEST_F(Refused, ASilentServerEndsEveryCallAtItsTimeOut) {
    const std::string before = FileContent(kLimitsFile);
    const bool existed = std::filesystem::exists(kLimitsFile);
    WriteFile(kLimitsFile, "timeout 1\nnetwork_timeout 1\n");
    {
        const SilentServer silent;
        const std::string uri = silent.Uri();
        ZAFOLDAPHostSet(connection_.Record(), LDAP_HOST_ATTR_URI, uri.c_str());
        Expect(ZAFOLDAP_ERR_USERNAME_EXISTS, [&] { return Add(kBob); });
        Expect(254, [&] { return ZAFOLDAPBrowserDeleteDN(connection_, kAliceDN.c_str()); });
    }
    if (existed) {
        WriteFile(kLimitsFile, before);
    } else {
        std::filesystem::remove(kLimitsFile);
    }
}

class RefusedOnSamba : public Refused {
  protected:
    RefusedOnSamba() : Refused("samba") {}

    std::string NextRid() const {
        return directory_
            .Client("ldapsearch",
                    {"-LLL", "-b", "sambaDomainName=example,dc=example,dc=com", "sambaNextUserRid"})
            .out;
    }
};

TEST_F(RefusedOnSamba, ARefusedUserStillCostsAnIdentifier) {
    const std::string before = NextRid();
    Expect(32, [&] { return Add(kBob, "cn=nowhere"); });
    EXPECT_NE(NextRid(), before);
}

}  // namespace
}  // namespace zafo::test
