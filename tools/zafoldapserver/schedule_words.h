// SPDX-License-Identifier: Apache-2.0
//
// Schedules as people write and read them: "daily 04:00", "weekly sunday 04:00", "monthly 1 04:00",
// each also with several runs on its day, "daily 00:00-20:00 every 4 hours". The numbers are those
// of platform/schedule.h.
#pragma once

#include <array>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

#include "platform/schedule.h"

namespace zafo::cli {

using ScheduleNumbers = std::array<int, 6>;

// The numbers, or else what is wrong with the text.
struct ScheduleReading {
    std::optional<ScheduleNumbers> numbers = {};
    std::string reason = {};
};

// Ignores case and repeated blanks.
ScheduleReading ReadSchedule(std::string_view words);

// "never" for a schedule without a time.
std::string ScheduleInWords(const ScheduleNumbers &numbers);

// The first run after `now`, in local time; std::nullopt for never. A run in an hour skipped by the
// clock takes place when it would have been, as with cron.
std::optional<std::time_t> NextRun(const ScheduleNumbers &numbers, std::time_t now);

// The longest time between two runs in seconds; 0 for never.
std::time_t LongestGap(const ScheduleNumbers &numbers);

// "today at 04:00", "tomorrow at 04:00", "on Sunday 2027-02-28 at 04:00"
std::string MomentInWords(std::time_t when, std::time_t now);

}  // namespace zafo::cli
