// SPDX-License-Identifier: Apache-2.0
//
// A backup that runs unattended: a configured schedule, a real cron, the wall clock. Spends most of
// its time waiting, three minutes at most.
#include <chrono>
#include <ctime>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/rig/cron.h"
#include "tests/rig/waiting.h"
#include "tests/tools/server_fixture.h"

namespace {

using namespace zafo::rig;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr const char *kFolder = "/backups";
constexpr const char *kTicks = "/var/tmp/ticks";
constexpr std::time_t kMinute = 60;

size_t Backups() {
    size_t count = 0;
    for (const auto &entry : std::filesystem::directory_iterator(kFolder))
        count += entry.path().filename().string().ends_with(".tar.zst") ? 1 : 0;
    return count;
}

size_t Ticks() {
    const std::string text = ReadFile(kTicks);
    return static_cast<size_t>(std::ranges::count(text, '\n'));
}

// The start of a minute that leaves time to set things up.
std::time_t ComingMinute() {
    constexpr std::time_t kSettingUp = 15;
    const std::time_t now = std::time(nullptr) + kSettingUp;
    return (now / kMinute + 1) * kMinute;
}

std::string DailyAt(std::time_t when) {
    std::tm local{};
    localtime_r(&when, &local);
    char text[32];
    std::strftime(text, sizeof text, "'daily %H:%M'", &local);
    return text;
}

Json SetSchedule(const std::string &schedule) {
    return ServerLineJson(std::string("backup config set --dir ") + kFolder + " --schedule " +
                          schedule)["data"];
}

// Runs cron, with an additional job in every minute that shows when cron has looked.
class ScheduledBackup : public testing::Test {
  protected:
    void SetUp() override {
        if (const std::string reason = Cron::WhyNot(); !reason.empty()) GTEST_SKIP() << reason;
        ASSERT_EQ(
            ServerLine("enable --suffix dc=example,dc=com --password-stdin --quiet").exit_code, 0);
        std::filesystem::create_directory(kFolder);
        WriteFile("/etc/cron.d/ticks", std::string("* * * * * root echo >>") + kTicks + "\n", 0644);
        cron_.emplace();
    }

  private:
    std::optional<Cron> cron_;
};

TEST_F(ScheduledBackup, IsMadeAtItsTimeAndNeverAgainOnceItIsOff) {
    const Json set = SetSchedule(DailyAt(ComingMinute()));
    EXPECT_EQ(set["enabled"], true);
    EXPECT_EQ(set["scheduler"], "as set");
    EXPECT_EQ(Backups(), 0U);
    ASSERT_TRUE(Within(std::chrono::seconds(150), [] { return Backups() == 1; }));
    ASSERT_TRUE(Within(std::chrono::seconds(20), [] {
        return ReadFile("/var/log/messages").find("backup now: service=ldap-server by=root") !=
               std::string::npos;
    }));
    EXPECT_THAT(ReadFile("/var/log/messages"),
                AllOf(HasSubstr("folder=\"/backups\" result=done"),
                      HasSubstr("(root) CMD (/usr/zafo/bin/zafoldapserver --backup now "
                                "2>/dev/null >&2)")));
    const Json checked = ServerLineJson("check");
    for (const char *id : {"backup-destination", "backup-schedule", "backup-last"})
        EXPECT_EQ(Finding(checked, id)["severity"], "ok") << id;

    // The same again, but switched off before its time.
    const std::time_t next = ComingMinute();
    SetSchedule(DailyAt(next));
    EXPECT_EQ(SetSchedule("off")["enabled"], false);
    ASSERT_LT(std::time(nullptr), next);
    EXPECT_THAT(ReadFile("/etc/cron.d/zafo"), Not(HasSubstr("zafoldapserver")));
    const size_t ticks = Ticks();
    ASSERT_TRUE(Within(std::chrono::seconds(150),
                       [&] { return std::time(nullptr) >= next && Ticks() > ticks; }));
    // Cron starts all jobs of a minute together, and a backup takes less time than this.
    std::this_thread::sleep_for(std::chrono::seconds(10));
    EXPECT_EQ(Backups(), 1U);
}

}  // namespace
