// SPDX-License-Identifier: Apache-2.0
//
// New users: the record that is added, and the steps before and after.
#include <cstdio>
#include <ctime>
#include <optional>

#include "tests/foreign/change_fixture.h"

namespace zafo::foreign::user_create_test {

const std::string kBase = "dc=x,dc=example";
const std::string kDN = "uid=ann,cn=users," + kBase;
const std::string kCrypt = "{CRYPT}$1$ab$0123456789abcdefghijkl";
const std::string kByName = "(&(objectClass=posixAccount)(uid=ann))";
const std::string kByNumber = "(&(objectClass=posixAccount)(uidNumber=2001))";

constexpr unsigned kTop = 0x1;
constexpr unsigned kPosix = 0x20;
constexpr unsigned kSamba = 0x800;
constexpr unsigned kAll = 0x1fff;

// A platform record over the test's own texts.
struct User {
    std::optional<std::string> name = "ann";
    std::optional<std::string> password = "geheim";
    uint32_t uid = 2001;
    uint32_t gid = 100;
    std::optional<std::string> full_name = "Ann Example";
    std::optional<std::string> folder = "/homes/ann";
    std::optional<std::string> shell = "/bin/bash";
    long expire = 20000;
    int may_not_change = 0;
    std::optional<std::string> mail = "ann@x.example";

    ZAFOUSER *Record() {
        record_.szName = Text(name);
        record_.szPasswd = Text(password);
        record_.pw_uid = uid;
        record_.pw_gid = gid;
        record_.szFullname = Text(full_name);
        record_.pw_dir = Text(folder);
        record_.pw_shell = Text(shell);
        record_.nExpire = expire;
        record_.blDisallowChangePasswd = may_not_change;
        record_.szMail = Text(mail);
        record_.nType = 1;
        return &record_;
    }
    // Whether the record's password points to the test's text again.
    bool HasItsPassword() { return record_.szPasswd == Text(password); }

  private:
    static char *Text(std::optional<std::string> &text) { return text ? text->data() : nullptr; }
    ZAFOUSER record_{};
};

using Creator = int (*)(const ZAFOLDAP_HOST *, ZAFOUSER *, const QLIBSZLIST *, const char *);
constexpr Creator kCreators[] = {ZAFOLDAPBrowserUserCreate,
                                 ZAFOLDAPBrowserUserCreateWithCryptedPass};

class UserCreate : public ChangeTest {
  protected:
    void SetUp() override {
        ChangeTest::SetUp();
        host_.schema = kTop | kPosix;
    }
    int Create(Creator creator = ZAFOLDAPBrowserUserCreate, const QLIBSZLIST *extra = nullptr,
               const char *container = nullptr) {
        if (creator == ZAFOLDAPBrowserUserCreate && user_.password)
            platform().On("slappasswd").Prints(kCrypt + "\n");
        start_ = time(nullptr);
        const int result = creator(host_, user_.Record(), extra, container);
        end_ = time(nullptr);
        EXPECT_TRUE(user_.HasItsPassword());
        return result;
    }
    // The lines that were added; values from the clock become "DAYS" and "SECONDS".
    Strings Added() {
        const Strings changes = Changes();
        EXPECT_FALSE(changes.empty());
        if (changes.empty()) return {};
        Strings lines = Lines(changes.back());
        for (std::string &line : lines) {
            Between(line, "shadowLastChange: ", start_ / 86400, end_ / 86400, "DAYS");
            Between(line, "sambaPwdLastSet: ", start_, end_, "SECONDS");
        }
        return lines;
    }
    static void Between(std::string &line, const std::string &name, time_t lowest, time_t highest,
                        const char *word) {
        if (line.find(name) != 0) return;
        const std::string number = line.substr(name.size());
        for (time_t value = lowest; value <= highest; ++value)
            if (number == std::to_string(value)) line = name + word;
    }
    void AnswerSid() {
        platform().On("ldapsearch", "sambaSID").Prints(Entry("cn=d", {{"sambaSID", "S-1-5-21"}}));
        platform().On("ldapsearch", "sambaSID").Prints(Entry("cn=d", {{"sambaSID", "S-1-5-21"}}));
        platform()
            .On("ldapsearch", "sambaNextUserRid")
            .Prints(Entry("cn=d", {{"sambaNextUserRid", "1000"}}));
    }
    Strings Posix(const std::string &password_line) {
        return {"dn: " + kDN,
                "changetype: add",
                "objectClass: top",
                "cn: ann",
                "uid: ann",
                "gecos: Ann Example",
                password_line,
                "uidNumber: 2001",
                "gidNumber: 100",
                "loginShell: /bin/bash",
                "homeDirectory: /homes/ann",
                "objectClass: posixAccount"};
    }
    static Strings Joined(Strings first, const Strings &second) {
        first.insert(first.end(), second.begin(), second.end());
        return first;
    }
    std::string ValueOf(const std::string &name) {
        for (const std::string &line : Added())
            if (line.find(name + ": ") == 0) return line.substr(name.size() + 2);
        return "(none)";
    }
    int CountOf(const std::string &name) {
        int count = 0;
        for (const std::string &line : Added())
            count += line.find(name + ":") == 0 ? 1 : 0;
        return count;
    }

