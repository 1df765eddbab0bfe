// SPDX-License-Identifier: Apache-2.0
//
// Schedules as a person writes and reads them: "daily 04:00", "weekly sunday 04:00",
// "monthly 1 04:00", each also with several runs on its day, "daily 00:00-20:00 every 4 hours".
// The numbers behind them are those of platform/schedule.h.
#pragma once

#include <array>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

#include "platform/schedule.h"

namespace zafo::cli {

using ScheduleNumbers = std::array<int, 6>;

// What is wrong with a text in place of the numbers.
struct ScheduleReading {
    std::optional<ScheduleNumbers> numbers = {};
    std::string reason = {};
};

// Words are read without case, blanks count once.
ScheduleReading ReadSchedule(std::string_view words);

// "never" for what says no time.
std::string ScheduleInWords(const ScheduleNumbers &numbers);

// The first run after `now`, in the machine's local time; none for never. An hour that the clock
// leaves out is run when it would have been, as cron does.
std::optional<std::time_t> NextRun(const ScheduleNumbers &numbers, std::time_t now);

// Seconds between two runs at most; 0 for never.
std::time_t LongestGap(const ScheduleNumbers &numbers);

// "today at 04:00", "tomorrow at 04:00", "on Sunday 2027-02-28 at 04:00"
std::string MomentInWords(std::time_t when, std::time_t now);

}  // namespace zafo::cli
