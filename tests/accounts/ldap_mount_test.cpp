// SPDX-License-Identifier: Apache-2.0
//
// Mounting the export of home folders.
#include <fcntl.h>
#include <sys/mount.h>

#include "platform/error.h"
#include "tests/accounts/accounts_fixture.h"
#include "tests/accounts/home_fixture.h"

namespace zafo::core_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
namespace fs = std::filesystem;

class NFSMount : public AccountsTest {
  protected:
    const test::Exports exports_;
    const std::string point_ = test::Exports::MountPoint();
};

TEST_F(NFSMount, ExportIsSeenBelowTheMountPointUntilItIsUnmounted) {
    std::ofstream(exports_.Add() / "here");
    EXPECT_EQ(ZAFOLDAPNFSMount("server:/homes"), 0);
    EXPECT_TRUE(fs::exists(point_ + "/here"));
    EXPECT_EQ(ZAFOLDAPNFSUMount(), 0);
    EXPECT_FALSE(fs::exists(point_));
    EXPECT_THAT(exports_.Mounted(), ElementsAre(exports_.MountCall("server:/homes")));
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

// The mounted file system hides the folder itself, which a stale mount would expose again.
TEST_F(NFSMount, MountPointIsAccessibleToRootOnly) {
    const mode_t mask = umask(0);
    exports_.Add();
    EXPECT_EQ(ZAFOLDAPNFSMount("server:/homes"), 0);
    umask(mask);
    EXPECT_EQ(umount(point_.c_str()), 0);
    EXPECT_EQ(test::OwnershipOf(point_), (test::Ownership{0, 0, S_IFDIR | 0700}));
    fs::remove(point_);
}

TEST_F(NFSMount, FailedMountLeavesNoFolder) {
    EXPECT_EQ(ZAFOLDAPNFSMount("server:/no"), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre("mount server:/no to " + point_ + " failed. [0x1234]"));
}

TEST_F(NFSMount, SourceThatIsNotAnExportIsRefusedWithItsFault) {
    const std::pair<std::string, const char *> cases[] = {
        {"homes", "it is not HOST:/PATH"},
        {"-o:/homes", "what stands before \":/\" is no host name and no address"},
        {"server:/ho\nmes", "it holds control characters"},
        {"server:/ho\x7Fmes", "it holds control characters"},
        {"server:/" + std::string(4096, 'x'), "the path is too long"},
        {"server:/ho#mes", "the path holds \"#\""},
        {"server:/ho//mes", "the path holds \"//\""},
        {"server:/homes/..", "the path holds \"..\""},
    };
    for (const auto &[source, fault] : cases) {
        log_.Clear();
        core_test::SetStaleCodes();
        EXPECT_EQ(ZAFOLDAPNFSMount(source.c_str()), -1);
        EXPECT_THAT(LoggedTexts(),
                    ElementsAre(std::string("nfs mount refused: ") + fault + ". [0x0D00]"));
    }
    EXPECT_THAT(exports_.Mounted(), IsEmpty());
}

TEST_F(NFSMount, TildeIsPartOfAPath) {
    EXPECT_EQ(ZAFOLDAPNFSMount("server:/~no"), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre("mount server:/~no to " + point_ + " failed. [0x1234]"));
}

TEST_F(NFSMount, StaleMountPointIsUsed) {
    exports_.Add();
    fs::create_directory(point_);
    EXPECT_EQ(ZAFOLDAPNFSMount("server:/homes"), 0);
    EXPECT_EQ(ZAFOLDAPNFSUMount(), 0);
}

TEST_F(NFSMount, StaleMountPointIsRemovedWhenTheMountFails) {
    fs::create_directory(point_);
    EXPECT_EQ(ZAFOLDAPNFSMount("server:/no"), -1);
}

// A process with the same pid has died while something was mounted.
TEST_F(NFSMount, WhatIsMountedThereAlreadyStaysMounted) {
    std::ofstream(exports_.Add("/other") / "other");
    std::ofstream(exports_.Add() / "here");
    EXPECT_EQ(ZAFOLDAPNFSMount("server:/other"), 0);
    EXPECT_EQ(ZAFOLDAPNFSMount("server:/homes"), 0);
    EXPECT_TRUE(fs::exists(point_ + "/here"));
    EXPECT_EQ(ZAFOLDAPNFSUMount(), -1);
    EXPECT_TRUE(fs::exists(point_ + "/other"));
    EXPECT_EQ(ZAFOLDAPNFSUMount(), 0);
}

TEST_F(NFSMount, LinkInTheMountPointsPlaceIsNotFollowedOrRemoved) {
    const fs::path elsewhere = exports_.Add("/elsewhere");
    exports_.Add();
    fs::create_directory_symlink(elsewhere, point_);
    EXPECT_EQ(ZAFOLDAPNFSMount("server:/homes"), -1);
    EXPECT_THAT(LoggedTexts(),
                ElementsAre(testing::MatchesRegex("mkdir " + point_ + R"( failed\. \[0x0.00\])")));
    EXPECT_TRUE(fs::is_symlink(point_));
    EXPECT_THAT(exports_.Mounted(), IsEmpty());
    fs::remove(point_);
}

TEST_F(NFSMount, ToolsThatCannotBeStartedAreFailures) {
    fs::rename("/bin", "/bin.away");
    EXPECT_EQ(ZAFOLDAPNFSMount("server:/homes"), -1);
    EXPECT_EQ(ZAFOLDAPNFSUMount(), -1);
    fs::rename("/bin.away", "/bin");
    EXPECT_THAT(LoggedTexts(), ElementsAre("mount server:/homes to " + point_ + " failed. [0x0900]",
                                           "umount [" + point_ + "] failed. [0x0900]"));
}

TEST_F(NFSMount, UnmountWithoutAMountFails) {
    EXPECT_EQ(ZAFOLDAPNFSUMount(), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre("rmdir " + point_ + " failed."));
}

TEST_F(NFSMount, ExportThatIsInUseStaysMountedWithItsContent) {
    const fs::path kept = exports_.Add() / "kept";
    std::ofstream(kept) << "kept";
    EXPECT_EQ(ZAFOLDAPNFSMount("server:/homes"), 0);
    const int used = open(point_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    EXPECT_EQ(ZAFOLDAPNFSUMount(), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre("rmdir " + point_ + " failed."));
    EXPECT_TRUE(fs::exists(point_ + "/kept"));
    close(used);
    EXPECT_EQ(ZAFOLDAPNFSUMount(), 0);
    EXPECT_TRUE(fs::exists(kept));
}

}  // namespace
}  // namespace zafo::core_test
