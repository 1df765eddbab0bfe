// SPDX-License-Identifier: Apache-2.0
//
// Names and values with a meaning in LDIF, DNs, filters or printf: each is stored and read back
// exactly, or refused with an error, and no other entry is touched.
#include "platform/error.h"
#include "tests/integration/accounts.h"

namespace zafo::test {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::StartsWith;
using testing::UnorderedElementsAreArray;

enum Outcome { kStored, kRefused };

std::string Times(size_t count, const std::string &text) {
    std::string all;
    for (size_t i = 0; i < count; ++i)
        all += text;
    return all;
}

// How a text fares as a name, as a Directory String (full name, description) and as an IA5 String
// (mail, home, shell).
struct Case {
    std::string text;
    Outcome name = kStored;
    Outcome string = kStored;
    Outcome ia5 = kStored;
    std::string in_filter = {};  // the name as a caller must escape it
};
// Longer than the server's index of RDNs allows.
const std::string kLongForAnRDN(400, 'x');

const Case kCases[] = {
    {" blank first"},
    {"blank last "},
    {"   "},
    {"\ttab first"},
    {"tab last\t"},
    {"a\tb\x01\x7f"},
    {"it's \"quoted\""},
    {"a%nb%s%d%99$s 100%"},
    {"50%% off"},
    {"a,b+c=d;<e>"},
    {"uid=root,cn=users,dc=example,dc=com"},
    {"a\\b", kRefused},  // its filter would be invalid
    {"\\2c", kStored, kStored, kStored, "\\5c2c"},
    {"#1"},
    {"< file:///etc/passwd"},
    {": colon"},
    {"-D"},
    {"by*", kRefused},  // matches another
    {")(uid=*", kStored, kStored, kStored, "\\29\\28uid=\\2a"},
    {"../a/b"},
    {"$HOME `id` $(id)", kRefused},
    {"Jürgen Große\xcc\x81", kStored, kStored, kRefused},  // kept unnormalised
    {"田中 さくら 👩‍💻🚀", kStored, kStored, kRefused},
    {"\xff\xfe", kRefused, kRefused, kRefused},
    {std::string(200, 'x')},
    {kLongForAnRDN, kRefused},
    {std::string(1000, 'x'), kRefused},
    {Times(300, "ü, "), kRefused, kStored, kRefused},
};

// On an appliance's own server, which writes a name into the most attributes.
class AwkwardAccounts : public AccountTest {
  protected:
    AwkwardAccounts() : AccountTest(rig::kVariants[4]) {
        EXPECT_EQ(Create({.name = "bystander", .uid = 5100, .gid = 6100, .fullname = "By Stander"}),
                  0);
        EXPECT_EQ(CreateGroup("bystanders", 6100, {"bystander"}, "all of them"), 0);
        EXPECT_EQ(Create({.name = "subject", .uid = 5200, .gid = 6100, .home = "/h"}), 0);
        EXPECT_EQ(CreateGroup("subjects", 6200), 0);
    }

    static void ClearErrors() {
        ZAFOLDAPErrReset();
        QLIBCErrSet(QLIB_ERR_NONE);
    }

    // Expects a call to fail with a reason and without changes.
    void ExpectRefused(int result) {
        EXPECT_EQ(result, -1);
        EXPECT_TRUE(ZAFOLDAPErrGet() != 0 || QLIBCErrGet() != 0);
        EXPECT_THAT(Changes(), IsEmpty());
    }

    // Expects exactly one entry to have been added ('+') or removed ('-'), and returns its DN;
    // empty on failure.
    std::string OnlyOne(char sign) {
        const Texts changes = Changes();
        EXPECT_THAT(changes, ElementsAre(StartsWith(std::string(1, sign) + " ")));
        return changes.size() == 1 ? changes[0].substr(2) : "";
    }
    // The new DN after a rename that changed nothing else.
    std::string OnlyRenamed() {
        const Texts changes = Changes();
        EXPECT_THAT(changes, ElementsAre(StartsWith("- "), StartsWith("+ ")));
        return changes.size() == 2 ? changes[1].substr(2) : "";
    }

    void ExpectFound(const std::string &dn, const Case &item,
                     decltype(ZAFOLDAPBrowserGetDNByUserUID) find) {
        const std::string &name = item.in_filter.empty() ? item.text : item.in_filter;
        char found[1024] = "";
        EXPECT_EQ(find(host_, name.c_str(), found, sizeof found), 1);
        EXPECT_EQ(found, dn);
    }

