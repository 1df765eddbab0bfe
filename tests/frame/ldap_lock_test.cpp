// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/error.h"
#include "tests/rig/system_log.h"
#include "zafoldap/error.h"
#include "zafoldap/lock.h"

namespace {

constexpr int kStaleCode = -77;
constexpr int kStalePlatformCode = 0x1234;

// The test's own lock file, with codes of earlier failures in both slots.
class Lock : public testing::Test {
  protected:
    Lock() {
        unlink(file_.c_str());
        ZAFOLDAPErrSet(kStaleCode);
        QLIBCErrSet(kStalePlatformCode);
    }
    ~Lock() override {
        unlink(file_.c_str());
        ZAFOLDAPErrReset();
    }

    const std::string file_ = "/tmp/lock_test.lock";
};

struct stat StatusOf(const std::string &file) {
    struct stat status {};
    lstat(file.c_str(), &status);
    return status;
}

// Takes a lock in another process and holds it for the object's lifetime.
class OtherProcess {
  public:
    OtherProcess(const std::string &file, int flag) {
        int ready[2], stop[2];
        if (pipe(ready) != 0 || pipe(stop) != 0) return;
        pid_ = fork();
        if (pid_ == 0) {
            close(ready[0]);
            close(stop[1]);
            const char held = ZAFOLDAPLock(file.c_str(), flag) >= 0 ? 'y' : 'n';
            char end = 0;
            if (write(ready[1], &held, 1) == 1 && read(stop[0], &end, 1) < 0) _exit(1);
            _exit(0);
        }
        close(ready[1]);
        close(stop[0]);
        char held = 'n';
        if (read(ready[0], &held, 1) == 1) held_ = held == 'y';
        close(ready[0]);
        stop_ = stop[1];
    }
    ~OtherProcess() { End(); }
    OtherProcess(const OtherProcess &) = delete;
    OtherProcess &operator=(const OtherProcess &) = delete;

    void End() {
        if (pid_ <= 0) return;
        close(stop_);
        waitpid(pid_, nullptr, 0);
        pid_ = 0;
    }
    bool Held() const { return held_; }

