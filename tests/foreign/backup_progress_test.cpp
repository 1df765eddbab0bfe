// SPDX-License-Identifier: Apache-2.0
//
// What the backup program reports about its progress.
#include <cstring>

#include "tests/foreign/server.h"
#include "zafoldap/backup.h"

namespace zafo::foreign::backup_progress_test {

// --- Progress -------------------------------------------------------------------------

class ServerProgress : public ServerTest {
  protected:
    ZAFOLDAP_PROGRESS progress_;

    void SetUp() override {
        ServerTest::SetUp();
        memset(&progress_, 0x5A, sizeof progress_);
    }
    void Keep(const Pairs &pairs) { platform().pairs[kProgressFile] = pairs; }
    void ExpectEmpty() {
        EXPECT_EQ(progress_.blRunning, 0);
        EXPECT_EQ(progress_.szOperation, nullptr);
        EXPECT_EQ(progress_.szTask, nullptr);
        EXPECT_EQ(progress_.szAction, nullptr);
        EXPECT_EQ(progress_.nTotal, 0);
        EXPECT_EQ(progress_.nStage, 0);
        EXPECT_EQ(progress_.nStatus, 0);
        EXPECT_EQ(progress_.nPid, 0);
    }
};
ZAFO_FOREIGN_SUITE(ServerProgress);

TEST_P(ServerProgress, ReadsAllFields) {
    platform().alive.insert(4711);
    Keep({{"operation", "restore"},
          {"task", "backup"},
          {"action", "loading"},
          {"total", "9"},
          {"stage", "4"},
          {"status", "0"},
          {"pid", "4711"}});
    ASSERT_EQ(ZAFOLDAPServerProgressGet(&progress_), 1);
    EXPECT_STREQ(progress_.szOperation, "restore");
    EXPECT_STREQ(progress_.szTask, "backup");
    EXPECT_STREQ(progress_.szAction, "loading");
    EXPECT_EQ(progress_.nTotal, 9);
    EXPECT_EQ(progress_.nStage, 4);
    EXPECT_EQ(progress_.nStatus, 0);
    EXPECT_EQ(progress_.nPid, 4711);
    EXPECT_EQ(progress_.blRunning, 1);
    EXPECT_EQ(platform().CallsOf("QLIBCFileGetPair").at(0).arguments, Strings{kProgressFile});
    EXPECT_EQ(platform().CallsOf("QLIBCProcAlive").at(0).arguments, Strings{"4711"});
    EXPECT_EQ(ZAFOLDAPServerProgressFree(&progress_), 0);
    EXPECT_EQ(PlatformError(), kStalePlatformError);
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(ServerProgress, FailsWithoutARecord) {
    EXPECT_EQ(ZAFOLDAPServerProgressGet(nullptr), -1);
    EXPECT_EQ(PlatformError(), 0x0D00);
}

TEST_P(ServerProgress, AsksForAListAndAMapOf1024) {
    Keep({});
    ASSERT_EQ(ZAFOLDAPServerProgressGet(&progress_), 1);
    EXPECT_EQ(platform().CallsOf("QLIBCSzListAlloc").at(0).arguments, Strings{"1024"});
    EXPECT_EQ(platform().CallsOf("QLIBCSzHashAlloc").at(0).arguments, Strings{"1024"});
    ZAFOLDAPServerProgressFree(&progress_);
}

TEST_P(ServerProgress, IsUnknownForAnEmptyFile) {
    Keep({});
    ASSERT_EQ(ZAFOLDAPServerProgressGet(&progress_), 1);
    ExpectEmpty();
    ZAFOLDAPServerProgressFree(&progress_);
}

TEST_P(ServerProgress, RunsOnlyWithoutAFailureAndWhileTheProcessLives) {
    struct Case {
        const char *status;
        bool alive;
        int running;
    };
    for (const Case &row : {Case{"0", true, 1}, Case{"0", false, 0}, Case{"3", true, 0},
                            Case{"3", false, 0}, Case{"-1", true, 0}, Case{"", true, 1}}) {
        platform().alive.clear();
        if (row.alive) platform().alive.insert(77);
        Keep({{"status", row.status}, {"pid", "77"}});
        ASSERT_EQ(ZAFOLDAPServerProgressGet(&progress_), 1);
        EXPECT_EQ(progress_.blRunning, row.running) << row.status << row.alive;
        ZAFOLDAPServerProgressFree(&progress_);
    }
}

TEST_P(ServerProgress, TakesEveryAnswerButZeroForAlive) {
    for (int answer : {1, 2, 256}) {
        Keep({{"status", "0"}, {"pid", "77"}});
        platform().Returns("QLIBCProcAlive", answer);
        ASSERT_EQ(ZAFOLDAPServerProgressGet(&progress_), 1);
        EXPECT_EQ(progress_.blRunning, 1) << answer;
        ZAFOLDAPServerProgressFree(&progress_);
    }
}

TEST_P(ServerProgress, ReadsNumbersAsDecimal) {
    Keep({{"total", "010"}, {"stage", "x"}, {"status", "12"}, {"pid", "2147483647"}});
    ASSERT_EQ(ZAFOLDAPServerProgressGet(&progress_), 1);
    EXPECT_EQ(progress_.nTotal, 10);
    EXPECT_EQ(progress_.nStage, 0);
    EXPECT_EQ(progress_.nStatus, 12);
    EXPECT_EQ(progress_.nPid, 2147483647);
    ZAFOLDAPServerProgressFree(&progress_);
}

TEST_P(ServerProgress, SurvivesNumbersThatAreTooBig) {
    Keep({{"total", "99999999999999999999"},
          {"stage", "-99999999999999999999"},
          {"status", "99999999999"},
          {"pid", "99999999999999999999"}});
    ASSERT_EQ(ZAFOLDAPServerProgressGet(&progress_), 1);
    ZAFOLDAPServerProgressFree(&progress_);
}

TEST_P(ServerProgress, OwnsStringsThatMoveWithItsList) {
    const std::string operation(700, 'o');
    const std::string task(900, 't');
    const std::string action(3000, 'a');
    Keep({{"operation", operation}, {"task", task}, {"action", action}});
    ASSERT_EQ(ZAFOLDAPServerProgressGet(&progress_), 1);
    EXPECT_EQ(progress_.szOperation, operation);
    EXPECT_EQ(progress_.szTask, task);
    EXPECT_EQ(progress_.szAction, action);
    ZAFOLDAPServerProgressFree(&progress_);
}

TEST_P(ServerProgress, IsZeroWithoutAFile) {
    EXPECT_EQ(ZAFOLDAPServerProgressGet(&progress_), 0);
    EXPECT_EQ(PlatformError(), 0);
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
    ExpectEmpty();
    EXPECT_EQ(Log(), Strings{});
    ZAFOLDAPServerProgressFree(&progress_);
}

TEST_P(ServerProgress, DoesNotTakeAnEarlierErrorForAMissingFile) {
    Keep({{"operation", "backup"}});
    platform().slot = 0x0900;
    ASSERT_EQ(ZAFOLDAPServerProgressGet(&progress_), 1);
    EXPECT_STREQ(progress_.szOperation, "backup");
    ZAFOLDAPServerProgressFree(&progress_);
}

TEST_P(ServerProgress, FailsForAFileThatCannotBeRead) {
    for (int code : {0x0A00, 0x0200, 0x0D00}) {
        platform().Fail("QLIBCFileGetPair", 1, -1, code);
        EXPECT_EQ(ZAFOLDAPServerProgressGet(&progress_), -1);
        EXPECT_EQ(PlatformError(), code);
        ExpectEmpty();
        ZAFOLDAPServerProgressFree(&progress_);
    }
}

TEST_P(ServerProgress, FailsWithoutListOrMap) {
    for (const char *function : {"QLIBCSzListAlloc", "QLIBCSzHashAlloc"}) {
        platform().Fail(function, 1, -1, 0x0200);
        EXPECT_EQ(ZAFOLDAPServerProgressGet(&progress_), -1) << function;
        ExpectEmpty();
        ZAFOLDAPServerProgressFree(&progress_);
    }
    EXPECT_TRUE(platform().CallsOf("QLIBCFileGetPair").empty());
}

TEST_P(ServerProgress, FailsWhenATextCannotBeCopied) {
    Keep({{"operation", "backup"}, {"task", "backup"}, {"action", "x"}});
    for (int nth = 1; nth <= 3; ++nth) {
        platform().Fail("QLIBCSzListPush", nth, -1, 0x0200);
        EXPECT_EQ(ZAFOLDAPServerProgressGet(&progress_), -1) << nth;
        ZAFOLDAPServerProgressFree(&progress_);
    }
}

TEST_P(ServerProgress, FreeingZeroesTheRecordAndTakesNone) {
    Keep({{"operation", "backup"}, {"pid", "5"}, {"stage", "2"}});
    ASSERT_EQ(ZAFOLDAPServerProgressGet(&progress_), 1);
    EXPECT_EQ(ZAFOLDAPServerProgressFree(&progress_), 0);
    EXPECT_EQ(progress_.plistBuffer, nullptr);
    ExpectEmpty();
    EXPECT_EQ(ZAFOLDAPServerProgressFree(&progress_), 0);
    EXPECT_EQ(ZAFOLDAPServerProgressFree(nullptr), 0);
    EXPECT_EQ(Log(), Strings{});
}

}  // namespace zafo::foreign::backup_progress_test
