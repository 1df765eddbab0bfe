// SPDX-License-Identifier: Apache-2.0
//
// Users' folders created in an NFS export.
#include "tests/foreign/home.h"
#include "zafoldap/home.h"

namespace zafo::foreign::home_folders_test {

// --- Mounting ---------------------------------------------------------------------

class NFSMount : public HomeTest {};
ZAFO_FOREIGN_SUITE(NFSMount);

TEST_P(NFSMount, RefusesNoSource) {
    ExpectArgumentFailure("((void *)0) != szHomePath", [] { return ZAFOLDAPNFSMount(nullptr); });
    EXPECT_FALSE(Exists(MountPoint()));
}

TEST_P(NFSMount, MountsOnAFolderOfTheProcess) {
    EXPECT_EQ(ZAFOLDAPNFSMount("nas:/volume1/homes"), 0);
    EXPECT_EQ(Steps(), (Strings{"folder", "mount"}));
    EXPECT_EQ(platform().CallsOf("ZAFOFSMkdirP").at(0).arguments,
              (Strings{MountPoint(), "0x0", "1", "0", "0", "0x1c0"}));
    const Run run = platform().RunsOf("mount").at(0);
    EXPECT_EQ(run.path, "/bin/mount");
    EXPECT_EQ(run.how, "QLIBCExec");
    EXPECT_EQ(run.argv, (Strings{"nas:/volume1/homes", MountPoint()}));
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(NFSMount, FailsWithoutTheFolder) {
    for (int result : {-1, -2}) {
        platform().Fail("ZAFOFSMkdirP", 1, result, 0x0B00);
        EXPECT_EQ(ZAFOLDAPNFSMount("nas:/volume1"), -1);
        EXPECT_EQ(TakeLog(), Strings{"mkdir " + MountPoint() + " failed. [0x0B00]"});
    }
    EXPECT_TRUE(platform().Runs().empty());
}

TEST_P(NFSMount, TakesEveryResultThatIsNotNegativeForAFolder) {
    for (int result : {0, 1, 42}) {
        platform().Returns("ZAFOFSMkdirP", result);
        EXPECT_EQ(ZAFOLDAPNFSMount("nas:/volume1"), 0) << result;
    }
}

TEST_P(NFSMount, FailsWithEveryResultButZeroOfMount) {
    for (int status : {1, 32, -1, 256}) {
        Stale();
        platform().On("mount").Status(status);
        EXPECT_EQ(ZAFOLDAPNFSMount("nas:/volume1"), -1) << status;
        EXPECT_EQ(TakeLog(), Strings{"mount nas:/volume1 to " + MountPoint() + " failed. " +
                                     Slot(kStalePlatformError)});
    }
}

TEST_P(NFSMount, MountsPathsWithBlanksAndSigns) {
    for (const char *source :
         {"nas:/a b/c", "nas.x.example:/$HOME & more/", "10.0.0.1:/x", "[fe80::1]:/x", "nas:/"}) {
        platform().Forget();
        EXPECT_EQ(ZAFOLDAPNFSMount(source), 0) << source;
        EXPECT_EQ(Mounts(), Strings{source});
    }
}

TEST_P(NFSMount, MountsNothingButAnExport) {
    for (const char *source :
         {"", "/dev/sda1", "/home", "nas", "nas:homes", ":/homes", "-o:/homes", "nas:/../etc",
          "nas:/a//b", "nas:/a#b", "nas:/a\nb", "a,b:/homes", "//nas/homes"}) {
        Stale();
        EXPECT_EQ(ZAFOLDAPNFSMount(source), -1) << source;
        EXPECT_EQ(PlatformError(), 0x0D00) << source;
    }
    EXPECT_TRUE(platform().Runs().empty());
    EXPECT_TRUE(MadeFolders().empty());
}

class NFSUMount : public HomeTest {};
ZAFO_FOREIGN_SUITE(NFSUMount);

TEST_P(NFSUMount, UnmountsAndRemovesTheMountPoint) {
    std::filesystem::create_directory(MountPoint());
    EXPECT_EQ(ZAFOLDAPNFSUMount(), 0);
    const Run run = platform().RunsOf("umount").at(0);
    EXPECT_EQ(run.path, "/bin/umount");
    EXPECT_EQ(run.how, "QLIBCExec");
    EXPECT_EQ(run.argv, Strings{MountPoint()});
    EXPECT_FALSE(Exists(MountPoint()));
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(NFSUMount, FailsOnlyWithANegativeResultOfUmount) {
    std::filesystem::create_directory(MountPoint());
    for (int status : {-1, -2}) {
        Stale();
        platform().On("umount").Status(status);
        EXPECT_EQ(ZAFOLDAPNFSUMount(), -1) << status;
        EXPECT_EQ(TakeLog(),
                  Strings{"umount [" + MountPoint() + "] failed. " + Slot(kStalePlatformError)});
        EXPECT_TRUE(Exists(MountPoint()));
    }
    for (int status : {1, 32, 256}) {
        std::filesystem::create_directory(MountPoint());
        platform().On("umount").Status(status);
        EXPECT_EQ(ZAFOLDAPNFSUMount(), 0) << status;
        EXPECT_FALSE(Exists(MountPoint()));
    }
}

TEST_P(NFSUMount, FailsWhenTheMountPointStays) {
    EXPECT_EQ(ZAFOLDAPNFSUMount(), -1);
    EXPECT_EQ(TakeLog(), Strings{"rmdir " + MountPoint() + " failed."});
    std::filesystem::create_directories(FolderOf("ann"));
    EXPECT_EQ(ZAFOLDAPNFSUMount(), -1);
    EXPECT_EQ(TakeLog(), Strings{"rmdir " + MountPoint() + " failed."});
    EXPECT_TRUE(Exists(FolderOf("ann")));
}

// --- One folder in an export --------------------------------------------------------

class UserHomeCreateEx : public HomeTest {};
ZAFO_FOREIGN_SUITE(UserHomeCreateEx);

TEST_P(UserHomeCreateEx, ChecksItsArgumentsInOrder) {
    ExpectArgumentFailure("((void *)0) != szHomePath",
                          [] { return ZAFOLDAPBrowserUserHomeCreateEx(nullptr, nullptr); });
    ExpectArgumentFailure("NULL != pUser",
                          [] { return ZAFOLDAPBrowserUserHomeCreateEx("nas:/x", nullptr); });
}

TEST_P(UserHomeCreateEx, MakesTheFolderBetweenMountingAndUnmounting) {
    LeaveEmptyAtUnmounting();
    EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreateEx("nas:/homes", &user_), 0);
    EXPECT_EQ(Steps(), (Strings{"folder", "mount", "folder", "umount"}));
    EXPECT_EQ(platform().CallsOf("ZAFOFSMkdirP").at(1).arguments,
              (Strings{FolderOf("ann"), "0x0", "1", "1001", "1002", "0x1c0"}));
    EXPECT_EQ(Mounts(), Strings{"nas:/homes"});
    EXPECT_FALSE(Exists(MountPoint()));
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(UserHomeCreateEx, LeavesAFolderThatExists) {
    LeaveEmptyAtUnmounting();
    Mounted([] { std::filesystem::create_directory(FolderOf("ann")); });
    EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreateEx("nas:/homes", &user_), 0);
    EXPECT_EQ(Steps(), (Strings{"folder", "mount", "umount"}));
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(UserHomeCreateEx, FailsSilentlyWhereSomethingElseHasTheName) {
    const std::function<void()> others[] = {
        [] { WriteFile(FolderOf("ann"), ""); },
        [] { std::filesystem::create_symlink("/tmp", FolderOf("ann")); },
        [] { std::filesystem::create_symlink("/nowhere", FolderOf("ann")); },
    };
    LeaveEmptyAtUnmounting();
    for (const auto &other : others) {
        platform().Forget();
        Mounted(other);
        EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreateEx("nas:/homes", &user_), -1);
        EXPECT_EQ(Steps(), (Strings{"folder", "mount", "umount"}));
        EXPECT_EQ(TakeLog(), Strings{});
    }
}

TEST_P(UserHomeCreateEx, UnmountsWhenTheFolderCannotBeMade) {
    for (int result : {-1, -2}) {
        platform().Fail("ZAFOFSMkdirP", 2, result, 0x0B00);
        EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreateEx("nas:/homes", &user_), -1);
        EXPECT_EQ(TakeLog(), Strings{"mkdir " + FolderOf("ann") +
                                     " failed. uid = 1001, gid = 1002. [0x0B00]"});
        EXPECT_FALSE(Exists(MountPoint()));
    }
    EXPECT_EQ(platform().RunsOf("umount").size(), 2u);
}

TEST_P(UserHomeCreateEx, ShowsNumbersUnsigned) {
    user_.pw_uid = 4294967294u;
    user_.pw_gid = 3000000000u;
    platform().Fail("ZAFOFSMkdirP", 2, -1, 0x0B00);
    EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreateEx("nas:/homes", &user_), -1);
    EXPECT_EQ(Log(), Strings{"mkdir " + FolderOf("ann") +
                             " failed. uid = 4294967294, gid = 3000000000. [0x0B00]"});
    EXPECT_EQ(platform().CallsOf("ZAFOFSMkdirP").at(1).arguments,
              (Strings{FolderOf("ann"), "0x0", "1", "4294967294", "3000000000", "0x1c0"}));
}