  private:
    pid_t pid_ = 0;
    int stop_ = -1;
    bool held_ = false;
};

TEST_F(Lock, IsADescriptorOnAFileOfMode0600ThatStays) {
    const mode_t mask = umask(0);
    const int fd = ZAFOLDAPLock(file_.c_str(), LOCK_EX);
    umask(mask);
    ASSERT_GE(fd, 0);
    struct stat status {};
    ASSERT_EQ(fstat(fd, &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
    EXPECT_EQ(ZAFOLDAPUnLock(fd), 0);
    EXPECT_EQ(fcntl(fd, F_GETFD), -1) << "the descriptor is closed";
    EXPECT_EQ(access(file_.c_str(), F_OK), 0);
}

TEST_F(Lock, DescriptorReadsAndWritesWithoutWaiting) {
    const int fd = ZAFOLDAPLock(file_.c_str(), LOCK_EX);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(fcntl(fd, F_GETFL) & (O_ACCMODE | O_NONBLOCK | O_APPEND), O_RDWR | O_NONBLOCK);
    ZAFOLDAPUnLock(fd);
}

// Closing alone does not release a lock held through a copy of the descriptor.
TEST_F(Lock, IsReleasedWhileACopyOfItsDescriptorIsOpen) {
    const int fd = ZAFOLDAPLock(file_.c_str(), LOCK_EX);
    const int copy = dup(fd);
    ASSERT_GE(copy, 0);
    EXPECT_EQ(ZAFOLDAPUnLock(fd), 0);
    const int next = ZAFOLDAPLock(file_.c_str(), LOCK_EX);
    EXPECT_GE(next, 0);
    ZAFOLDAPUnLock(next);
    close(copy);
}

TEST_F(Lock, DescriptorDoesNotReachChildren) {
    const int fd = ZAFOLDAPLock(file_.c_str(), LOCK_EX);
    ASSERT_GE(fd, 0);
    EXPECT_NE(fcntl(fd, F_GETFD) & FD_CLOEXEC, 0);
    ZAFOLDAPUnLock(fd);
}

TEST_F(Lock, LeavesContentAndModeOfAnExistingFileInAPrivateFolder) {
    const std::string file = "/var/lib/lock_test.lock";
    std::ofstream(file) << "content\n";
    chmod(file.c_str(), 0644);
    ZAFOLDAPUnLock(ZAFOLDAPLock(file.c_str(), LOCK_EX));
    std::string line;
    std::getline(std::ifstream(file) >> std::ws, line);
    EXPECT_EQ(line, "content");
    EXPECT_EQ(StatusOf(file).st_mode & 07777, 0644u);
    unlink(file.c_str());
}

TEST_F(Lock, LeavesContentOfAnExistingPrivateFile) {
    std::ofstream(file_) << "content\n";
    chmod(file_.c_str(), 0600);
    ZAFOLDAPUnLock(ZAFOLDAPLock(file_.c_str(), LOCK_EX));
    std::string line;
    std::getline(std::ifstream(file_) >> std::ws, line);
    EXPECT_EQ(line, "content");
}

TEST_F(Lock, FileInASharedFolderThatOthersMayOpenIsReplaced) {
    std::ofstream(file_) << "content\n";
    for (const mode_t mode : {0644u, 0660u, 0604u}) {
        chmod(file_.c_str(), mode);
        const ino_t before = StatusOf(file_).st_ino;
        ZAFOLDAPUnLock(ZAFOLDAPLock(file_.c_str(), LOCK_EX));
        EXPECT_EQ(StatusOf(file_).st_mode & 07777, 0600u);
        EXPECT_NE(StatusOf(file_).st_ino, before);
    }
}

TEST_F(Lock, FileInASharedFolderWithASecondLinkIsReplacedAndTheOtherNameKept) {
    std::ofstream("/tmp/precious") << "content\n";
    ASSERT_EQ(link("/tmp/precious", file_.c_str()), 0);
    zafo::rig::SystemLog::Get().Clear();
    const int fd = ZAFOLDAPLock(file_.c_str(), LOCK_EX);
    EXPECT_GE(fd, 0);
    EXPECT_NE(StatusOf(file_).st_ino, StatusOf("/tmp/precious").st_ino);
    EXPECT_EQ(StatusOf("/tmp/precious").st_size, 8);
    EXPECT_THAT(zafo::rig::SystemLog::Get().Messages(),
                testing::Contains(testing::HasSubstr("mode 0644, 2 links was in the way")));
    ZAFOLDAPUnLock(fd);
    unlink("/tmp/precious");
}

// A misconfigured path must not destroy anything.
TEST_F(Lock, RootsOwnFilesAreKeptAndNamed) {
    zafo::rig::SystemLog::Get().Clear();
    const auto refused = [&](const char *what) {
        EXPECT_EQ(ZAFOLDAPLock(file_.c_str(), LOCK_EX), -1);
        EXPECT_EQ(QLIBCErrGet(), 0x0900);
        EXPECT_EQ(ZAFOLDAPErrGet(), kStaleCode);
        EXPECT_THAT(zafo::rig::SystemLog::Get().Messages(),
                    testing::Contains(testing::HasSubstr(file_ + ": " + what +
                                                         " of user 0, mode 0700 is in the way")));
        EXPECT_EQ(std::filesystem::remove(file_), true) << what;
    };
    mkdir(file_.c_str(), 0700);
    refused("a folder");
    ASSERT_EQ(mkfifo(file_.c_str(), 0700), 0);
    refused("a FIFO");
}

TEST_F(Lock, LinkIsNotFollowed) {
    for (const char *folder : {"/tmp", "/var/lib"}) {
        const std::string lock = std::string(folder) + "/link.lock";
        ASSERT_EQ(symlink("/var/lib/target", lock.c_str()), 0);
        EXPECT_EQ(ZAFOLDAPLock(lock.c_str(), LOCK_EX), -1);
        EXPECT_NE(access("/var/lib/target", F_OK), 0) << lock;
        unlink(lock.c_str());
    }
}

// Root's processes replace files one at a time.
TEST_F(Lock, IsNotWaitedForWhileAnotherProcessKeepsItsTurn) {
    const int turn = open("/var/run/zafoldap.turn.lock", O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_EQ(flock(turn, LOCK_EX), 0);
    EXPECT_EQ(ZAFOLDAPLock(file_.c_str(), LOCK_EX), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0900);
    close(turn);
    const int fd = ZAFOLDAPLock(file_.c_str(), LOCK_EX);
    EXPECT_GE(fd, 0);
    ZAFOLDAPUnLock(fd);
}

// A process that opened the file before it was replaced holds a useless lock.
TEST_F(Lock, IsNeverOnAFileThatIsNoLongerInPlace) {
    std::ofstream(file_) << "";
    chmod(file_.c_str(), 0644);
    const int foreign = open(file_.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(flock(foreign, LOCK_EX), 0);
    const int fd = ZAFOLDAPLock(file_.c_str(), LOCK_EX);
    ASSERT_GE(fd, 0);
    struct stat held {};
    fstat(fd, &held);
    EXPECT_EQ(held.st_ino, StatusOf(file_).st_ino);
    close(foreign);
    ZAFOLDAPUnLock(fd);
}

TEST_F(Lock, SecondExclusiveLockOfAnotherProcessFailsImmediately) {
    OtherProcess other(file_, LOCK_EX);
    ASSERT_TRUE(other.Held());
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(ZAFOLDAPLock(file_.c_str(), LOCK_EX), -1);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
    EXPECT_EQ(ZAFOLDAPErrGet(), -65542);
    EXPECT_EQ(QLIBCErrGet(), kStalePlatformCode) << "a held lock is no platform failure";
}

struct Pair {
    int held, wanted;
    bool granted;
};

TEST_F(Lock, SharedLocksGoTogetherAndExcludeExclusiveOnes) {
    for (const Pair &pair : {Pair{LOCK_SH, LOCK_SH, true}, Pair{LOCK_SH, LOCK_EX, false},
                             Pair{LOCK_EX, LOCK_SH, false}, Pair{LOCK_EX, LOCK_EX, false}}) {
        SCOPED_TRACE(testing::Message() << pair.held << " held, " << pair.wanted << " wanted");
        OtherProcess other(file_, pair.held);
        ASSERT_TRUE(other.Held());
        const int fd = ZAFOLDAPLock(file_.c_str(), pair.wanted);
        EXPECT_EQ(fd >= 0, pair.granted);
        ZAFOLDAPUnLock(fd);
    }
}

TEST_F(Lock, IsFreeAgainAfterUnlockAndAfterTheHoldersEnd) {
    ZAFOLDAPUnLock(ZAFOLDAPLock(file_.c_str(), LOCK_EX));
    OtherProcess other(file_, LOCK_EX);
    ASSERT_TRUE(other.Held());
    other.End();
    const int fd = ZAFOLDAPLock(file_.c_str(), LOCK_EX);
    EXPECT_GE(fd, 0);
    EXPECT_EQ(ZAFOLDAPErrGet(), kStaleCode) << "success leaves the slots";
    EXPECT_EQ(QLIBCErrGet(), kStalePlatformCode);
    ZAFOLDAPUnLock(fd);
}

TEST_F(Lock, RefusedLockLeavesNoDescriptorOpen) {
    OtherProcess other(file_, LOCK_EX);
    const int before = dup(0);
    close(before);
    ZAFOLDAPLock(file_.c_str(), LOCK_EX);
    const int after = dup(0);
    close(after);
    EXPECT_EQ(after, before);
}

TEST_F(Lock, FileThatCannotBeOpenedIsAPlatformFailure) {
    for (const char *file : {"/nowhere/lock", "/tmp", ""}) {
        SCOPED_TRACE(file);
        QLIBCErrSet(kStalePlatformCode);
        EXPECT_EQ(ZAFOLDAPLock(file, LOCK_EX), -1);
        EXPECT_EQ(QLIBCErrGet(), 0x0900);
        EXPECT_EQ(ZAFOLDAPErrGet(), kStaleCode);
    }
}

TEST_F(Lock, FifoInAPrivateFolderIsOpenedWithoutWaiting) {
    const std::string fifo = "/var/lib/lock_test.fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const int fd = ZAFOLDAPLock(fifo.c_str(), LOCK_EX);
    EXPECT_GE(fd, 0);
    ZAFOLDAPUnLock(fd);
    unlink(fifo.c_str());
}

TEST_F(Lock, BadFlagsDoNotTouchTheFile) {
    for (int flag : {0, LOCK_SH | LOCK_EX, LOCK_UN, LOCK_NB, LOCK_NB | LOCK_SH | LOCK_EX}) {
        SCOPED_TRACE(flag);
        QLIBCErrSet(kStalePlatformCode);
        EXPECT_EQ(ZAFOLDAPLock(file_.c_str(), flag), -1);
        EXPECT_EQ(QLIBCErrGet(), 0x0D00);
        EXPECT_EQ(access(file_.c_str(), F_OK), -1);
    }
}

TEST_F(Lock, ExtraFlagBitsAreAllowed) {
    const int fd = ZAFOLDAPLock(file_.c_str(), LOCK_EX | LOCK_NB);
    EXPECT_GE(fd, 0);
    ZAFOLDAPUnLock(fd);
}

TEST_F(Lock, UnlockIgnoresBadDescriptors) {
    for (int fd : {-1, -5, 1'000'000})
        EXPECT_EQ(ZAFOLDAPUnLock(fd), 0) << fd;
    EXPECT_EQ(QLIBCErrGet(), kStalePlatformCode);
    EXPECT_EQ(ZAFOLDAPErrGet(), kStaleCode);
}

}  // namespace
