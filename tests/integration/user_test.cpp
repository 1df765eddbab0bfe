// SPDX-License-Identifier: Apache-2.0
//
// Users from creation to deletion, on every kind of server.
#include "platform/error.h"
#include "tests/integration/accounts.h"
#include "tests/rig/cipher.h"

namespace zafo::test::user_test {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::UnorderedElementsAreArray;

constexpr const char *kAliceDN = "uid=alice,cn=users,dc=example,dc=com";
constexpr const char *kTeamDN = "cn=team,cn=groups,dc=example,dc=com";

class Users : public AccountTest, public testing::WithParamInterface<rig::Variant> {
  protected:
    Users() : AccountTest(GetParam()) {}

    // Creates Alice; Changes() starts from there.
    void CreateAlice() {
        ASSERT_EQ(Create(Alice()), 0);
        Changes();
    }

    // Adds an entry as another program would, named by its "cn" or its "uid".
    void AddForeign(const std::string &rdn_attribute, const std::string &name,
                    const std::string &container = kUsersDN) {
        LdifEntry entry(rdn_attribute + "=" + name + "," + container);
        if (Knows(ZAFOLDAP_CLASS_INET_ORG_PERSON)) {
            entry.Add("objectClass", "inetOrgPerson").Add("sn", name);
        }
        entry.Add("objectClass", "posixAccount").Add("cn", name).Add("uid", name);
        entry.Add("uidNumber", "7001").Add("gidNumber", "7001").Add("homeDirectory", "/x");
        directory_.Add(entry);
    }