TEST_P(UserHomeCreateEx, SucceedsWhenUnmountingFails) {
    platform().On("umount").Status(-1);
    EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreateEx("nas:/homes", &user_), 0);
    EXPECT_EQ(Log(), Strings{"umount [" + MountPoint() + "] failed. " + Slot(kStalePlatformError)});
}

TEST_P(UserHomeCreateEx, SaysWhatCannotBeMounted) {
    platform().On("mount").Exits(32);
    EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreateEx("nas:/homes", &user_), -1);
    EXPECT_EQ(Log(), (Strings{"mount nas:/homes to " + MountPoint() + " failed. " +
                                  Slot(kStalePlatformError),
                              "nfs mount nas:/homes failed. " + Slot(kStalePlatformError)}));
    EXPECT_EQ(MadeFolders(), Strings{MountPoint()});
}

TEST_P(UserHomeCreateEx, MakesNoFolderForANameThatIsNotAPathComponent) {
    LeaveEmptyAtUnmounting();
    for (const char *name : {"", ".", "..", "a/b", "/", "../ann"}) {
        platform().Forget();
        name_ = name;
        user_.szName = name_.data();
        EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreateEx("nas:/homes", &user_), -1) << name;
        for (const std::string &folder : MadeFolders())
            EXPECT_EQ(folder, MountPoint()) << name;
        EXPECT_EQ(platform().RunsOf("mount").size(), platform().RunsOf("umount").size());
    }
}

