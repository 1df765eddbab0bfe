// SPDX-License-Identifier: Apache-2.0
#include "platform/fs.h"

#include <fcntl.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/error.h"
#include "tests/host/owners.h"

namespace {

namespace fs = std::filesystem;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using zafo::test::Folder;
using zafo::test::ModeOf;
using zafo::test::OpenDescriptors;
using zafo::test::WriteFile;

class MakeFolder : public testing::Test {
  protected:
    static int Make(const std::string &path, mode_t mode = 0750) {
        QLIBCErrSet(QLIB_ERR_NONE);
        return ZAFOFSMkdirP(path.c_str(), 0, 0, 0, 0, mode);
    }

    // The platform error of a call that must fail.
    static int Refused(const std::string &path) {
        const size_t before = OpenDescriptors();
        EXPECT_EQ(Make(path), -1);
        EXPECT_EQ(OpenDescriptors(), before);
        return QLIBCErrGet();
    }

    static struct stat StatusOf(const std::string &path) {
        struct stat status {};
        EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
        return status;
    }

    Folder folder_;
};

TEST_F(MakeFolder, MakesTheMissingParentsTheCallers) {
    const size_t before = OpenDescriptors();
    ASSERT_EQ(Make(folder_ / "a/b/c"), 0);
    EXPECT_EQ(OpenDescriptors(), before);
    EXPECT_TRUE(fs::is_directory(folder_ / "a/b/c"));
    EXPECT_EQ(ModeOf(folder_ / "a/b/c"), 0750U);
    for (const char *parent : {"a", "a/b"}) {
        SCOPED_TRACE(parent);
        EXPECT_EQ(ModeOf(folder_ / parent), 0755U);
        EXPECT_EQ(StatusOf(folder_ / parent).st_uid, geteuid());
    }
}

TEST_F(MakeFolder, GivesTheModeWhateverTheUmaskIs) {
    const mode_t modes[] = {0700, 0, 0777, 01777, 07755, 0711};
    const mode_t umasks[] = {0, 022, 0777};
    int number = 0;
    for (const mode_t mask : umasks) {
        for (const mode_t mode : modes) {
            const std::string path = folder_ / std::to_string(++number);
            const mode_t before = umask(mask);
            const int result = Make(path, mode);
            umask(before);
            EXPECT_EQ(result, 0);
            EXPECT_EQ(ModeOf(path), mode) << "umask " << mask;
        }
    }
}

TEST_F(MakeFolder, GivesItToItsOwnerWithAllBits) {
    const std::string probe = folder_ / "probe";
    WriteFile(probe, "");
    if (chown(probe.c_str(), 1000, 1001) != 0) {
        GTEST_SKIP() << "an ordinary user's root cannot change owners";
    }
    ASSERT_EQ(ZAFOFSMkdirP((folder_ / "home/alice").c_str(), 0, 1, 1000, 1001, 06700), 0);
    EXPECT_EQ(StatusOf(folder_ / "home/alice").st_uid, 1000U);
    EXPECT_EQ(StatusOf(folder_ / "home/alice").st_gid, 1001U);
    EXPECT_EQ(ModeOf(folder_ / "home/alice"), 06700U);
    EXPECT_EQ(StatusOf(folder_ / "home").st_uid, geteuid());
}

// Only root can change an owner; in an ordinary user's private root not even root can.
TEST_F(MakeFolder, LeavesNothingWhenItsOwnerCannotBeChanged) {
    fs::permissions(folder_.Path(), fs::perms(0777));
    const bool changed = seteuid(1000) == 0;
    const int result = ZAFOFSMkdirP((folder_ / "a/b").c_str(), 0, 1, 2000, 2000, 0700);
    ASSERT_TRUE(!changed || seteuid(0) == 0);
    EXPECT_EQ(result, -1);
    EXPECT_EQ(QLIBCErrGet(), QLIB_ERR_WRITE_FAILED);
    EXPECT_THAT(folder_.Names(), IsEmpty());
}

TEST_F(MakeFolder, LeavesAFolderThatExistsAsItIs) {
    ASSERT_EQ(Make(folder_ / "a", 0700), 0);
    ASSERT_EQ(Make(folder_ / "a/file", 0700), 0);
    EXPECT_EQ(ZAFOFSMkdirP((folder_ / "a").c_str(), 0, 1, 1000, 1000, 0777), 0);
    EXPECT_EQ(ModeOf(folder_ / "a"), 0700U);
    EXPECT_EQ(StatusOf(folder_ / "a").st_uid, geteuid());
    EXPECT_TRUE(fs::is_directory(folder_ / "a/file"));
}

TEST_F(MakeFolder, TakesRepeatedAndClosingSlashesAsOne) {
    EXPECT_EQ(Make("/" + (folder_ / "a//b///")), 0);
    EXPECT_EQ(ModeOf(folder_ / "a/b"), 0750U);
    EXPECT_EQ(ModeOf(folder_ / "a"), 0755U);
}

TEST_F(MakeFolder, FollowsNoLink) {
    fs::create_directories(folder_ / "elsewhere/there");
    fs::create_directory_symlink(folder_ / "elsewhere", folder_ / "link");
    fs::create_directory_symlink("elsewhere", folder_ / "relative");
    fs::create_symlink(folder_ / "nowhere", folder_ / "dangling");
    fs::create_symlink("loop", folder_ / "loop");
    for (const char *name : {"link", "link/", "link/new", "link/there", "link/there/new",
                             "relative/new", "dangling", "dangling/new", "loop", "loop/new"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(Refused(folder_ / name), QLIB_ERR_OPEN_FAILED);
    }
    EXPECT_THAT(folder_.Names(),
                UnorderedElementsAre("elsewhere", "link", "relative", "dangling", "loop"));
    EXPECT_FALSE(fs::exists(folder_ / "elsewhere/new"));
    EXPECT_TRUE(fs::is_empty(folder_ / "elsewhere/there"));
}

TEST_F(MakeFolder, FailsIfAPartOfThePathIsNotAFolder) {
    WriteFile(folder_ / "file", "kept");
    ASSERT_EQ(mkfifo((folder_ / "pipe").c_str(), 0600), 0);
    for (const char *name : {"file", "file/new", "pipe", "pipe/new"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(Refused(folder_ / name), QLIB_ERR_OPEN_FAILED);
    }
    EXPECT_EQ(zafo::test::ReadFile(folder_ / "file"), "kept");
}

TEST_F(MakeFolder, RemovesTheParentsItMadeWhenANameIsTooLong) {
    EXPECT_EQ(Refused(folder_ / ("a/b/" + std::string(256, 'x'))), QLIB_ERR_WRITE_FAILED);
    EXPECT_THAT(folder_.Names(), IsEmpty());
}

TEST_F(MakeFolder, TakesAPathLongerThanTheSystemsLimit) {
    std::string path = folder_ / "long";
    while (path.size() <= PATH_MAX)
        path += "/" + std::string(200, 'x');
    EXPECT_EQ(Make(path), 0);
    EXPECT_EQ(Make(path), 0);
}

TEST_F(MakeFolder, RefusesPathsThatDoNotSayWhere) {
    for (const char *path : {"", "/", "//", "a", "a/b", ".", "./a", "~", "/.", "/..", "/tmp/..",
                             "/tmp/../tmp/new", "/tmp/./new", "/tmp/new/..", "/tmp/new/."}) {
        SCOPED_TRACE(path);
        EXPECT_EQ(Refused(path), QLIB_ERR_BAD_ARGUMENT);
    }
    EXPECT_FALSE(fs::exists("/tmp/new"));
    EXPECT_EQ(Make(folder_ / "..."), 0);
    EXPECT_EQ(Make(folder_ / " ..a"), 0);
}

TEST_F(MakeFolder, RefusesOtherFlagsAndModes) {
    const std::string path = folder_ / "new";
    EXPECT_EQ(ZAFOFSMkdirP(nullptr, 0, 0, 0, 0, 0700), -1);
    for (const int flags : {1, -1}) {
        QLIBCErrSet(QLIB_ERR_NONE);
        EXPECT_EQ(ZAFOFSMkdirP(path.c_str(), flags, 0, 0, 0, 0700), -1);
        EXPECT_EQ(QLIBCErrGet(), QLIB_ERR_BAD_ARGUMENT);
    }
    for (const mode_t mode : {mode_t{010000}, mode_t{S_IFDIR | 0755}}) {
        QLIBCErrSet(QLIB_ERR_NONE);
        EXPECT_EQ(ZAFOFSMkdirP(path.c_str(), 0, 0, 0, 0, mode), -1);
        EXPECT_EQ(QLIBCErrGet(), QLIB_ERR_BAD_ARGUMENT);
    }
    EXPECT_THAT(folder_.Names(), IsEmpty());
}

}  // namespace