    User user_;
    Host host_;
    time_t start_ = 0;
    time_t end_ = 0;
};
ZAFO_FOREIGN_SUITE(UserCreate);

TEST_P(UserCreate, WritesThePosixLinesOnAPlainServer) {
    EXPECT_EQ(Create(), 0);
    EXPECT_EQ(Added(), Posix("userPassword: " + kCrypt));
}

TEST_P(UserCreate, WritesACryptedPasswordAfterItsScheme) {
    user_.password = "$1$ab$crypted";
    EXPECT_EQ(Create(ZAFOLDAPBrowserUserCreateWithCryptedPass), 0);
    EXPECT_EQ(Added(), Posix("userPassword: {CRYPT}$1$ab$crypted"));
    EXPECT_EQ(Tools(), (Strings{"ldapsearch", "ldapsearch", "ldapmodify"}));
    EXPECT_EQ(Log(), Strings{});
    ExpectSlotsUntouched();
}

const Strings kShadow = {"shadowLastChange: DAYS", "shadowMin: 0",
                         "shadowMax: 99999",       "shadowWarning: 7",
                         "shadowExpire: 20000",    "shadowInactive: 0",
                         "shadowFlag: 0",          "objectClass: shadowAccount"};
const Strings kPersons = {"sn: ann", "objectClass: person", "objectClass: organizationalPerson",
                          "mail: ann@x.example", "objectClass: inetOrgPerson"};
const Strings kApple = {"objectClass: apple-user", "authAuthority: ;basic;"};
const std::string kHistory =
    "sambaPasswordHistory: 0000000000000000000000000000000000000000000000000000000000000000";
const Strings kSambaEnd = {
    kHistory,           "sambaPwdLastSet: SECONDS",     "sambaAcctFlags: [U          ]",
    "displayName: ann", "objectClass: sambaSamAccount", "objectClass: sambaIdmapEntry"};

TEST_P(UserCreate, WritesEveryGroupThatTheServerKnowsInOrder) {
    host_.schema = kAll;
    AnswerSid();
    EXPECT_EQ(Create(), 0);
    Strings expected = Posix("userPassword: " + kCrypt);
    expected = Joined(expected, kShadow);
    expected = Joined(expected, kPersons);
    expected = Joined(expected, kApple);
    expected = Joined(expected,
                      {"sambaSID: S-1-5-21-1000", "sambaNTPassword: " + Platform::NtHash("geheim"),
                       "sambaLMPassword: XXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXX"});
    expected = Joined(expected, kSambaEnd);
    expected = Joined(expected, {"objectClass: extensibleObject"});
    EXPECT_EQ(Added(), expected);
    EXPECT_EQ(platform().CallsOf("QLIBSmbNtEncrypt").at(0).arguments, (Strings{"geheim", "33"}));
}

TEST_P(UserCreate, WritesNoSambaHashesOfACryptedPassword) {
    host_.schema = kAll;
    user_.password = "xx";
    AnswerSid();
    EXPECT_EQ(Create(ZAFOLDAPBrowserUserCreateWithCryptedPass), 0);
    Strings expected = Posix("userPassword: {CRYPT}xx");
    expected = Joined(expected, kShadow);
    expected = Joined(expected, kPersons);
    expected = Joined(expected, kApple);
    expected = Joined(expected, {"sambaSID: S-1-5-21-1000"});
    expected = Joined(expected, kSambaEnd);
    expected = Joined(expected, {"objectClass: extensibleObject"});
    EXPECT_EQ(Added(), expected);
    EXPECT_EQ(platform().CallsOf("QLIBSmbNtEncrypt").size(), 0U);
}

struct Group {
    unsigned bit;
    Strings lines;
};
const Group kGroups[] = {
    {0x1, {"objectClass: top"}},
    {0x2, {}},
    {0x4, {"objectClass: extensibleObject"}},
    {0x8, {"objectClass: organizationalPerson"}},
    {0x10, {"sn: ann", "objectClass: person"}},
    {0x40, {}},
    {0x80, {"mail: ann@x.example", "objectClass: inetOrgPerson"}},
    {0x100, kShadow},
    {0x200, kApple},
    {0x400, {}},
    {0x1000, {}},
};

TEST_P(UserCreate, WritesEachGroupByItsOwnBit) {
    List extra{"description", "one"};
    for (const Group &group : kGroups)
        for (const Creator creator : kCreators) {
            platform().Forget();
            host_ = {};
            host_.schema = group.bit;
            EXPECT_EQ(Create(creator, extra), 0) << group.bit;
            Strings expected{"dn: " + kDN, "changetype: add"};
            expected = Joined(expected, group.lines);
            EXPECT_EQ(Added(), Joined(expected, {"description: one"})) << group.bit;
        }
}

TEST_P(UserCreate, GoesThroughItsStepsInOrder) {
    host_.schema = kTop | kPosix | kSamba;
    AnswerSid();
    EXPECT_EQ(Create(), 0);
    EXPECT_EQ(Tools(),
              (Strings{"ldapsearch", "ldapsearch", "slappasswd", "ldapsearch", "ldapsearch",
                       "ldapsearch", "ldapmodify", "ldapmodify", "ldappasswd", "ldapsearch"}));
    const auto searches = Searches();
    EXPECT_EQ(searches.at(0), SearchVector({"-b", kBase.c_str(), kByName.c_str()}));
    EXPECT_EQ(searches.at(1), SearchVector({"-b", kBase.c_str(), kByNumber.c_str(), "dn"}));
    EXPECT_EQ(searches.at(5).at(9), "automountKey=*,automountMapName=auto_home," + kBase);
    const Run passwd = platform().RunsOf("ldappasswd").at(0);
    EXPECT_EQ(passwd.argv,
              (Strings{"-x", "-H", "ldap://ldap.x.example", "-D", "cn=admin,dc=x,dc=example", "-w",
                       "secret", "-s", "geheim", kDN}));
    EXPECT_EQ(platform().RunsOf("slappasswd").at(0).argv.at(3), "geheim");
}

TEST_P(UserCreate, CreatesInTheGivenContainer) {
    for (const Creator creator : kCreators) {
        platform().Forget();
        EXPECT_EQ(Create(creator, nullptr, "ou=staff,ou=y"), 0);
        EXPECT_EQ(Added().at(0), "dn: uid=ann,ou=staff,ou=y," + kBase);
    }
    platform().Forget();
    EXPECT_EQ(Create(ZAFOLDAPBrowserUserCreate, nullptr, "ou=staff"), 0);
    EXPECT_EQ(platform().RunsOf("ldappasswd").at(0).argv.back(), "uid=ann,ou=staff," + kBase);
}

TEST_P(UserCreate, HasDefaultsForShellAndFolder) {
    for (const Creator creator : kCreators)
        for (const bool empty : {false, true}) {
            platform().Forget();
            user_.shell = empty ? std::optional<std::string>("") : std::nullopt;
            user_.folder = empty ? std::nullopt : std::optional<std::string>("");
            EXPECT_EQ(Create(creator), 0);
            EXPECT_EQ(ValueOf("loginShell"), "/bin/sh");
            EXPECT_EQ(ValueOf("homeDirectory"), "/home/ann");
        }
}

TEST_P(UserCreate, LeavesOutAnEmptyFullNameAndMail) {
    host_.schema = kAll & ~kSamba;
    for (const bool empty : {false, true}) {
        platform().Forget();
        user_.full_name = empty ? std::optional<std::string>("") : std::nullopt;
        user_.mail = user_.full_name;
        EXPECT_EQ(Create(), 0);
        EXPECT_EQ(CountOf("gecos"), 0);
        EXPECT_EQ(CountOf("mail"), 0);
        EXPECT_EQ(CountOf("objectClass"), 8);
    }
}

TEST_P(UserCreate, DoesWithoutAPassword) {
    host_.schema = kTop | kPosix | kSamba;
    user_.password.reset();
    for (const Creator creator : kCreators) {
        platform().Forget();
        AnswerSid();
        EXPECT_EQ(Create(creator), 0);
        EXPECT_EQ(ValueOf("userPassword"), "");
        EXPECT_EQ(CountOf("userPassword"), 1);
        EXPECT_EQ(CountOf("sambaNTPassword"), 0);
        EXPECT_EQ(CountOf("sambaLMPassword"), 0);
        EXPECT_EQ(ValueOf("sambaSID"), "S-1-5-21-1000");
        EXPECT_EQ(platform().RunsOf("slappasswd").size(), 0U);
        EXPECT_EQ(platform().RunsOf("ldappasswd").size(), 0U);
    }
}

TEST_P(UserCreate, HashesAndSetsAnEmptyPassword) {
    user_.password = "";
    EXPECT_EQ(Create(), 0);
    EXPECT_EQ(platform().RunsOf("slappasswd").at(0).argv.at(3), "");
    EXPECT_EQ(ValueOf("userPassword"), kCrypt);
    const Strings passwd = platform().RunsOf("ldappasswd").at(0).argv;
    EXPECT_EQ(Strings(passwd.end() - 3, passwd.end()), (Strings{"-s", "", kDN}));
}

TEST_P(UserCreate, KeepsAUserFromChangingThePassword) {
    host_.schema = kTop | kPosix | 0x100;
    const std::pair<int, const char *> cases[] = {{1, "100000"}, {0, "0"}, {2, "0"}, {-1, "0"}};
    for (const auto &[flag, expected] : cases) {
        platform().Forget();
        user_.may_not_change = flag;
        EXPECT_EQ(Create(), 0);
        EXPECT_EQ(ValueOf("shadowMin"), expected) << flag;
    }
}

TEST_P(UserCreate, PrintsNumbersAsTheyAre) {
    host_.schema = kTop | kPosix | 0x100;
    user_.uid = 4294967294U;
    user_.gid = 4294967295U;
    user_.expire = -1;
    EXPECT_EQ(Create(), 0);
    EXPECT_EQ(ValueOf("uidNumber"), "4294967294");
    EXPECT_EQ(ValueOf("gidNumber"), "4294967295");
    EXPECT_EQ(ValueOf("shadowExpire"), "-1");
    EXPECT_EQ(Last(Searches().at(1)), "dn");
    EXPECT_EQ(Searches().at(1).at(10), "(&(objectClass=posixAccount)(uidNumber=4294967294))");
}

TEST_P(UserCreate, TakesTextsThatLookLikeFormatsAsTheyAre) {
    user_.full_name = "100%s %n";
    user_.folder = "/homes/%d";
    user_.shell = "/bin/%s";
    user_.password = "%s%n";
    EXPECT_EQ(Create(ZAFOLDAPBrowserUserCreateWithCryptedPass), 0);
    EXPECT_EQ(ValueOf("gecos"), "100%s %n");
    EXPECT_EQ(ValueOf("homeDirectory"), "/homes/%d");
    EXPECT_EQ(ValueOf("loginShell"), "/bin/%s");
    EXPECT_EQ(ValueOf("userPassword"), "{CRYPT}%s%n");
}

TEST_P(UserCreate, WritesExtraPairsAfterAllOthers) {
    List extra{"description", "a b", "title", "boss", "odd"};
    host_.schema = kTop | kPosix | 0x4;
    EXPECT_EQ(Create(ZAFOLDAPBrowserUserCreate, extra), 0);
    EXPECT_EQ(Added(),
              Joined(Posix("userPassword: " + kCrypt),
                     {"objectClass: extensibleObject", "description: a b", "title: boss"}));
}

TEST_P(UserCreate, ReadsExtraValuesAsFormats) {
    List extra{"description", "100%% sure"};
    for (const Creator creator : kCreators) {
        platform().Forget();
        EXPECT_EQ(Create(creator, extra), 0);
        EXPECT_EQ(ValueOf("description"), "100% sure");
    }
}

TEST_P(UserCreate, IgnoresAnExtraListOfOneItemAndAThird) {
    List one{"description"};
    List three{"description", "a", "title"};
    List none;
    for (const Creator creator : kCreators) {
        platform().Forget();
        EXPECT_EQ(Create(creator, one), 0);
        EXPECT_EQ(Last(Added()), "objectClass: posixAccount");
        EXPECT_EQ(Create(creator, none), 0);
        EXPECT_EQ(Last(Added()), "objectClass: posixAccount");
        EXPECT_EQ(Create(creator, three), 0);
        EXPECT_EQ(Last(Added()), "description: a");
    }
}

TEST_P(UserCreate, StopsAtATakenName) {
    for (const Creator creator : kCreators) {
        platform().Forget();
        Stale();
        platform().On("ldapsearch", kByName).Prints(Entry("uid=ann,ou=y," + kBase, {}));
        EXPECT_EQ(creator(host_, user_.Record(), nullptr, nullptr), -1);
        EXPECT_EQ(LibraryError(), -65538);
        EXPECT_EQ(PlatformError(), kStalePlatformError);
        EXPECT_EQ(Tools(), Strings{"ldapsearch"});
        EXPECT_EQ(Log(), Strings{});
    }
}

TEST_P(UserCreate, TreatsANameThatCannotBeLookedUpAsTaken) {
    for (const Creator creator : kCreators) {
        platform().Forget();
        platform().On("ldapsearch", kByName).Exits(50);
        EXPECT_EQ(creator(host_, user_.Record(), nullptr, nullptr), -1);
        EXPECT_EQ(LibraryError(), -65538);
        EXPECT_EQ(Tools(), Strings{"ldapsearch"});
        platform().On("ldapsearch", kByName).CannotStart();
        EXPECT_EQ(creator(host_, user_.Record(), nullptr, nullptr), -1);
        EXPECT_EQ(LibraryError(), -65538);
    }
}

TEST_P(UserCreate, StopsAtATakenNumber) {
    for (const Creator creator : kCreators) {
        platform().Forget();
        Stale();
        platform().On("ldapsearch", kByNumber).Prints(Entry("uid=bob," + kBase, {}));
        EXPECT_EQ(creator(host_, user_.Record(), nullptr, nullptr), -1);
        EXPECT_EQ(LibraryError(), -65540);
        EXPECT_EQ(Tools(), (Strings{"ldapsearch", "ldapsearch"}));
        EXPECT_EQ(Log(), Strings{});
        platform().On("ldapsearch", kByNumber).Exits(11);
        EXPECT_EQ(creator(host_, user_.Record(), nullptr, nullptr), -1);
        EXPECT_EQ(LibraryError(), -65540);
    }
}

TEST_P(UserCreate, EndsWhenThePasswordCannotBeHashed) {
    platform().On("slappasswd").CannotStart();
    EXPECT_EQ(ZAFOLDAPBrowserUserCreate(host_, user_.Record(), nullptr, nullptr), -1);
    EXPECT_TRUE(user_.HasItsPassword());
    EXPECT_EQ(PlatformError(), 0x0900);
    EXPECT_EQ(Log(), Strings{"Popen failed [0x0900]"});
    EXPECT_EQ(Tools(), (Strings{"ldapsearch", "ldapsearch", "slappasswd"}));
}

TEST_P(UserCreate, WritesAnEmptySidThatCannotBeMade) {
    host_.schema = kTop | kPosix | kSamba;
    for (const Creator creator : kCreators) {
        platform().Forget();
        platform().On("ldapsearch", "sambaSID").Exits(32);
        EXPECT_EQ(Create(creator), 0);
        EXPECT_EQ(CountOf("sambaSID"), 1);
        EXPECT_EQ(ValueOf("sambaSID"), "");
        EXPECT_EQ(ValueOf("displayName"), "ann");
    }
}

TEST_P(UserCreate, ContinuesWithoutAnNtHash) {
    host_.schema = kTop | kPosix | kSamba;
    AnswerSid();
    platform().Fail("QLIBSmbNtEncrypt", 1, -1, 0x0F00);
    EXPECT_EQ(Create(), 0);
    EXPECT_EQ(CountOf("sambaNTPassword"), 1);
    EXPECT_EQ(ValueOf("sambaLMPassword"), std::string(32, 'X'));
    EXPECT_EQ(ValueOf("displayName"), "ann");
}

TEST_P(UserCreate, WritesTheWholeEntryOrNoneWhereAListDoesNotGiveAnItem) {
    List extra{"title", "Dr"};
    ExpectWholeChangeOrNone(
        [&] { return Create(ZAFOLDAPBrowserUserCreateWithCryptedPass, extra); });
}

TEST_P(UserCreate, TerminatesAnUnterminatedNtHashInItsBuffer) {
    host_.schema = kTop | kPosix | kSamba;
    AnswerSid();
    platform().Fills("QLIBSmbNtEncrypt");
    EXPECT_EQ(Create(), 0);
    EXPECT_EQ(ValueOf("sambaNTPassword"), std::string(32, 'x'));
}

TEST_P(UserCreate, EndsWhenTheServerRefusesTheEntry) {
    for (const Creator creator : kCreators) {
        platform().Forget();
        Stale();
        platform().On("ldapmodify").Exits(68);
        EXPECT_EQ(Create(creator), -1);
        EXPECT_EQ(LibraryError(), 68);
        EXPECT_EQ(PlatformError(), kStalePlatformError);
        EXPECT_EQ(Last(Tools()), "ldapmodify");
        EXPECT_EQ(Log(), creator == ZAFOLDAPBrowserUserCreate
                             ? Strings{}
                             : Strings{"ZAFOLDAPModify failed [ann] [0x7777]"});
    }
}

TEST_P(UserCreate, EndsWhenTheEntryCannotBeSent) {
    for (const Creator creator : kCreators) {
        platform().Forget();
        Stale();
        platform().On("ldapmodify").CannotStart();
        EXPECT_EQ(Create(creator), -1);
        EXPECT_EQ(LibraryError(), kStaleLibraryError);
        EXPECT_EQ(PlatformError(), 0x0900);
        Strings expected{"Execute [] failed!"};
        if (creator != ZAFOLDAPBrowserUserCreate)
            expected.push_back("ZAFOLDAPModify failed [ann] [0x0900]");
        EXPECT_EQ(Log(), expected);
    }
}

TEST_P(UserCreate, LeavesTheEntryWhosePasswordCannotBeSet) {
    platform().On("ldappasswd").Exits(53);
    EXPECT_EQ(Create(), -1);
    EXPECT_EQ(Log(), (Strings{"Failed to set password for " + kDN + " (err=53)",
                              "ZAFOLDAPPasswd failed. [" + kDN + "]"}));
    EXPECT_EQ(Last(Tools()), "ldappasswd");
    EXPECT_EQ(Changes().size(), 1U);
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
}

TEST_P(UserCreate, IgnoresAHomeFolderThatCannotBeMade) {
    platform().On("ldapsearch", "automountKey=*").Exits(32);
    EXPECT_EQ(Create(), 0);
}

TEST_P(UserCreate, LeavesNoChangeFile) {
    EXPECT_EQ(Create(), 0);
    const Run run = platform().RunsOf("ldapmodify").at(0);
    for (size_t i = 0; i + 1 < run.argv.size(); ++i)
        if (run.argv[i] == "-f") {
            EXPECT_FALSE(Exists(run.argv[i + 1]));
        }
    EXPECT_EQ(run.change_mode & 077U, 0U);
    platform().On("slappasswd").Exits(1);
    ZAFOLDAP_LDIF next;
    EXPECT_EQ(ZAFOLDAPBrowserUserCreate(host_, user_.Record(), nullptr, nullptr), -1);
    // The number after that of the file opened by the failed call.
    ASSERT_EQ(ZAFOLDAPLdifInit(&next, nullptr), 0);
    int pid = 0;
    int sequence = 0;
    EXPECT_EQ(sscanf(next.szPath, "/tmp/%d_%d.ldif", &pid, &sequence), 2);
    EXPECT_FALSE(
        Exists("/tmp/" + std::to_string(pid) + "_" + std::to_string(sequence - 1) + ".ldif"));
    ZAFOLDAPLdifClose(&next);
    ZAFOLDAPLdifUnlink(&next);
}

TEST_P(UserCreate, FailsWithoutAChangeFile) {
    for (const Creator creator : kCreators) {
        platform().Forget();
        const NoDescriptors none;
        EXPECT_EQ(creator(host_, user_.Record(), nullptr, nullptr), -1);
        EXPECT_TRUE(user_.HasItsPassword());
        EXPECT_EQ(PlatformError(), 0x0900);
        EXPECT_EQ(Tools(), (Strings{"ldapsearch", "ldapsearch"}));
    }
}

TEST_P(UserCreate, ReadsTheDisplayedNameAsAFormat) {
    user_.name = "100%%";
    host_.schema = kPosix | kSamba;
    for (const Creator creator : kCreators) {
        platform().Forget();
        AnswerSid();
        EXPECT_EQ(Create(creator), 0);
        EXPECT_EQ(ValueOf("cn"), "100%%");
        EXPECT_EQ(ValueOf("displayName"), "100%");
    }
}

TEST_P(UserCreate, CutsAPasswordValueAfter16383Characters) {
    user_.password = std::string(20000, 'p');
    EXPECT_EQ(Create(ZAFOLDAPBrowserUserCreateWithCryptedPass), 0);
    EXPECT_EQ(ValueOf("userPassword").size(), 16383U);
    platform().Forget();
    platform().On("slappasswd").Prints(std::string(20000, 'h') + "\n");
    EXPECT_EQ(ZAFOLDAPBrowserUserCreate(host_, user_.Record(), nullptr, nullptr), 0);
    EXPECT_EQ(ValueOf("userPassword").size(), 16383U);
}

TEST_P(UserCreate, ChecksItsArgumentsInOrder) {
    for (const Creator creator : kCreators) {
        User user;
        user.name.reset();
        user.uid = 4294967295U;
        Host nowhere;
        nowhere.uri.reset();
        nowhere.base.reset();
        Host baseless;
        baseless.base.reset();
        ExpectArgumentFailure("((void *)0) != pHost",
                              [&] { return creator(nullptr, nullptr, nullptr, nullptr); });
        ExpectArgumentFailure("NULL != pHost->szUri",
                              [&] { return creator(nowhere, nullptr, nullptr, nullptr); });
        ExpectArgumentFailure("((void *)0) != pHost->szBaseDN",
                              [&] { return creator(baseless, nullptr, nullptr, nullptr); });
        ExpectArgumentFailure("((void *)0) != pUser",
                              [&] { return creator(host_, nullptr, nullptr, nullptr); });
        ExpectArgumentFailure("((void *)0) != pUser->szName",
                              [&] { return creator(host_, user.Record(), nullptr, nullptr); });
        user.name = "";
        ExpectArgumentFailure("'\\0' != pUser->szName[0]",
                              [&] { return creator(host_, user.Record(), nullptr, nullptr); });
        user.name = "ann";
        ExpectArgumentFailure("UID_ERR != pUser->pw_uid",
                              [&] { return creator(host_, user.Record(), nullptr, nullptr); });
    }
}

}  // namespace zafo::foreign::user_create_test
