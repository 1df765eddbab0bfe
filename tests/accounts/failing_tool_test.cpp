// SPDX-License-Identifier: Apache-2.0
//
// Look-ups and membership changes run several tools; each run fails in turn: with exit codes, by a
// signal, or because the tool is missing.
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <filesystem>
#include <optional>

#include "tests/accounts/reading_fixture.h"
#include "tests/core/without_tool.h"
#include "tests/rig/fake_tool_format.h"

namespace zafo::accounts_test::failing_tool {
namespace {

constexpr const char *kUserDN = "uid=ann,dc=x";
constexpr const char *kGroupDN = "cn=staff,dc=x";

constexpr const char *kGetNext = "ZAFOLDAPSearchGetNext get next failed";
constexpr const char *kGetNextWhy = "ZAFOLDAPSearchGetNext get next failed, %K";
constexpr const char *kInit = "search init failed[%P]";
constexpr const char *kNoName = "ZAFOLDAPUserDN2UID failed. [uid=ann,dc=x] ";
constexpr const char *kNoGid = "get gidNumber for [cn=staff,dc=x] failed.";
constexpr const char *kNoUsers = "find users whose gidNumber = 1000 failed.";
constexpr const char *kNoMembers = "ZAFOLDAPBrowserUserEnumByGroupDN failed. [cn=staff,dc=x] ";
constexpr const char *kNotModified = "ZAFOLDAPModify failed [ann] [%P]";

constexpr const char *kAnn = "dn: uid=ann,dc=x\nuid: ann\n\n";
constexpr const char *kStaff = "dn: cn=staff,dc=x\ncn: staff\ngidNumber: 1000\nmemberUid: ann\n\n";
const unsigned int kGid = 1000;

using Host = const ZAFOLDAP_HOST *;

// In log lines %K stands for the library error's key and code, %P for the platform's code.
struct Run {
    const char *name;
    std::vector<const char *> answers;  // to the preceding searches
    const char *tool;                   // fails after them
    int (*call)(Host);
    Texts log = {};
    Texts log_without_tool = {};
};

void PrintTo(const Run &run, std::ostream *out) {
    *out << run.name;
}

int GetUser(Host host) {
    ZAFOUSER *user = nullptr;
    const int result = ZAFOLDAPBrowserUserGet(host, kUserDN, &user, nullptr);
    EXPECT_EQ(user, nullptr);
    return result;
}

int GetGroup(Host host) {
    ZAFOGROUP *group = nullptr;
    char description[16] = "as it was";
    const int result = ZAFOLDAPBrowserGroupGet(host, kGroupDN, &group, description, 16);
    EXPECT_EQ(group, nullptr);
    EXPECT_STREQ(description, "as it was");
    return result;
}

int NotInGroup(Host host) {
    return ZAFOLDAPBrowserUserEnumNotInGroupDN(host, kGroupDN, List().Address());
}
int PrimaryUsers(Host host) {
    return ZAFOLDAPBrowserUserEnumByPrimaryGroup(host, kGroupDN, nullptr, List().Address());
}
int GroupsByDN(Host host) {
    return ZAFOLDAPBrowserGroupEnumByUserDN(host, kUserDN, nullptr, nullptr);
}
int AddByName(Host host) {
    return ZAFOLDAPBrowserGroupEditByUserUID(host, "ann", List{"cn=a"}.Get(), nullptr);
}
int AddByDN(Host host) {
    return ZAFOLDAPBrowserGroupEditByUserDN(host, kUserDN, List{"cn=a"}.Get(), nullptr);
}
int Rename(Host host) {
    return ZAFOLDAPBrowserGroupEditWhenUserUIDChange(host, "ann", "anna");
}
int RenameByDN(Host host) {
    return ZAFOLDAPBrowserGroupEditWhenUserUIDChangeByUserDN(host, kUserDN, "anna");
}

char g_name[64];

const Run kRuns[] = {
    {"ListUsers",
     {},
     "ldapsearch",
     [](Host host) { return ZAFOLDAPBrowserUserEnumAll(host, nullptr, nullptr); },
     {kGetNext}},
    {"ListGroups",
     {},
     "ldapsearch",
     [](Host host) { return ZAFOLDAPBrowserGroupEnumAll(host, nullptr, nullptr); },
     {kGetNext}},
    {"UsersOfANumber",
     {},
     "ldapsearch",
     [](Host host) { return ZAFOLDAPBrowserUserEnumByUIDNumber(host, 1, nullptr); },
     {kGetNext}},
    {"GroupsOfANumber",
     {},
     "ldapsearch",
     [](Host host) { return ZAFOLDAPBrowserGroupEnumByGIDNumber(host, 1, nullptr); },
     {kGetNext}},
    {"FirstDN",
     {},
     "ldapsearch",
     [](Host host) { return ZAFOLDAPBrowserGetFirstDN(host, "a=b", nullptr, 0); },
     {kGetNextWhy}},
    {"DNOfAUser",
     {},
     "ldapsearch",
     [](Host host) { return ZAFOLDAPBrowserGetDNByUserUID(host, "a", nullptr, 0); },
     {kGetNextWhy}},
    {"DNOfAGroup",
     {},
     "ldapsearch",
     [](Host host) { return ZAFOLDAPBrowserGetDNByGroupCN(host, "a", nullptr, 0); },
     {kGetNextWhy}},
    {"NameOfAUser",
     {},
     "ldapsearch",
     [](Host host) { return ZAFOLDAPPosixGetUserUID(host, kUserDN, g_name, sizeof g_name); }},
    {"NameOfAGroup",
     {},
     "ldapsearch",
     [](Host host) { return ZAFOLDAPPosixGetGroupCN(host, kUserDN, g_name, sizeof g_name); }},
    {"CountUsers",
     {},
     "ldapsearch",
     [](Host host) { return ZAFOLDAPBrowserStatUGNum(host, "user"); },
     {},
     {kInit}},
    {"CountGroups",
     {},
     "ldapsearch",
     [](Host host) { return ZAFOLDAPBrowserStatUGNum(host, "group"); },
     {},
     {kInit}},
    {"CheckListing", {}, "ldapsearch", ZAFOLDAPPosixCheckEnumUser, {}, {kInit}},
    {"CheckConnection",
     {},
     "ldapsearch",
     ZAFOLDAPClientCheckBindInfo,
     {"check enum failed, dn=[(null)], %K"},
     {kInit, "check enum failed, dn=[(null)], %K"}},
    {"GetUser", {}, "ldapsearch", GetUser, {kGetNext}},
    {"GetGroup", {}, "ldapsearch", GetGroup, {kGetNext}},
    {"GroupsOfAUser",
     {},
     "ldapsearch",
     [](Host host) { return ZAFOLDAPBrowserGroupEnumByUserUID(host, "ann", nullptr, nullptr); },
     {kGetNext}},
    {"GroupsByDN_Name", {}, "ldapsearch", GroupsByDN, {kNoName}, {kNoName}},
    {"GroupsByDN_Groups", {kAnn}, "ldapsearch", GroupsByDN, {kGetNext}},
    {"PrimaryUsers_Gid", {}, "ldapsearch", PrimaryUsers, {kNoGid}, {kNoGid}},
    {"PrimaryUsersByName_Gid",
     {},
     "ldapsearch",
     [](Host host) {
         return ZAFOLDAPBrowserUserEnumByPrimaryGroup(host, nullptr, "staff", List().Address());
     },
     {"get gidNumber for [staff] failed."},
     {"get gidNumber for [staff] failed."}},
    {"PrimaryUsers_Users", {kStaff}, "ldapsearch", PrimaryUsers, {kNoUsers}, {kNoUsers}},
    {"Members",
     {},
     "ldapsearch",
     [](Host host) { return ZAFOLDAPBrowserUserEnumByGroupDN(host, kGroupDN, List().Address()); },
     {kGetNext}},
    {"NotInGroup_Users",
     {},
     "ldapsearch",
     NotInGroup,
     {kGetNext, "list all users failed."},
     {"list all users failed."}},
    {"NotInGroup_Members", {kAnn}, "ldapsearch", NotInGroup, {kGetNext, kNoMembers}, {kNoMembers}},
    {"NotInGroup_Gid",
     {kAnn, kStaff},
     "ldapsearch",
     NotInGroup,
     {kNoGid, kNoMembers},
     {kNoGid, kNoMembers}},
    {"NotInGroup_Primary",
     {kAnn, kStaff, kStaff},
     "ldapsearch",
     NotInGroup,
     {kNoUsers, kNoMembers},
     {kNoUsers, kNoMembers}},
    {"Add_Groups",
     {},
     "ldapsearch",
     AddByName,
     {kGetNext, "get group list for user ann failed."},
     {"get group list for user ann failed."}},
    {"Add_Modify", {kStaff}, "ldapmodify", AddByName, {kNotModified}, {kNotModified}},
    {"AddByDN_Name", {}, "ldapsearch", AddByDN, {kNoName}, {kNoName}},
    {"AddByDN_Groups",
     {kAnn},
     "ldapsearch",
     AddByDN,
     {kGetNext, "get group list for user ann failed."},
     {"get group list for user ann failed."}},
    {"AddByDN_Modify", {kAnn, kStaff}, "ldapmodify", AddByDN, {kNotModified}, {kNotModified}},
    {"GroupSide_Modify",
     {},
     "ldapmodify",
     [](Host host) {
         return ZAFOLDAPBrowserUserEditByGroupDN(host, kGroupDN, List{"ann"}.Get(), nullptr);
     }},
    {"Rename_Groups", {}, "ldapsearch", Rename, {kGetNext}},
    {"Rename_Modify", {kStaff}, "ldapmodify", Rename, {kNotModified}, {kNotModified}},
    {"RenameByDN_Name", {}, "ldapsearch", RenameByDN, {kNoName}, {kNoName}},
    {"RenameByDN_Groups", {kAnn}, "ldapsearch", RenameByDN, {kGetNext}},
    {"RenameByDN_Modify", {kAnn, kStaff}, "ldapmodify", RenameByDN, {kNotModified}, {kNotModified}},
    {"GidChange_Modify",
     {kStaff},
     "ldapmodify",
     [](Host host) {
         return ZAFOLDAPBrowserGroupEditWhenUserGIDChange(host, "ann", &kGid, nullptr);
     },
     {kNotModified},
     {kNotModified}},
};

class FailingTool : public ReadingTest, public testing::WithParamInterface<Run> {
  protected:
    // Resets all state.
    void Clear() {
        tools_.Reset();
        log_.Clear();
        core_test::SetStaleCodes();
    }