    void AddContainer(const std::string &dn) {
        directory_.Add(LdifEntry(dn)
                           .Add("objectClass", "organizationalRole")
                           .Add("cn", dn.substr(3, dn.find(',') - 3)));
    }
};

INSTANTIATE_TEST_SUITE_P(, Users, testing::ValuesIn(rig::kVariants),
                         [](const auto &variant) { return variant.param.name; });

TEST_P(Users, AreOnAServerOfTheExpectedKind) {
    const ZAFOLDAP_HOST *host = host_;
    EXPECT_EQ(host->nSchema, GetParam().schema);
    EXPECT_EQ(host->nServerType, GetParam().server_type);
    const std::string settings = std::string("/var/lib/variant-") + GetParam().name + "/slapd.conf";
    const rig::ProgramRun check = rig::RunProgram({"slaptest", "-u", "-f", settings});
    EXPECT_EQ(check.err + check.out, "config file testing succeeded\n");
}

// Without the platform's ciphers the hash cannot be computed; creation still succeeds.
std::string NtHash(const std::string &hash) {
    return rig::PlatformHasCipher() ? hash : "";
}

// What each kind of server must hold of Alice: lines by the object class that allows them.
struct ClassLines {
    unsigned object_class;
    Texts lines;
};
const ClassLines kAliceLines[] = {
    {ZAFOLDAP_CLASS_TOP, {"objectClass: top"}},
    {ZAFOLDAP_CLASS_POSIX_ACCOUNT,
     {"objectClass: posixAccount", "cn: alice", "uid: alice", "gecos: Zoë Öztürk",
      "uidNumber: 5001", "gidNumber: 6001", "loginShell: /bin/bash",
      "homeDirectory: /volume1/homes/alice", "userPassword: {CRYPT}…"}},
    {ZAFOLDAP_CLASS_SHADOW_ACCOUNT,
     {"objectClass: shadowAccount", "shadowLastChange: today", "shadowMin: 0", "shadowMax: 99999",
      "shadowWarning: 7", "shadowExpire: 20000", "shadowInactive: 0", "shadowFlag: 0"}},
    {ZAFOLDAP_CLASS_PERSON, {"objectClass: person", "sn: alice"}},
    {ZAFOLDAP_CLASS_ORGANIZATIONAL_PERSON, {"objectClass: organizationalPerson"}},
    {ZAFOLDAP_CLASS_INET_ORG_PERSON, {"objectClass: inetOrgPerson", "mail: alice@example.com"}},
    {ZAFOLDAP_CLASS_APPLE_USER, {"objectClass: apple-user", "authAuthority: ;basic;"}},
    {ZAFOLDAP_CLASS_SAMBA_SAM_ACCOUNT,
     {"objectClass: sambaSamAccount", "objectClass: sambaIdmapEntry",
      "sambaNTPassword: " + NtHash("AB115E701EB4B29C398B545DD7BE793C"),
      "sambaLMPassword: XXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXX",
      "sambaPasswordHistory: " + std::string(64, '0'), "sambaPwdLastSet: now",
      "sambaAcctFlags: [U          ]", "displayName: alice"}},
    {ZAFOLDAP_CLASS_EXTENSIBLE_OBJECT, {"objectClass: extensibleObject"}},
};

TEST_P(Users, AreStoredWithWhatTheServerKnows) {
    ASSERT_EQ(Create(Alice()), 0);
    EXPECT_THAT(Changes(), ElementsAre(std::string("+ ") + kAliceDN));
    Lines entry = Seen(kAliceDN);
    if (Knows(ZAFOLDAP_CLASS_SAMBA_SAM_ACCOUNT)) {
        const auto sid = entry.lower_bound("sambaSID: S-1-5-21-1111111111-2222222222-3333333333-");
        ASSERT_NE(sid, entry.end());
        EXPECT_GE(std::stoi(sid->substr(sid->rfind('-') + 1)), 1000);
        entry.erase(sid);
    }
    Texts expected;
    for (const ClassLines &part : kAliceLines) {
        if (Knows(part.object_class)) {
            expected.insert(expected.end(), part.lines.begin(), part.lines.end());
        }
    }
    EXPECT_THAT(entry, UnorderedElementsAreArray(expected));
}

TEST_P(Users, AreReadBackAsTheyWereCreated) {
    CreateAlice();
    const User user = Get(kAliceDN);
    ASSERT_NE(user, nullptr);
    EXPECT_STREQ(user->szName, "alice");
    EXPECT_EQ(user->pw_uid, 5001U);
    EXPECT_EQ(user->pw_gid, 6001U);
    EXPECT_STREQ(user->szFullname, "Zoë Öztürk");
    EXPECT_STREQ(user->pw_dir, "/volume1/homes/alice");
    EXPECT_STREQ(user->pw_shell, "/bin/bash");
    const bool has_mail = Knows(ZAFOLDAP_CLASS_INET_ORG_PERSON);
    EXPECT_STREQ(user->szMail, has_mail ? "alice@example.com" : nullptr);
    EXPECT_EQ(user->nExpire, Knows(ZAFOLDAP_CLASS_SHADOW_ACCOUNT) ? 20000 : 0);
    EXPECT_EQ(user->blDisallowChangePasswd, 0);
    EXPECT_EQ(user->nType, ZAFO_ACCOUNT_DIRECTORY);
    EXPECT_THAT(user->szPasswd, testing::StartsWith("{CRYPT}"));
}

TEST_P(Users, GetShellAndHomeWhenNoneIsGiven) {
    ASSERT_EQ(Create({.name = "bob", .uid = 5002, .gid = 6001, .shell = ""}), 0);
    const User user = Get("uid=bob,cn=users,dc=example,dc=com");
    ASSERT_NE(user, nullptr);
    EXPECT_STREQ(user->pw_shell, "/bin/sh");
    EXPECT_STREQ(user->pw_dir, "/home/bob");
    EXPECT_EQ(user->szFullname, nullptr);
    EXPECT_EQ(user->szMail, nullptr);
    EXPECT_FALSE(LetsIn("uid=bob,cn=users,dc=example,dc=com", "bob"));
}

TEST_P(Users, ThatAreExpiredOrMayNotChangeThePasswordReadBackAsSuch) {
    Person bob = {.name = "bob", .uid = 5002, .gid = 6001, .expire = 1, .disallow = 1};
    ASSERT_EQ(Create(bob), 0);
    const User user = Get("uid=bob,cn=users,dc=example,dc=com");
    ASSERT_NE(user, nullptr);
    const bool ages = Knows(ZAFOLDAP_CLASS_SHADOW_ACCOUNT);
    EXPECT_EQ(user->blDisallowChangePasswd, ages ? 1 : 0);
    EXPECT_EQ(user->nExpire, ages ? 1 : 0);
}

TEST_P(Users, CanLogInWithTheirPasswordHoweverItWasSet) {
    const auto expect_only = [&](const char *right, std::initializer_list<const char *> wrong) {
        EXPECT_TRUE(LetsIn(kAliceDN, right)) << right;
        for (const char *other : wrong)
            EXPECT_FALSE(LetsIn(kAliceDN, other)) << other;
    };
    CreateAlice();
    expect_only("Erstes Geheimnis", {"erstes geheimnis", "Erstes Geheimni", "x"});
    if (Knows(ZAFOLDAP_CLASS_SHADOW_ACCOUNT)) {
        directory_.Change(std::string("dn: ") + kAliceDN +
                          "\nchangetype: modify\nreplace: shadowLastChange\n"
                          "shadowLastChange: 100\n");
    }
    Changes();

    ASSERT_EQ(Edit(kAliceDN, {.password = "zweites, \"100%n\" \\ wörtlich"}), 0);
    expect_only("zweites, \"100%n\" \\ wörtlich", {"Erstes Geheimnis"});
    Texts changes;
    if (Knows(ZAFOLDAP_CLASS_SAMBA_SAM_ACCOUNT) && rig::PlatformHasCipher()) {
        changes = {std::string(kAliceDN) + " - sambaNTPassword: AB115E701EB4B29C398B545DD7BE793C",
                   std::string(kAliceDN) + " + sambaNTPassword: 060BCEA504FAA2AC565D1968C2645B7C"};
    }
    if (Knows(ZAFOLDAP_CLASS_SHADOW_ACCOUNT)) {
        changes.push_back(std::string(kAliceDN) + " - shadowLastChange: 100");
        changes.push_back(std::string(kAliceDN) + " + shadowLastChange: today");
    }
    EXPECT_THAT(Changes(), UnorderedElementsAreArray(changes));

    ASSERT_EQ(ZAFOLDAPPasswd(host_, kAliceDN, "third"), 0);
    expect_only("third", {"Erstes Geheimnis", "zweites, \"100%n\" \\ wörtlich"});

    Connection herself(directory_);
    herself.BindAs(kAliceDN, "third");
    ASSERT_EQ(ZAFOLDAPPasswd(herself, kAliceDN, "fourth"), 0);
    expect_only("fourth", {"third"});
    EXPECT_THAT(Changes(), IsEmpty());
}

TEST_P(Users, WithACryptedPasswordCanLogIn) {
    // The crypt(3) hash of "hidden".
    Person bob = {.name = "bob",
                  .password =
                      "$6$zafo$SQO5XfYGXqHGLiE467FDmjqAHNsxSFrEO3tLxPCnZB2QM9DXjD7b/Bfz2"
                      "c70He5IvPuFodp9YvwDLDkDZu1JQ/",
                  .uid = 5002,
                  .gid = 6001};
    ZAFOUSER record = bob.Record();
    ASSERT_EQ(ZAFOLDAPBrowserUserCreateWithCryptedPass(host_, &record, nullptr, nullptr), 0);
    EXPECT_EQ(record.szPasswd, bob.password->c_str()) << "the caller's pointer is put back";
    EXPECT_TRUE(LetsIn("uid=bob,cn=users,dc=example,dc=com", "hidden"));
    EXPECT_FALSE(LetsIn("uid=bob,cn=users,dc=example,dc=com", *bob.password));
}

// --- editing --------------------------------------------------------------------

struct OneEdit {
    const char *name;
    Person wish;
    std::optional<int> disallow = {};
    std::optional<long> expire = {};
    unsigned needs = ZAFOLDAP_CLASS_POSIX_ACCOUNT;
    Texts changes = {};  // without the DN
};
const OneEdit kEdits[] = {
    {.name = "uid", .wish = {.uid = 5009}, .changes = {"- uidNumber: 5001", "+ uidNumber: 5009"}},
    {.name = "gid", .wish = {.gid = 6009}, .changes = {"- gidNumber: 6001", "+ gidNumber: 6009"}},
    {.name = "home",
     .wish = {.home = "/h/%n"},
     .changes = {"- homeDirectory: /volume1/homes/alice", "+ homeDirectory: /h/%n"}},
    {.name = "shell",
     .wish = {.shell = "/bin/zsh"},
     .changes = {"- loginShell: /bin/bash", "+ loginShell: /bin/zsh"}},
    {.name = "full name",
     .wish = {.fullname = "Алиса 100%%"},
     .changes = {"- gecos: Zoë Öztürk", "+ gecos: Алиса 100%%"}},
    {.name = "mail",
     .wish = {.mail = "a@example.net"},
     .needs = ZAFOLDAP_CLASS_INET_ORG_PERSON,
     .changes = {"- mail: alice@example.com", "+ mail: a@example.net"}},
    {.name = "disallow",
     .wish = {},
     .disallow = 1,
     .needs = ZAFOLDAP_CLASS_SHADOW_ACCOUNT,
     .changes = {"- shadowMin: 0", "+ shadowMin: 100000"}},
    {.name = "expire",
     .wish = {},
     .expire = 30000,
     .needs = ZAFOLDAP_CLASS_SHADOW_ACCOUNT,
     .changes = {"- shadowExpire: 20000", "+ shadowExpire: 30000"}},
    {.name = "no shell", .wish = {.shell = ""}, .changes = {"- loginShell: /bin/zsh"}},
    {.name = "no shell, again", .wish = {.shell = ""}},
    {.name = "no full name", .wish = {.fullname = ""}, .changes = {"- gecos: Алиса 100%%"}},
    {.name = "no mail",
     .wish = {.mail = ""},
     .needs = ZAFOLDAP_CLASS_INET_ORG_PERSON,
     .changes = {"- mail: a@example.net"}},
    {.name = "allow",
     .wish = {},
     .disallow = 0,
     .needs = ZAFOLDAP_CLASS_SHADOW_ACCOUNT,
     .changes = {"- shadowMin: 100000", "+ shadowMin: 0"}},
    {.name = "all of them",
     .wish = Alice(),
     .disallow = 1,
     .expire = 1,
     .changes = {"- uidNumber: 5009", "+ uidNumber: 5001", "- gidNumber: 6009", "+ gidNumber: 6001",
                 "- homeDirectory: /h/%n", "+ homeDirectory: /volume1/homes/alice",
                 "+ loginShell: /bin/bash", "+ gecos: Zoë Öztürk"}},
};
const Texts kAllOfShadow = {"- shadowExpire: 30000", "+ shadowExpire: 1", "- shadowMin: 0",
                            "+ shadowMin: 100000"};

TEST_P(Users, AreChangedInEachFieldAloneAndInAllTogether) {
    CreateAlice();
    for (const OneEdit &edit : kEdits) {
        SCOPED_TRACE(edit.name);
        ASSERT_EQ(Edit(kAliceDN, edit.wish, edit.disallow ? &*edit.disallow : nullptr,
                       edit.expire ? &*edit.expire : nullptr),
                  0);
        Texts changes = Knows(edit.needs) ? edit.changes : Texts();
        if (edit.wish.name) {
            if (Knows(ZAFOLDAP_CLASS_INET_ORG_PERSON))
                changes.push_back("+ mail: alice@example.com");
            if (Knows(ZAFOLDAP_CLASS_SHADOW_ACCOUNT)) {
                changes.insert(changes.end(), kAllOfShadow.begin(), kAllOfShadow.end());
            }
        }
        for (std::string &change : changes)
            change = std::string(kAliceDN) + " " + change;
        EXPECT_THAT(Changes(), UnorderedElementsAreArray(changes));
    }
    EXPECT_TRUE(LetsIn(kAliceDN, "Erstes Geheimnis"));
}

TEST_P(Users, AreNotTouchedByAnEditThatAsksForWhatTheyAre) {
    CreateAlice();
    Person same = Alice();
    same.password.reset();
    const int disallow = 0;
    const long expire = 20000;
    EXPECT_EQ(Edit(kAliceDN, same, &disallow, &expire), 0);
    EXPECT_THAT(Changes(), IsEmpty());
}

// --- renaming -------------------------------------------------------------------

TEST_P(Users, AreRenamedInTheirGroupsToo) {
    CreateAlice();
    ASSERT_EQ(CreateGroup("team", 6001), 0);
    const bool has_member = Knows(ZAFOLDAP_CLASS_EXTENSIBLE_OBJECT);
    EXPECT_EQ(AddToGroup(kTeamDN, {"alice"}), has_member ? 0 : -1);
    const std::string anna = "uid=anna-maria,cn=users,dc=example,dc=com";
    Changes();

    Lines expected = Seen(kAliceDN);
    ASSERT_EQ(Edit(kAliceDN, {.name = "anna-maria"}), 0);
    Texts changes = {std::string("- ") + kAliceDN, "+ " + anna};
    if (has_member) {
        for (const char *change : {" - memberUid: alice", " + memberUid: anna-maria",
                                   " - member: uid=alice,cn=users,dc=example,dc=com",
                                   " + member: uid=anna-maria,cn=users,dc=example,dc=com"}) {
            changes.push_back(kTeamDN + std::string(change));
        }
    }
    EXPECT_THAT(Changes(), UnorderedElementsAreArray(changes));
    for (const char *attribute : {"uid: ", "cn: "}) {
        expected.erase(attribute + std::string("alice"));
        expected.insert(attribute + std::string("anna-maria"));
    }
    EXPECT_EQ(Seen(anna), expected);
    EXPECT_TRUE(LetsIn(anna, "Erstes Geheimnis"));
}

// A group created with its members lists them by name, not by DN: the server refuses to delete a
// "member" that does not exist (16), or that it does not know (17).
TEST_P(Users, StayRenamedWhenAGroupCannotFollow) {
    CreateAlice();
    ASSERT_EQ(CreateGroup("team", 6001, {"alice"}), 0);
    Changes();
    EXPECT_EQ(Edit(kAliceDN, {.name = "anna"}), -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), Knows(ZAFOLDAP_CLASS_EXTENSIBLE_OBJECT) ? 16 : 17);
    EXPECT_THAT(Changes(),
                ElementsAre(std::string("- ") + kAliceDN, "+ uid=anna,cn=users,dc=example,dc=com"));
}

