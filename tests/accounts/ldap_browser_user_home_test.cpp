// SPDX-License-Identifier: Apache-2.0
//
// Home folders: a scripted directory, and a real file system under the real mount(8).
#include "platform/error.h"
#include "tests/accounts/accounts_fixture.h"
#include "tests/accounts/home_fixture.h"

namespace zafo::core_test {
namespace {

using test::kAnnsFolder;
using test::Ownership;
using test::OwnershipOf;
using test::User;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;
namespace fs = std::filesystem;

class HomeTest : public AccountsTest {
  protected:
    HomeTest() { host_.szLoginSuffix = "example.com"; }
    const test::Exports exports_;
    const std::string point_ = test::Exports::MountPoint();
};

// --- one folder in a given export --------------------------------------------

class HomeCreateEx : public HomeTest {
  protected:
    int Create(const char *name = "ann") {
        const User user(name);
        return ZAFOLDAPBrowserUserHomeCreateEx("server:/homes", &user);
    }
    const fs::path homes_ = exports_.Add();
};

TEST_F(HomeCreateEx, FolderIsTheUsersAlone) {
    SKIP_UNLESS_FOLDERS_CAN_BE_GIVEN_AWAY();
    for (mode_t mask : {0U, 022U, 077U, 0777U}) {
        fs::remove(homes_ / "ann");
        const mode_t earlier = umask(mask);
        EXPECT_EQ(Create(), 0);
        umask(earlier);
        EXPECT_EQ(OwnershipOf(homes_ / "ann"), kAnnsFolder);
    }
    EXPECT_THAT(exports_.Mounted(), SizeIs(4));
    EXPECT_EQ(exports_.Mounted().back(), exports_.MountCall("server:/homes"));
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(HomeCreateEx, FolderThatExistsIsLeftAlone) {
    fs::create_directory(homes_ / "ann");
    fs::permissions(homes_ / "ann", fs::perms::others_all);
    std::ofstream(homes_ / "ann" / "kept") << "kept";
    const Ownership before = OwnershipOf(homes_ / "ann");
    EXPECT_EQ(Create(), 0);
    EXPECT_EQ(OwnershipOf(homes_ / "ann"), before);
    EXPECT_TRUE(fs::exists(homes_ / "ann" / "kept"));
}

TEST_F(HomeCreateEx, PlainFileOfThatNameIsAFailureWithoutALogLine) {
    std::ofstream(homes_ / "ann") << "a file";
    EXPECT_EQ(Create(), -1);
    EXPECT_EQ(ContentOf(homes_ / "ann"), "a file");
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(HomeCreateEx, PlantedLinkIsNotFollowed) {
    const fs::path victim = exports_.Add("/victim");
    const Ownership before = OwnershipOf(victim);
    for (const fs::path &target : {victim, victim / "new", fs::path("/etc")}) {
        fs::remove(homes_ / "ann");
        fs::create_symlink(target, homes_ / "ann");
        EXPECT_EQ(Create(), -1) << target;
    }
    EXPECT_EQ(OwnershipOf(victim), before);
    EXPECT_TRUE(fs::is_empty(victim));
}

TEST_F(HomeCreateEx, NamesThatAreNotFolderNamesAreRefusedBeforeAnythingIsMounted) {
    for (const char *name : {"", ".", "..", "/", "a/b", "../ann", "ann/", "/etc"}) {
        QLIBCErrSet(0);
        EXPECT_EQ(Create(name), -1) << name;
        EXPECT_EQ(QLIBCErrGet(), 0x0D00);
    }
    User nobody;
    nobody.szName = nullptr;
    EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreateEx("server:/homes", &nobody), -1);
    EXPECT_THAT(exports_.Mounted(), IsEmpty());
    EXPECT_TRUE(fs::is_empty(homes_));
}

TEST_F(HomeCreateEx, OddNamesAreNames) {
    SKIP_UNLESS_FOLDERS_CAN_BE_GIVEN_AWAY();
    for (const char *name :
         {"...", ".a", "-rf", "100%n%s", "a b", "$(id)", "*", "zo\xC3\xAB", "a\nb"}) {
        EXPECT_EQ(Create(name), 0) << name;
        EXPECT_EQ(OwnershipOf(homes_ / name), kAnnsFolder) << name;
    }
}

TEST_F(HomeCreateEx, FolderThatCannotBeMadeIsLogged) {
    const std::string name(300, 'n');
    EXPECT_EQ(Create(name.c_str()), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre(MatchesRegex("mkdir " + point_ + "/" + name +
                                                        " failed\\. uid = 4001, gid = 4002\\. "
                                                        "\\[0x0[9B]00\\]")));
}

TEST_F(HomeCreateEx, FailedMountIsLogged) {
    const User ann;
    EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreateEx("server:/no", &ann), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre("mount server:/no to " + point_ + " failed. [0x1234]",
                                           "nfs mount server:/no failed. [0x1234]"));
}

// --- one folder in the export that the directory names -------------------------

class HomeCreate : public HomeTest {
  protected:
    int Create() { return ZAFOLDAPBrowserUserHomeCreate(&host_, &ann_); }
    void AnswerValue(const std::string &value) {
        tools_.Reset();
        log_.Clear();
        Answer({Entry1("automountInformation", value)});
    }
    const User ann_;
};

TEST_F(HomeCreate, ExportIsReadFromTheKeyOfAllUsers) {
    const fs::path homes = exports_.Add();
    AnswerValue("-fstype=nfs server:/homes/&");
    EXPECT_EQ(Create(), 0);
    EXPECT_TRUE(fs::is_directory(homes / "ann"));
    EXPECT_THAT(
        CallsOf("ldapsearch"),
        ElementsAre(Searched({"-b", "automountKey=*,automountMapName=auto_home,dc=example,dc=com",
                              "automountInformation"})));
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(HomeCreate, EveryFormOfTheValueNamesItsExport) {
    const std::pair<const char *, const char *> kValues[] = {
        {"-fstype=nfs server:/homes/&", "server:/homes/"},
        {"-fstype=nfs server:/homes/& \t ", "server:/homes/"},
        {"-fstype=nfs    server:/homes/&", "server:/homes/"},
        {"-fstype=nfs4 server:/homes/&", "server:/homes/"},
        {"-fstype=nfs,rw,hard server:/homes/&", "server:/homes/"},
        {"-rw -fstype=nfs server:/homes/&", "server:/homes/"},
        {"-fstype=nfs server:/homes&", "server:/homes"},
        {R"(-fstype=nfs server:/a\ b\$c\&d/&)", "server:/a b$c&d/"},
        {R"(-fstype=nfs server:/a\\b\x/&)", R"(server:/a\\b\x/)"},
        {R"(-fstype=nfs server:/a\\ b/&)", R"(server:/a\ b/)"},
        {R"(-fstype=nfs server:/a\)"
         "\xC3\xAB/&",
         "server:/a\\\xC3\xAB/"},
    };
    for (const auto &[value, what] : kValues) {
        SCOPED_TRACE(value);
        const std::string path = std::string(what).substr(std::string(what).find(':') + 1);
        exports_.Add(path);
        AnswerValue(value);
        EXPECT_EQ(Create(), 0);
        ASSERT_THAT(exports_.Mounted(), testing::Not(IsEmpty()));
        EXPECT_EQ(exports_.Mounted().back(), exports_.MountCall(what));
    }
}

TEST_F(HomeCreate, ValueOfAnotherFormIsRefused) {
    for (const std::string value :
         {"", "auto_home", "server:/homes/&", "-fstype=nfs server:/homes/", "-fstype=nfs&",
          "-fstype=nfs\tserver:/homes/&", "-fstype=nfs -rw server:/homes/&",
          "-fstype=nfs  -o rw server:/homes/&", "-fstype=ext4 :/dev/sda1/&"}) {
        AnswerValue(value);
        EXPECT_EQ(Create(), -1) << value;
        const std::string left = value.ends_with('&') ? value.substr(0, value.size() - 1) : value;
        EXPECT_THAT(LoggedTexts(), ElementsAre("unknown format of automountInformation: " + left));
    }
    EXPECT_THAT(exports_.Mounted(), IsEmpty());
}

// The parsed end of the value has been cut off by then.
TEST_F(HomeCreate, WhatIsLeftOfAValueOfAnotherFormIsLogged) {
    const std::pair<const char *, const char *> kValues[] = {
        {"auto_home \t", "auto_home"},
        {"server:/homes/& ", "server:/homes/"},
        {"-fstype=nfs&\t ", "-fstype=nfs"},
        {"-fstype=nfs -rw server:/homes/& & ", "-fstype=nfs -rw server:/homes/& "},
    };
    for (const auto &[value, left] : kValues) {
        AnswerValue(value);
        EXPECT_EQ(Create(), -1);
        EXPECT_THAT(LoggedTexts(),
                    ElementsAre(std::string("unknown format of automountInformation: ") + left));
    }
}

TEST_F(HomeCreate, MissingValueIsAnUnknownForm) {
    Answer({""});
    EXPECT_EQ(Create(), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre("unknown format of automountInformation: "));
}

TEST_F(HomeCreate, ValueThatDoesNotFitIsNotCut) {
    const std::string start = "-fstype=nfs server:/";
    for (size_t length : {1023U, 1024U, 5000U}) {
        // Each truncation of it ends in "&".
        const std::string value = start + std::string(length - start.size(), '&');
        AnswerValue(value);
        SetStaleCodes();
        EXPECT_EQ(Create(), -1);
        EXPECT_EQ(QLIBCErrGet() == 0x0E00, length > 1023) << length;
        if (length <= 1023) continue;
        EXPECT_EQ(LoggedTexts().back(),
                  "unknown format of automountInformation: " + value.substr(0, 1023));
    }
    EXPECT_THAT(exports_.Mounted(), SizeIs(1)) << "the one that fits was tried";
}

TEST_F(HomeCreate, FailedSearchIsAFailure) {
    Refuse(32);
    EXPECT_EQ(Create(), -1);
    EXPECT_THAT(log_.Messages(), IsEmpty());
    EXPECT_EQ(ZAFOLDAPErrGet(), 32);
}

TEST_F(HomeCreate, FolderThatCannotBeMadeIsLogged) {
    AnswerValue("-fstype=nfs server:/no/&");
    EXPECT_EQ(Create(), -1);
    EXPECT_THAT(LoggedTexts(),
                ElementsAre("mount server:/no/ to " + point_ + " failed. [0x1234]",
                            "nfs mount server:/no/ failed. [0x1234]",
                            "create user home failed. [server:/no/] for user [ann]"));
}

TEST_F(HomeCreate, DNThatIsTooLongIsNotCut) {
    const std::string base(1000, 'b');
    host_.szBaseDN = base.c_str();
    EXPECT_EQ(Create(), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0E00);
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

// --- all folders ---------------------------------------------------------------

class HomeCreateAll : public HomeTest {
  protected:
    int Create(const char *path = "/homes") {
        return ZAFOLDAPBrowserUserHomeCreateAll(&host_, "server", path);
    }
    static std::string DN(const std::string &name) { return "dn: uid=" + name + ",dc=x\n"; }
    // The existing users, and those that are then read one by one.
    void AnswerUsers(const Texts &all, const Texts &read) {
        std::string list;
        for (const std::string &name : all)
            list += DN(name) + "uid: " + name + "\n\n";
        Answer({list});
        for (const std::string &name : read)
            Answer({DN(name) + "uid: " + name + "\nuidNumber: 4001\ngidNumber: 4002\n\n"});
    }
    const fs::path homes_ = exports_.Add();
};

TEST_F(HomeCreateAll, EveryUserWithoutAFolderGetsOne) {
    SKIP_UNLESS_FOLDERS_CAN_BE_GIVEN_AWAY();
    AnswerUsers({"ann", "bob", "cy"}, {"ann", "cy"});
    fs::create_directory(homes_ / "bob");
    const Ownership before = OwnershipOf(homes_ / "bob");
    EXPECT_EQ(Create(), 0);
    EXPECT_EQ(OwnershipOf(homes_ / "ann"), kAnnsFolder);
    EXPECT_EQ(OwnershipOf(homes_ / "cy"), kAnnsFolder);
    EXPECT_EQ(OwnershipOf(homes_ / "bob"), before);
    EXPECT_THAT(CallsOf("ldapsearch"), SizeIs(3)) << "bob is not read";
    EXPECT_THAT(exports_.Mounted(), ElementsAre(exports_.MountCall("server:/homes")));
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(HomeCreateAll, DirectoryWithoutUsersIsFine) {
    EXPECT_EQ(Create(), 0);
    EXPECT_TRUE(fs::is_empty(homes_));
}

TEST_F(HomeCreateAll, NamesThatAreNotFolderNamesAreLoggedAndSkipped) {
    AnswerUsers({"..", "a/b", ".", "/etc", "ann"}, {"ann"});
    EXPECT_EQ(Create(), 0);
    EXPECT_THAT(LoggedTexts(), ElementsAre("user name [..] cannot be the name of a folder.",
                                           "user name [a/b] cannot be the name of a folder.",
                                           "user name [.] cannot be the name of a folder.",
                                           "user name [/etc] cannot be the name of a folder."));
    EXPECT_TRUE(fs::is_directory(homes_ / "ann"));
}

TEST_F(HomeCreateAll, UserThatCannotBeReadIsLoggedAndSkipped) {
    AnswerUsers({"gone", "shut", "ann"}, {});
    Answer({""});
    Refuse(50);
    Answer({DN("ann") + "uid: ann\nuidNumber: 4001\ngidNumber: 4002\n\n"});
    EXPECT_EQ(Create(), 0);
    EXPECT_THAT(LoggedTexts(), ElementsAre("get user info [uid=gone,dc=x] failed. [0x1234]",
                                           "ZAFOLDAPSearchGetNext get next failed",
                                           "get user info [uid=shut,dc=x] failed. [0x1234]"));
    EXPECT_TRUE(fs::is_directory(homes_ / "ann"));
}

TEST_F(HomeCreateAll, FolderThatCannotBeMadeIsLoggedAndSkipped) {
    fs::create_symlink("/nowhere", homes_ / "bob");
    AnswerUsers({"bob", "ann"}, {"bob", "ann"});
    EXPECT_EQ(Create(), 0);
    EXPECT_THAT(LoggedTexts(), ElementsAre(MatchesRegex(R"(mkdir /homes failed\. uid = 4001, )"
                                                        R"(gid = 4002\. \[0x0[9B]00\])")));
    EXPECT_TRUE(fs::is_symlink(homes_ / "bob"));
    EXPECT_FALSE(fs::exists("/nowhere"));
    EXPECT_TRUE(fs::is_directory(homes_ / "ann"));
}

TEST_F(HomeCreateAll, PlainFileOfAUsersNameIsLeftAlone) {
    std::ofstream(homes_ / "ann") << "a file";
    AnswerUsers({"ann"}, {});
    EXPECT_EQ(Create(), 0);
    EXPECT_EQ(ContentOf(homes_ / "ann"), "a file");
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(HomeCreateAll, FailedMountEndsTheCall) {
    EXPECT_EQ(Create("/no"), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre("mount server:/no to " + point_ + " failed. [0x1234]",
                                           "nfs mount server:/no failed. [0x1234]"));
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

TEST_F(HomeCreateAll, FailedListingEndsTheCallAndUnmounts) {
    Refuse(50);
    EXPECT_EQ(Create(), -1);
    EXPECT_THAT(LoggedTexts(),
                ElementsAre("ZAFOLDAPSearchGetNext get next failed", "enum ldap users failed."));
}

}  // namespace
}  // namespace zafo::core_test
