// SPDX-License-Identifier: Apache-2.0
//
// Predictable names in "/tmp" that another account has taken first. Root must not fail, wait,
// follow a link or remove the wrong file.
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <syslog.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>

#include <gmock/gmock.h>

#include "platform/error.h"
#include "tests/attack/stranger.h"
#include "tests/rig/waiting.h"
#include "tests/tools/account_fixture.h"
#include "tests/tools/server_fixture.h"
#include "zafoldap.h"

namespace zafo::test {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr const char *kConfLock = "/tmp/.zafoldap_conf.lock";
constexpr const char *kMarker = "/tmp/zafoldap_debug";
constexpr const char *kLog = "/var/log/messages";
constexpr uid_t kOther = 65533;  // another unprivileged account

struct stat StatusOf(const std::string &path) {
    struct stat status {};
    lstat(path.c_str(), &status);
    return status;
}

// A separate process, optionally under another account, that exits with what `body` returns. It is
// killed if it does not end.
class Process {
  public:
    Process(uid_t uid, const std::function<int()> &body) {
        pid_ = fork();
        if (pid_ != 0) return;
        alarm(30);
        if (uid != 0 && (setgid(uid) != 0 || setuid(uid) != 0)) _exit(99);
        _exit(body());
    }
    ~Process() {
        if (pid_ <= 0) return;
        kill(pid_, SIGKILL);
        Wait();
    }
    Process(const Process &) = delete;
    Process &operator=(const Process &) = delete;

    pid_t Id() const { return pid_; }
    // Its exit code; -1 when a signal ended it.
    int Wait() {
        int status = 0;
        waitpid(pid_, &status, 0);
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

  private:
    pid_t pid_ = -1;
};

std::string LogUntilNow() {
    static int number = 0;
    const std::string end = "shared folder test, mark " + std::to_string(++number);
    syslog(LOG_ERR, "%s", end.c_str());
    std::string log;
    EXPECT_TRUE(rig::Within(std::chrono::seconds(10), [&] {
        log = rig::ReadFile(kLog);
        return log.find(end) != std::string::npos;
    }));
    const size_t begin = log.rfind("mark " + std::to_string(number - 1) + "\n");
    return begin == std::string::npos ? log : log.substr(begin);
}

class SharedFolder : public testing::Test {
  protected:
    SharedFolder() {
        for (const char *name : {"symlinks", "hardlinks", "fifos", "regular"}) {
            std::string value;
            std::ifstream("/proc/sys/fs/protected_" + std::string(name)) >> value;
            RecordProperty(name, value);
        }
        LogUntilNow();
    }
    ~SharedFolder() override {
        chmod("/tmp", 01777);
        for (const auto &entry : fs::directory_iterator("/tmp"))
            fs::remove_all(entry.path());
        fs::remove("/var/target");
    }