TEST_P(Users, AreRenamedAndChangedInOneEdit) {
    CreateAlice();
    const std::string anna = "uid=anna,cn=users,dc=example,dc=com";
    ASSERT_EQ(Edit(kAliceDN, {.name = "anna", .password = "new", .uid = 5010, .shell = "/bin/x"}),
              0);
    const User user = Get(anna);
    ASSERT_NE(user, nullptr);
    EXPECT_STREQ(user->szName, "anna");
    EXPECT_EQ(user->pw_uid, 5010U);
    EXPECT_STREQ(user->pw_shell, "/bin/x");
    EXPECT_TRUE(LetsIn(anna, "new"));
}

TEST_P(Users, WhoseEntryIsNamedByCnAreRenamedInBothNames) {
    AddForeign("cn", "carol");
    const std::string old_dn = std::string("cn=carol,") + kUsersDN;
    const std::string new_dn = std::string("cn=dora,") + kUsersDN;
    Changes();
    Lines expected = Seen(old_dn);
    ASSERT_EQ(Edit(old_dn, {.name = "dora"}), 0);
    EXPECT_THAT(Changes(), ElementsAre("- " + old_dn, "+ " + new_dn));
    for (const char *attribute : {"uid: ", "cn: "}) {
        expected.erase(attribute + std::string("carol"));
        expected.insert(attribute + std::string("dora"));
    }
    EXPECT_EQ(Seen(new_dn), expected);
}

