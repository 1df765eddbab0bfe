// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldapserver/schedule_words.h"

#include <algorithm>
#include <vector>

#include <fmt/format.h>

#include "base/ascii.h"
#include "base/blanks.h"

namespace zafo::cli {

namespace {

constexpr std::array<std::string_view, 7> kWeekdays = {"sunday",   "monday", "tuesday", "wednesday",
                                                       "thursday", "friday", "saturday"};
constexpr std::string_view kForms =
    "write it like \"daily 04:00\", \"weekly sunday 04:00\", \"monthly 1 04:00\", \"daily "
    "00:00-20:00 every 4 hours\" or \"off\"";
constexpr std::time_t kHour = 3600;
constexpr std::time_t kDay = 24 * kHour;

enum Number { kKind, kFirstHour, kMinute, kLastHour, kStep, kDayOf };

std::optional<int> NumberUpTo(std::string_view text, int most) {
    const std::optional<int> number = WholeNumber<int>(text);
    return number && *number >= 0 && *number <= most ? number : std::nullopt;
}

struct Clock {
    int hour;
    int minute;
};

// "04:00" or "4:00"
std::optional<Clock> ClockOf(std::string_view text) {
    const size_t colon = text.find(':');
    if (colon == std::string_view::npos || text.size() != colon + 3) return std::nullopt;
    const auto hour = NumberUpTo(text.substr(0, colon), 23);
    const auto minute = NumberUpTo(text.substr(colon + 1), 59);
    if (!hour || !minute) return std::nullopt;
    return Clock{*hour, *minute};
}

struct BadSchedule {
    std::string reason;
};

// Consumes the words of the day from the front.
void ReadDay(std::vector<std::string> &words, ScheduleNumbers &numbers) {
    const std::string kind = words.empty() ? "" : words.front();
    const auto take = [&] {
        words.erase(words.begin());
        if (words.empty()) throw BadSchedule{fmt::format("missing time after \"{}\"", kind)};
        return words.front();
    };
    if (kind == "daily") {
        numbers[kKind] = ZAFO_SCHEDULE_DAILY;
        take();
    } else if (kind == "weekly") {
        numbers[kKind] = ZAFO_SCHEDULE_WEEKLY;
        const auto *day = std::ranges::find(kWeekdays, take());
        if (day == kWeekdays.end())
            throw BadSchedule{fmt::format("\"{}\" is not a day of the week", words.front())};
        numbers[kDayOf] = static_cast<int>(day - kWeekdays.begin());
        take();
    } else if (kind == "monthly") {
        numbers[kKind] = ZAFO_SCHEDULE_MONTHLY;
        const auto day = NumberUpTo(take(), 28);
        if (!day || *day == 0)
            throw BadSchedule{"the day of the month must be 1 to 28, which every month has"};
        numbers[kDayOf] = *day;
        take();
    } else {
        throw BadSchedule{kind.empty() ? "it is empty"
                                       : fmt::format("it starts with \"{}\"", kind)};
    }
}

// "00:00-20:00 every 4 hours"
void ReadRepeated(const std::vector<std::string> &words, ScheduleNumbers &numbers) {
    const std::string &span = words[0];
    const size_t dash = span.find('-');
    const auto first = ClockOf(std::string_view(span).substr(0, dash));
    const auto last = ClockOf(std::string_view(span).substr(dash + 1));
    if (!first || !last) throw BadSchedule{fmt::format("\"{}\" is not a range of times", span)};
    if (first->minute != last->minute)
        throw BadSchedule{
            "the runs of a day are whole hours apart: use the same minutes in both times"};
    if (last->hour <= first->hour) throw BadSchedule{"the last run must be later than the first"};
    const bool form =
        words.size() == 4 && words[1] == "every" && (words[3] == "hours" || words[3] == "hour");
    const auto step = form ? NumberUpTo(words[2], 23) : std::nullopt;
    if (!step || *step == 0)
        throw BadSchedule{fmt::format("\"{}\" needs \"every N hours\", N from 1 to 23", span)};
    numbers[kFirstHour] = first->hour;
    numbers[kMinute] = first->minute;
    numbers[kLastHour] = last->hour;
    numbers[kStep] = *step;
}

void ReadTime(const std::vector<std::string> &words, ScheduleNumbers &numbers) {
    if (words[0].find('-') != std::string::npos) {
        ReadRepeated(words, numbers);
        return;
    }
    const auto time = ClockOf(words[0]);
    if (!time) throw BadSchedule{fmt::format("\"{}\" is not a time of day", words[0])};
    if (words.size() > 1) throw BadSchedule{fmt::format("unexpected argument \"{}\"", words[1])};
    numbers[kFirstHour] = numbers[kLastHour] = time->hour;
    numbers[kMinute] = time->minute;
}

bool RunsOnDay(const ScheduleNumbers &numbers, const std::tm &day) {
    switch (numbers[kKind]) {
        case ZAFO_SCHEDULE_DAILY:
            return true;
        case ZAFO_SCHEDULE_WEEKLY:
            return day.tm_wday == numbers[kDayOf];
        case ZAFO_SCHEDULE_MONTHLY:
            return day.tm_mday == numbers[kDayOf];
        default:
            return false;
    }
}

int LastHour(const ScheduleNumbers &numbers) {
    return numbers[kStep] == 0 ? numbers[kFirstHour] : numbers[kLastHour];
}

std::tm LocalDay(std::time_t now, int days_later) {
    std::tm day{};
    localtime_r(&now, &day);
    day.tm_mday += days_later;
    day.tm_hour = 12;  // the date, whatever daylight saving does on that day
    day.tm_isdst = -1;
    std::mktime(&day);
    return day;
}

}  // namespace

ScheduleReading ReadSchedule(std::string_view text) {
    std::vector<std::string> words = WordsOf(Folded(text));
    ScheduleNumbers numbers{};
    try {
        ReadDay(words, numbers);
        ReadTime(words, numbers);
        return {.numbers = numbers};
    } catch (const BadSchedule &bad) {
        return {.reason = fmt::format("{}; {}", bad.reason, kForms)};
    }
}

std::string ScheduleInWords(const ScheduleNumbers &numbers) {
    std::string words;
    switch (numbers[kKind]) {
        case ZAFO_SCHEDULE_DAILY:
            words = "daily";
            break;
        case ZAFO_SCHEDULE_WEEKLY:
            words = fmt::format("weekly {}", kWeekdays[static_cast<size_t>(numbers[kDayOf]) % 7]);
            break;
        case ZAFO_SCHEDULE_MONTHLY:
            words = fmt::format("monthly {}", numbers[kDayOf]);
            break;
        default:
            return "never";
    }
    words += fmt::format(" {:02}:{:02}", numbers[kFirstHour], numbers[kMinute]);
    if (numbers[kStep] == 0) return words;
    return words + fmt::format("-{:02}:{:02} every {} hour{}", numbers[kLastHour], numbers[kMinute],
                               numbers[kStep], numbers[kStep] == 1 ? "" : "s");
}

std::optional<std::time_t> NextRun(const ScheduleNumbers &numbers, std::time_t now) {
    constexpr int kLongestWait = 32;  // days
    for (int later = 0; later <= kLongestWait; ++later) {
        const std::tm day = LocalDay(now, later);
        if (!RunsOnDay(numbers, day)) continue;
        for (int hour = numbers[kFirstHour]; hour <= LastHour(numbers);
             hour += std::max(numbers[kStep], 1)) {
            std::tm run = day;
            run.tm_hour = hour;
            run.tm_min = numbers[kMinute];
            run.tm_sec = 0;
            run.tm_isdst = -1;
            const std::time_t when = std::mktime(&run);
            if (when > now) return when;
        }
    }
    return std::nullopt;
}

std::time_t LongestGap(const ScheduleNumbers &numbers) {
    constexpr std::array<std::time_t, 4> kDays = {0, 1, 7, 31};
    const std::time_t days = kDays[static_cast<size_t>(std::clamp(numbers[kKind], 0, 3))];
    if (days == 0 || numbers[kStep] == 0) return days * kDay;
    const int runs = (numbers[kLastHour] - numbers[kFirstHour]) / numbers[kStep];
    return std::max<std::time_t>(numbers[kStep] * kHour,
                                 days * kDay - runs * numbers[kStep] * kHour);
}

std::string MomentInWords(std::time_t when, std::time_t now) {
    std::tm then{};
    localtime_r(&when, &then);
    const std::string time = fmt::format("{:02}:{:02}", then.tm_hour, then.tm_min);
    for (const auto &[later, word] : {std::pair{0, "today"}, std::pair{1, "tomorrow"}}) {
        const std::tm day = LocalDay(now, later);
        if (day.tm_year == then.tm_year && day.tm_yday == then.tm_yday)
            return fmt::format("{} at {}", word, time);
    }
    std::string day(kWeekdays[static_cast<size_t>(then.tm_wday)]);
    day[0] = static_cast<char>(day[0] - 'a' + 'A');
    return fmt::format("on {} {}-{:02}-{:02} at {}", day, then.tm_year + 1900, then.tm_mon + 1,
                       then.tm_mday, time);
}

}  // namespace zafo::cli