TEST_P(UserHomeCreateEx, MakesNoFolderForANameThatIsTooLong) {
    LeaveEmptyAtUnmounting();
    name_ = std::string(9000, 'n');
    user_.szName = name_.data();
    platform().Fail("ZAFOFSMkdirP", 2, -1, 0x0B00);
    EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreateEx("nas:/homes", &user_), -1);
    EXPECT_EQ(platform().RunsOf("mount").size(), platform().RunsOf("umount").size());
    EXPECT_FALSE(Exists(MountPoint()));
}

TEST_P(UserHomeCreateEx, FailsForAUserWithoutAName) {
    LeaveEmptyAtUnmounting();
    user_.szName = nullptr;
    EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreateEx("nas:/homes", &user_), -1);
    EXPECT_EQ(platform().RunsOf("mount").size(), platform().RunsOf("umount").size());
}

// --- One folder in the export of the directory ----------------------------------------

class UserHomeCreate : public HomeTest {
  protected:
    void AnswerInformation(const std::string &value) {
        platform()
            .On("ldapsearch", kWildcard)
            .Prints(Entry(kWildcard, {{"automountInformation", value}}));
    }
};
ZAFO_FOREIGN_SUITE(UserHomeCreate);

TEST_P(UserHomeCreate, ChecksItsArgumentsInOrder) {
    ExpectArgumentFailure("((void *)0) != pHost",
                          [] { return ZAFOLDAPBrowserUserHomeCreate(nullptr, nullptr); });
    Host host;
    host.uri.reset();
    ExpectArgumentFailure("NULL != pHost->szUri",
                          [&] { return ZAFOLDAPBrowserUserHomeCreate(host, nullptr); });
    ExpectArgumentFailure("((void *)0) != pUser",
                          [&] { return ZAFOLDAPBrowserUserHomeCreate(host_, nullptr); });
}

