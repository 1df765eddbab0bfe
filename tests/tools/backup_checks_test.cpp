// SPDX-License-Identifier: Apache-2.0
//
// The findings about backups, from facts alone.
#include "tools/zafoldapserver/backup_checks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace zafo::cli;
using testing::HasSubstr;

constexpr std::time_t kHour = 3600;
constexpr std::time_t kDay = 24 * kHour;
constexpr std::time_t kNow = 20000 * kDay + 12 * kHour;

BackupSettings Daily() {
    return {.enabled = true, .folder = "/backups", .schedule = {1, 4, 0, 4, 0, 0}};
}

BackupSettings Off() {
    return {.enabled = false, .folder = "/backups", .schedule = {1, 4, 0, 4, 0, 0}};
}

TEST(BackupJudgement, OfASchedule) {
    const struct {
        BackupSettings settings;
        Registration registration;
        bool cron;
        StepResult result;
        const char *cause;
    } rows[] = {
        {Daily(), Registration::kAsSet, true, StepResult::kOk, "daily 04:00, next tomorrow"},
        {Daily(), Registration::kAsSet, false, StepResult::kFailed, "cron is not running"},
        {Daily(), Registration::kMissing, true, StepResult::kFailed, "does not have it"},
        {Daily(), Registration::kOtherwise, true, StepResult::kFailed, "at other times"},
        {Daily(), Registration::kUnreadable, true, StepResult::kFailed, "cannot be read"},
        {Off(), Registration::kAsSet, true, StepResult::kWarning, "no backups are scheduled"},
        {Off(), Registration::kLeftOver, true, StepResult::kFailed, "still runs backups"},
        {{.enabled = true, .folder = "/b", .schedule = {}},
         Registration::kAsSet,
         true,
         StepResult::kFailed,
         "has no time"},
    };
    for (const auto &row : rows) {
        const CheckStep step = JudgeSchedule(row.settings, row.registration, row.cron, kNow);
        SCOPED_TRACE(row.cause);
        EXPECT_EQ(step.result, row.result);
        EXPECT_THAT(step.detail, HasSubstr(row.cause));
        EXPECT_EQ(step.hint.empty(), row.result == StepResult::kOk);
    }
}

LastBackup Of(std::time_t age) {
    return {.written = kNow - age, .path = "/backups/x", .content = "13 entries"};
}

TEST(BackupJudgement, OfTheNewestBackup) {
    const struct {
        BackupSettings settings;
        LastBackup last;
        StepResult result;
        const char *cause;
    } rows[] = {
        {Daily(), Of(30), StepResult::kOk, "less than a minute old, 13 entries; /backups/x"},
        {Daily(), Of(90), StepResult::kOk, "1 minute old"},
        {Daily(), Of(5 * kHour), StepResult::kOk, "5 hours old"},
        {Daily(), Of(2 * kDay), StepResult::kOk, "2 days old"},
        {Daily(), Of(2 * kDay + 1), StepResult::kFailed, "2 days old, but one is scheduled daily"},
        {Off(), Of(400 * kDay), StepResult::kOk, "400 days old"},
        {Daily(), Of(-kHour), StepResult::kWarning, "the clock was wrong"},
        {Daily(), Of(-5), StepResult::kOk, "less than a minute"},
        {Daily(), {}, StepResult::kWarning, "no backup yet"},
        {Off(), {}, StepResult::kWarning, "there is no backup"},
        {Daily(),
         {.written = kNow, .path = "/x", .fault = "/x: cut", .content = {}},
         StepResult::kFailed,
         "cannot be restored: /x: cut"},
    };
    for (const auto &row : rows) {
        const CheckStep step = JudgeLast(row.settings, row.last, std::nullopt, kNow);
        SCOPED_TRACE(row.cause);
        EXPECT_EQ(step.result, row.result);
        EXPECT_THAT(step.detail, HasSubstr(row.cause));
    }
}

JobProgress Job(int stage, int status, bool running = false, std::string operation = "backup") {
    return {.running = running,
            .operation = std::move(operation),
            .task = "backup",
            .action = "verifying",
            .total = 6,
            .stage = stage,
            .status = status,
            .pid = 77};
}

TEST(BackupJudgement, OfALastRunThatFailedThoughAnOlderBackupIsGood) {
    const struct {
        JobProgress job;
        StepResult result;
        const char *cause;
    } rows[] = {
        {Job(6, 0), StepResult::kOk, "1 minute old"},
        {Job(5, 0, true), StepResult::kOk, "1 minute old"},
        {Job(5, 6), StepResult::kFailed, "failed while verifying: the backup file system"},
        {Job(5, 0), StepResult::kFailed, "killed while verifying"},
        {Job(5, 8, false, "restore"), StepResult::kOk, "1 minute old"},
    };
    for (const auto &row : rows) {
        const CheckStep step = JudgeLast(Daily(), Of(90), row.job, kNow);
        SCOPED_TRACE(row.cause);
        EXPECT_EQ(step.result, row.result);
        EXPECT_THAT(step.detail, HasSubstr(row.cause));
    }
}

TEST(JobState, FollowsFromProgressAlone) {
    EXPECT_EQ(Job(3, 0, true).State(), JobState::kRunning);
    EXPECT_EQ(Job(6, 0).State(), JobState::kDone);
    EXPECT_EQ(Job(3, 5).State(), JobState::kFailed);
    EXPECT_EQ(Job(3, 0).State(), JobState::kLost);
}

}  // namespace
