// SPDX-License-Identifier: Apache-2.0
//
// Changing a user: what is written for each request and state of the entry, which tools run, and
// the effect of each possible failure.
#include "platform/unicode.h"
#include "tests/accounts/writing_fixture.h"
#include "tests/core/without_tool.h"
#include "zafoldap.h"

namespace zafo::accounts_test::user_edit {
namespace {

constexpr unsigned kPosix = ZAFOLDAP_CLASS_POSIX_ACCOUNT;
constexpr unsigned kMail = ZAFOLDAP_CLASS_INET_ORG_PERSON;
constexpr unsigned kShadow = ZAFOLDAP_CLASS_SHADOW_ACCOUNT;
constexpr unsigned kSamba = ZAFOLDAP_CLASS_SAMBA_SAM_ACCOUNT;
constexpr unsigned kEverything = 0x1FFF;

// The existing entry; nullopt means that the attribute is missing.
struct Existing {
    unsigned classes = kEverything;
    Text name = "anna.smith";
    Text uid = "1027";
    Text gid = "100";
    Text home = "/homes/anna";
    Text shell = "/bin/bash";
    Text full_name = "Anna Smith";
    Text mail = "anna@example.com";
    Text expire = "20000";
    bool disallow = false;
};

std::string LdifOf(const Existing &entry, const std::string &dn) {
    std::string ldif = "dn: " + dn + "\n";
    const auto add = [&](const char *attribute, const Text &value) {
        if (value) ldif.append(attribute).append(": ").append(*value).append("\n");
    };
    if ((entry.classes & kPosix) != 0) add("objectClass", "posixAccount");
    if ((entry.classes & kMail) != 0) add("objectClass", "inetOrgPerson");
    if ((entry.classes & kShadow) != 0) add("objectClass", "shadowAccount");
    if ((entry.classes & kSamba) != 0) add("objectClass", "sambaSamAccount");
    add("uid", entry.name);
    add("uidNumber", entry.uid);
    add("gidNumber", entry.gid);
    add("homeDirectory", entry.home);
    add("loginShell", entry.shell);
    add("gecos", entry.full_name);
    add("mail", entry.mail);
    add("shadowExpire", entry.expire);
    if (entry.disallow) {
        add("shadowMin", "100000");
        add("shadowLastChange", std::to_string(std::time(nullptr) / 86400));
    }
    return ldif + "\n";
}

struct Request {
    Person person = Nobody();
    std::optional<int> disallow = {};
    std::optional<long> expire = {};
    std::string dn = kPersonDN;
};

Request Renamed(const std::string &name, const std::string &dn = kPersonDN) {
    Request request;
    request.person.name = name;
    request.dn = dn;
    return request;
}

// A request that uses every step.
Request Everything() {
    return {.person = {.name = "bob.jones",
                       .password = "secret",
                       .uid = UID_ERR - 1,
                       .gid = 0,
                       .full_name = "Bob Jones",
                       .home = "/homes/bob",
                       .shell = "/bin/zsh",
                       .mail = "bob@example.com"},
            .disallow = 1,
            .expire = -1};
}

class UserEdit : public WritingTest {
  protected:
    UserEdit() { host_.nSchema = kEverything; }

    int Edit(const Request &request) {
        const UserRecord record(request.person);
        return ZAFOLDAPBrowserUserEdit(&host_, request.dn.c_str(), &record,
                                       request.disallow ? &*request.disallow : nullptr,
                                       request.expire ? &*request.expire : nullptr);
    }

    // Scripts: the entry exists, names and numbers are free, the user is in no group.
    void PrepareEntry(const Existing &entry, const std::string &dn = kPersonDN) {
        const std::string ldif = LdifOf(entry, dn);
        Prepare(
            {{"ldapsearch", ldif}, {"ldapsearch", ldif}, {"ldapsearch"}, {"slappasswd", kHash}});
    }