TEST_P(Users, DoNotChangeWhenOnlyTheLetterCaseOfTheNameWould) {
    CreateAlice();
    EXPECT_EQ(Edit(kAliceDN, {.name = "ALICE"}), 0);
    EXPECT_THAT(Changes(), IsEmpty());
}

// --- what is refused ------------------------------------------------------------

TEST_P(Users, AreRefusedATakenNameOrNumber) {
    CreateAlice();
    ASSERT_EQ(Create({.name = "bob", .uid = 5002, .gid = 6001}), 0);
    Changes();
    const auto refused = [&](int result, int code) {
        EXPECT_EQ(result, -1);
        EXPECT_EQ(ZAFOLDAPErrGet(), code);
        EXPECT_THAT(Changes(), IsEmpty());
        ZAFOLDAPErrReset();
    };
    refused(Create({.name = "alice", .uid = 5003, .gid = 1}), ZAFOLDAP_ERR_USERNAME_EXISTS);
    refused(Create({.name = "Alice", .uid = 5003, .gid = 1}), ZAFOLDAP_ERR_USERNAME_EXISTS);
    refused(Create({.name = "carol", .uid = 5001, .gid = 1}), ZAFOLDAP_ERR_UID_EXISTS);
    refused(Edit(kAliceDN, {.name = "bob"}), ZAFOLDAP_ERR_USERNAME_EXISTS);
    refused(Edit(kAliceDN, {.uid = 5002}), ZAFOLDAP_ERR_UID_EXISTS);
}

