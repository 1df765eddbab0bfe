// SPDX-License-Identifier: Apache-2.0
//
// The table of periodic commands, and how a real cron interprets it.
#include "platform/schedule.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstring>
#include <optional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/owners.h"
#include "tests/rig/cron.h"
#include "tests/rig/waiting.h"

namespace {

using testing::HasSubstr;
using testing::UnorderedElementsAre;
using zafo::rig::Cron;
using zafo::rig::Within;
using zafo::test::ReadFile;
using zafo::test::WriteFile;

constexpr char kTable[] = "/etc/cron.d/zafo";
constexpr char kBackup[] = "/usr/zafo/bin/zafoldapserver --backup now 2>/dev/null >&2";
constexpr char kHead[] =
    "# Periodic commands of the appliance. The numbers above a line are its schedule.\n"
    "SHELL=/bin/sh\n"
    "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin\n";

using Numbers = std::array<int, 6>;

ZAFOSCHEDULE Schedule(const Numbers &numbers, const std::string &command = kBackup) {
    ZAFOSCHEDULE schedule{};
    std::copy(numbers.begin(), numbers.end(), schedule.rgField);
    memcpy(schedule.szCommand, command.data(), std::min(command.size(), sizeof schedule.szCommand));
    return schedule;
}

int Set(const Numbers &numbers, const std::string &command = kBackup) {
    const ZAFOSCHEDULE schedule = Schedule(numbers, command);
    return ZAFOScheduleSet(&schedule, 0);
}

// The numbers of a command's entry as text, or the error as "0x2200".
std::string Get(const std::string &command = kBackup) {
    ZAFOSCHEDULE schedule;
    memset(&schedule, 'x', sizeof schedule);
    std::string text;
    if (ZAFOScheduleGet(command.c_str(), &schedule) != 0) {
        char error[8];
        snprintf(error, sizeof error, "0x%04X", static_cast<unsigned>(QLIBCErrGet()));
        return error;
    }
    EXPECT_EQ(schedule.szCommand, command);
    for (const int number : schedule.rgField)
        text += (text.empty() ? "" : ",") + std::to_string(number);
    return text;
}

class Schedules : public testing::Test {
  protected:
    void SetUp() override {
        std::filesystem::remove_all("/etc/cron.d");
        ASSERT_EQ(mkdir("/etc/cron.d", 0755), 0);
        QLIBCErrSet(0);
    }
    static std::vector<std::string> Names() {
        std::vector<std::string> names;
        for (const auto &entry : std::filesystem::directory_iterator("/etc/cron.d"))
            names.push_back(entry.path().filename().string());
        return names;
    }
    static std::string Table() { return ReadFile(kTable); }
};

struct TimeRow {
    Numbers numbers;
    const char *time;
};

TEST_F(Schedules, AreWrittenInCronsFormat) {
    const TimeRow rows[] = {
        {{1, 4, 0, 4, 0, 0}, "0 4 * * *"},           {{1, 0, 30, 20, 4, 0}, "30 0-20/4 * * *"},
        {{1, 23, 59, 0, 0, 0}, "59 23 * * *"},       {{1, 0, 0, 23, 1, 0}, "0 0-23/1 * * *"},
        {{2, 4, 0, 4, 0, 0}, "0 4 * * 0"},           {{2, 4, 0, 4, 0, 6}, "0 4 * * 6"},
        {{2, 8, 5, 18, 2, 3}, "5 8-18/2 * * 3"},     {{3, 4, 0, 4, 0, 1}, "0 4 1 * *"},
        {{3, 0, 0, 12, 12, 28}, "0 0-12/12 28 * *"},
    };
    for (const TimeRow &row : rows) {
        SCOPED_TRACE(row.time);
        EXPECT_EQ(Set(row.numbers), 0);
        const std::string table = Table();
        EXPECT_TRUE(table.ends_with("\n" + std::string(row.time) + " root " + kBackup + "\n"))
            << table;
        std::string numbers;
        for (const int number : row.numbers)
            numbers += (numbers.empty() ? "" : ",") + std::to_string(number);
        EXPECT_THAT(table, HasSubstr("\n# schedule " + numbers + "\n"));
        EXPECT_EQ(Get(), numbers);
    }
}

TEST_F(Schedules, AreNotTakenWithNumbersThatSayNoTime) {
    const Numbers rows[] = {{-1, 4, 0, 4, 0, 0}, {4, 4, 0, 4, 0, 0},  {1, -1, 0, 4, 0, 0},
                            {1, 24, 0, 4, 0, 0}, {1, 4, -1, 4, 0, 0}, {1, 4, 60, 4, 0, 0},
                            {1, 4, 0, -1, 0, 0}, {1, 4, 0, 24, 0, 0}, {1, 4, 0, 4, -1, 0},
                            {1, 4, 0, 4, 24, 0}, {1, 4, 0, 3, 1, 0},  {1, 4, 0, 4, 0, 1},
                            {2, 4, 0, 4, 0, -1}, {2, 4, 0, 4, 0, 7},  {3, 4, 0, 4, 0, 0},
                            {3, 4, 0, 4, 0, 29}, {0, 24, 0, 0, 0, 0}, {0, 0, 0, 0, 0, 29}};
    for (const Numbers &row : rows) {
        SCOPED_TRACE(testing::PrintToString(row));
        QLIBCErrSet(0);
        EXPECT_EQ(Set(row), -1);
        EXPECT_EQ(QLIBCErrGet(), QLIB_ERR_BAD_ARGUMENT);
    }
    EXPECT_FALSE(std::filesystem::exists(kTable));
}

TEST_F(Schedules, AreNotTakenWithACommandThatCronCannotHold) {
    const std::string longest(998, 'x');
    const std::string rows[] = {"",
                                "two\nlines",
                                "a\rreturn",
                                " blank",
                                "\tblank",
                                longest + "x",
                                longest.substr(1) + "%",
                                std::string(1024, 'x')};
    for (const std::string &command : rows) {
        SCOPED_TRACE(command);
        QLIBCErrSet(0);
        EXPECT_EQ(Set({1, 4, 0, 4, 0, 0}, command), -1);
        EXPECT_EQ(QLIBCErrGet(), QLIB_ERR_BAD_ARGUMENT);
    }
    EXPECT_FALSE(std::filesystem::exists(kTable));
    EXPECT_EQ(Set({1, 4, 0, 4, 0, 0}, longest), 0);
    EXPECT_EQ(Get(longest), "1,4,0,4,0,0");
}

TEST_F(Schedules, RefuseBadArguments) {
    ZAFOSCHEDULE schedule = Schedule({1, 4, 0, 4, 0, 0});
    const std::string tooLong(1024, 'x');
    const int results[] = {
        ZAFOScheduleSet(nullptr, 0),       ZAFOScheduleSet(&schedule, 1),
        ZAFOScheduleRemove(nullptr),       ZAFOScheduleGet(nullptr, &schedule),
        ZAFOScheduleGet(kBackup, nullptr), ZAFOScheduleGet(tooLong.c_str(), &schedule)};
    EXPECT_THAT(results, testing::Each(-1));
    EXPECT_EQ(QLIBCErrGet(), QLIB_ERR_BAD_ARGUMENT);
}

TEST_F(Schedules, ThatNeverRunAreKeptAsAComment) {
    ASSERT_EQ(Set({1, 4, 0, 4, 0, 0}), 0);
    EXPECT_EQ(Set({0, 0, 0, 0, 0, 0}), 0);
    EXPECT_EQ(Table(), std::string(kHead) + "# schedule 0,0,0,0,0,0 never " + kBackup + "\n");
    EXPECT_EQ(Get(), "0,0,0,0,0,0");
    EXPECT_EQ(Set({0, 1, 2, 3, 4, 5}), 0);
    EXPECT_EQ(Table(), std::string(kHead) + "# schedule 0,1,2,3,4,5 never " + kBackup + "\n");
    EXPECT_EQ(Set({1, 4, 0, 4, 0, 0}), 0);
    EXPECT_EQ(Table(),
              std::string(kHead) + "# schedule 1,4,0,4,0,0\n0 4 * * * root " + kBackup + "\n");
}

TEST_F(Schedules, ThatNeverRunNeedNoCommand) {
    EXPECT_EQ(Set({0, 0, 0, 0, 0, 0}, ""), 0);
    EXPECT_EQ(Set({0, 0, 0, 0, 0, 0}, ""), 0);
    EXPECT_EQ(Table(), std::string(kHead) + "# schedule 0,0,0,0,0,0 never\n");
    EXPECT_EQ(Get(""), "0,0,0,0,0,0");
    EXPECT_EQ(ZAFOScheduleRemove(""), 0);
    EXPECT_EQ(Table(), kHead);
}

TEST_F(Schedules, ReplaceTheSameCommandOnly) {
    ASSERT_EQ(Set({1, 4, 0, 4, 0, 0}), 0);
    ASSERT_EQ(Set({2, 5, 0, 5, 0, 1}, "true"), 0);
    ASSERT_EQ(Set({1, 6, 0, 6, 0, 0}), 0);
    EXPECT_EQ(Table(), std::string(kHead) + "# schedule 2,5,0,5,0,1\n0 5 * * 1 root true\n" +
                           "# schedule 1,6,0,6,0,0\n0 6 * * * root " + kBackup + "\n");
}

constexpr char kOfOthers[] =
    "# mine\n"
    "MAILTO=root\n"
    "\n"
    "# schedule me!\n"
    "*/5 * * * * nobody true\n"
    "# schedule 1,1,0,1,0,0\n"
    "# between\n"
    "0 1 * * * root  another --backup now 2>/dev/null >&2\n"
    "@daily root /usr/zafo/bin/zafoldapserver --backup now\n"
    "no entry at all";

TEST_F(Schedules, KeepWhatOthersWroteIntoTheFile) {
    WriteFile(kTable, kOfOthers);
    EXPECT_EQ(Set({1, 4, 0, 4, 0, 0}), 0);
    EXPECT_EQ(Table(), std::string(kOfOthers) + "\n# schedule 1,4,0,4,0,0\n0 4 * * * root " +
                           kBackup + "\n");
    EXPECT_EQ(ZAFOScheduleRemove(kBackup), 0);
    EXPECT_EQ(Table(), std::string(kOfOthers) + "\n");
}

TEST_F(Schedules, AreRemovedNoMatterWhoWroteThem) {
    const std::string backup(kBackup);
    WriteFile(kTable, "0 4 * * * root " + backup + "\n  @daily\troot\t" + backup +
                          "\n5 4 * * * root true\n" + "# schedule 0,0,0,0,0,0 never " + backup +
                          "\n");
    EXPECT_EQ(ZAFOScheduleRemove(kBackup), 0);
    EXPECT_EQ(Table(), "5 4 * * * root true\n");
    EXPECT_EQ(Get(), "0x2200");
}

TEST_F(Schedules, RemovingAMissingOneSucceeds) {
    EXPECT_EQ(ZAFOScheduleRemove(kBackup), 0);
    EXPECT_TRUE(Names().empty());
    WriteFile(kTable, kOfOthers);
    EXPECT_EQ(ZAFOScheduleRemove(kBackup), 0);
    EXPECT_EQ(Table(), kOfOthers);
    std::filesystem::remove_all("/etc/cron.d");
    EXPECT_EQ(ZAFOScheduleRemove(kBackup), 0);
}

TEST_F(Schedules, AreNotTrustedWhenTheirLineSaysSomethingElse) {
    const std::string rows[] = {"0 4 * * * root ",
                                "# schedule 1,4,0,4,0,0\n0 5 * * * root ",
                                "# schedule 1,4,0,4,0,0\n\n0 4 * * * root ",
                                "# schedule 1,4,0,4,0,0\n0 4 * * * nobody ",
                                "# schedule 1,4,0,4,0\n0 4 * * * root ",
                                "# schedule 1,4,0,4,0,9\n0 4 * * * root "};
    for (const std::string &row : rows) {
        SCOPED_TRACE(row);
        WriteFile(kTable, row + kBackup + "\n");
        EXPECT_EQ(Get(), "0x0F00");
    }
    const std::string whole =
        "# schedule 1,4,0,4,0,0\n0 4 * * * root " + std::string(kBackup) + "\n";
    WriteFile(kTable, whole + "0 5 * * * root " + kBackup + "\n");
    EXPECT_EQ(Get(), "0x0F00");
    WriteFile(kTable, whole);
    EXPECT_EQ(Get(), "1,4,0,4,0,0");
}

TEST_F(Schedules, MakeTheFileOneThatCronAccepts) {
    WriteFile(kTable, "");
    chmod(kTable, 0666);
    if (chown(kTable, 1, 1) != 0) GTEST_SKIP() << "only root can give files away";
    EXPECT_EQ(Set({1, 4, 0, 4, 0, 0}), 0);
    struct stat status {};
    ASSERT_EQ(stat(kTable, &status), 0);
    EXPECT_EQ(status.st_uid, 0U);
    EXPECT_EQ(status.st_gid, 0U);
    EXPECT_EQ(status.st_mode & 07777, 0644U);
    EXPECT_EQ(status.st_nlink, 1U);
    EXPECT_THAT(Names(), UnorderedElementsAre("zafo", "zafo.lock"));
}

std::time_t SecondOf(const char *path) {
    struct stat status {};
    return stat(path, &status) == 0 ? status.st_mtime : 0;
}

// Cron compares modification times in whole seconds.
TEST_F(Schedules, ThatAreChangedTwiceInASecondLookChangedTwice) {
    ASSERT_EQ(Set({1, 4, 0, 4, 0, 0}), 0);
    for (int hour = 5; hour < 9; ++hour) {
        const std::time_t table = SecondOf(kTable);
        const std::time_t folder = SecondOf("/etc/cron.d");
        ASSERT_EQ(hour % 2 == 0 ? Set({1, hour, 0, 4, 0, 0}) : ZAFOScheduleRemove(kBackup), 0);
        EXPECT_GT(SecondOf(kTable), table);
        EXPECT_GT(SecondOf("/etc/cron.d"), folder);
    }
}

TEST_F(Schedules, FailWithoutCronsFolder) {
    std::filesystem::remove_all("/etc/cron.d");
    EXPECT_EQ(Set({1, 4, 0, 4, 0, 0}), -1);
    EXPECT_EQ(QLIBCErrGet(), QLIB_ERR_OPEN_FAILED);
    EXPECT_FALSE(std::filesystem::exists("/etc/cron.d"));
}

TEST_F(Schedules, FailIfTheTableIsNotAFile) {
    ASSERT_EQ(mkdir(kTable, 0755), 0);
    EXPECT_EQ(Set({1, 4, 0, 4, 0, 0}), -1);
    EXPECT_EQ(QLIBCErrGet(), QLIB_ERR_OPEN_FAILED);
    QLIBCErrSet(0);
    EXPECT_EQ(ZAFOScheduleRemove(kBackup), -1);
    EXPECT_EQ(QLIBCErrGet(), QLIB_ERR_OPEN_FAILED);
    EXPECT_EQ(Get(), "0x0900");
}

TEST_F(Schedules, FromManyConcurrentProcessesAreAllKept) {
    constexpr int kProcesses = 8;
    constexpr int kEach = 10;
    EXPECT_TRUE(zafo::test::InProcesses(kProcesses, [](int p) {
        for (int i = 0; i < kEach; ++i) {
            const std::string command = "job " + std::to_string(p) + " " + std::to_string(i);
            if (Set({1, p, i, 0, 0, 0}, command) != 0) return 1;
            if (i % 2 == 1 && ZAFOScheduleRemove(command.c_str()) != 0) return 1;
        }
        return 0;
    }));
    for (int p = 0; p < kProcesses; ++p) {
        for (int i = 0; i < kEach; ++i) {
            const std::string job = std::to_string(p) + " " + std::to_string(i);
            EXPECT_EQ(Get("job " + job),
                      i % 2 == 1 ? "0x2200"
                                 : "1," + std::to_string(p) + "," + std::to_string(i) + ",0,0,0");
        }
    }
}

// A real cron that believes the machine has just started: it runs entries marked "@reboot", if it
// accepts the table that contains them.
class RealCron : public Schedules {
  protected:
    void SetUp() override {
        Schedules::SetUp();
        if (const std::string reason = Cron::WhyNot(); !reason.empty()) GTEST_SKIP() << reason;
    }
    void Start() { cron_.emplace(); }
    // A command's entry, to be run when cron starts instead of at its time.
    static std::string AtStart(const std::string &command) {
        Set({1, 4, 0, 4, 0, 0}, command);
        std::string table = Table();
        const size_t at = table.find("\n0 4 * * * root ");
        return at == std::string::npos ? "" : table.replace(at + 1, 9, "@reboot");
    }