    // Scripts the answers that precede the failing run.
    rig::FakeScript Prepare() {
        Clear();
        for (const char *answer : GetParam().answers)
            Answer(answer);
        return tools_.On(GetParam().tool);
    }

    // Removes the failing run's tool once the runs before it have been answered.
    void PrepareWithout(std::optional<core_test::WithoutTool> *without) {
        Clear();
        const auto &answers = GetParam().answers;
        if (answers.empty()) {
            without->emplace(GetParam().tool);
            return;
        }
        for (size_t i = 0; i + 1 < answers.size(); ++i)
            Answer(answers[i]);
        auto last = tools_.On("ldapsearch");
        without->emplace(GetParam().tool, last);
        last.IgnoreSignals().Output(answers.back());
    }

    void ExpectFailure(int ldap_code, int platform_code, const Texts &log) {
        EXPECT_EQ(GetParam().call(&host_), -1);
        ExpectSlots(ldap_code, platform_code);
        char platform[8];
        snprintf(platform, sizeof platform, "0x%04X", static_cast<unsigned>(platform_code));
        Texts expected = log;
        for (std::string &text : expected) {
            Replace(text, "%K",
                    std::string(ZAFOLDAPErrGetString(ldap_code, nullptr)) + " (" +
                        std::to_string(ldap_code) + ")");
            Replace(text, "%P", platform);
        }
        EXPECT_EQ(LoggedBesidesTheRunner(), expected);
    }