TEST_P(Users, WithAnAmbiguousNameAreNotDeleted) {
    CreateAlice();
    AddContainer("cn=staff,dc=example,dc=com");
    AddForeign("cn", "alice", "cn=staff,dc=example,dc=com");
    Changes();
    ZAFOLDAPErrReset();
    QLIBCErrSet(QLIB_ERR_NONE);
    EXPECT_EQ(ZAFOLDAPBrowserDeleteUser(host_, "alice"), -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), 0);
    EXPECT_EQ(QLIBCErrGet(), 0);
    EXPECT_EQ(Edit("cn=alice,cn=staff,dc=example,dc=com", {.shell = "/bin/one"}), 0)
        << "the DN says which";
    EXPECT_THAT(Changes(),
                ElementsAre("cn=alice,cn=staff,dc=example,dc=com + loginShell: /bin/one"));
}

// --- other containers, deletion ---------------------------------------------------

TEST_P(Users, OutsideTheUsualContainerAreManagedByName) {
    AddContainer("cn=staff,dc=example,dc=com");
    AddContainer("cn=berlin,cn=staff,dc=example,dc=com");
    Changes();
    const std::string dn = "uid=bob,cn=berlin,cn=staff,dc=example,dc=com";
    ASSERT_EQ(
        Create({.name = "bob", .password = "b", .uid = 5002, .gid = 6001}, "cn=berlin,cn=staff"),
        0);
    EXPECT_THAT(Changes(), ElementsAre("+ " + dn));
    char found[1024] = "";
    ASSERT_EQ(ZAFOLDAPBrowserGetDNByUserUID(host_, "bob", found, sizeof found), 1);
    EXPECT_EQ(found, dn);
    ASSERT_EQ(Edit(dn, {.name = "ben"}), 0);
    EXPECT_THAT(Changes(),
                ElementsAre("- " + dn, "+ uid=ben,cn=berlin,cn=staff,dc=example,dc=com"));
    ASSERT_EQ(ZAFOLDAPBrowserDeleteUser(host_, "ben"), 0);
    EXPECT_THAT(Changes(), ElementsAre("- uid=ben,cn=berlin,cn=staff,dc=example,dc=com"));
}