    // The change written by a successful edit.
    std::string ChangeOf(const Request &request, const Existing &entry = {}) {
        PrepareEntry(entry, request.dn);
        const time_t start = std::time(nullptr);
        EXPECT_EQ(Edit(request), 0);
        EXPECT_THAT(log_.Messages(), IsEmpty());
        return Frozen(LastChange(), start);
    }

    // The same without the two lines that every record of the default user begins with; "" when no
    // change was run.
    std::string ModificationsOf(const Request &request, const Existing &entry) {
        const std::string change = ChangeOf(request, entry);
        if (Changes().empty()) return "";
        const std::string head = "dn: " + kPersonDN + "\nchangetype: modify\n";
        EXPECT_TRUE(change.starts_with(head)) << change;
        return change.substr(std::min(head.size(), change.size()));
    }
};

std::string Replace(const std::string &attribute, const std::string &value) {
    return "replace: " + attribute + "\n" + attribute + ": " + value + "\n";
}

// Records -----------------------------------------------------------------------------------

TEST_F(UserEdit, RecordsAreTheseTexts) {
    Request removed;
    removed.person.shell = removed.person.full_name = removed.person.mail = "";
    Request number;
    number.person.gid = 513;
    Request password;
    password.person.password = "secret";
    Request odd;
    odd.person.home = "/%n/%%";
    odd.person.shell = " /bin/sh";
    odd.person.full_name = "%s%%";
    odd.person.mail = " a";
    const std::string bob = "bob.jones";
    const std::pair<const char *, Request> cases[] = {
        {"every field", Everything()},
        {"optional texts taken away", removed},
        {"one number", number},
        {"a password, Samba and shadow", password},
        {"percent signs and leading blanks", odd},
        {"rename, RDN uid", Renamed(bob)},
        {"rename, RDN cn", Renamed(bob, "cn=anna.smith,cn=users,dc=example,dc=com")},
        {"rename, RDN in capitals", Renamed(bob, "UID=anna.smith,CN=users,DC=example,DC=com")},
        {"rename, RDN of another attribute",
         Renamed(bob, "employeeNumber=7,cn=users,dc=example,dc=com")},
        {"rename, RDN of two values",
         Renamed(bob, "uid=anna.smith+cn=Anna,cn=users,dc=example,dc=com")},
        {"rename to a name that a DN must escape", Renamed(" Jones, Bob")},
        {"rename at the top of the tree", Renamed(bob, "uid=anna.smith")},
    };
    Golden golden("user_edit.ldif");
    for (const auto &[title, request] : cases) {
        SCOPED_TRACE(title);
        EXPECT_EQ(ChangeOf(request), golden.Take(title));
    }
    EXPECT_THAT(golden.Left(), IsEmpty());
}

// The effect of a text, by the requested and the existing value.
struct TextRow {
    Text wanted, current;
    enum { kNothing, kReplace, kDelete } change;
};

TEST_F(UserEdit, OptionalTextsAreReplacedRemovedOrLeftAlone) {
    const TextRow rows[] = {
        {{}, {}, TextRow::kNothing},   {{}, "", TextRow::kNothing},  {{}, "x", TextRow::kNothing},
        {"", {}, TextRow::kNothing},   {"", "", TextRow::kNothing},  {"", "x", TextRow::kDelete},
        {"x", {}, TextRow::kReplace},  {"x", "", TextRow::kReplace}, {"x", "x", TextRow::kNothing},
        {"x", "X", TextRow::kReplace},
    };
    struct {
        const char *attribute;
        Text Person::*wanted;
        Text Existing::*current;
        unsigned needs;
    } const fields[] = {{"loginShell", &Person::shell, &Existing::shell, 0},
                        {"gecos", &Person::full_name, &Existing::full_name, 0},
                        {"mail", &Person::mail, &Existing::mail, kMail}};
    for (const auto &field : fields) {
        for (const TextRow &row : rows) {
            for (const auto &[server, entry] :
                 {std::pair{true, true}, {true, false}, {false, true}, {false, false}}) {
                SCOPED_TRACE(testing::Message()
                             << field.attribute << " " << testing::PrintToString(row.wanted)
                             << testing::PrintToString(row.current) << server << entry);
                host_.nSchema = server ? kEverything : kEverything & ~kMail;
                Existing existing{.classes = entry ? kEverything : kEverything & ~kMail};
                existing.*field.current = row.current;
                Request request{.disallow = 0};  // every row requests something
                request.person.*field.wanted = row.wanted;
                const bool can = field.needs == 0 || (server && entry);
                std::string expected;
                if (can && row.change == TextRow::kReplace)
                    expected = Replace(field.attribute, "x");
                if (can && row.change == TextRow::kDelete)
                    expected = std::string("delete: ") + field.attribute + "\n";
                EXPECT_EQ(ModificationsOf(request, existing), expected);
            }
        }
    }
}

TEST_F(UserEdit, HomeIsReplacedWheneverItDiffers) {
    const std::tuple<Text, Text, std::string> rows[] = {
        {Text(), Text(), ""},
        {Text(), "x", ""},
        {"", Text(), Replace("homeDirectory", "")},
        {"", "", ""},
        {"", "x", Replace("homeDirectory", "")},
        {"x", Text(), Replace("homeDirectory", "x")},
        {"x", "x", ""},
        {"x", "X", Replace("homeDirectory", "x")},
    };
    for (const auto &[wanted, current, expected] : rows) {
        SCOPED_TRACE(testing::PrintToString(wanted) + testing::PrintToString(current));
        Request request{.disallow = 0};
        request.person.home = wanted;
        EXPECT_EQ(ModificationsOf(request, {.home = current}), expected);
    }
}

TEST_F(UserEdit, NumbersAreReplacedWhenTheyDiffer) {
    const std::tuple<uint32_t, Text, bool> rows[] = {
        {UID_ERR, "5", false}, {5, "5", false}, {6, "5", true},
        {0, "5", true},        {5, {}, true},   {4294967294u, "5", true},
    };
    for (const auto &[wanted, current, changes] : rows) {
        SCOPED_TRACE(testing::Message() << wanted);
        Request uid{.disallow = 0}, gid{.disallow = 0};
        uid.person.uid = gid.person.gid = wanted;
        const std::string value = std::to_string(wanted);
        EXPECT_EQ(ModificationsOf(uid, {.uid = current}),
                  changes ? Replace("uidNumber", value) : "");
        EXPECT_EQ(ModificationsOf(gid, {.gid = current}),
                  changes ? Replace("gidNumber", value) : "");
    }
}

TEST_F(UserEdit, PasswordChangesWhatServerAndEntryBothHave) {
    Request request;
    request.person.password = "secret";
    const std::string samba = Replace("sambaNTPassword", NtHashOfSecret()) + "-\n" +
                              Replace("sambaLMPassword", std::string(32, 'X')) + "-\n" +
                              Replace("sambaPwdLastSet", "NOW");
    const std::string shadow = Replace("shadowLastChange", "TODAY");
    for (const unsigned server : {0u, kSamba, kShadow, kSamba | kShadow}) {
        for (const unsigned entry : {0u, kSamba, kShadow, kSamba | kShadow}) {
            SCOPED_TRACE(testing::Message() << server << " " << entry);
            host_.nSchema = server;
            std::string expected = (server & entry & kSamba) != 0 ? samba : "";
            if ((server & entry & kShadow) != 0) {
                expected += expected.empty() ? shadow : "-\n" + shadow;
            }
            EXPECT_EQ(ModificationsOf(request, {.classes = kPosix | entry}), expected);
        }
    }
}

TEST_F(UserEdit, AgeingChangesWhereServerAndEntryKnowIt) {
    struct {
        std::optional<int> wanted;
        bool current;
        const char *minimum;
    } const flags[] = {{{}, false, nullptr}, {{}, true, nullptr},  {0, false, nullptr},
                       {0, true, "0"},       {1, false, "100000"}, {1, true, nullptr},
                       {2, false, "0"},      {2, true, "0"}};
    struct {
        std::optional<long> wanted;
        Text current;
        const char *expire;
    } const days[] = {{{}, "20000", nullptr}, {20000, "20000", nullptr}, {20001, "20000", "20001"},
                      {0, {}, nullptr},       {0, "20000", "0"},         {-1, {}, "-1"}};
    for (const auto &[server, entry] :
         {std::pair{true, true}, {true, false}, {false, true}, {false, false}}) {
        host_.nSchema = server ? kShadow : 0;
        const unsigned classes = kPosix | (entry ? kShadow : 0);
        const bool can = server && entry;
        for (const auto &row : flags) {
            SCOPED_TRACE(testing::Message() << "flag " << row.wanted.value_or(-1) << row.current);
            Request request{.disallow = row.wanted};
            request.person.home = "/homes/anna";  // every row requests something
            EXPECT_EQ(ModificationsOf(request, {.classes = classes, .disallow = row.current}),
                      can && row.minimum != nullptr ? Replace("shadowMin", row.minimum) : "");
        }
        for (const auto &row : days) {
            SCOPED_TRACE(testing::Message() << "expiry " << row.wanted.value_or(-99));
            Request request{.expire = row.wanted};
            request.person.home = "/homes/anna";
            EXPECT_EQ(ModificationsOf(request, {.classes = classes, .expire = row.current}),
                      can && row.expire != nullptr ? Replace("shadowExpire", row.expire) : "");
        }
    }
}

TEST_F(UserEdit, LongTextsAreWrittenWhole) {
    const std::string text(5000, 'x');
    Request request;
    request.person.home = request.person.shell = request.person.full_name = request.person.mail =
        text;
    EXPECT_EQ(ModificationsOf(request, {}),
              Replace("homeDirectory", text) + "-\n" + Replace("loginShell", text) + "-\n" +
                  Replace("gecos", text) + "-\n" + Replace("mail", text));
}

TEST_F(UserEdit, NameThatDiffersInCaseOnlyIsIgnored) {
    EXPECT_EQ(ModificationsOf(Renamed("ANNA.Smith"), {}), "");
    EXPECT_EQ(tools_.Calls().size(), 2u) << "the entry is read, nothing else";
}

TEST_F(UserEdit, NameThatDiffersInCaseOfAnyAlphabetIsIgnored) {
    if (QLIBCUnicodeUTF8StrCaseCmp("\xC3\x9C", "\xC3\xBC") != 0) {
        GTEST_SKIP() << "this build's platform folds only ASCII letters";
    }
    EXPECT_EQ(ModificationsOf(Renamed("M\xC3\x9CLLER"), {.name = "m\xC3\xBCller"}), "");
    EXPECT_EQ(tools_.Calls().size(), 2u);
}

TEST_F(UserEdit, EmptyNameIsLeftToTheServer) {
    EXPECT_THAT(ChangeOf(Renamed("")), testing::HasSubstr("newrdn: uid=\n"));
}

// Tools ---------------------------------------------------------------------------------------

const std::string kRead = SearchCommand(kPersonDN, "objectClass=posixAccount");
const std::string kReadClasses = SearchCommand(kPersonDN, "objectClass=posixAccount objectClass");
const std::string kNameSearch =
    SearchCommand(kBase, "(&(objectClass=posixAccount)(uid=bob.jones))");
const std::string kNumberSearch =
    SearchCommand(kBase, "(&(objectClass=posixAccount)(uidNumber=4294967294)) dn");
const std::string kGroupSearch =
    SearchCommand(kBase, "(&(objectClass=posixGroup)(memberUid=anna.smith)) dn cn");
const std::string kNewDN = "uid=bob.jones,cn=users,dc=example,dc=com";

const std::vector<Step> kSteps = {
    {"ldapsearch", LdifOf({}, kPersonDN)},
    {"ldapsearch", LdifOf({}, kPersonDN)},
    {"ldapsearch"},
    {"ldapsearch"},
    {"slappasswd", kHash},
    {"ldapmodify"},
    {"ldapsearch", "dn: " + kStaffDN + "\ncn: staff\n\n"},
    {"ldapmodify"},
    {"ldappasswd"},
};

TEST_F(UserEdit, RunsTheseToolsInThisOrder) {
    Prepare(kSteps);
    EXPECT_EQ(Edit(Everything()), 0);
    EXPECT_THAT(Commands(), ElementsAre(kRead, kReadClasses, kNameSearch, kNumberSearch,
                                        HashCommand("secret"), ModifyCommand(), kGroupSearch,
                                        ModifyCommand(), PasswdCommand("secret", kNewDN)));
    EXPECT_EQ(Changes().at(1), "dn: " + kStaffDN +
                                   "\nchangetype: modify\ndelete: memberUid\n"
                                   "memberUid: anna.smith\n-\ndelete: member\nmember: " +
                                   kPersonDN + "\n-\nadd: memberUid\nmemberUid: bob.jones\n-\n" +
                                   "add: member\nmember: " + kNewDN + "\n\n");
}

TEST_F(UserEdit, WithoutRenameGroupsAreNotAskedFor) {
    Request request;
    request.person.password = "secret";
    request.person.gid = 513;
    ChangeOf(request);
    EXPECT_THAT(Commands(), ElementsAre(kRead, kReadClasses, HashCommand("secret"), ModifyCommand(),
                                        PasswdCommand("secret", kPersonDN)));
}

TEST_F(UserEdit, RenameWithoutPasswordSetsNone) {
    ChangeOf(Renamed("bob.jones"));
    EXPECT_THAT(Commands(),
                ElementsAre(kRead, kReadClasses, kNameSearch, ModifyCommand(), kGroupSearch));
}

TEST_F(UserEdit, PasswordGoesToTheDNAfterTheRename) {
    const std::tuple<const char *, const char *, const char *> cases[] = {
        {"uid=anna.smith", "bob", "uid=bob"},
        {"uid=anna.smith,dc=x", "bob", "uid=bob,dc=x"},
        {"uid=anna\\, smith,cn=users,dc=x", "bob", "uid=bob,cn=users,dc=x"},
        {"uid=anna.smith+cn=A\\,B,cn=users,dc=x", "bob", "uid=bob,cn=users,dc=x"},
        {"employeeNumber=7,cn=a\\,b,dc=x", "bob", "employeeNumber=bob,cn=a\\,b,dc=x"},
        {" uid = anna.smith , cn=users,dc=x", "bob", "uid=bob, cn=users,dc=x"},
        {"uid=anna.smith,dc=x", " a+b ", "uid=\\ a\\+b\\ ,dc=x"},
        {"uid=anna.smith,dc=x", "100%n%%", "uid=100%n%%,dc=x"},
    };
    for (const auto &[dn, name, renamed] : cases) {
        SCOPED_TRACE(dn);
        Request request = Renamed(name, dn);
        request.person.password = "secret";
        ChangeOf(request);
        EXPECT_EQ(Commands().back(), PasswdCommand("secret", renamed));
    }
}

TEST_F(UserEdit, EveryByteOfAPasswordReachesTheTools) {
    std::string password;
    for (int byte = 1; byte < 256; ++byte)
        password += static_cast<char>(byte);
    Request request;
    request.person.password = password;
    ChangeOf(request);
    EXPECT_THAT(Commands(),
                testing::IsSupersetOf({HashCommand(password), PasswdCommand(password, kPersonDN)}));
}

TEST_F(UserEdit, EveryFailingToolHasThisOutcome) {
    const std::string no_read = "ZAFOLDAPSearchGetNext get next failed";
    const std::string no_groups = "Edit group failed. [anna.smith]. [0x1234]";
    ExpectOutcomes(
        kSteps,
        {
            {-1, {}, 1, {no_read, "get user " + kPersonDN + " failed. "}},
            {-1, {}, 2, {"get object classes of " + kPersonDN + " failed. [0x1234]"}},
            {-1, -65538, 3, {no_read + ", $KEY ($CODE)", "user bob.jones exists in db."}},
            {-1, -65540, 4, {no_read, "uid number 4294967294 exists in db."}},
            {-1,
             kStaleLdapCode,
             5,
             {"Failed to read from popen (Success)", "ZAFOLDAPEncryptPassword failed. [0x1234]"}},
            {-1, {}, 6, {"ZAFOLDAPModify failed [" + kPersonDN + "] [0x1234]"}},
            {-1, {}, 7, {no_read, no_groups}},
            {-1, {}, 8, {"ZAFOLDAPModify failed [anna.smith] [0x1234]", no_groups}},
            {-1,
             kStaleLdapCode,
             9,
             {"Failed to set password for " + kNewDN + " (err=$ERR)",
              "ZAFOLDAPPasswd failed. [" + kNewDN + "]"}},
        },
        [this] { return Edit(Everything()); });
}

TEST_F(UserEdit, ToolsThatDoNotExistFailTheStepThatNeedsThem) {
    const std::pair<const char *, size_t> cases[] = {
        {"ldapsearch", 0}, {"slappasswd", 4}, {"ldapmodify", 5}, {"ldappasswd", 8}};
    for (const auto &[tool, ran] : cases) {
        SCOPED_TRACE(tool);
        Prepare(kSteps);
        const core_test::WithoutTool without(tool);
        EXPECT_EQ(Edit(Everything()), -1);
        ExpectSlots(kStaleLdapCode, 0x0900);
        EXPECT_EQ(tools_.Calls().size(), ran);
    }
}

// Refusals --------------------------------------------------------------------------------------

TEST_F(UserEdit, MissingUserIsLogged) {
    EXPECT_EQ(Edit(Renamed("bob.jones")), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre("get user " + kPersonDN + " failed. "));
    EXPECT_THAT(Commands(), ElementsAre(kRead));
    ExpectSlotsUntouched();
}

TEST_F(UserEdit, EntryThatStopsBeingAUserIsLogged) {
    for (const char *second : {"", "dn: x\nobjectClass: inetOrgPerson\n\n"}) {
        Prepare({{"ldapsearch", LdifOf({}, kPersonDN)}, {"ldapsearch", second}});
        EXPECT_EQ(Edit(Renamed("bob.jones")), -1);
        EXPECT_THAT(LoggedTexts(), ElementsAre("user [" + kPersonDN + "] disapeared"));
        EXPECT_THAT(Commands(), ElementsAre(kRead, kReadClasses));
        ExpectSlotsUntouched();
    }
}

TEST_F(UserEdit, NameThatIsTakenChangesNothing) {
    Prepare({kSteps[0], kSteps[1], {"ldapsearch", "dn: uid=bob.jones\n\n"}});
    EXPECT_EQ(Edit(Everything()), -1);
    ExpectSlots(-65538, kStalePlatformCode);
    EXPECT_THAT(LoggedTexts(), ElementsAre("user bob.jones exists in db."));
    EXPECT_THAT(Commands(), ElementsAre(kRead, kReadClasses, kNameSearch));
}

TEST_F(UserEdit, NumberThatIsTakenChangesNothing) {
    Prepare({kSteps[0], kSteps[1], {"ldapsearch"}, {"ldapsearch", "dn: uid=carl\n\n"}});
    EXPECT_EQ(Edit(Everything()), -1);
    ExpectSlots(-65540, kStalePlatformCode);
    EXPECT_THAT(LoggedTexts(), ElementsAre("uid number 4294967294 exists in db."));
    EXPECT_THAT(Commands(), ElementsAre(kRead, kReadClasses, kNameSearch, kNumberSearch));
}

TEST_F(UserEdit, DNThatIsTooLongChangesNothing) {
    const std::string suffix = ",dc=x";
    const std::string longest = "uid=" + std::string(1023 - 4 - suffix.size(), 'n') + suffix;
    Request request;
    request.person.gid = 1;
    request.dn = longest;
    ChangeOf(request);

    Prepare({});
    request.dn += 'y';
    EXPECT_EQ(Edit(request), -1);
    ExpectSlots(kStaleLdapCode, 0x0E00);
    EXPECT_THAT(LoggedTexts(), ElementsAre("DN [" + request.dn + "] is too long. [0x0E00]"));
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

TEST_F(UserEdit, NewDNThatIsTooLongChangesNothing) {
    const std::string dn = "uid=anna.smith,dc=x";
    const std::string longest(1023 - std::string("uid=,dc=x").size(), 'n');
    ChangeOf(Renamed(longest, dn));

    PrepareEntry({}, dn);
    EXPECT_EQ(Edit(Renamed(longest + "n", dn)), -1);
    ExpectSlots(kStaleLdapCode, 0x0E00);
    EXPECT_THAT(LoggedTexts(), ElementsAre("DN [uid=" + longest + "n,dc=x] is too long. [0x0E00]"));
    EXPECT_THAT(Changes(), IsEmpty());
}

TEST_F(UserEdit, RenameOfAnInvalidDNIsRefused) {
    const std::pair<const char *, const char *> cases[] = {
        {"anna", "ZAFOLDAPRDNExtract [anna] failed. [0x0F00]"},
        {"uid=anna,\\", "ZAFOLDAPRDNExtract [uid=anna,\\] failed. [0x0F00]"},
        {"", "ZAFOLDAPRDNExtract [] failed. [0x0F00]"},
    };
    for (const auto &[dn, logged] : cases) {
        PrepareEntry({}, dn);
        EXPECT_EQ(Edit(Renamed("bob.jones", dn)), -1);
        EXPECT_THAT(LoggedTexts(), ElementsAre(logged));
        ExpectSlots(kStaleLdapCode, 0x0F00);
        EXPECT_THAT(Changes(), IsEmpty());
    }
}

TEST_F(UserEdit, CurrentNameThatBreaksALineIsNotCarriedIntoTheGroups) {
    const std::string entry =
        "dn: " + kPersonDN + "\nobjectClass: posixAccount\nuid:: YQptZW1iZXI6IHg=\n\n";
    Prepare({{"ldapsearch", entry}, {"ldapsearch", entry}, {"ldapsearch"}});
    EXPECT_EQ(Edit(Renamed("bob.jones")), -1);
    ExpectSlots(kStaleLdapCode, 0x0F00);
    EXPECT_THAT(LoggedTexts(),
                ElementsAre("the name of user " + kPersonDN + " is more than one line. [0x0F00]"));
    EXPECT_THAT(Changes(), IsEmpty());
}

TEST_F(UserEdit, ChangeThatTheDiskCutsShortIsNotSent) {
    Request request = Everything();
    request.person.password.reset();
    request.person.full_name = kHugeText;
    PrepareEntry({});
    ExpectNothingSentFromAFullDisk([&] { return Edit(request); });
    EXPECT_THAT(Commands(), ElementsAre(kRead, kReadClasses, kNameSearch, kNumberSearch));
}

TEST_F(UserEdit, TextsThatBreakALineAreRefusedBeforeAnythingRuns) {
    for (const char *breaks : {"\n", "\r", "a\nuidNumber: 0", "a\r", "\na", "a\r\nb"}) {
        SCOPED_TRACE(testing::PrintToString(breaks));
        for (Text Person::*field :
             {&Person::name, &Person::full_name, &Person::home, &Person::shell, &Person::mail}) {
            Request request;
            request.person.*field = breaks;
            EXPECT_EQ(Edit(request), -1);
            EXPECT_EQ(QLIBCErrGet(), 0x0D00);
        }
        EXPECT_EQ(Edit(Renamed("bob", breaks)), -1);
        host_.szBaseDN = breaks;
        EXPECT_EQ(Edit(Renamed("bob")), -1);
        host_.szBaseDN = kBase.c_str();
    }
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

TEST_F(UserEdit, NeedsTheLoginSuffix) {
    host_.szLoginSuffix = nullptr;
    EXPECT_EQ(Edit(Renamed("bob")), -1);
    ExpectSlots(kStaleLdapCode, 0x0D00);
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

}  // namespace
}  // namespace zafo::accounts_test::user_edit
