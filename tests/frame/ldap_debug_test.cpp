// SPDX-License-Identifier: Apache-2.0
//
// A private appliance root without the debug marker.
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include <gtest/gtest.h>

#include "platform/error.h"
#include "zafoldap/debug.h"
#include "zafoldap/error.h"

namespace {

constexpr const char *kMarker = "/tmp/zafoldap_debug";

// The switch is read once per process, so each case runs in its own: 0 or 1, or at least 10 when a
// check in `question` failed.
template <class Question>
int InOwnProcess(Question question) {
    const pid_t pid = fork();
    if (pid == 0) _exit(question());
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void MakeMarker() {
    std::ofstream marker(kMarker);
}

TEST(DebugSwitch, IsOffWithoutTheMarker) {
    EXPECT_EQ(InOwnProcess(ZAFOLDAPDebugEnabled), 0);
}

TEST(DebugSwitch, IsOnWithTheMarkerWhateverItHolds) {
    MakeMarker();
    EXPECT_EQ(InOwnProcess(ZAFOLDAPDebugEnabled), 1);
    std::ofstream(kMarker) << "0\n";
    EXPECT_EQ(InOwnProcess(ZAFOLDAPDebugEnabled), 1);
    unlink(kMarker);
}

TEST(DebugSwitch, StaysOffWhenTheMarkerComesLater) {
    EXPECT_EQ(InOwnProcess([] {
                  if (ZAFOLDAPDebugEnabled() != 0) return 10;
                  MakeMarker();
                  return ZAFOLDAPDebugEnabled();
              }),
              0);
    unlink(kMarker);
}

TEST(DebugSwitch, StaysOnWhenTheMarkerGoes) {
    MakeMarker();
    EXPECT_EQ(InOwnProcess([] {
                  if (ZAFOLDAPDebugEnabled() != 1) return 10;
                  unlink(kMarker);
                  return ZAFOLDAPDebugEnabled();
              }),
              1);
    unlink(kMarker);
}

TEST(DebugSwitch, AFolderOfThatNameIsNothing) {
    ASSERT_EQ(mkdir(kMarker, 0755), 0);
    EXPECT_EQ(InOwnProcess(ZAFOLDAPDebugEnabled), 0);
    rmdir(kMarker);
}

TEST(DebugSwitch, ALinkIsNothingWhereverItPoints) {
    for (const char *target : {"/nowhere", "/etc/passwd", "/tmp"}) {
        ASSERT_EQ(symlink(target, kMarker), 0);
        EXPECT_EQ(InOwnProcess(ZAFOLDAPDebugEnabled), 0) << target;
        unlink(kMarker);
    }
}

TEST(DebugSwitch, AFifoIsNothingAndNotWaitedFor) {
    ASSERT_EQ(mkfifo(kMarker, 0644), 0);
    EXPECT_EQ(InOwnProcess(ZAFOLDAPDebugEnabled), 0);
    unlink(kMarker);
}

TEST(DebugSwitch, AFileWithASecondLinkIsNothing) {
    MakeMarker();
    ASSERT_EQ(link(kMarker, "/tmp/second-name"), 0);
    EXPECT_EQ(InOwnProcess(ZAFOLDAPDebugEnabled), 0);
    unlink("/tmp/second-name");
    EXPECT_EQ(InOwnProcess(ZAFOLDAPDebugEnabled), 1);
    unlink(kMarker);
}

TEST(DebugSwitch, IsOffWhereOthersMayRenameFilesInTheFolder) {
    MakeMarker();
    chmod("/tmp", 0777);
    EXPECT_EQ(InOwnProcess(ZAFOLDAPDebugEnabled), 0);
    chmod("/tmp", 0755);
    EXPECT_EQ(InOwnProcess(ZAFOLDAPDebugEnabled), 1);
    chmod("/tmp", 01777);
    unlink(kMarker);
}

TEST(DebugSwitch, IsOffWhenTheProcessMayNotReadTheMarker) {
    MakeMarker();
    chmod(kMarker, 0);
    const int answer = InOwnProcess([] {
        if (setuid(65534) != 0) return 11;
        return ZAFOLDAPDebugEnabled();
    });
    unlink(kMarker);
    if (answer == 11) GTEST_SKIP() << "this root has only one user";
    EXPECT_EQ(answer, 0);
}

TEST(DebugSwitch, AskingLeavesBothErrorSlots) {
    QLIBCErrSet(0x1234);
    ZAFOLDAPErrSet(-77);
    ZAFOLDAPDebugEnabled();
    EXPECT_EQ(QLIBCErrGet(), 0x1234);
    EXPECT_EQ(ZAFOLDAPErrGet(), -77);
    ZAFOLDAPErrReset();
}

}  // namespace