    static constexpr const char *kSubject = "uid=subject,cn=users,dc=example,dc=com";
    static constexpr const char *kSubjects = "cn=subjects,cn=groups,dc=example,dc=com";
};

// Escapes "%" as "%%".
std::string AsFormatText(const std::string &text) {
    std::string value = text;
    for (size_t at = 0; (at = value.find("%%", at)) != std::string::npos; ++at)
        value.erase(at, 1);
    return value;
}

TEST_F(AwkwardAccounts, NamesOfUsersAreStoredExactlyOrRefused) {
    Changes();
    for (const Case &item : kCases) {
        SCOPED_TRACE(item.text);
        ClearErrors();
        const int result = Create({.name = item.text, .uid = 5300, .gid = 6300, .home = "/h"});
        if (item.name == kRefused) {
            ExpectRefused(result);
            continue;
        }
        ASSERT_EQ(result, 0);
        const std::string dn = OnlyOne('+');
        const Lines entry = Seen(dn);
        for (const char *attribute : {"uid: ", "cn: ", "sn: "})
            EXPECT_EQ(entry.count(attribute + item.text), 1U) << attribute;
        EXPECT_EQ(entry.count("displayName: " + AsFormatText(item.text)), 1U);
        const User user = Get(dn);
        ASSERT_NE(user, nullptr);
        EXPECT_EQ(user->szName, item.text);
        ExpectFound(dn, item, ZAFOLDAPBrowserGetDNByUserUID);
        if (item.in_filter.empty()) {
            EXPECT_EQ(ZAFOLDAPBrowserDeleteUser(host_, item.text.c_str()), 0);
        } else {
            EXPECT_EQ(ZAFOLDAPBrowserDeleteDN(host_, dn.c_str()), 0);
        }
        EXPECT_EQ(OnlyOne('-'), dn);
    }
}

TEST_F(AwkwardAccounts, NewNamesOfUsersAreStoredExactlyOrRefused) {
    Changes();
    for (const Case &item : kCases) {
        SCOPED_TRACE(item.text);
        if (item.text == kLongForAnRDN) continue;  // covered by the next test
        ClearErrors();
        const int result = Edit(kSubject, {.name = item.text});
        if (item.name == kRefused) {
            ExpectRefused(result);
            continue;
        }
        ASSERT_EQ(result, 0);
        const std::string dn = OnlyRenamed();
        const Lines entry = Seen(dn);
        for (const char *attribute : {"uid: ", "cn: "})
            EXPECT_EQ(entry.count(attribute + item.text), 1U) << attribute;
        ASSERT_EQ(Edit(dn, {.name = "subject"}), 0) << dn;
        EXPECT_EQ(OnlyRenamed(), kSubject);
    }
}

// One change file with two records: the server refuses the second after it has applied the first.
TEST_F(AwkwardAccounts, ANewNameThatTheServerCannotTakeAsRDNChangesTheOtherNameOnly) {
    Changes();
    EXPECT_EQ(Edit(kSubject, {.name = kLongForAnRDN}), -1);
    EXPECT_NE(ZAFOLDAPErrGet(), 0);
    EXPECT_THAT(Changes(), ElementsAre(std::string(kSubject) + " - cn: subject",
                                       std::string(kSubject) + " + cn: " + kLongForAnRDN));
}

TEST_F(AwkwardAccounts, NamesOfGroupsAreStoredExactlyOrRefused) {
    Changes();
    for (const Case &item : kCases) {
        SCOPED_TRACE(item.text);
        ClearErrors();
        const int result =
            ZAFOLDAPBrowserGroupEdit(host_, kSubjects, item.text.c_str(), nullptr, nullptr);
        if (item.name == kRefused) {
            ExpectRefused(result);
            ExpectRefused(CreateGroup(item.text, 6300));
            continue;
        }
        ASSERT_EQ(result, 0);
        const std::string dn = OnlyRenamed();
        EXPECT_EQ(Seen(dn).count("cn: " + item.text), 1U);
        const Group group = GetGroup(dn);
        ASSERT_NE(group, nullptr);
        EXPECT_EQ(group->szName, item.text);
        ExpectFound(dn, item, ZAFOLDAPBrowserGetDNByGroupCN);
        ASSERT_EQ(ZAFOLDAPBrowserGroupEdit(host_, dn.c_str(), "subjects", nullptr, nullptr), 0);
        EXPECT_EQ(OnlyRenamed(), kSubjects);
    }
}

TEST_F(AwkwardAccounts, ValuesAreStoredExactlyOrRefused) {
    std::string before;
    for (const Case &item : kCases) {
        SCOPED_TRACE(item.text);
        Changes();
        ClearErrors();
        int result = Edit(kSubject, {.fullname = item.text});
        if (item.string == kRefused) {
            ExpectRefused(result);
            ExpectRefused(
                ZAFOLDAPBrowserGroupEdit(host_, kSubjects, nullptr, item.text.c_str(), nullptr));
            continue;
        }
        EXPECT_EQ(result, 0);
        result = ZAFOLDAPBrowserGroupEdit(host_, kSubjects, nullptr, item.text.c_str(), nullptr);
        EXPECT_EQ(result, 0);
        Texts expected = {std::string(kSubject) + " + gecos: " + item.text,
                          std::string(kSubjects) + " + description: " + item.text};
        if (!before.empty()) {
            expected.push_back(std::string(kSubject) + " - gecos: " + before);
            expected.push_back(std::string(kSubjects) + " - description: " + before);
        }
        EXPECT_THAT(Changes(), UnorderedElementsAreArray(expected));
        before = item.text;
        EXPECT_EQ(Get(kSubject)->szFullname, item.text);
        std::string description;
        GetGroup(kSubjects, &description);
        EXPECT_EQ(description, item.text);
    }
}

TEST_F(AwkwardAccounts, ValuesOfPlainAttributesAreStoredExactlyOrRefused) {
    for (const Case &item : kCases) {
        SCOPED_TRACE(item.text);
        Changes();
        ClearErrors();
        const int result =
            Edit(kSubject, {.home = item.text, .shell = item.text, .mail = item.text});
        if (item.ia5 == kRefused) {
            ExpectRefused(result);
            continue;
        }
        EXPECT_EQ(result, 0);
        const User user = Get(kSubject);
        EXPECT_EQ(user->pw_dir, item.text);
        EXPECT_EQ(user->pw_shell, item.text);
        EXPECT_EQ(user->szMail, item.text);
        EXPECT_THAT(Changes(), Each(StartsWith(kSubject)));
        for (const char *attribute : {"homeDirectory: ", "loginShell: ", "mail: "})
            EXPECT_EQ(Seen(kSubject).count(attribute + item.text), 1U) << attribute;
    }
}

// With everything awkward from the start, further attributes included.
TEST_F(AwkwardAccounts, UsersAreCreatedWithAwkwardTextsEverywhere) {
    Changes();
    Person person = {.name = "a%n, \"b\"",
                     .password = " %n\\\"' ü",
                     .uid = 5300,
                     .gid = 6300,
                     .fullname = " %s ",
                     .home = ": /h",
                     .shell = "< file:///etc/passwd",
                     .mail = "#%%@x"};
    ZAFOUSER record = person.Record();
    StringList extra;
    for (const char *text : {"description", " 100%% of %n", "title", "Ärztin", "odd"})
        QLIBCSzListPush(extra.Slot(), text);
    ASSERT_EQ(ZAFOLDAPBrowserUserCreate(host_, &record, *extra.Slot(), nullptr), 0);
    const std::string dn = OnlyOne('+');
    EXPECT_THAT(Seen(dn), IsSupersetOf({"gecos:  %s ", "homeDirectory: : /h",
                                        "loginShell: < file:///etc/passwd", "mail: #%%@x",
                                        "description:  100% of %n", "title: Ärztin"}));
    EXPECT_TRUE(LetsIn(dn, *person.password));
    EXPECT_FALSE(LetsIn(dn, "%n\\\"' ü"));
}

// Nothing listens there: if a tool had been run, the library error would show it.
TEST_F(AwkwardAccounts, LineBreaksAreRefusedBeforeAnythingRuns) {
    Connection nowhere(directory_);
    ZAFOLDAPHostSet(nowhere.Record(), LDAP_HOST_ATTR_URI, "127.0.0.1:1");
    const auto expect_refused = [&](int result) {
        EXPECT_EQ(result, -1);
        EXPECT_EQ(QLIBCErrGet(), QLIB_ERR_BAD_ARGUMENT);
        EXPECT_EQ(ZAFOLDAPErrGet(), 0);
        ClearErrors();
    };
    ClearErrors();
    for (const std::string text : {"a\nuidNumber: 0", "a\r", "\n", "a\n\ndn: cn=x"}) {
        SCOPED_TRACE(text);
        const Person whole = {.name = "n", .password = "p", .uid = 1, .gid = 1};
        std::vector<Person> people(5, whole);
        people[0].name = people[1].fullname = people[2].home = people[3].shell = people[4].mail =
            text;
        for (Person &person : people) {
            ZAFOUSER record = person.Record();
            expect_refused(ZAFOLDAPBrowserUserCreate(nowhere, &record, nullptr, nullptr));
            expect_refused(ZAFOLDAPBrowserUserEdit(nowhere, kSubject, &record, nullptr, nullptr));
        }
        ZAFOUSER fine = people[0].Record();
        fine.szName = const_cast<char *>("n");
        expect_refused(ZAFOLDAPBrowserUserCreate(nowhere, &fine, nullptr, text.c_str()));
        const char *const members[] = {"a", text.c_str(), nullptr};
        ZAFOGROUP *made = nullptr;
        ASSERT_EQ(ZAFOGroupAlloc(&made, "g", 1, members), 0);
        const Group group(made);
        expect_refused(ZAFOLDAPBrowserGroupCreate(nowhere, made, nullptr, nullptr, nullptr));
        expect_refused(
            ZAFOLDAPBrowserGroupEdit(nowhere, kSubjects, text.c_str(), nullptr, nullptr));
        expect_refused(
            ZAFOLDAPBrowserGroupEdit(nowhere, kSubjects, nullptr, text.c_str(), nullptr));
        expect_refused(ZAFOLDAPBrowserDeleteUser(nowhere, text.c_str()));
        expect_refused(ZAFOLDAPBrowserDeleteDN(nowhere, text.c_str()));
    }
}

}  // namespace
}  // namespace zafo::test