TEST_P(UserHomeCreate, MountsWhatTheWildcardNames) {
    LeaveEmptyAtUnmounting();
    AnswerInformation("-fstype=nfs nas:/volume1/homes/&");
    EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreate(host_, &user_), 0);
    EXPECT_EQ(Mounts(), Strings{"nas:/volume1/homes/"});
    EXPECT_EQ(MadeFolders(), (Strings{MountPoint(), FolderOf("ann")}));
    EXPECT_EQ(
        platform().RunsOf("ldapsearch").at(0).argv,
        (Strings{"-LLL", "-x", "-H", "ldap://ldap.x.example", "-D", "cn=admin,dc=x,dc=example",
                 "-w", "secret", "-b", kWildcard, "automountInformation"}));
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(UserHomeCreate, ReadsTheInformationsItUnderstands) {
    const std::pair<const char *, const char *> values[] = {
        {"-fstype=nfs nas:/h/&", "nas:/h/"},
        {"-fstype=nfs   nas:/h/&", "nas:/h/"},
        {"-fstype=nfs nas:/h/&  ", "nas:/h/"},
        {"-fstype=nfs nas:/h/&\t \t", "nas:/h/"},
        {"-fstype=nfs,rw,soft nas:/h/&", "nas:/h/"},
        {"-fstype=nfs4 nas:/h/&", "nas:/h/"},
        {"-rw -fstype=nfs nas:/h/&", "nas:/h/"},
        {"-fstype=nfs nas:/a\\ b/\\$c/\\&d/&", "nas:/a b/$c/&d/"},
        {"-fstype=nfs nas:/a\\b\\\\c/&", "nas:/a\\b\\\\c/"},
        {"-fstype=nfs nas:/&", "nas:/"},
        {"-fstype=nfs nas:/h&", "nas:/h"},
        {"-fstype=nfs nas:/a b/&", "nas:/a b/"},
    };
    LeaveEmptyAtUnmounting();
    for (const auto &[value, source] : values) {
        platform().Forget();
        AnswerInformation(value);
        EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreate(host_, &user_), 0) << value;
        EXPECT_EQ(Mounts(), Strings{source}) << value;
    }
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(UserHomeCreate, RefusesInformationsThatItDoesNotUnderstand) {
    for (const char *value :
         {"nas:/h/&", "-fstype=nfs nas:/h/", "-fstype=nfs nas:/h/& x", "&", "-fstype=nfs&",
          "-fstype=nfs,rw&", "-fstype=ext4 nas:/h/&", "-fstype=nfs -rw nas:/h/&",
          "-fstype=nfs    -rw nas:/h/&", "-fstype=NFS nas:/h/&", "x"}) {
        AnswerInformation(value);
        EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreate(host_, &user_), -1) << value;
        const Strings log = TakeLog();
        ASSERT_EQ(log.size(), 1u) << value;
        EXPECT_EQ(log[0].rfind("unknown format of automountInformation: ", 0), 0u) << log[0];
    }
    EXPECT_TRUE(platform().RunsOf("mount").empty());
}

TEST_P(UserHomeCreate, ShowsTheInformationThatItDoesNotUnderstand) {
    AnswerInformation("nas:/h/");
    EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreate(host_, &user_), -1);
    EXPECT_EQ(Log(), Strings{"unknown format of automountInformation: nas:/h/"});
}

TEST_P(UserHomeCreate, FailsWithoutTheEntry) {
    platform().On("ldapsearch").Exits(32);
    EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreate(host_, &user_), -1);
    EXPECT_EQ(LibraryError(), 32);
    EXPECT_TRUE(platform().RunsOf("mount").empty());
}

TEST_P(UserHomeCreate, FailsWithoutTheAttribute) {
    platform().On("ldapsearch").Prints(Entry(kWildcard, {}));
    EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreate(host_, &user_), -1);
    EXPECT_TRUE(platform().RunsOf("mount").empty());
}

