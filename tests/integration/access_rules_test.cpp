// SPDX-License-Identifier: Apache-2.0
//
// Who may do what on the appliance's own server: each cell is checked with a bound client, and with
// slapacl(8) on the rules.
#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/integration/own_server.h"

namespace zafo::test {
namespace {

constexpr int kDone = 0;
constexpr int kCompareFalse = 5;
constexpr int kCompareTrue = 6;
constexpr int kNeedsBind = 8;
constexpr int kConstraint = 19;
constexpr int kInsufficientAccess = 50;

enum Who { kAnonymous, kSelf, kOther, kOperator, kGroupAdministrator, kAdministrator };
constexpr Who kEverybody[] = {kAnonymous,          kSelf,         kOther, kOperator,
                              kGroupAdministrator, kAdministrator};
constexpr const char *kNames[] = {
    "anonymous",        "the user", "another user", "an operator", "one of the administrators",
    "the administrator"};

// anna is the entry under test, bob another user, olga an operator, chief a member of the group of
// administrators but not an operator.
const OwnServer &Server() {
    static const OwnServer &server = [&]() -> const OwnServer & {
        OwnServer &made = OwnServer::Get();
        for (const char *name : {"anna", "bob", "olga", "chief"})
            made.AddUser(name, std::string(name) + "'s secret");
        made.Change("dn: " + made.GroupDN("Directory Operators") +
                    "\nchangetype: modify\nadd: memberUid\nmemberUid: olga\n");
        made.Change("dn: " + made.GroupDN("administrators") +
                    "\nchangetype: modify\nadd: memberUid\nmemberUid: chief\n");
        for (const char *name : {"anna", "chief"})
            made.Change("dn: " + made.UserDN(name) +
                        "\nchangetype: modify\nreplace: loginShell\nloginShell: /bin/sh\n-\n"
                        "replace: shadowLastChange\nshadowLastChange: 20000\n-\n"
                        "replace: sambaPwdLastSet\nsambaPwdLastSet: 1700000000\n-\n"
                        "replace: description\ndescription: somebody\n-\n"
                        "replace: telephoneNumber\ntelephoneNumber: 1\n-\n"
                        "replace: title\ntitle: Clerk\n");
        return made;
    }();
    return server;
}

Identity As(Who who) {
    const auto user = [](const std::string &name) {
        return Identity{Server().UserDN(name), name + "'s secret"};
    };
    switch (who) {
        case kAnonymous:
            return {};
        case kSelf:
            return user("anna");
        case kOther:
            return user("bob");
        case kOperator:
            return user("olga");
        case kGroupAdministrator:
            return user("chief");
        case kAdministrator:
            break;
    }
    return Server().Admin();
}

std::string Content(const std::string &dn, const std::string &attribute) {
    const rig::ProgramRun run =
        Server().Client(Server().Admin(), "ldapsearch",
                        {"-LLL", "-o", "ldif-wrap=no", "-s", "base", "-b", dn, attribute});
    const size_t at = run.out.find("\n" + attribute + ":");
    return at == std::string::npos ? "" : run.out.substr(at);
}

bool Reads(Who who, const std::string &dn, const std::string &attribute) {
    const rig::ProgramRun run = Server().Client(
        As(who), "ldapsearch", {"-LLL", "-s", "base", "-b", dn, "-o", "ldif-wrap=no", attribute});
    EXPECT_EQ(run.exit_code, kDone) << run.err;
    return run.out.find("\n" + attribute + ":") != std::string::npos;
}

// Writes the same value again: that needs the right, but changes nothing for the next cell.
bool Writes(Who who, const std::string &dn, const std::string &attribute) {
    const std::string line = Content(dn, attribute);
    EXPECT_NE(line, "") << attribute << " is not there to be written";
    const rig::ProgramRun run =
        Server().Client(As(who), "ldapmodify", {},
                        "dn: " + dn + "\nchangetype: modify\nreplace: " + attribute + line);
    EXPECT_THAT(run.exit_code, testing::AnyOf(kDone, kNeedsBind, kInsufficientAccess)) << run.err;
    return run.exit_code == kDone;
}

bool Compares(Who who, const std::string &dn, const std::string &attribute) {
    const std::string value = attribute == "objectClass" ? "top" : "1";
    const rig::ProgramRun run =
        Server().Client(As(who), "ldapcompare", {dn, attribute + ":" + value});
    EXPECT_THAT(run.exit_code, testing::AnyOf(kCompareFalse, kCompareTrue, kInsufficientAccess))
        << run.err;
    return run.exit_code != kInsufficientAccess;
}

// The rights as "rwc", with "-" for each that is denied.
std::string Rights(Who who, const std::string &dn, const std::string &attribute) {
    std::string rights;
    rights += Reads(who, dn, attribute) ? 'r' : '-';
    rights += Writes(who, dn, attribute) ? 'w' : '-';
    rights += Compares(who, dn, attribute) ? 'c' : '-';
    return rights;
}

// --- Attributes of a user ----------------------------------------------------------

struct AttributeRow {
    const char *attribute;
    const char *rights[6];  // by Who
};

constexpr AttributeRow kAttributes[] = {
    // The administrator bypasses all rules; others who may set a password may not read it.
    {"userPassword", {"---", "-w-", "---", "-w-", "---", "rwc"}},
    {"sambaNTPassword", {"---", "rwc", "---", "rwc", "---", "rwc"}},
    {"sambaLMPassword", {"---", "rwc", "---", "rwc", "---", "rwc"}},
    {"shadowLastChange", {"---", "rwc", "r-c", "rwc", "r-c", "rwc"}},
    {"sambaPwdLastSet", {"---", "rwc", "r-c", "rwc", "r-c", "rwc"}},
    {"uid", {"r-c", "r-c", "r-c", "rwc", "r-c", "rwc"}},
    {"cn", {"r-c", "r-c", "r-c", "rwc", "r-c", "rwc"}},
    {"uidNumber", {"r-c", "r-c", "r-c", "rwc", "r-c", "rwc"}},
    {"gidNumber", {"r-c", "r-c", "r-c", "rwc", "r-c", "rwc"}},
    {"homeDirectory", {"r-c", "r-c", "r-c", "rwc", "r-c", "rwc"}},
    {"objectClass", {"r-c", "r-c", "r-c", "rwc", "r-c", "rwc"}},
    {"gecos", {"r-c", "rwc", "r-c", "rwc", "r-c", "rwc"}},
    {"description", {"r-c", "rwc", "r-c", "rwc", "r-c", "rwc"}},
    {"telephoneNumber", {"r-c", "rwc", "r-c", "rwc", "r-c", "rwc"}},
    {"mail", {"r-c", "r-c", "r-c", "rwc", "r-c", "rwc"}},
    {"title", {"r-c", "r-c", "r-c", "rwc", "r-c", "rwc"}},
    {"loginShell", {"r-c", "r-c", "r-c", "rwc", "r-c", "rwc"}},
    {"sambaSID", {"r-c", "r-c", "r-c", "rwc", "r-c", "rwc"}},
};

// The same for an account in the group of administrators, except for "the user", who is that
// account here.
constexpr AttributeRow kAdministratorsAttributes[] = {
    {"userPassword", {"---", "---", "---", "---", "-w-", "rwc"}},
    {"sambaNTPassword", {"---", "---", "---", "---", "rwc", "rwc"}},
    {"uid", {"r-c", "r-c", "r-c", "r-c", "r-c", "rwc"}},
    {"uidNumber", {"r-c", "r-c", "r-c", "r-c", "r-c", "rwc"}},
    {"homeDirectory", {"r-c", "r-c", "r-c", "r-c", "r-c", "rwc"}},
    {"loginShell", {"r-c", "r-c", "r-c", "r-c", "r-c", "rwc"}},
    {"mail", {"r-c", "r-c", "r-c", "r-c", "r-c", "rwc"}},
    {"objectClass", {"r-c", "r-c", "r-c", "r-c", "r-c", "rwc"}},
    {"sambaSID", {"r-c", "r-c", "r-c", "r-c", "r-c", "rwc"}},
    {"gecos", {"r-c", "r-c", "r-c", "r-c", "rwc", "rwc"}},
};

std::ostream &operator<<(std::ostream &out, const AttributeRow &row) {
    return out << row.attribute;
}

class UserAttribute : public testing::TestWithParam<AttributeRow> {};

TEST_P(UserAttribute, IsAccessibleAsTheRulesSay) {
    const AttributeRow &row = GetParam();
    for (const Who who : kEverybody) {
        EXPECT_EQ(Rights(who, Server().UserDN("anna"), row.attribute), row.rights[who])
            << kNames[who];
    }
}

// slapacl works on the files: it shows what the rules mean, whatever a server does.
std::string RightsBySlapacl(Who who, const std::string &dn, const std::string &attribute) {
    std::vector<std::string> argv{"slapacl", "-f", "/usr/zafo/etc/openldap/slapd.conf", "-b", dn};
    if (who != kAnonymous) argv.insert(argv.end(), {"-D", As(who).dn});
    // Some rights depend on the value; without one, the right to increment is checked.
    const std::string number =
        attribute.ends_with("Number") && attribute != "telephoneNumber" ? ":1000005" : "";
    for (const char *level : {"/read", "/write", "/compare"})
        argv.push_back(attribute + level + number);
    const rig::ProgramRun run = rig::RunProgram(argv);
    std::string rights = "rwc";
    size_t at = 0;
    for (char &right : rights) {
        at = run.err.find("access to " + attribute, at);
        EXPECT_NE(at, std::string::npos) << run.err;
        if (at == std::string::npos) return run.err;
        at = run.err.find(": ", at) + 2;
        if (run.err.compare(at, 7, "ALLOWED") != 0) right = '-';
    }
    return rights;
}

TEST_P(UserAttribute, IsAccessibleToTheSameAccordingToSlapacl) {
    const AttributeRow &row = GetParam();
    for (const Who who : kEverybody) {
        EXPECT_EQ(RightsBySlapacl(who, Server().UserDN("anna"), row.attribute), row.rights[who])
            << kNames[who];
    }
}

INSTANTIATE_TEST_SUITE_P(AccessRules, UserAttribute, testing::ValuesIn(kAttributes));

class AdministratorsAttribute : public testing::TestWithParam<AttributeRow> {};

TEST_P(AdministratorsAttribute, IsAccessibleAsTheRulesSay) {
    const AttributeRow &row = GetParam();
    for (const Who who : kEverybody) {
        EXPECT_EQ(Rights(who, Server().UserDN("chief"), row.attribute), row.rights[who])
            << kNames[who];
    }
}

INSTANTIATE_TEST_SUITE_P(AccessRules, AdministratorsAttribute,
                         testing::ValuesIn(kAdministratorsAttributes));

// --- Other entries -------------------------------------------------------------------

TEST(AccessRules, OnlyOperatorsAndTheAdministratorChangeThePool) {
    const std::string dn = "cn=CurID,cn=zafoconf," + Server().Settings().suffix;
    for (const Who who : {kAnonymous, kSelf, kOther, kGroupAdministrator})
        EXPECT_EQ(Rights(who, dn, "uidNumber"), "r-c") << kNames[who];
    for (const Who who : {kOperator, kAdministrator})
        EXPECT_EQ(Rights(who, dn, "uidNumber"), "rwc") << kNames[who];
}

TEST(AccessRules, OnlyOperatorsAndTheAdministratorAddEntries) {
    const std::string dn = Server().GroupDN("new");
    for (const Who who : kEverybody) {
        const rig::ProgramRun run = Server().Client(
            As(who), "ldapadd", {},
            "dn: " + dn + "\nobjectClass: posixGroup\ncn: new\ngidNumber: 1500007\n");
        if (who == kOperator || who == kAdministrator) {
            EXPECT_EQ(run.exit_code, kDone) << kNames[who] << run.err;
            EXPECT_EQ(Server().Client(As(who), "ldapdelete", {dn}).exit_code, kDone) << kNames[who];
        } else {
            EXPECT_EQ(run.exit_code, who == kAnonymous ? kNeedsBind : kInsufficientAccess)
                << kNames[who];
        }
    }
}

TEST(AccessRules, EveryoneReadsTheServersDescription) {
    for (const Who who : kEverybody) {
        EXPECT_TRUE(Reads(who, "", "namingContexts")) << kNames[who];
        EXPECT_TRUE(Reads(who, "", "subschemaSubentry")) << kNames[who];
        EXPECT_TRUE(Reads(who, "cn=Subschema", "objectClasses")) << kNames[who];
    }
}

TEST(AccessRules, OnlyTheAdministratorWritesTheServersDescription) {
    for (const Who who : {kAnonymous, kSelf, kOther, kGroupAdministrator}) {
        for (const char *dn : {"", "cn=Subschema"}) {
            const rig::ProgramRun run =
                Server().Client(As(who), "ldapmodify", {},
                                std::string("dn: ") + dn +
                                    "\nchangetype: modify\nadd: description\n"
                                    "description: mine\n");
            EXPECT_NE(run.exit_code, kDone) << kNames[who] << ", " << dn;
        }
    }
}

// --- New entries, container by container -------------------------------------------------

struct ContainerRow {
    const char *container;  // relative to the suffix
    const char *who;        // may add entries below it: "o", an operator, "a", the administrator
};

class Container : public testing::TestWithParam<ContainerRow> {};

TEST_P(Container, AcceptsEntriesAsTheRulesSay) {
    const std::string dn =
        std::string("cn=new,") + GetParam().container + Server().Settings().suffix;
    const std::string may = GetParam().who;
    for (const Who who : kEverybody) {
        const int code = Server()
                             .Client(As(who), "ldapadd", {},
                                     "dn: " + dn + "\nobjectClass: organizationalRole\ncn: new\n")
                             .exit_code;
        const bool allowed = who == kAdministrator || (who == kOperator && may == "oa");
        if (allowed) {
            EXPECT_EQ(code, kDone) << kNames[who];
            EXPECT_EQ(Server().Client(As(kAdministrator), "ldapdelete", {dn}).exit_code, kDone);
        } else {
            EXPECT_EQ(code, who == kAnonymous ? kNeedsBind : kInsufficientAccess) << kNames[who];
        }
    }
}

INSTANTIATE_TEST_SUITE_P(AccessRules, Container,
                         testing::Values(ContainerRow{"", "a"}, ContainerRow{"cn=users,", "oa"},
                                         ContainerRow{"cn=groups,", "oa"},
                                         ContainerRow{"cn=zafoconf,", "a"},
                                         ContainerRow{"cn=administrators,cn=groups,", "a"},
                                         ContainerRow{"cn=users,cn=groups,", "oa"},
                                         ContainerRow{"uid=anna,cn=users,", "oa"}));

// --- Privilege escalation ---------------------------------------------------------

int ChangesOwn(const std::string &change) {
    return Server()
        .Client(As(kSelf), "ldapmodify", {},
                "dn: " + Server().UserDN("anna") + "\nchangetype: modify\n" + change)
        .exit_code;
}

TEST(AccessRules, AUserCannotBecomeUid0) {
    EXPECT_EQ(ChangesOwn("replace: uidNumber\nuidNumber: 0\n"), kInsufficientAccess);
    EXPECT_EQ(ChangesOwn("replace: gidNumber\ngidNumber: 0\n"), kInsufficientAccess);
    EXPECT_EQ(ChangesOwn("add: uidNumber\nuidNumber: 0\n"), kInsufficientAccess);
}

TEST(AccessRules, AUserCannotTakeAnOperatorsName) {
    EXPECT_EQ(ChangesOwn("add: uid\nuid: olga\n"), kConstraint) << "the name is another's";
    EXPECT_EQ(ChangesOwn("add: uid\nuid: nobody's\n"), kInsufficientAccess);
    const rig::ProgramRun rename =
        Server().Client(As(kSelf), "ldapmodrdn", {Server().UserDN("anna"), "uid=admin"});
    EXPECT_EQ(rename.exit_code, kConstraint);
}

TEST(AccessRules, AUserCannotJoinTheOperators) {
    const rig::ProgramRun run =
        Server().Client(As(kSelf), "ldapmodify", {},
                        "dn: " + Server().GroupDN("Directory Operators") +
                            "\nchangetype: modify\nadd: memberUid\nmemberUid: anna\n");
    EXPECT_EQ(run.exit_code, kInsufficientAccess);
}

TEST(AccessRules, AUserCannotSetAnothersPassword) {
    const rig::ProgramRun run =
        Server().Client(As(kOther), "ldappasswd", {"-s", "stolen", Server().UserDN("anna")});
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_THAT(run.out + run.err, testing::HasSubstr("Insufficient access (50)"));
    EXPECT_EQ(Server().Client(As(kSelf), "ldapwhoami", {}).exit_code, kDone);
}

TEST(AccessRules, AUserSetsTheirOwnPassword) {
    ASSERT_EQ(Server().Client(As(kOther), "ldappasswd", {"-s", "bob's new one"}).exit_code, kDone);
    const Identity changed{As(kOther).dn, "bob's new one"};
    EXPECT_EQ(Server().Client(changed, "ldapwhoami", {}).exit_code, kDone);
    EXPECT_EQ(Server().Client(changed, "ldappasswd", {"-s", As(kOther).password}).exit_code, kDone);
}

TEST(AccessRules, AnOperatorRemovedFromTheGroupLosesTheRightImmediately) {
    const auto set = [](const char *how) {
        Server().Change("dn: " + Server().GroupDN("Directory Operators") +
                        "\nchangetype: modify\n" + how + ": memberUid\nmemberUid: olga\n");
    };
    ASSERT_TRUE(Writes(kOperator, Server().UserDN("anna"), "uidNumber"));
    set("delete");
    EXPECT_FALSE(Writes(kOperator, Server().UserDN("anna"), "uidNumber"));
    set("add");
    EXPECT_TRUE(Writes(kOperator, Server().UserDN("anna"), "uidNumber"));
}

TEST(AccessRules, TheDefaultAdministratorIsAnOperator) {
    const Identity admin{Server().UserDN("admin"), Server().Settings().password};
    const rig::ProgramRun run =
        Server().Client(admin, "ldapmodify", {},
                        "dn: " + Server().UserDN("anna") +
                            "\nchangetype: modify\nreplace: mail\nmail: anna@example.com\n");
    EXPECT_EQ(run.exit_code, kDone) << run.err;
}

// --- Long lists ------------------------------------------------------------------------

TEST(AccessRules, AnOperatorListsMoreThan500EntriesAndAnonymousDoesNot) {
    std::string ldif;
    for (int i = 0; i < 520; ++i) {
        const std::string name = "g" + std::to_string(i);
        ldif += "dn: " + Server().GroupDN(name) +
                "\nchangetype: add\nobjectClass: posixGroup\ncn: " + name +
                "\ngidNumber: " + std::to_string(5000 + i) + "\n\n";
    }
    Server().Change(ldif);
    const std::vector<std::string> list{"-LLL", "-b", "cn=groups," + Server().Settings().suffix,
                                        "(cn=g*)", "1.1"};
    constexpr int kSizeLimit = 4;
    EXPECT_EQ(Server().Client(As(kOperator), "ldapsearch", list).exit_code, kDone);
    EXPECT_EQ(Server().Client(As(kAdministrator), "ldapsearch", list).exit_code, kDone);
    EXPECT_EQ(Server().Client(As(kAnonymous), "ldapsearch", list).exit_code, kSizeLimit);
}

}  // namespace
}  // namespace zafo::test