  private:
    std::optional<Cron> cron_;
};

TEST_F(RealCron, AcceptsATableWithSchedulesOfEveryKind) {
    const zafo::test::Folder folder;
    const std::string mark = folder / "mark";
    WriteFile(kTable, "@reboot root touch " + mark);
    const Numbers rows[] = {{0, 0, 0, 0, 0, 0},   {1, 4, 0, 4, 0, 0},  {1, 0, 59, 23, 23, 0},
                            {1, 23, 0, 23, 1, 0}, {2, 0, 0, 20, 4, 0}, {2, 4, 0, 4, 0, 6},
                            {3, 4, 0, 4, 0, 1},   {3, 0, 0, 23, 5, 28}};
    for (const Numbers &row : rows)
        ASSERT_EQ(Set(row, "true " + testing::PrintToString(row)), 0);
    ASSERT_EQ(Set({0, 0, 0, 0, 0, 0}, ""), 0);
    ASSERT_EQ(Set({1, 4, 0, 4, 0, 0}, "true " + std::string(993, 'x')), 0);
    Start();
    EXPECT_TRUE(Within(std::chrono::seconds(20), [&] { return std::filesystem::exists(mark); }));
}

// The reason for ZAFOScheduleSet's length limit: all other entries would be lost too.
TEST_F(RealCron, RefusesATableWithALongerCommandAsAWhole) {
    WriteFile(kTable, "0 4 * * * root " + std::string(999, 'x') + "\n");
    Start();
    EXPECT_TRUE(Within(std::chrono::seconds(20), [] {
        return ReadFile("/var/log/messages").find("(*system*zafo) ERROR (Syntax error") !=
               std::string::npos;
    }));
}

TEST_F(RealCron, HandsTheShellTheCommandAsItWasGiven) {
    const zafo::test::Folder folder;
    const std::string out = folder / "out";
    const std::string words = R"('50%' 'a\%b' 'c\\%d' 'e\f' 'g\\h' 'i\\\j' 'k\\\\l' '%' 'm\' )";
    const std::string table =
        AtStart("printf '[%s]' " + words + " '#' >" + out + ".new; mv " + out + ".new " + out);
    ASSERT_NE(table, "");
    WriteFile(kTable, table);
    Start();
    ASSERT_TRUE(Within(std::chrono::seconds(20), [&] { return std::filesystem::exists(out); }));
    EXPECT_EQ(ReadFile(out), R"([50%][a\%b][c\\%d][e\f][g\\h][i\\\j][k\\\\l][%][m\][#])");
}

}  // namespace