    static void Replace(std::string &text, const std::string &what, const std::string &with) {
        const size_t at = text.find(what);
        if (at != std::string::npos) text.replace(at, what.size(), with);
    }

    // The code that runs ldapmodify logs killed and missing tools itself.
    Texts LoggedBesidesTheRunner() {
        Texts texts;
        for (const std::string &message : log_.Messages()) {
            if (!message.starts_with("ldap_modify."))
                texts.push_back(message.substr(message.find(' ') + 1));
        }
        return texts;
    }
};
std::string NameOf(const testing::TestParamInfo<Run> &info) {
    return info.param.name;
}
INSTANTIATE_TEST_SUITE_P(Of, FailingTool, testing::ValuesIn(kRuns), NameOf);

TEST_P(FailingTool, ExitCodeIsTheLibraryError) {
    for (const int code : {1, 16, 20, 32, 49, 50, 53, 68, 80}) {
        SCOPED_TRACE(code);
        Prepare().Exit(code);
        ExpectFailure(code, kStalePlatformCode, GetParam().log);
        EXPECT_EQ(tools_.Calls().size(), GetParam().answers.size() + 1) << "nothing runs after it";
    }
}

TEST_P(FailingTool, KilledToolSetsNoError) {
    Prepare().Die(SIGKILL);
    ExpectFailure(kStaleLdapCode, kStalePlatformCode, GetParam().log);
}

TEST_P(FailingTool, MissingToolIsNotOpened) {
    std::optional<core_test::WithoutTool> without;
    PrepareWithout(&without);
    ExpectFailure(kStaleLdapCode, 0x0900, GetParam().log_without_tool);
    EXPECT_EQ(tools_.Calls().size(), GetParam().answers.size()) << "nothing runs in its place";
}

class GidChange : public ReadingTest {};

TEST_F(GidChange, NumbersThatCannotBeLookedUpAreThoseOfNoGroup) {
    const unsigned int other = 2000;
    tools_.On("ldapsearch").Output("dn: cn=old\n\n").Exit(4);
    tools_.On("ldapsearch").Output("dn: cn=new\n\n");
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditWhenUserGIDChange(&host_, "ann", &kGid, &other), 0);
    EXPECT_THAT(LoggedTexts(), ElementsAre(kGetNext));
    const auto calls = tools_.Calls();
    ASSERT_EQ(calls.size(), 3u);
    const std::string &file = calls[2].files.begin()->second.content;
    EXPECT_THAT(file, testing::StartsWith("dn: cn=new\n"));
    EXPECT_THAT(file, testing::Not(testing::HasSubstr("cn=old")));
}

class ChangeFileTrouble : public ReadingTest {
  protected:
    int Run(int names) {
        List added;
        for (int i = 0; i < names; ++i)
            QLIBCSzListPush(added.Address(), "somebody");
        return ZAFOLDAPBrowserUserEditByGroupDN(&host_, "cn=staff", added.Get(), nullptr);
    }
};

// "delete: memberUid" alone would mean every member.
TEST_F(ChangeFileTrouble, FileThatTheDiskCutsShortIsNotRun) {
    for (const int names : {1, 2000}) {  // cut off at the flush, and before it
        rlimit before{};
        getrlimit(RLIMIT_FSIZE, &before);
        const rlimit little{64, before.rlim_max};
        const auto handler = signal(SIGXFSZ, SIG_IGN);
        setrlimit(RLIMIT_FSIZE, &little);
        const int result = Run(names);
        setrlimit(RLIMIT_FSIZE, &before);
        signal(SIGXFSZ, handler);
        EXPECT_EQ(result, -1);
        ExpectSlots(kStaleLdapCode, 0x0B00);
    }
    EXPECT_THAT(tools_.Calls(), IsEmpty());
    EXPECT_EQ(Run(2000), 0) << "with room it is run";
}

// Fills "/tmp" until no name can be added; the fake tools' folder remains in it.
class NoMoreNames {
  public:
    NoMoreNames() {
        std::filesystem::create_directory(kAside);
        mounted_ = mount(kTools, kAside, nullptr, MS_BIND, nullptr) == 0 &&
                   mount("none", "/tmp", "tmpfs", 0, "nr_inodes=2") == 0 &&
                   mkdir(kTools, 0777) == 0 &&
                   mount(kAside, kTools, nullptr, MS_BIND, nullptr) == 0;
    }
    ~NoMoreNames() {
        for (const char *folder : {kTools, "/tmp", kAside})
            umount2(folder, MNT_DETACH);
        std::filesystem::remove(kAside);
    }
    NoMoreNames(const NoMoreNames &) = delete;
    NoMoreNames &operator=(const NoMoreNames &) = delete;
    bool Mounted() const { return mounted_; }

  private:
    static constexpr const char *kTools = rig::fake::kStateFolder;
    static constexpr const char *kAside = "/fake-tools-aside";
    bool mounted_ = false;
};

TEST_F(ChangeFileTrouble, FileThatCannotBeMadeIsNotOpened) {
    Answer(kStaff);
    const NoMoreNames full;
    if (!full.Mounted()) GTEST_SKIP() << "no file system can be mounted here";
    EXPECT_EQ(Run(1), -1);
    ExpectSlots(kStaleLdapCode, 0x0900);
    EXPECT_EQ(AddByName(&host_), -1);
    EXPECT_EQ(Rename(&host_), -1);
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditWhenUserGIDChange(&host_, "ann", &kGid, nullptr), -1);
    ExpectSlots(kStaleLdapCode, 0x0900);
    for (const rig::FakeCall &call : tools_.Calls())
        EXPECT_EQ(call.tool, "ldapsearch");
    EXPECT_THAT(LoggedTexts(), testing::Contains(testing::HasSubstr(": No space left on device")));
}

}  // namespace
}  // namespace zafo::accounts_test::failing_tool