TEST_P(UserHomeCreate, ReadsAnInformationOf1023Bytes) {
    LeaveEmptyAtUnmounting();
    const std::string head = "-fstype=nfs nas:/";
    const std::string path(1023 - head.size() - 1, 'p');
    AnswerInformation(head + path + "&");
    EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreate(host_, &user_), 0);
    EXPECT_EQ(Mounts(), Strings{"nas:/" + path});
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(UserHomeCreate, RefusesALongerInformation) {
    AnswerInformation("-fstype=nfs nas:/" + std::string(2000, 'p') + "/&");
    EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreate(host_, &user_), -1);
    EXPECT_TRUE(platform().RunsOf("mount").empty());
    EXPECT_EQ(Log(), Strings{"unknown format of automountInformation: -fstype=nfs nas:/" +
                             std::string(1023 - 17, 'p')});
}

TEST_P(UserHomeCreate, SaysForWhomItFailed) {
    AnswerInformation("-fstype=nfs nas:/a\\ b/&");
    platform().On("mount").Exits(32);
    EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreate(host_, &user_), -1);
    const Strings log = Log();
    ASSERT_EQ(log.size(), 3u);
    EXPECT_EQ(log[2], "create user home failed. [nas:/a b/] for user [ann]");
}

// --- All users' folders ---------------------------------------------------------------

class UserHomeCreateAll : public HomeTest {};
ZAFO_FOREIGN_SUITE(UserHomeCreateAll);

TEST_P(UserHomeCreateAll, ChecksItsArgumentsInOrder) {
    ExpectArgumentFailure("((void *)0) != pHost", [] {
        return ZAFOLDAPBrowserUserHomeCreateAll(nullptr, nullptr, nullptr);
    });
    Host host;
    host.uri.reset();
    ExpectArgumentFailure("NULL != pHost->szUri",
                          [&] { return ZAFOLDAPBrowserUserHomeCreateAll(host, nullptr, nullptr); });
    ExpectArgumentFailure("((void *)0) != szHost", [&] {
        return ZAFOLDAPBrowserUserHomeCreateAll(host_, nullptr, nullptr);
    });
    ExpectArgumentFailure("NULL != szHomeFolderPath",
                          [&] { return ZAFOLDAPBrowserUserHomeCreateAll(host_, "nas", nullptr); });
}

TEST_P(UserHomeCreateAll, MakesTheFoldersThatAreMissing) {
    LeaveEmptyAtUnmounting();
    Mounted([] { std::filesystem::create_directory(FolderOf("bob")); });
    AnswerUsers({"ann", "bob", "cid"});
    AnswerUser("ann", 1001, 2001);
    AnswerUser("cid", 1003, 2003);
    EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreateAll(host_, "nas", "/homes"), 0);
    EXPECT_EQ(Mounts(), Strings{"nas:/homes"});
    const std::vector<Call> calls = platform().CallsOf("ZAFOFSMkdirP");
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_EQ(calls[1].arguments, (Strings{FolderOf("ann"), "0x0", "1", "1001", "2001", "0x1c0"}));
    EXPECT_EQ(calls[2].arguments, (Strings{FolderOf("cid"), "0x0", "1", "1003", "2003", "0x1c0"}));
    EXPECT_EQ(Steps(), (Strings{"folder", "mount", "ldapsearch", "ldapsearch", "folder",
                                "ldapsearch", "folder", "umount"}));
    EXPECT_FALSE(Exists(MountPoint()));
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(UserHomeCreateAll, LeavesWhateverHasAUsersName) {
    LeaveEmptyAtUnmounting();
    Mounted([] { WriteFile(FolderOf("ann"), ""); });
    AnswerUsers({"ann"});
    EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreateAll(host_, "nas", "/homes"), 0);
    EXPECT_EQ(MadeFolders(), Strings{MountPoint()});
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(UserHomeCreateAll, SucceedsWithoutUsers) {
    EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreateAll(host_, "nas", "/homes"), 0);
    EXPECT_EQ(Steps(), (Strings{"folder", "mount", "ldapsearch", "umount"}));
}

TEST_P(UserHomeCreateAll, SkipsAUserWhoCannotBeRead) {
    LeaveEmptyAtUnmounting();
    AnswerUsers({"ann", "bob"});
    AnswerUser("ann").Exits(50);
    AnswerUser("bob", 1002, 2002);
    EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreateAll(host_, "nas", "/homes"), 0);
    EXPECT_EQ(MadeFolders(), (Strings{MountPoint(), FolderOf("bob")}));
    bool said = false;
    for (const std::string &line : Log())
        said = said || line.rfind("get user info [", 0) == 0;
    EXPECT_TRUE(said);
}

