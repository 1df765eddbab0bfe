// SPDX-License-Identifier: Apache-2.0
//
// How section files are replaced: modes, owners, links, concurrent writers, full disks, and the
// leftovers of killed writers.
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/file.h"
#include "tests/host/owners.h"

namespace {

using testing::UnorderedElementsAre;
using zafo::test::Folder;
using zafo::test::ModeOf;
using zafo::test::NewMap;
using zafo::test::ReadFile;
using zafo::test::Value;
using zafo::test::WriteFile;

// Adds or changes one key of section "a", the way the library saves a connection.
int Save(const std::string &path, const std::string &key, const std::string &value) {
    const auto map = NewMap();
    if (QLIBCFileGetSection(path.c_str(), "a", map.get()) == 0 &&
        QLIBCFileAddSection(path.c_str(), "a", nullptr, 0) != 0) {
        return -1;
    }
    QLIBCSzHashSetValue(map.get(), key.c_str(), value.c_str());
    return QLIBCFileSetSection(path.c_str(), "a", nullptr, map.get(), 0);
}

TEST(SectionFileWriter, ManyProcessesThatSaveConcurrentlyLoseNothing) {
    const Folder folder;
    const std::string path = folder / "f.conf";
    constexpr int kProcesses = 12;
    constexpr int kKeys = 10;
    EXPECT_TRUE(zafo::test::InProcesses(kProcesses, [&](int p) {
        for (int k = 0; k < kKeys; ++k) {
            const std::string key = std::string("k") + std::to_string(p) + "_" + std::to_string(k);
            if (Save(path, key, key) != 0) return 1;
        }
        return 0;
    }));
    const auto map = NewMap();
    EXPECT_EQ(QLIBCFileGetSection(path.c_str(), "a", map.get()), kProcesses * kKeys);
    for (int p = 0; p < kProcesses; ++p) {
        const std::string key =
            std::string("k") + std::to_string(p) + "_" + std::to_string(kKeys - 1);
        EXPECT_EQ(Value(map, key), key);
    }
}

TEST(SectionFileWriter, ManyThreadsThatSaveConcurrentlyLoseNothing) {
    const Folder folder;
    const std::string path = folder / "f.conf";
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([&, t] {
            for (int k = 0; k < 5; ++k)
                Save(path, std::to_string(t * 10 + k), "v");
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    const auto map = NewMap();
    EXPECT_EQ(QLIBCFileGetSection(path.c_str(), "a", map.get()), 40);
}

TEST(SectionFileWriter, AReaderSeesTheOldOrTheNewTextWhileWritersAreKilled) {
    const Folder folder;
    const std::string path = folder / "f.conf";
    const std::string filler(20000, 'x');
    ASSERT_EQ(Save(path, "filler", filler), 0);
    for (int round = 0; round < 40; ++round) {
        const pid_t writer = fork();
        if (writer == 0) {
            for (int i = 0;; ++i)
                Save(path, "n", std::to_string(i));
        }
        std::this_thread::sleep_for(std::chrono::microseconds(500 * (round % 10)));
        const auto during = NewMap();
        ASSERT_GE(QLIBCFileGetSection(path.c_str(), "a", during.get()), 1);
        ASSERT_EQ(Value(during, "filler"), filler);
        kill(writer, SIGKILL);
        waitpid(writer, nullptr, 0);
        const auto after = NewMap();
        ASSERT_GE(QLIBCFileGetSection(path.c_str(), "a", after.get()), 1);
        ASSERT_EQ(Value(after, "filler"), filler);
    }
    ASSERT_EQ(Save(path, "last", "1"), 0);
    EXPECT_THAT(folder.Names(), UnorderedElementsAre("f.conf", "f.conf.lock"));
}

TEST(SectionFileWriter, AFileLeftByAKilledWriterDoesNotHinder) {
    const Folder folder;
    const std::string path = folder / "f.conf";
    WriteFile(path + ".new", "half a fi");
    EXPECT_EQ(Save(path, "k", "v"), 0);
    EXPECT_EQ(ReadFile(path), "[a]\nk=v\n");
    EXPECT_THAT(folder.Names(), UnorderedElementsAre("f.conf", "f.conf.lock"));
}

TEST(SectionFileWriter, ALinkPlantedAsItsTemporaryFileIsNotFollowed) {
    const Folder folder;
    const std::string path = folder / "f.conf";
    WriteFile(folder / "victim", "untouched");
    std::filesystem::create_symlink(folder / "victim", path + ".new");
    EXPECT_EQ(Save(path, "k", "v"), 0);
    EXPECT_EQ(ReadFile(folder / "victim"), "untouched");
    EXPECT_FALSE(std::filesystem::is_symlink(path));
}

TEST(SectionFileWriter, ANewFileIsPrivateAndAnOldOneKeepsItsMode) {
    const Folder folder;
    const std::string path = folder / "f.conf";
    umask(0);
    EXPECT_EQ(Save(path, "k", "v"), 0);
    EXPECT_EQ(ModeOf(path), 0600U);
    for (const unsigned mode : {0644U, 0640U, 0600U}) {
        chmod(path.c_str(), mode);
        EXPECT_EQ(Save(path, "k", std::to_string(mode)), 0);
        EXPECT_EQ(ModeOf(path), mode);
    }
    umask(022);
}

TEST(SectionFileWriter, EveryFileBelowAPrivateFolderBecomesPrivate) {
    const Folder folder;
    std::filesystem::create_directories(folder / "private/sub");
    const std::string path = folder / "private/sub/f.conf";
    WriteFile(path, "[a]\nk=old\n");
    chmod(path.c_str(), 0644);
    EXPECT_EQ(Save(path, "k", "v"), 0);
    EXPECT_EQ(ModeOf(path), 0600U);
}

TEST(SectionFileWriter, KeepsTheOwner) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
    const Folder folder;
    const std::string path = folder / "f.conf";
    WriteFile(path, "[a]\n");
    if (chown(path.c_str(), 1, 2) != 0) GTEST_SKIP() << "this root has no other users";
    EXPECT_EQ(Save(path, "k", "v"), 0);
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, 1U);
    EXPECT_EQ(status.st_gid, 2U);
}

TEST(SectionFileWriter, ReplacesTheFileBehindALink) {
    const Folder folder;
    std::filesystem::create_directory(folder / "real");
    WriteFile(folder / "real/target.conf", "[a]\nk=old\n");
    std::filesystem::create_symlink("real/target.conf", folder / "link.conf");
    EXPECT_EQ(Save(folder / "link.conf", "k", "v"), 0);
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "link.conf"));
    EXPECT_EQ(ReadFile(folder / "real/target.conf"), "[a]\nk=v\n");
    EXPECT_TRUE(std::filesystem::exists(folder / "real/target.conf.lock"));
}

