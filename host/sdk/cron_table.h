// SPDX-License-Identifier: Apache-2.0
//
// The text of a crontab(5) with a user field, and the six-number schedules in it. An entry is
//
//   # schedule 1,4,0,4,0,0
//   0 4 * * * root /usr/bin/true
//
// or, if it never runs, the single line "# schedule 0,0,0,0,0,0 never /usr/bin/true".
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/schedule.h"

namespace zafo {

// Minute, hour, day of the month, month and day of the week in cron's form; "" for never. None if
// the numbers are not a valid schedule.
std::optional<std::string> CronTime(const int (&field)[6]);

// A command as written in a crontab, and back. None if cron would run something other than the
// text: an unescaped "%" ends the command.
std::string EscapedCommand(std::string_view command);
std::optional<std::string> PlainCommand(std::string_view text);

// The text without the entries of a command, no matter who wrote them.
std::string WithoutCommand(std::string_view text, std::string_view command);

// The text with one entry for the schedule's command. Its numbers must be a valid schedule.
std::string WithSchedule(std::string_view text, const ZAFOSCHEDULE &schedule);

enum class Found { kNo, kYes, kOtherwise };

// The numbers of a command's entry. kOtherwise: its line does not match its numbers.
Found FindSchedule(std::string_view text, std::string_view command, int (&field)[6]);

}  // namespace zafo