TEST_P(Users, LeaveTheirGroupsWhenTheyAreDeleted) {
    CreateAlice();
    ASSERT_EQ(CreateGroup("team", 6001), 0);
    ASSERT_EQ(CreateGroup("others", 6002), 0);
    Changes();
    const bool has_member = Knows(ZAFOLDAP_CLASS_EXTENSIBLE_OBJECT);
    if (has_member) {
        ASSERT_EQ(Create({.name = "bob", .uid = 5002, .gid = 6001}), 0);
        ASSERT_EQ(AddToGroup(kTeamDN, {"alice", "bob"}), 0);
        ASSERT_EQ(AddToGroup("cn=others,cn=groups,dc=example,dc=com", {"alice"}), 0);
    }
    const Tree before = Now();
    ASSERT_EQ(ZAFOLDAPBrowserDeleteUser(host_, "alice"), 0);
    Texts changes = {std::string("- ") + kAliceDN};
    if (has_member) {
        for (const char *group : {"cn=others", "cn=team"}) {
            const std::string dn = std::string(group) + ",cn=groups,dc=example,dc=com";
            changes.push_back(dn + " - member: " + kAliceDN);
            changes.push_back(dn + " - memberUid: alice");
        }
    }
    EXPECT_THAT(Difference(before, Now()), UnorderedElementsAreArray(changes));
    EXPECT_EQ(ZAFOLDAPBrowserDeleteUser(host_, "alice"), -1);
    EXPECT_EQ(QLIBCErrGet(), QLIB_ERR_NO_SUCH_USER);
}

}  // namespace
}  // namespace zafo::test::user_test