    static void Plant(const std::string &command) {
        const rig::ProgramRun run = AsNobody({"bash", "-c", command});
        ASSERT_EQ(run.exit_code, 0) << run.err;
    }
};

// --- The lock of the backup settings ----------------------------------------

struct LockPlant {
    const char *name;
    const char *command;
    const char *left;  // what is left of it beside the lock; "" nothing
};

class PlantedLock : public SharedFolder,
                    public testing::WithParamInterface<std::tuple<LockPlant, mode_t>> {};

TEST_P(PlantedLock, KeepsRootNeitherFromItsLockNorSendsItElsewhere) {
    SKIP_WITHOUT_OTHER_ACCOUNTS();
    const LockPlant &plant = std::get<0>(GetParam());
    rig::WriteFile("/tmp/precious", "precious\n", 0644);
    chmod("/tmp", std::get<1>(GetParam()));
    Plant(plant.command);
    const int fd = ZAFOLDAPLock(kConfLock, LOCK_EX);
    EXPECT_GE(fd, 0);
    EXPECT_TRUE(S_ISREG(StatusOf(kConfLock).st_mode));
    EXPECT_EQ(StatusOf(kConfLock).st_uid, 0U);
    EXPECT_EQ(StatusOf(kConfLock).st_mode & 07777, 0600U);
    EXPECT_FALSE(fs::exists("/var/target"));
    EXPECT_EQ(rig::ReadFile("/tmp/precious"), "precious\n");
    EXPECT_EQ(Process(0, [] { return ZAFOLDAPLock(kConfLock, LOCK_EX) < 0 ? 0 : 1; }).Wait(), 0)
        << "what root holds is the lock that others see";
    EXPECT_THAT(LogUntilNow(), HasSubstr("lock file /tmp/.zafoldap_conf.lock: "));
    int beside = 0;
    for (const auto &entry : fs::directory_iterator("/tmp"))
        beside += entry.path().string().starts_with(std::string(kConfLock) + ".") ? 1 : 0;
    EXPECT_EQ(beside, *plant.left == '\0' ? 0 : 1);
    ZAFOLDAPUnLock(fd);
}

INSTANTIATE_TEST_SUITE_P(
    Plants, PlantedLock,
    testing::Combine(
        testing::Values(
            LockPlant{"File", "touch /tmp/.zafoldap_conf.lock", ""},
            LockPlant{"FileOpenToAll", "install -m 666 /dev/null /tmp/.zafoldap_conf.lock", ""},
            LockPlant{"EmptyFolder", "mkdir /tmp/.zafoldap_conf.lock", ""},
            LockPlant{"FullFolder", "mkdir -p /tmp/.zafoldap_conf.lock/deep", "folder"},
            LockPlant{"LinkToNothing", "ln -s /var/target /tmp/.zafoldap_conf.lock", ""},
            LockPlant{"LinkToAFileOfRoots", "ln -s /tmp/precious /tmp/.zafoldap_conf.lock", ""},
            LockPlant{"LinkToAFolder", "ln -s /var /tmp/.zafoldap_conf.lock", ""},
            LockPlant{"Fifo", "mkfifo -m 666 /tmp/.zafoldap_conf.lock", ""}),
        testing::Values(01777, 0777)),
    [](const auto &test) {
        return std::string(std::get<0>(test.param).name) +
               (std::get<1>(test.param) == 01777 ? "" : "InAFolderWithoutStickyBit");
    });

// What the stranger can do where the kernel does not protect hard links, done on his behalf.
TEST_F(SharedFolder, LockHardLinkedToRootsFileIsReplacedAndTheFileKept) {
    rig::WriteFile("/tmp/precious", "precious\n");
    fs::create_hard_link("/tmp/precious", kConfLock);
    const int fd = ZAFOLDAPLock(kConfLock, LOCK_EX);
    EXPECT_GE(fd, 0);
    EXPECT_EQ(rig::ReadFile("/tmp/precious"), "precious\n");
    EXPECT_NE(StatusOf(kConfLock).st_ino, StatusOf("/tmp/precious").st_ino);
    ZAFOLDAPUnLock(fd);
}

TEST_F(SharedFolder, StrangerWhoLocksTheirOwnFileDoesNotBlockBackupSettings) {
    SKIP_WITHOUT_OTHER_ACCOUNTS();
    std::array<int, 2> ready{};
    ASSERT_EQ(pipe(ready.data()), 0);
    const Process holder(kNobody, [&] {
        const int fd = open(kConfLock, O_RDWR | O_CREAT, 0666);
        if (flock(fd, LOCK_EX) != 0 || write(ready[1], "x", 1) != 1) return 1;
        pause();
        return 0;
    });
    char held = 0;
    ASSERT_EQ(read(ready[0], &held, 1), 1);
    close(ready[0]);
    close(ready[1]);
    EXPECT_EQ(rig::ServerLine("backup config set --dir /var/lib").exit_code, 0);
    const rig::ProgramRun shown = rig::ServerLine("backup config show");
    EXPECT_EQ(shown.exit_code, 0) << shown.err;
    EXPECT_THAT(shown.out, HasSubstr("/var/lib"));
}

TEST_F(SharedFolder, StrangerCannotOpenRootsLockFileAndSoNotHoldIt) {
    SKIP_WITHOUT_OTHER_ACCOUNTS();
    const mode_t mask = umask(0);
    ZAFOLDAPUnLock(ZAFOLDAPLock(kConfLock, LOCK_SH));
    umask(mask);
    EXPECT_NE(AsNobody({"flock", "-n", kConfLock, "true"}).exit_code, 0);
    EXPECT_NE(AsNobody({"rm", "-f", kConfLock}).exit_code, 0);
    const int fd = ZAFOLDAPLock(kConfLock, LOCK_EX);
    EXPECT_GE(fd, 0);
    ZAFOLDAPUnLock(fd);
}

TEST_F(SharedFolder, BusyStrangerLosesEveryRaceForTheLock) {
    SKIP_WITHOUT_OTHER_ACCOUNTS();
    const Process busy(kNobody, [] {
        for (;;) {
            mkdir(kConfLock, 0777);
            rmdir(kConfLock);
            if (symlink("/var/target", kConfLock) == 0) unlink(kConfLock);
            close(open(kConfLock, O_RDWR | O_CREAT | O_EXCL, 0666));
        }
        return 0;
    });
    for (int i = 0; i < 300; ++i) {
        const int fd = ZAFOLDAPLock(kConfLock, LOCK_EX);
        ASSERT_GE(fd, 0) << i;
        ASSERT_EQ(StatusOf(kConfLock).st_uid, 0U);
        ASSERT_TRUE(S_ISREG(StatusOf(kConfLock).st_mode));
        unlink(kConfLock);  // so that the stranger can try again
        ZAFOLDAPUnLock(fd);
    }
    EXPECT_FALSE(fs::exists("/var/target"));
}

// When root's processes replace a plant concurrently, only one of them gets the lock.
TEST_F(SharedFolder, PlantNeverLetsTwoHoldTheLock) {
    SKIP_WITHOUT_OTHER_ACCOUNTS();
    for (int round = 0; round < 40; ++round) {
        unlink(kConfLock);
        mkdir(kConfLock, 0777);
        ASSERT_EQ(chown(kConfLock, kNobody, kNobody), 0);
        std::array<int, 2> start{}, done{}, tried{};
        ASSERT_EQ(pipe(start.data()) + pipe(done.data()) + pipe(tried.data()), 0);
        const auto contend = [&] {
            char byte = 0;
            close(start[1]);
            close(done[1]);
            if (read(start[0], &byte, 1) != 0) return 2;
            const int fd = ZAFOLDAPLock(kConfLock, LOCK_EX);
            if (write(tried[1], "x", 1) != 1 || read(done[0], &byte, 1) != 0) return 2;
            return fd >= 0 ? 1 : 0;
        };
        Process one(0, contend), two(0, contend), three(0, contend), four(0, contend);
        close(start[0]);
        close(start[1]);
        close(done[0]);
        char byte = 0;
        for (int i = 0; i < 4; ++i)
            ASSERT_EQ(read(tried[0], &byte, 1), 1);
        close(done[1]);
        EXPECT_EQ(one.Wait() + two.Wait() + three.Wait() + four.Wait(), 1) << round;
        close(tried[0]);
        close(tried[1]);
    }
}

TEST_F(SharedFolder, LogsWhatRootRemovedAndWhatItCouldNot) {
    SKIP_WITHOUT_OTHER_ACCOUNTS();
    Plant("ln -s /var/target /tmp/link.lock; mkdir -m 755 -p /tmp/full.lock/deep");
    for (const char *lock : {"/tmp/link.lock", "/tmp/full.lock"}) {
        const int fd = ZAFOLDAPLock(lock, LOCK_EX);
        EXPECT_GE(fd, 0) << lock;
        ZAFOLDAPUnLock(fd);
    }
    EXPECT_THAT(
        LogUntilNow(),
        AllOf(HasSubstr("/tmp/link.lock: a link of user 65534, mode 0777 was in the way and has "
                        "been removed"),
              HasSubstr("/tmp/full.lock: a folder of user 65534, mode 0755 was in the way and is "
                        "/tmp/full.lock.")));
}

TEST_F(SharedFolder, LogsAPlantThatTheUserCannotRemove) {
    SKIP_WITHOUT_OTHER_ACCOUNTS();
    Plant(
        "mkdir -m 755 /tmp/plain.lock; install -m 666 /dev/null /tmp/open.lock; "
        "ln -s /var/target /tmp/link.lock; mkfifo -m 644 /tmp/fifo.lock");
    for (const char *lock :
         {"/tmp/plain.lock", "/tmp/open.lock", "/tmp/link.lock", "/tmp/fifo.lock"}) {
        Process user(kOther, [&] {
            return ZAFOLDAPLock(lock, LOCK_EX) == -1 && QLIBCErrGet() == 0x0900 ? 0 : 1;
        });
        EXPECT_EQ(user.Wait(), 0) << lock;
    }
    EXPECT_THAT(LogUntilNow(),
                AllOf(HasSubstr("/tmp/plain.lock: a folder of user 65534, mode 0755 is in the way"),
                      HasSubstr("/tmp/open.lock: a file of user 65534, mode 0666 is in the way"),
                      HasSubstr("/tmp/link.lock: a link of user 65534, mode 0777 is in the way"),
                      HasSubstr("/tmp/fifo.lock: a FIFO of user 65534, mode 0644 is in the way")));
    EXPECT_EQ(Process(kOther, [] { return ZAFOLDAPLock("/tmp/own.lock", LOCK_EX) < 0; }).Wait(), 0)
        << "and has locks of his own";
}

// --- Error files of searches ------------------------------------------------

// A failing search by root with debugging on. `plant` is for the stranger's shell, which sees the
// name in time.
int FailingSearch(const std::string &plant) {
    ZAFOLDAP_HOST host{};
    char uri[] = "127.0.0.1:1";
    host.szUri = uri;
    ZAFOLDAP_SEARCH_REQUEST request{};
    ZAFOLDAP_RESULT result;
    if (ZAFOLDAPSearchInit(&host, &request, &result) != 0) return 2;
    const std::string name = result.szErrFile;
    if (AsNobody({"sh", "-c", plant + " " + name}).exit_code != 0) return 3;
    if (ZAFOLDAPSearchGetNext(&request, &result) != -1) return 4;
    ZAFOLDAPSearchFree(&request, &result);
    return StatusOf(name).st_nlink == 0 ? 0 : 5;
}

TEST_F(SharedFolder, PlantedErrorFileNeitherStopsASearchNorShowsAPrivateFile) {
    SKIP_WITHOUT_OTHER_ACCOUNTS();
    rig::WriteFile("/var/target", "only root may read this\n");
    rig::WriteFile(kMarker, "");
    for (const char *plant :
         {"mkfifo -m 666", "ln -s /var/target", "echo a stranger lies >", "ln -s /dev/zero"}) {
        Process root(0, [&] { return FailingSearch(plant); });
        EXPECT_EQ(root.Wait(), 0) << plant;
    }
    EXPECT_THAT(LogUntilNow(),
                AllOf(HasSubstr("ldapsearch return 255"), Not(HasSubstr("only root may read this")),
                      Not(HasSubstr("a stranger lies"))));
    EXPECT_TRUE(fs::exists("/var/target"));
}

// --- Change files -----------------------------------------------------------

int MakeChangeFile() {
    ZAFOLDAP_LDIF file;
    const auto begin = std::chrono::steady_clock::now();
    const int result = ZAFOLDAPLdifInit(&file, nullptr);
    const auto took = std::chrono::steady_clock::now() - begin;
    const bool right = StatusOf(file.szPath).st_uid == geteuid() &&
                       (StatusOf(file.szPath).st_mode & 07777) == 0600;
    ZAFOLDAPLdifClose(&file);
    ZAFOLDAPLdifUnlink(&file);
    return result == 0 && right && took < std::chrono::seconds(2) ? 0 : 1;
}

TEST_F(SharedFolder, FoldersUnderTheNextNamesOfChangeFilesFailNoEdit) {
    SKIP_WITHOUT_OTHER_ACCOUNTS();
    Process root(0, [] {
        const std::string names = "/tmp/" + std::to_string(getpid()) + "_{0..4999}.ldif";
        if (AsNobody({"bash", "-c", "mkdir " + names}).exit_code != 0) return 2;
        return MakeChangeFile() + MakeChangeFile();
    });
    EXPECT_EQ(root.Wait(), 0);
}

TEST_F(SharedFolder, AStrangersFilesUnderThoseNamesDoNotStopOrdinaryUsersEither) {
    SKIP_WITHOUT_OTHER_ACCOUNTS();
    std::array<int, 2> go{};
    ASSERT_EQ(pipe(go.data()), 0);
    Process user(kOther, [&] {
        char byte = 0;
        return read(go[0], &byte, 1) == 1 ? MakeChangeFile() : 2;
    });
    Plant("touch /tmp/" + std::to_string(user.Id()) + "_{0..499}.ldif");
    ASSERT_EQ(write(go[1], "x", 1), 1);
    EXPECT_EQ(user.Wait(), 0);
    close(go[0]);
    close(go[1]);
}

// --- Leftovers of killed processes --------------------------------------------

class LeftoverFiles : public SharedFolder {
  protected:
    // A change file of a killed process.
    static std::string Left() {
        Process killed(0, [] {
            ZAFOLDAP_LDIF file;
            ZAFOLDAPLdifInit(&file, nullptr);
            ZAFOLDAPLdifTargetDN(&file, "dc=x");
            return raise(SIGKILL);
        });
        const std::string prefix = std::to_string(killed.Id()) + "_";
        killed.Wait();
        for (const auto &entry : fs::directory_iterator("/tmp")) {
            if (entry.path().filename().string().starts_with(prefix)) return entry.path();
        }
        ADD_FAILURE() << "nothing was left";
        return {};
    }
};

TEST_F(LeftoverFiles, GoAtTheNextStartOfAnyProgram) {
    for (const char *program : {"zafoldap", "zafoldapserver", "zafoldapbackup"}) {
        const std::string path = Left();
        rig::RunProgram({std::string("/usr/zafo/bin/") + program, "--version"});
        EXPECT_FALSE(fs::exists(path)) << program;
    }
}

TEST_F(LeftoverFiles, ErrorFilesAndEmptyMountPointsGoToo) {
    const std::string gone = std::to_string((1 << 22) + 1);  // above any possible pid
    const std::string error_file = "/tmp/ldapsearch.err." + gone + ".0";
    const std::string point = "/zafoldaphomefolder." + gone, full = point + "7";
    rig::WriteFile(error_file, "");
    fs::create_directories(point);
    fs::create_directories(full + "/home");
    rig::Zafoldap({"--version"});
    EXPECT_FALSE(fs::exists(error_file));
    EXPECT_FALSE(fs::exists(point));
    EXPECT_TRUE(fs::exists(full + "/home"));
    fs::remove_all(full);
}

TEST_F(LeftoverFiles, OfLivingProcessesStay) {
    ZAFOLDAP_LDIF file;
    ASSERT_EQ(ZAFOLDAPLdifInit(&file, nullptr), 0);
    rig::Zafoldap({"--version"});
    EXPECT_TRUE(fs::exists(file.szPath));
    ZAFOLDAPLdifClose(&file);
    ZAFOLDAPLdifUnlink(&file);
}

TEST_F(LeftoverFiles, OfAProcessWhoseNumberHasBeenGivenAgainGo) {
    // The next pids; one of them is the sleeper's.
    const pid_t here = getpid();
    const auto name = [](pid_t pid) { return "/tmp/" + std::to_string(pid) + "_0.ldif"; };
    pid_t last = 0;
    for (pid_t pid = here + 1; pid < here + 2000; ++pid) {
        if (kill(pid, 0) == 0) continue;
        rig::WriteFile(name(pid), "");
        last = pid;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(4500));
    const Process sleeper(0, [] { return pause(); });
    ASSERT_LE(sleeper.Id(), last);
    ASSERT_TRUE(fs::exists(name(sleeper.Id())));
    rig::WriteFile("/tmp/" + std::to_string(sleeper.Id()) + "_1.ldif", "");
    rig::Zafoldap({"--version"});
    EXPECT_FALSE(fs::exists(name(sleeper.Id())));
    EXPECT_TRUE(fs::exists("/tmp/" + std::to_string(sleeper.Id()) + "_1.ldif"));
}

TEST_F(LeftoverFiles, StayWhileTheDebugSwitchIsOn) {
    rig::WriteFile(kMarker, "");
    const std::string path = Left();
    rig::Zafoldap({"--version"});
    EXPECT_TRUE(fs::exists(path));
}

TEST_F(LeftoverFiles, OfOthersAndWhatOnlyLooksLikeThemStay) {
    SKIP_WITHOUT_OTHER_ACCOUNTS();
    const std::string gone = "/tmp/" + std::to_string((1 << 22) + 1);
    Plant("touch " + gone + "_0.ldif; ln -s /etc/passwd " + gone + "_1.ldif; mkdir " + gone +
          "_2.ldif");
    std::vector<std::string> names{gone + "_0.ldif", gone + "_1.ldif", gone + "_2.ldif"};
    for (const char *tail :
         {"_.ldif", "_1.ldif.old", "_1x.ldif", "_01.ldif", "_-1.ldif", ".ldif"}) {
        names.push_back(gone + tail);
        rig::WriteFile(names.back(), "");
    }
    names.push_back("/tmp/0_1.ldif");
    rig::WriteFile(names.back(), "");
    rig::Zafoldap({"--version"});
    for (const std::string &name : names)
        EXPECT_NE(StatusOf(name).st_nlink, 0U) << name;
}

TEST_F(LeftoverFiles, AFullFolderOfAStrangersMakesNoStartSlow) {
    SKIP_WITHOUT_OTHER_ACCOUNTS();
    Plant(
        "cd /tmp && seq -f 'noise%.0f' 100000 | xargs touch && "
        "seq -f '4194305_%.0f.ldif' 20000 | xargs touch");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(rig::Zafoldap({"--version"}).exit_code, 0);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(3));
}

// --- A full folder ----------------------------------------------------------

class FullFolder : public rig::AccountCommand {};

TEST_F(FullFolder, IsNamedAsTheCauseAndNothingIsChanged) {
    ASSERT_EQ(rig::Line("user add berta --password-stdin").exit_code, 0);
    const std::string before = Tree();
    for (const char *options : {"size=4k,nr_inodes=100", "nr_inodes=1", "ro"}) {
        const rig::MountedOver full("/tmp", options);
        if (!full.Mounted()) GTEST_SKIP() << "no file system can be mounted here";
        std::ofstream("/tmp/filler") << std::string(1 << 20, 'x');
        for (const char *line : {"user add anna --password-stdin", "user edit berta --shell /bin/a",
                                 "member add users berta", "group add g1"}) {
            const rig::ProgramRun run = rig::Line(line);
            EXPECT_EQ(run.exit_code, 1) << line;
            EXPECT_THAT(run.err,
                        AllOf(HasSubstr("/tmp: "),
                              HasSubstr(std::string(options) == "ro" ? "Read-only file system"
                                                                     : "No space left on device"),
                              HasSubstr("df -h /tmp")))
                << options << ": " << line;
        }
    }
    EXPECT_EQ(Tree(), before);
}

}  // namespace
}  // namespace zafo::test
