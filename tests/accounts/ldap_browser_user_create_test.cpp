// SPDX-License-Identifier: Apache-2.0
//
// Adding a user: the tools that run and their arguments, the record written, and the effect of each
// possible failure.
#include "tests/accounts/writing_fixture.h"
#include "tests/core/without_tool.h"
#include "zafoldap.h"

namespace zafo::accounts_test::user_create {
namespace {

using Creation = int (*)(const ZAFOLDAP_HOST *, ZAFOUSER *, const QLIBSZLIST *, const char *);

constexpr unsigned kMinimal = ZAFOLDAP_CLASS_TOP | ZAFOLDAP_CLASS_POSIX_ACCOUNT;
constexpr unsigned kPerson =
    ZAFOLDAP_CLASS_PERSON | ZAFOLDAP_CLASS_ORGANIZATIONAL_PERSON | ZAFOLDAP_CLASS_INET_ORG_PERSON;
constexpr unsigned kSamba = ZAFOLDAP_CLASS_SAMBA_SAM_ACCOUNT;
constexpr unsigned kEverything = 0x1FFF;

const std::string kNameSearch =
    SearchCommand(kBase, "(&(objectClass=posixAccount)(uid=anna.smith))");
const std::string kNumberSearch =
    SearchCommand(kBase, "(&(objectClass=posixAccount)(uidNumber=1027)) dn");
const std::string kDomainDN = "sambaDomainName=example," + kBase;
const std::string kHomeSearch =
    SearchCommand("automountKey=*,automountMapName=auto_home," + kBase, "automountInformation");

// All tools of a creation with a password on a server with the Samba schema.
const std::vector<Step> kSteps = {
    {"ldapsearch"},          {"ldapsearch"},          {"slappasswd", kHash + "\n"},
    {"ldapsearch", kDomain}, {"ldapsearch", kDomain}, {"ldapsearch", kDomain},
    {"ldapmodify"},          {"ldapmodify"},          {"ldappasswd"},
    {"ldapsearch"},
};

class UserCreate : public WritingTest {
  protected:
    UserCreate() { host_.nSchema = kMinimal; }

    int Create(const Person &person, const List *extra = nullptr, const char *container = nullptr) {
        UserRecord record(person);
        const char *password = record.szPasswd;
        const int result =
            creation_(&host_, &record, extra != nullptr ? extra->Get() : nullptr, container);
        EXPECT_EQ(record.szPasswd, password) << "the caller's pointer is not back";
        return result;
    }

