// SPDX-License-Identifier: Apache-2.0
//
// Logged-in users of the appliance's own server try to gain rights: each change is refused by the
// server, sent by a client bound as that user.
#include <map>
#include <ostream>
#include <regex>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/integration/own_server.h"

namespace zafo::test {
namespace {

using testing::AnyOf;

constexpr int kDone = 0;
constexpr int kNeedsBind = 8;
constexpr int kConstraint = 19;
constexpr int kInvalidCredentials = 49;
constexpr int kInsufficientAccess = 50;

// A hash in the form that the server uses itself.
const std::string kOwnForm = "{CRYPT}$6$rounds=20000$abcdefgh$" + std::string(86, 'x');

const char *const kUserNames[] = {"anna", "bob", "olga", "chief", "paula", "dora"};

// anna and bob are users, olga an operator; chief, paula (by her primary group) and dora (by her DN
// alone) are administrators but not operators.
const OwnServer &Directory() {
    static const OwnServer &server = [&]() -> const OwnServer & {
        OwnServer &made = OwnServer::Get();
        for (const char *name : kUserNames)
            made.AddUser(name, std::string(name) + "'s secret");
        const auto join = [&](const char *group, const char *name) {
            made.Change("dn: " + made.GroupDN(group) +
                        "\nchangetype: modify\nadd: memberUid\nmemberUid: " + name +
                        "\n-\nadd: member\nmember: " + made.UserDN(name) + "\n");
        };
        join("Directory Operators", "olga");
        join("administrators", "chief");
        made.Change("dn: " + made.UserDN("paula") +
                    "\nchangetype: modify\nreplace: gidNumber\ngidNumber: 1000002\n");
        made.Change("dn: " + made.GroupDN("administrators") +
                    "\nchangetype: modify\nadd: member\nmember: " + made.UserDN("dora") + "\n");
        made.Change("dn: automountMapName=auto_home," + made.Settings().suffix +
                    "\nchangetype: add\nobjectClass: automountMap\nautomountMapName: auto_home\n\n"
                    "dn: automountKey=*,automountMapName=auto_home," +
                    made.Settings().suffix +
                    "\nchangetype: add\nobjectClass: automount\nautomountKey: *\n"
                    "automountInformation: -fstype=nfs nas:/homes/&\n");
        made.Change("dn: " + made.GroupDN("design") +
                    "\nchangetype: add\nobjectClass: posixGroup\ncn: design\ngidNumber: 1500000\n");
        return made;
    }();
    return server;
}

Identity Person(const std::string &name) {
    if (name.empty()) return {};
    if (name == "root") return Directory().Admin();
    return {Directory().UserDN(name), name + "'s secret"};
}

// "{S}", "{U}", "{G}": the suffix, and the containers of users and groups.
std::string Expanded(std::string text) {
    const std::string suffix = Directory().Settings().suffix;
    const std::pair<const char *, std::string> words[] = {
        {"\\{S\\}", suffix}, {"\\{U\\}", "cn=users," + suffix}, {"\\{G\\}", "cn=groups," + suffix}};
    for (const auto &[word, value] : words)
        text = std::regex_replace(text, std::regex(word), value);
    return text;
}

// The exit code of ldapmodify, which is the server's answer.
int Answer(const std::string &who, const std::string &change,
           const std::vector<std::string> &options = {}) {
    return Directory().Client(Person(who), "ldapmodify", options, Expanded(change)).exit_code;
}

std::string Everything() {
    return Directory()
        .Client(Directory().Admin(), "ldapsearch",
                {"-LLL", "-o", "ldif-wrap=no", "-b", Directory().Settings().suffix, "*"})
        .out;
}

struct Change {
    const char *name;
    const char *who;
    std::string ldif;
};

std::ostream &operator<<(std::ostream &out, const Change &change) {
    return out << change.who << " " << change.name;
}

std::string Modify(const std::string &dn, const std::string &change) {
    return "dn: " + dn + "\nchangetype: modify\n" + change + "\n";
}

std::string Rename(const std::string &dn, const std::string &rdn, const std::string &above = "",
                   int delete_old = 0) {
    return "dn: " + dn + "\nchangetype: modrdn\nnewrdn: " + rdn +
           "\ndeleteoldrdn: " + std::to_string(delete_old) + "\n" +
           (above.empty() ? "" : "newsuperior: " + above + "\n");
}

std::string NewUser(const std::string &name, const std::string &uid, const std::string &gid,
                    const std::string &more = "", const std::string &above = "{U}") {
    return "dn: uid=" + name + "," + above +
           "\nchangetype: add\nobjectClass: inetOrgPerson\nobjectClass: posixAccount\ncn: " + name +
           "\nsn: " + name + "\nuid: " + name + "\nuidNumber: " + uid + "\ngidNumber: " + gid +
           "\nhomeDirectory: /home/x\n" + more;
}

std::string NewGroup(const std::string &name, const std::string &gid,
                     const std::string &above = "{G}") {
    return "dn: cn=" + name + "," + above +
           "\nchangetype: add\nobjectClass: posixGroup\ncn: " + name + "\ngidNumber: " + gid + "\n";
}

std::string NewRole(const std::string &name, const std::string &above) {
    return "dn: cn=" + name + "," + above +
           "\nchangetype: add\nobjectClass: organizationalRole\nobjectClass: "
           "simpleSecurityObject\ncn: " +
           name + "\nuserPassword: mine\n";
}

class Refused : public testing::TestWithParam<Change> {};

TEST_P(Refused, ByTheServerAndNothingHasChanged) {
    const Change &change = GetParam();
    Directory();
    const std::string before = Everything();
    EXPECT_THAT(Answer(change.who, change.ldif),
                AnyOf(kNeedsBind, kConstraint, kInsufficientAccess))
        << "by the bounds on values, or by the rules";
    EXPECT_EQ(Everything(), before);
}

std::vector<Change> BecomingTheAdministrator() {
    return {
        {"AddsAnEntryAtTheAdministratorsDn", "olga", NewRole("admin", "{S}")},
        {"MovesAnEntryToTheAdministratorsDn", "olga", Rename("uid=bob,{U}", "cn=admin", "{S}")},
        {"RenamesTheGroups", "olga", Rename("{G}", "cn=old")},
        {"RenamesTheUsers", "olga", Rename("{U}", "cn=old")},
        {"RenamesThePool", "olga", Rename("cn=zafoconf,{S}", "cn=old")},
        {"AddsBesideThePool", "olga", NewRole("x", "cn=zafoconf,{S}")},
        {"AddsBelowTheSuffix", "olga", NewRole("x", "{S}")},
        {"AddsBelowTheSuffix", "anna", NewRole("x", "{S}")},
        {"AddsAUser", "anna", NewUser("x", "1500001", "1000001")},
        {"AddsAGroup", "anna", NewGroup("x", "1500001")},
        {"AddsAUser", "", NewUser("x", "1500001", "1000001")},
    };
}

std::vector<Change> JoiningTheAdministrators() {
    const std::string group = "cn=administrators,{G}";
    return {
        {"JoinsThem", "olga", Modify(group, "add: memberUid\nmemberUid: olga")},
        {"JoinsThemByDn", "olga", Modify(group, "add: member\nmember: uid=olga,{U}")},
        {"JoinsThem", "anna", Modify(group, "add: memberUid\nmemberUid: anna")},
        {"PutsAllOut", "olga", Modify(group, "delete: memberUid")},
        {"DeletesThem", "olga", "dn: " + group + "\nchangetype: delete\n"},
        {"RenamesThem", "olga", Rename(group, "cn=old")},
        {"NumbersThemAnew", "olga", Modify(group, "replace: gidNumber\ngidNumber: 1500009")},
        {"MakesASecondGroupOfTheName", "olga", NewGroup("administrators", "1500009", "{U}")},
        {"GivesAGroupTheName", "olga", Modify("cn=design,{G}", "add: cn\ncn: Administrators")},
        {"MakesAGroupOfTheNumber", "olga", NewGroup("x", "1000002")},
        {"GivesAGroupTheNumber", "olga",
         Modify("cn=design,{G}", "replace: gidNumber\ngidNumber: 1000002")},
        {"MakesAUserOfTheNumber", "olga", NewUser("x", "1500001", "1000002")},
        {"GivesAUserTheNumber", "olga",
         Modify("uid=bob,{U}", "replace: gidNumber\ngidNumber: 1000002")},
    };
}

std::vector<Change> BeingAnAdministrator() {
    const std::string chief = "uid=chief,{U}";
    return {
        {"SetsAnAdministratorsPassword", "olga",
         Modify(chief, "replace: userPassword\nuserPassword: mine")},
        {"AddsAPasswordToAnAdministrator", "olga",
         Modify(chief, "add: userPassword\nuserPassword: mine")},
        {"SetsAnAdministratorsSambaHash", "olga",
         Modify(chief,
                "replace: sambaNTPassword\nsambaNTPassword: 00000000000000000000000000000000")},
        {"MovesAnAdministratorsHome", "olga",
         Modify(chief, "replace: homeDirectory\nhomeDirectory: /tmp/mine")},
        {"ChangesAnAdministratorsShell", "olga",
         Modify(chief, "replace: loginShell\nloginShell: /tmp/mine")},
        {"ChangesAnAdministratorsMail", "olga",
         Modify(chief, "replace: mail\nmail: o@example.com")},
        {"RenamesAnAdministrator", "olga", Rename(chief, "uid=old", "", 1)},
        {"MovesAnAdministrator", "olga", Rename(chief, "uid=chief", "{G}")},
        {"DeletesAnAdministrator", "olga", "dn: " + chief + "\nchangetype: delete\n"},
        {"DeletesAdmin", "olga", "dn: uid=admin,{U}\nchangetype: delete\n"},
        {"TakesAnAdministratorsWindowsIdentifier", "olga",
         Modify(chief, "replace: sambaSID\nsambaSID: S-1-5-21-1-2-3-77777")},
        {"GivesAnAdministratorALogonScript", "olga",
         Modify(chief, "add: sambaLogonScript\nsambaLogonScript: mine.bat")},
        {"GivesAnAdministratorAFullName", "olga", Modify(chief, "replace: gecos\ngecos: x")},
        {"ClosesAnAdministratorsAccount", "olga",
         Modify(chief, "replace: shadowExpire\nshadowExpire: 1")},
        {"AddsBelowAnAdministrator", "olga", NewRole("x", chief)},
        {"SetsThePasswordOfOneByPrimaryGroup", "olga",
         Modify("uid=paula,{U}", "replace: userPassword\nuserPassword: mine")},
        {"SetsThePasswordOfOneByDn", "olga",
         Modify("uid=dora,{U}", "replace: userPassword\nuserPassword: mine")},
        {"AddsASecondAccountOfTheName", "olga", NewUser("chief", "1500001", "1000001", "", "{G}")},
        {"GivesAnotherTheName", "olga", Modify("uid=bob,{U}", "add: uid\nuid: chief")},
        {"RenamesAnotherToTheName", "olga", Rename("uid=bob,{U}", "uid=chief", "{G}")},
        {"MakesAUserWithAdminsNumber", "olga", NewUser("x", "1000000", "1000001")},
        {"GivesAUserAdminsNumber", "olga",
         Modify("uid=bob,{U}", "replace: uidNumber\nuidNumber: 1000000")},
        {"AddsAUserOutsideOfTheUsers", "olga", NewUser("x", "1000000", "1000001", "", "{G}")},
        {"HidesADoubleNumberAsAPool", "olga",
         NewUser("x", "1000000", "1000001", "objectClass: sambaUnixIdPool\n")},
    };
}

std::vector<Change> BeingRootElsewhere() {
    const std::string bob = "uid=bob,{U}";
    return {
        {"AddsUid0", "olga", NewUser("x", "0", "1000001")},
        {"AddsUid999999", "olga", NewUser("x", "999999", "1000001")},
        {"AddsUid4294967296", "olga", NewUser("x", "4294967296", "1000001")},
        {"AddsANegativeUid", "olga", NewUser("x", "-1000000", "1000001")},
        {"AddsGid0", "olga", NewUser("x", "1500001", "0")},
        {"AddsAGroupOfGid27", "olga", NewGroup("x", "27")},
        {"ReplacesTheUidBy0", "olga", Modify(bob, "replace: uidNumber\nuidNumber: 0")},
        {"ReplacesTheGidBy0", "olga", Modify(bob, "replace: gidNumber\ngidNumber: 0")},
        {"CountsTheUidDown", "olga", Modify(bob, "increment: uidNumber\nuidNumber: -1000000")},
        {"CountsTheGidDown", "olga", Modify(bob, "increment: gidNumber\ngidNumber: -1000000")},
        {"SetsThePoolTo0", "olga",
         Modify("cn=CurID,cn=zafoconf,{S}", "replace: uidNumber\nuidNumber: 0")},
        {"AddsAUserCalledRoot", "olga", NewUser("root", "1500001", "1000001")},
        {"GivesAUserTheNameRoot", "olga", Modify(bob, "add: uid\nuid: ROOT")},
        {"AddsAGroupCalledSudo", "olga", NewGroup("sudo", "1500001")},
        {"AddsAGroupCalledAdmin", "olga", NewGroup("admin", "1500001")},
        {"AddsAGroupCalledStaff", "olga", NewGroup("staff", "1500001")},
        {"CountsTheDomainsNumbersFrom500", "olga",
         Modify("sambaDomainName=home,{S}", "replace: sambaNextUserRid\nsambaNextUserRid: 500")},
        {"CountsTheDomainsNumbersDown", "olga",
         Modify("sambaDomainName=home,{S}", "increment: sambaNextUserRid\nsambaNextUserRid: -488")},
        {"RenamesTheDomain", "olga", Rename("sambaDomainName=home,{S}", "sambaDomainName=x")},
        {"JoinsTheAdministratorsPrimaryGroup", "olga",
         Modify(bob, "replace: sambaPrimaryGroupSID\nsambaPrimaryGroupSID: S-1-5-21-1-2-3-1002")},
        {"MovesAMount", "olga",
         Rename("automountKey=*,automountMapName=auto_home,{S}", "automountKey=bin", "", 1)},
        {"DeletesAMount", "olga",
         "dn: automountKey=*,automountMapName=auto_home,{S}\nchangetype: delete\n"},
        {"AddsAMountToTheMap", "olga",
         "dn: automountKey=x,automountMapName=auto_home,{S}\nchangetype: add\nobjectClass: "
         "automount\nautomountKey: x\nautomountInformation: -fstype=bind :/etc\n"},
        {"PublishesAMountTheOldWay", "olga",
         "dn: nisMapName=auto.master,{G}\nchangetype: add\nobjectClass: nisMap\nnisMapName: "
         "auto.master\n"},
        {"MakesANetgroup", "olga",
         "dn: cn=hosts,{G}\nchangetype: add\nobjectClass: nisNetgroup\ncn: hosts\n"},
        {"SendsClientsElsewhere", "olga",
         "dn: uid=ref,{U}\nchangetype: add\nobjectClass: referral\nobjectClass: "
         "extensibleObject\nuid: ref\nref: ldap://127.0.0.1/\n"},
        {"GivesAGroupTheNameDocker", "olga", Modify("cn=design,{G}", "add: cn\ncn: docker ")},
        {"TakesTheDomainAdministratorsIdentifier", "olga",
         Modify(bob, "replace: sambaSID\nsambaSID: S-1-5-21-1-2-3-500")},
        {"TakesABuiltInIdentifier", "olga",
         Modify(bob, "replace: sambaSID\nsambaSID: S-1-5-32-544")},
        {"JoinsTheDomainAdministrators", "olga",
         Modify(bob, "replace: sambaPrimaryGroupSID\nsambaPrimaryGroupSID: S-1-5-21-1-2-3-512")},
        {"PublishesAMount", "olga",
         "dn: automountKey=x,{U}\nchangetype: add\nobjectClass: automount\nautomountKey: "
         "x\nautomountInformation: -fstype=bind :/etc\n"},
    };
}

std::vector<Change> WritingAboutOneself() {
    const std::string anna = "uid=anna,{U}";
    std::vector<Change> changes = {
        {"StopsBeingAnAccount", "anna",
         Modify(anna, "delete: objectClass\nobjectClass: posixAccount")},
        {"BecomesAPool", "anna", Modify(anna, "add: objectClass\nobjectClass: sambaUnixIdPool")},
        {"TakesAnotherNumber", "anna", Modify(anna, "replace: uidNumber\nuidNumber: 1500001")},
        {"TakesAnotherName", "anna", Modify(anna, "add: uid\nuid: olga")},
        {"RenamesItself", "anna", Rename(anna, "uid=admin2")},
        {"ReadsItsKeyInto", "bob", Modify(anna, "replace: gecos\ngecos: x")},
        {"TellsALongStory", "anna",
         Modify(anna, "replace: gecos\ngecos: " + std::string(70000, 'x'))},
        {"ShowsALargePicture", "anna",
         Modify(anna, "replace: jpegPhoto\njpegPhoto:: " + std::string(100000, 'A'))},
        {"HasManyTelephones", "anna",
         [] {
             std::string change = "replace: telephoneNumber\n";
             for (int i = 0; i < 100; ++i)
                 change += "telephoneNumber: " + std::to_string(i) + "\n";
             change.pop_back();
             return Modify("uid=anna,{U}", change);
         }()},
    };
    const std::pair<const char *, const char *> organisations[] = {
        {"Mail", "mail"},
        {"Title", "title"},
        {"Department", "departmentNumber"},
        {"EmployeeNumber", "employeeNumber"},
        {"EmployeeType", "employeeType"},
        {"Unit", "ou"},
        {"Office", "businessCategory"}};
    for (const auto &[name, attribute] : organisations)
        changes.push_back(
            {name, "anna",
             Modify(anna, std::string("replace: ") + attribute + "\n" + attribute + ": mine")});
    return changes;
}

std::vector<Change> WritingHashes() {
    const std::string anna = "uid=anna,{U}";
    const auto set = [&](const char *hash, const char *how = "replace") {
        return Modify(anna, std::string(how) + ": userPassword\nuserPassword: " + hash);
    };
    return {
        {"AHundredTimesTheCost", "anna", set("{CRYPT}$6$rounds=2000000$abc$def")},
        {"AHundredTimesTheCost", "olga", set("{CRYPT}$6$rounds=2000000$abc$def")},
        {"AHundredTimesTheCost", "root", set("{CRYPT}$6$rounds=2000000$abc$def")},
        {"AHundredTimesTheCostInSmallLetters", "root", set("{crypt}$5$rounds=999999999$a$b")},
        {"Bcrypt31", "root", set("{CRYPT}$2b$31$abcdefghijklmnopqrstuv")},
        {"Scrypt", "root", set("{CRYPT}$7$DU..../....2Q9obwLhin8qvQl6sisAO/$x")},
        {"LargeYescrypt", "root", set("{CRYPT}$y$jFT$abc$def")},
        {"AnMd5Hash", "anna", set("{CRYPT}$1$ab$cdefghijklmnopqrstuvwx")},
        {"ASshaHash", "anna", set("{SSHA}abcdefghijklmnopqrstuvwxyz")},
        {"AHashThatNobodyKnows", "olga", set("{SASL}anna@elsewhere")},
        {"ASecondPassword", "anna", set("another", "add")},
        {"ASecondPassword", "olga", set("another", "add")},
        {"AnothersPassword", "bob", set("another")},
    };
}

std::vector<Change> SettingPolicies() {
    const std::string bob = "uid=bob,{U}";
    return {
        {"MakesAPasswordPolicy", "olga",
         "dn: cn=pol,{G}\nchangetype: add\nobjectClass: organizationalRole\nobjectClass: "
         "pwdPolicy\ncn: pol\npwdAttribute: userPassword\npwdInHistory: 5\n"},
        {"MakesOneByNumber", "olga",
         "dn: cn=pol,{G}\nchangetype: add\nobjectClass: organizationalRole\nobjectClass: "
         "1.3.6.1.4.1.42.2.27.8.2.1\ncn: pol\npwdAttribute: userPassword\n"},
        {"PutsSomebodyUnderAPolicy", "olga",
         Modify(bob, "add: pwdPolicySubentry\npwdPolicySubentry: cn=pol,{G}")},
        {"LocksAnAccount", "olga",
         Modify(bob, "add: pwdAccountLockedTime\npwdAccountLockedTime: 000001010000Z")},
    };
}

std::string CaseName(const testing::TestParamInfo<Change> &info) {
    return std::string(info.param.who[0] == '\0' ? "anonymous" : info.param.who) + info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Administrator, Refused, testing::ValuesIn(BecomingTheAdministrator()),
                         CaseName);
INSTANTIATE_TEST_SUITE_P(Membership, Refused, testing::ValuesIn(JoiningTheAdministrators()),
                         CaseName);
INSTANTIATE_TEST_SUITE_P(Account, Refused, testing::ValuesIn(BeingAnAdministrator()), CaseName);
INSTANTIATE_TEST_SUITE_P(Root, Refused, testing::ValuesIn(BeingRootElsewhere()), CaseName);
INSTANTIATE_TEST_SUITE_P(Oneself, Refused, testing::ValuesIn(WritingAboutOneself()), CaseName);
INSTANTIATE_TEST_SUITE_P(Policy, Refused, testing::ValuesIn(SettingPolicies()), CaseName);
INSTANTIATE_TEST_SUITE_P(Hash, Refused, testing::ValuesIn(WritingHashes()), CaseName);

// --- What a rename may do ----------------------------------------------------

// Values with attribute options bypass limits and uniqueness checks.
TEST(AttributeOptions, AreNone) {
    constexpr int kUndefinedType = 17;
    for (const char *line :
         {"uid;lang-en: admin", "description;lang-en: x", "userPassword;x-a: x"}) {
        const std::string attribute = std::string(line).substr(0, std::string(line).find(':'));
        EXPECT_EQ(Answer("olga", Modify("uid=olga,{U}", "add: " + attribute + "\n" + line)),
                  kUndefinedType)
            << line;
    }
}

class RenamedToWhatIsNotGiven : public testing::TestWithParam<const char *> {};

TEST_P(RenamedToWhatIsNotGiven, IsNotSeenAnywhere) {
    const std::string entry =
        "dn: cn=mine,{G}\nchangetype: add\nobjectClass: posixGroup\nobjectClass: "
        "extensibleObject\ncn: mine\ngidNumber: 1500007\nmemberUid: bob\n";
    ASSERT_EQ(Answer("olga", entry), kDone);
    const std::string rdn = GetParam();
    EXPECT_EQ(Answer("olga", Rename("cn=mine,{G}", rdn)), kDone);
    const std::string renamed = Expanded(rdn + ",{G}");
    for (const char *who : {"", "bob", "olga"}) {
        const rig::ProgramRun run = Directory().Client(
            Person(who), "ldapsearch",
            {"-LLL", "-b", Directory().Settings().suffix, "(" + rdn + ")", "1.1"});
        EXPECT_THAT(run.out, testing::Not(testing::HasSubstr("dn:"))) << who;
    }
    EXPECT_EQ(Answer("olga", Rename(renamed, "cn=mine")), kInsufficientAccess)
        << "the value would stay";
    EXPECT_EQ(Answer("root", "dn: " + renamed + "\nchangetype: delete\n"), kDone);
}

INSTANTIATE_TEST_SUITE_P(Attack, RenamedToWhatIsNotGiven,
                         testing::Values("cn=sudo", "cn=Docker", "uid=root", "uidNumber=0",
                                         "sambaSID=S-1-5-32-544"));

// --- Passwords ---------------------------------------------------------------------------

TEST(Passwords, InClearAreStoredAsTheServersHash) {
    ASSERT_EQ(Answer("anna",
                     Modify("uid=anna,{U}", "replace: userPassword\nuserPassword: anna's secret")),
              kDone);
    const std::string stored = rig::RunProgram({"/usr/zafo/bin/slapcat"}).out;
    EXPECT_THAT(stored, testing::Not(testing::HasSubstr("YW5uYSdzIHNlY3JldA==")));
    EXPECT_THAT(stored, testing::Not(testing::HasSubstr("anna's secret")));
    EXPECT_EQ(Directory().Client(Person("anna"), "ldapwhoami", {}).exit_code, kDone);
}

TEST(Passwords, ThatCostTooMuchAreNotTriedAtALogIn) {
    // As an older database may hold one; bypasses every overlay.
    const std::string costly = "{CRYPT}$6$rounds=999999999$abcdefgh$" + std::string(86, 'x');
    ASSERT_EQ(
        Answer("root", Modify("uid=bob,{U}", "replace: userPassword\nuserPassword: " + costly),
               {"-e", "!relax"}),
        kDone);
    const rig::ProgramRun run =
        rig::RunProgram({"timeout", "5", "ldapwhoami", "-x", "-ZZ", "-H", "ldap://localhost", "-D",
                         Directory().UserDN("bob"), "-w", "guess"});
    EXPECT_EQ(run.exit_code, kInvalidCredentials) << "124 is a server that is still counting";
    ASSERT_EQ(
        Answer("root", Modify("uid=bob,{U}", "replace: userPassword\nuserPassword: bob's secret")),
        kDone);
}

TEST(SambaHashes, OfAdministratorsAreNotForOperators) {
    const auto shown = [](const char *who, const char *whose) {
        return Directory()
            .Client(Person(who), "ldapsearch",
                    {"-LLL", "-s", "base", "-b", Directory().UserDN(whose), "sambaNTPassword"})
            .out;
    };
    EXPECT_THAT(shown("olga", "bob"), testing::HasSubstr("sambaNTPassword"));
    EXPECT_THAT(shown("chief", "chief"), testing::HasSubstr("sambaNTPassword"));
    EXPECT_THAT(shown("olga", "chief"), testing::Not(testing::HasSubstr("sambaNTPassword")));
}

// --- What everyone may still do ----------------------------------------------------------

struct Permitted {
    const char *name;
    const char *who;
    std::string ldif;
    std::string undo;  // run by the administrator; empty: not needed
};

std::ostream &operator<<(std::ostream &out, const Permitted &change) {
    return out << change.who << " " << change.name;
}

class Allowed : public testing::TestWithParam<Permitted> {};

TEST_P(Allowed, ByTheServer) {
    EXPECT_EQ(Answer(GetParam().who, GetParam().ldif), kDone);
    if (!GetParam().undo.empty()) {
        EXPECT_EQ(Answer("root", GetParam().undo), kDone);
    }
}

std::vector<Permitted> StillPermitted() {
    const std::string md5 = "{CRYPT}$1$ab$cdefghijklmnopqrstuvwx";
    const std::string remove_x = "dn: uid=x,{U}\nchangetype: delete\n";
    const auto password = [](const std::string &name, const std::string &value) {
        return Modify("uid=" + name + ",{U}", "replace: userPassword\nuserPassword: " + value);
    };
    return {
        {"AddsAUser", "olga", NewUser("x", "1500001", "1000001", "userPassword: " + md5 + "\n"),
         remove_x},
        {"AddsAUserWithAClearPassword", "olga",
         NewUser("x", "1500001", "1000001", "userPassword: clear\n"), remove_x},
        {"AddsAGroup", "olga", NewGroup("x", "1500001"), "dn: cn=x,{G}\nchangetype: delete\n"},
        {"RenamesAUser", "olga", Rename("uid=bob,{U}", "uid=rob", "", 1),
         Rename("uid=rob,{U}", "uid=bob", "", 1)},
        {"NumbersAUserAnew", "olga",
         Modify("uid=bob,{U}", "replace: uidNumber\nuidNumber: 1500002"), ""},
        {"TakesANumberFromThePool", "olga",
         Modify("cn=MinID,cn=zafoconf,{S}",
                "delete: uidNumber\nuidNumber: 1000000\n-\nadd: uidNumber\nuidNumber: 1000001"),
         Modify("cn=MinID,cn=zafoconf,{S}", "replace: uidNumber\nuidNumber: 1000000")},
        {"TakesANumberOfTheDomain", "olga",
         Modify("sambaDomainName=home,{S}", "replace: sambaNextUserRid\nsambaNextUserRid: 5000"),
         ""},
        {"MakesAnOperator", "olga",
         Modify("cn=Directory Operators,{G}", "add: memberUid\nmemberUid: bob"),
         Modify("cn=Directory Operators,{G}", "delete: memberUid\nmemberUid: bob")},
        {"SetsAUsersPassword", "olga", password("bob", "new"), password("bob", "bob's secret")},
        {"SetsAUsersHash", "olga", password("bob", md5), password("bob", "bob's secret")},
        {"JoinsDomainUsers", "olga",
         Modify("uid=bob,{U}",
                "replace: sambaPrimaryGroupSID\nsambaPrimaryGroupSID: S-1-5-21-1-2-3-513"),
         Modify("uid=bob,{U}", "delete: sambaPrimaryGroupSID")},
        {"SetsTheOwnPassword", "anna", password("anna", "new"), password("anna", "anna's secret")},
        {"SetsTheOwnPassword", "chief", password("chief", "new"),
         password("chief", "chief's secret")},
        {"SetsTheOwnHashInTheServersForm", "anna", password("anna", kOwnForm),
         password("anna", "anna's secret")},
        {"ChangesTheOwnTelephone", "anna",
         Modify("uid=anna,{U}", "replace: telephoneNumber\ntelephoneNumber: 1"), ""},
        {"ChangesTheOwnFullName", "chief", Modify("uid=chief,{U}", "replace: gecos\ngecos: Me"),
         ""},
        {"GivesAnyNumber", "root", NewUser("x", "1234", "1234"), remove_x},
    };
}

std::string PermittedName(const testing::TestParamInfo<Permitted> &row) {
    return std::string(row.param.who) + row.param.name;
}

INSTANTIATE_TEST_SUITE_P(Directory, Allowed, testing::ValuesIn(StillPermitted()), PermittedName);

TEST(Passwords, AreSetByLdappasswdAsBefore) {
    const auto set = [](const char *who, const std::vector<std::string> &arguments) {
        return Directory().Client(Person(who), "ldappasswd", arguments).exit_code;
    };
    EXPECT_EQ(set("anna", {"-s", "anna's secret"}), kDone);
    EXPECT_EQ(set("chief", {"-s", "chief's secret"}), kDone);
    EXPECT_EQ(set("olga", {"-s", "bob's secret", Directory().UserDN("bob")}), kDone);
    EXPECT_EQ(set("olga", {"-s", "stolen", Directory().UserDN("chief")}), 1);
    EXPECT_EQ(Directory().Client(Person("chief"), "ldapwhoami", {}).exit_code, kDone);
}

}  // namespace
}  // namespace zafo::test