TEST(SectionFileWriter, MakesTheFileThatALinkNames) {
    const Folder folder;
    std::filesystem::create_symlink(folder / "target.conf", folder / "link.conf");
    EXPECT_EQ(QLIBCFileAddSection((folder / "link.conf").c_str(), "a", nullptr, 0), 0);
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "link.conf"));
    EXPECT_EQ(ReadFile(folder / "target.conf"), "[a]\n");
}

TEST(SectionFileWriter, FailsWithoutTheFolder) {
    const Folder folder;
    EXPECT_EQ(QLIBCFileAddSection((folder / "absent/f.conf").c_str(), "a", nullptr, 0), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0900);
}

TEST(SectionFileWriter, WaitsForTheLock) {
    const Folder folder;
    const std::string path = folder / "f.conf";
    const int lock = open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_EQ(flock(lock, LOCK_EX), 0);
    std::atomic<bool> done = false;
    std::thread writer([&] {
        Save(path, "k", "v");
        done = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_FALSE(done);
    close(lock);
    writer.join();
    EXPECT_EQ(ReadFile(path), "[a]\nk=v\n");
}

// A file size limit stands in for a full disk.
TEST(SectionFileWriter, AFailedWriteLeavesTheOldTextAndNothingElse) {
    const Folder folder;
    const std::string path = folder / "f.conf";
    ASSERT_EQ(Save(path, "k", "v"), 0);
    const std::string before = ReadFile(path);
    const pid_t pid = fork();
    if (pid == 0) {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{.rlim_cur = 1000, .rlim_max = 1000};
        setrlimit(RLIMIT_FSIZE, &limit);
        const int result = Save(path, "k", std::string(5000, 'x'));
        _exit(result == -1 && QLIBCErrGet() == 0x0B00 ? 0 : 1);
    }
    int status = -1;
    waitpid(pid, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(ReadFile(path), before);
    EXPECT_THAT(folder.Names(), UnorderedElementsAre("f.conf", "f.conf.lock"));
}

TEST(SectionFileWriter, LeavesNoDescriptors) {
    const Folder folder;
    const size_t before = zafo::test::OpenDescriptors();
    for (int i = 0; i < 20; ++i)
        Save(folder / "f.conf", "k", std::to_string(i));
    EXPECT_EQ(zafo::test::OpenDescriptors(), before);
}

}  // namespace