TEST_P(UserHomeCreateAll, MakesNoFolderForAUserWhoIsGone) {
    LeaveEmptyAtUnmounting();
    AnswerUsers({"ann", "bob", "cid"});
    AnswerUser("ann", 1001, 2001);
    AnswerUser("bob");
    AnswerUser("cid", 1003, 2003);
    EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreateAll(host_, "nas", "/homes"), 0);
    EXPECT_EQ(MadeFolders(), (Strings{MountPoint(), FolderOf("ann"), FolderOf("cid")}));
}

TEST_P(UserHomeCreateAll, SkipsUsersOfAConnectionWithoutALoginSuffix) {
    host_.login_suffix.reset();
    AnswerUsers({"ann", "bob"});
    EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreateAll(host_, "nas", "/homes"), 0);
    EXPECT_EQ(MadeFolders(), Strings{MountPoint()});
    EXPECT_FALSE(Exists(MountPoint()));
}

TEST_P(UserHomeCreateAll, SkipsAFolderThatCannotBeMade) {
    LeaveEmptyAtUnmounting();
    AnswerUsers({"ann", "bob"});
    AnswerUser("ann", 1001, 2001);
    AnswerUser("bob", 1002, 2002);
    platform().Fail("ZAFOFSMkdirP", 2, -1, 0x0B00);
    EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreateAll(host_, "nas", "/homes"), 0);
    EXPECT_EQ(MadeFolders(), (Strings{MountPoint(), FolderOf("ann"), FolderOf("bob")}));
    EXPECT_EQ(Log(), Strings{"mkdir /homes failed. uid = 1001, gid = 2001. [0x0B00]"});
}

TEST_P(UserHomeCreateAll, MakesNothingOutsideTheExport) {
    LeaveEmptyAtUnmounting();
    AnswerUsers({"../tmp/evil", "..", ".", "a/b"});
    platform()
        .On("ldapsearch")
        .Prints(Entry("uid=x,dc=x", {{"uid", "x"}, {"uidNumber", "1"}, {"gidNumber", "1"}}))
        .Always();
    EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreateAll(host_, "nas", "/homes"), 0);
    EXPECT_EQ(MadeFolders(), Strings{MountPoint()});
}

TEST_P(UserHomeCreateAll, FailsWithoutLists) {
    for (int nth : {1, 2}) {
        platform().Fail("QLIBCSzListAlloc", nth);
        EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreateAll(host_, "nas", "/homes"), -1) << nth;
        EXPECT_EQ(PlatformError(), 0x0200);
    }
    EXPECT_TRUE(platform().Runs().empty());
    ASSERT_FALSE(platform().CallsOf("QLIBCSzListAlloc").empty());
    EXPECT_EQ(platform().CallsOf("QLIBCSzListAlloc").at(0).arguments, Strings{"1024"});
}

TEST_P(UserHomeCreateAll, FailsWhenTheExportCannotBeMounted) {
    platform().On("mount").Exits(32);
    EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreateAll(host_, "nas", "/homes"), -1);
    EXPECT_TRUE(platform().RunsOf("ldapsearch").empty());
    EXPECT_EQ(Log(), (Strings{"mount nas:/homes to " + MountPoint() + " failed. " +
                                  Slot(kStalePlatformError),
                              "nfs mount nas:/homes failed. " + Slot(kStalePlatformError)}));
}

TEST_P(UserHomeCreateAll, UnmountsWhenUsersCannotBeListed) {
    platform().On("ldapsearch").Exits(50);
    EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreateAll(host_, "nas", "/homes"), -1);
    EXPECT_EQ(LibraryError(), 50);
    EXPECT_EQ(platform().RunsOf("umount").size(), 1u);
    EXPECT_FALSE(Exists(MountPoint()));
    ASSERT_FALSE(Log().empty());
    EXPECT_EQ(Log().back(), "enum ldap users failed.");
}

}  // namespace zafo::foreign::home_folders_test