    Creation creation_ = ZAFOLDAPBrowserUserCreate;
};

// Records ----------------------------------------------------------------------------------

struct RecordCase {
    const char *title;
    unsigned schema;
    Person person;
    Texts extra;
    const char *container;
    Creation creation;
};

std::vector<RecordCase> RecordCases() {
    const Creation clear = ZAFOLDAPBrowserUserCreate;
    const Creation crypted = ZAFOLDAPBrowserUserCreateWithCryptedPass;
    const Person odd{.name = "#Smith, \"Anna\"+x<>;\\="};
    const Person percent{.name = "100%n%%s%",
                         .password = "secret",
                         .full_name = "%s%n%%",
                         .home = "/homes/%n",
                         .shell = "/bin/%s",
                         .mail = "%x%%@example.com"};
    const Person blank{.name = " anna",
                       .full_name = " Anna",
                       .home = "\t/home",
                       .shell = " /bin/sh",
                       .mail = " a"};
    const Person empty{.password = "secret", .full_name = "", .home = "", .shell = "", .mail = ""};
    const Person extreme{.uid = UID_ERR - 1, .gid = GID_ERR, .expire = -1, .disallow = 2};
    return {
        {"top alone", ZAFOLDAP_CLASS_TOP, Anna(), {}, nullptr, clear},
        {"posixAccount alone", ZAFOLDAP_CLASS_POSIX_ACCOUNT, Anna(), {}, nullptr, clear},
        {"shadowAccount alone", ZAFOLDAP_CLASS_SHADOW_ACCOUNT, Anna(), {}, nullptr, clear},
        {"person alone", ZAFOLDAP_CLASS_PERSON, Anna(), {}, nullptr, clear},
        {"organizationalPerson alone",
         ZAFOLDAP_CLASS_ORGANIZATIONAL_PERSON,
         Anna(),
         {},
         nullptr,
         clear},
        {"inetOrgPerson alone", ZAFOLDAP_CLASS_INET_ORG_PERSON, Anna(), {}, nullptr, clear},
        {"apple-user alone", ZAFOLDAP_CLASS_APPLE_USER, Anna(), {}, nullptr, clear},
        {"sambaSamAccount alone", kSamba, Anna(), {}, nullptr, clear},
        {"extensibleObject alone", ZAFOLDAP_CLASS_EXTENSIBLE_OBJECT, Anna(), {}, nullptr, clear},
        {"no known class", 0, Anna(), {}, nullptr, clear},
        {"minimal server, nothing optional given", kMinimal, {}, {}, nullptr, clear},
        {"minimal server, everything optional empty", kMinimal, empty, {}, nullptr, clear},
        {"posix, shadow and inetOrgPerson",
         kMinimal | kPerson | ZAFOLDAP_CLASS_SHADOW_ACCOUNT,
         Anna(),
         {},
         nullptr,
         clear},
        {"Samba without a password", kMinimal | kSamba, {}, {}, nullptr, clear},
        {"Samba with a crypted password", kMinimal | kSamba, Anna(), {}, nullptr, crypted},
        {"crypted, no password", kMinimal, {}, {}, nullptr, crypted},
        {"everything",
         kEverything,
         Anna(),
         {"description", "100%% of it", "l", "Berlin", "odd name"},
         nullptr,
         clear},
        {"highest numbers, negative expiry",
         ZAFOLDAP_CLASS_POSIX_ACCOUNT | ZAFOLDAP_CLASS_SHADOW_ACCOUNT,
         extreme,
         {},
         nullptr,
         clear},
        {"name that a DN must escape, container of the caller's",
         ZAFOLDAP_CLASS_POSIX_ACCOUNT | ZAFOLDAP_CLASS_PERSON,
         odd,
         {},
         "ou=people,o=house",
         clear},
        {"percent signs",
         ZAFOLDAP_CLASS_POSIX_ACCOUNT | ZAFOLDAP_CLASS_INET_ORG_PERSON | kSamba,
         percent,
         {"description", "%n%% %s %"},
         nullptr,
         clear},
        {"leading blanks in base64",
         ZAFOLDAP_CLASS_POSIX_ACCOUNT | ZAFOLDAP_CLASS_INET_ORG_PERSON,
         blank,
         {"description", " x"},
         nullptr,
         clear},
    };
}

TEST_F(UserCreate, RecordsAreTheseTexts) {
    Golden golden("new_user.ldif");
    for (const RecordCase &c : RecordCases()) {
        SCOPED_TRACE(c.title);
        Prepare({{"ldapsearch"}, {"ldapsearch"}, {"ldapsearch", kDomain}, {"slappasswd", kHash}});
        host_.nSchema = c.schema;
        creation_ = c.creation;
        List extra;
        for (const std::string &item : c.extra)
            QLIBCSzListPush(extra.Address(), item.c_str());
        const time_t start = std::time(nullptr);
        EXPECT_EQ(Create(c.person, &extra, c.container), 0);
        EXPECT_EQ(Frozen(LastChange(), start), golden.Take(c.title));
    }
    EXPECT_THAT(golden.Left(), IsEmpty());
}

TEST_F(UserCreate, ExtraAttributesAreTakenInPairs) {
    const Texts items = {"l", "Berlin", "street", "An der Furt 1", "odd"};
    const char *lines[] = {"",
                           "",
                           "l: Berlin\n",
                           "l: Berlin\n",
                           "l: Berlin\nstreet: An der Furt 1\n",
                           "l: Berlin\nstreet: An der Furt 1\n"};
    EXPECT_EQ(Create({}), 0);
    const std::string without = LastChange();
    List extra;
    for (size_t count = 0; count < std::size(lines); ++count) {
        SCOPED_TRACE(count);
        EXPECT_EQ(Create({}, &extra), 0);
        EXPECT_EQ(LastChange(), without + lines[count]);
        if (count < items.size()) QLIBCSzListPush(extra.Address(), items[count].c_str());
    }
}

TEST_F(UserCreate, LongTextsAreWrittenWhole) {
    host_.nSchema |= kPerson | kSamba;
    const std::string text(5000, 'x');
    Person person = Anna();
    person.full_name = person.home = person.shell = person.mail = text;
    const List extra{"description", text.c_str()};
    Prepare(kSteps);
    EXPECT_EQ(Create(person, &extra), 0);
    for (const char *attribute : {"gecos", "homeDirectory", "loginShell", "mail", "description"}) {
        EXPECT_THAT(LastChange(),
                    testing::HasSubstr("\n" + std::string(attribute) + ": " + text + "\n"));
    }
}

TEST_F(UserCreate, CryptedPasswordIsWrittenUpTo16383BytesWithItsScheme) {
    creation_ = ZAFOLDAPBrowserUserCreateWithCryptedPass;
    const std::string whole(16376, 'x');
    for (const std::string &password : {whole, whole + "y", whole + std::string(4000, 'y')}) {
        EXPECT_EQ(Create({.password = password}), 0);
        EXPECT_THAT(LastChange(), testing::HasSubstr("\nuserPassword: {CRYPT}" + whole + "\n"));
    }
}

// Tools --------------------------------------------------------------------------------------

TEST_F(UserCreate, RunsTheseToolsInThisOrder) {
    host_.nSchema = kEverything;
    Prepare(kSteps);
    EXPECT_EQ(Create(Anna()), 0);
    EXPECT_THAT(Commands(),
                ElementsAre(kNameSearch, kNumberSearch, HashCommand("secret"),
                            SearchCommand(kDomainDN, "objectClass=sambaDomain sambaSID"),
                            SearchCommand(kDomainDN, "sambaSID"),
                            SearchCommand(kDomainDN, "sambaNextUserRid"), ModifyCommand(),
                            ModifyCommand(), PasswdCommand("secret", kPersonDN), kHomeSearch));
    EXPECT_EQ(Changes().at(0), "dn: " + kDomainDN +
                                   "\nchangetype: modify\ndelete: sambaNextUserRid\n"
                                   "sambaNextUserRid: 1000\n-\nadd: sambaNextUserRid\n"
                                   "sambaNextUserRid: 1001\n");
}

TEST_F(UserCreate, WithoutPasswordNoneIsHashedOrSet) {
    EXPECT_EQ(Create({}), 0);
    EXPECT_THAT(Commands(), ElementsAre(kNameSearch, kNumberSearch, ModifyCommand(), kHomeSearch));
}

TEST_F(UserCreate, SidIsOnlyTakenWhereTheSchemaHasSamba) {
    host_.nSchema = kEverything & ~kSamba;
    Prepare(kSteps);
    EXPECT_EQ(Create(Anna()), 0);
    EXPECT_THAT(Commands(),
                ElementsAre(kNameSearch, kNumberSearch, HashCommand("secret"), ModifyCommand(),
                            PasswdCommand("secret", kPersonDN), kHomeSearch));
}

TEST_F(UserCreate, WithCryptedPasswordNoToolSeesItAndNoHomeIsMade) {
    creation_ = ZAFOLDAPBrowserUserCreateWithCryptedPass;
    EXPECT_EQ(Create(Anna()), 0);
    EXPECT_THAT(Commands(), ElementsAre(kNameSearch, kNumberSearch, ModifyCommand()));
}

TEST_F(UserCreate, PasswordIsSetOnTheEscapedDN) {
    Prepare({{"ldapsearch"}, {"slappasswd", kHash}});
    EXPECT_EQ(Create({.name = "Smith, Anna", .password = "secret"}), 0);
    EXPECT_THAT(Commands(), testing::Contains(PasswdCommand(
                                "secret", "uid=Smith\\, Anna,cn=users,dc=example,dc=com")));
}

TEST_F(UserCreate, EveryByteOfAPasswordReachesTheTools) {
    std::string password;
    for (int byte = 1; byte < 256; ++byte)
        password += static_cast<char>(byte);
    Prepare({{"ldapsearch"}, {"slappasswd", kHash}});
    EXPECT_EQ(Create({.password = password}), 0);
    EXPECT_THAT(Commands(),
                testing::IsSupersetOf({HashCommand(password), PasswdCommand(password, kPersonDN)}));
}

TEST_F(UserCreate, EmptyPasswordIsAPassword) {
    Prepare({{"ldapsearch"}, {"slappasswd", kHash}});
    EXPECT_EQ(Create({.password = ""}), 0);
    EXPECT_THAT(Commands(), testing::IsSupersetOf({HashCommand(""), PasswdCommand("", kPersonDN)}));
    EXPECT_THAT(LastChange(), testing::HasSubstr("userPassword: " + kHash));
}

// Refusals -----------------------------------------------------------------------------------

TEST_F(UserCreate, NameThatIsTakenStopsBeforeAnythingElse) {
    for (const Creation creation :
         {ZAFOLDAPBrowserUserCreate, ZAFOLDAPBrowserUserCreateWithCryptedPass}) {
        Prepare({{"ldapsearch", "dn: uid=anna.smith,ou=elsewhere\n\n"}});
        creation_ = creation;
        EXPECT_EQ(Create(Anna()), -1);
        ExpectSlots(-65538, kStalePlatformCode);
        EXPECT_THAT(Commands(), ElementsAre(kNameSearch));
        EXPECT_THAT(log_.Messages(), IsEmpty()) << "said while debugging only";
    }
}

TEST_F(UserCreate, NumberThatIsTakenStopsBeforeAnythingIsMade) {
    Prepare({{"ldapsearch"}, {"ldapsearch", "dn: uid=bob\n\n"}});
    EXPECT_EQ(Create(Anna()), -1);
    ExpectSlots(-65540, kStalePlatformCode);
    EXPECT_THAT(Commands(), ElementsAre(kNameSearch, kNumberSearch));
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(UserCreate, DNThatIsTooLongChangesNothing) {
    const size_t rest = std::string("uid=,cn=users,dc=example,dc=com").size();
    EXPECT_EQ(Create({.name = std::string(1023 - rest, 'n')}), 0);
    tools_.Reset();
    EXPECT_EQ(Create({.name = std::string(1024 - rest, 'n')}), -1);
    ExpectSlots(kStaleLdapCode, 0x0E00);
    EXPECT_EQ(tools_.Calls().size(), 2u) << "only the two questions";
}

TEST_F(UserCreate, PasswordThatCannotBeHashedStopsBeforeAnythingIsMade) {
    Prepare({{"ldapsearch"}, {"slappasswd"}});
    host_.nSchema = kEverything;
    EXPECT_EQ(Create(Anna()), -1);
    EXPECT_THAT(Commands(), ElementsAre(kNameSearch, kNumberSearch, HashCommand("secret")));
    ExpectSlotsUntouched();
}

TEST_F(UserCreate, ToolsThatDoNotExistFailTheStepThatNeedsThem) {
    struct {
        const char *tool;
        int ldap;
        size_t ran;
    } const cases[] = {{"ldapsearch", -65538, 0},
                       {"slappasswd", kStaleLdapCode, 2},
                       {"ldapmodify", kStaleLdapCode, 3},
                       {"ldappasswd", kStaleLdapCode, 4}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.tool);
        Prepare({{"ldapsearch"}, {"slappasswd", kHash}});
        const core_test::WithoutTool without(c.tool);
        EXPECT_EQ(Create(Anna()), -1);
        ExpectSlots(c.ldap, 0x0900);
        EXPECT_EQ(tools_.Calls().size(), c.ran);
    }
}

TEST_F(UserCreate, EveryFailingToolHasThisOutcome) {
    host_.nSchema = kEverything;
    const std::string no_map = "unknown format of automountInformation: ";
    const std::vector<Outcome> outcomes = {
        {-1, -65538, 1, {"ZAFOLDAPSearchGetNext get next failed, $KEY ($CODE)"}},
        {-1, -65540, 2, {"ZAFOLDAPSearchGetNext get next failed"}},
        {-1, kStaleLdapCode, 3, {"Failed to read from popen (Success)"}},
        {0, {}, 7, {"get sambaSID failed.", no_map}},
        {0, {}, 8, {"get sambaSID [8] failed.", "get domain SID failed.", no_map}, 32},
        {0,
         {},
         9,
         {"get [sambaNextUserRid] failed.", "get sambaNextUserRid from " + kDomainDN + " failed.",
          no_map}},
        {0, {}, 12, {no_map}},  // a lost swap is retried
        {-1, {}, 8, {}},
        {-1,
         kStaleLdapCode,
         9,
         {"Failed to set password for " + kPersonDN + " (err=$ERR)",
          "ZAFOLDAPPasswd failed. [" + kPersonDN + "]"}},
        {0, {}, 10, {}},
    };
    ExpectOutcomes(kSteps, outcomes, [this] { return Create(Anna()); });
}

TEST_F(UserCreate, DomainThatIsGoneAtTheSecondLookKeepsTheSidOfTheFirst) {
    host_.nSchema = kSamba;
    Prepare(kSteps, 4, 32);
    EXPECT_EQ(Create(Anna()), 0);
    EXPECT_EQ(tools_.Calls().size(), kSteps.size());
    EXPECT_THAT(LastChange(), testing::HasSubstr("\nsambaSID: S-1-5-21-1-2-3-1000\n"));
}

TEST_F(UserCreate, SidThatCannotBeMadeIsWrittenEmpty) {
    host_.nSchema = kSamba;
    Prepare({{"ldapsearch"}, {"ldapsearch"}, {"ldapsearch"}, {"ldapmodify"}}, 2, 50);
    EXPECT_EQ(Create({}), 0);
    EXPECT_THAT(LastChange(), testing::HasSubstr("\nsambaSID: \n"));
}

TEST_F(UserCreate, RefusedCryptedUserIsLogged) {
    creation_ = ZAFOLDAPBrowserUserCreateWithCryptedPass;
    ExpectOutcomes({{"ldapsearch"}, {"ldapsearch"}, {"ldapmodify"}},
                   {{-1, -65538, 1, {"ZAFOLDAPSearchGetNext get next failed, $KEY ($CODE)"}},
                    {-1, -65540, 2, {"ZAFOLDAPSearchGetNext get next failed"}},
                    {-1, {}, 3, {"ZAFOLDAPModify failed [anna.smith] [0x1234]"}}},
                   [this] { return Create(Anna()); });
}

TEST_F(UserCreate, RecordThatTheDiskCutsShortIsNotSent) {
    ExpectNothingSentFromAFullDisk([this] { return Create({.full_name = kHugeText}); });
    EXPECT_EQ(tools_.Calls().size(), 2u);
}

TEST_F(UserCreate, TextsThatBreakALineAreRefusedBeforeAnythingRuns) {
    for (const char *breaks : {"\n", "\r", "a\nuidNumber: 0", "a\r", "\na", "a\r\nb"}) {
        for (Text Person::*field :
             {&Person::name, &Person::full_name, &Person::home, &Person::shell, &Person::mail}) {
            Person person = Anna();
            person.*field = breaks;
            EXPECT_EQ(Create(person), -1) << testing::PrintToString(breaks);
            EXPECT_EQ(QLIBCErrGet(), 0x0D00);
        }
        creation_ = ZAFOLDAPBrowserUserCreateWithCryptedPass;
        EXPECT_EQ(Create({.password = breaks}), -1);
        creation_ = ZAFOLDAPBrowserUserCreate;
        EXPECT_EQ(Create(Anna(), nullptr, breaks), -1);
        for (const List &extra :
             {List{breaks, "v"}, List{"a", breaks}, List{"a", "v", "b", breaks}})
            EXPECT_EQ(Create(Anna(), &extra), -1);
        host_.szBaseDN = breaks;
        EXPECT_EQ(Create(Anna()), -1);
        host_.szBaseDN = kBase.c_str();
    }
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

}  // namespace
}  // namespace zafo::accounts_test::user_create
