// SPDX-License-Identifier: Apache-2.0
//
// Schedules in words, their numbers, and their next occurrence.
#include "tools/zafoldapserver/schedule_words.h"

#include <cstdlib>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace zafo::cli;
using testing::HasSubstr;

// Sets the time zone for its lifetime.
class InZone {
  public:
    explicit InZone(const char *zone) { Set(zone); }
    ~InZone() { Set("UTC"); }
    InZone(const InZone &) = delete;
    InZone &operator=(const InZone &) = delete;

  private:
    static void Set(const char *zone) {
        setenv("TZ", zone, 1);
        tzset();
    }
};

std::time_t Moment(const char *text) {
    std::tm moment{};
    EXPECT_NE(strptime(text, "%Y-%m-%d %H:%M:%S", &moment), nullptr);
    moment.tm_isdst = -1;
    return std::mktime(&moment);
}

struct WordsRow {
    const char *written;
    ScheduleNumbers numbers;
    const char *words;
};

constexpr WordsRow kWords[] = {
    {"daily 04:00", {1, 4, 0, 4, 0, 0}, "daily 04:00"},
    {" Daily   4:00 ", {1, 4, 0, 4, 0, 0}, "daily 04:00"},
    {"daily 23:59", {1, 23, 59, 23, 0, 0}, "daily 23:59"},
    {"weekly sunday 04:00", {2, 4, 0, 4, 0, 0}, "weekly sunday 04:00"},
    {"weekly SATURDAY 00:30", {2, 0, 30, 0, 0, 6}, "weekly saturday 00:30"},
    {"monthly 1 04:00", {3, 4, 0, 4, 0, 1}, "monthly 1 04:00"},
    {"monthly 28 04:00", {3, 4, 0, 4, 0, 28}, "monthly 28 04:00"},
    {"daily 00:00-20:00 every 4 hours", {1, 0, 0, 20, 4, 0}, "daily 00:00-20:00 every 4 hours"},
    {"daily 8:15-18:15 every 1 hours", {1, 8, 15, 18, 1, 0}, "daily 08:15-18:15 every 1 hour"},
    {"weekly monday 08:00-18:00 every 5 hours",
     {2, 8, 0, 18, 5, 1},
     "weekly monday 08:00-18:00 every 5 hours"},
};

TEST(ScheduleWords, AreReadAndSaidAgain) {
    for (const WordsRow &row : kWords) {
        SCOPED_TRACE(row.written);
        const ScheduleReading reading = ReadSchedule(row.written);
        ASSERT_TRUE(reading.numbers) << reading.reason;
        EXPECT_EQ(*reading.numbers, row.numbers);
        EXPECT_EQ(ScheduleInWords(row.numbers), row.words);
        EXPECT_EQ(ReadSchedule(row.words).numbers, row.numbers);
    }
    EXPECT_EQ(ScheduleInWords({0, 0, 0, 0, 0, 0}), "never");
}

TEST(ScheduleWords, ThatSayNoTimeAreRefusedWithTheReason) {
    const std::pair<const char *, const char *> rows[] = {
        {"", "it is empty"},
        {"hourly", "it starts with \"hourly\""},
        {"04:00", "it starts with \"04:00\""},
        {"daily", "missing time after \"daily\""},
        {"weekly sunday", "missing time after \"weekly\""},
        {"daily 24:00", "\"24:00\" is not a time of day"},
        {"daily 04:60", "\"04:60\" is not a time of day"},
        {"daily 4", "\"4\" is not a time of day"},
        {"daily 4:0", "\"4:0\" is not a time of day"},
        {"daily -4:00", "is not a range of times"},
        {"daily 04:00 05:00", "unexpected argument \"05:00\""},
        {"weekly 0 04:00", "\"0\" is not a day of the week"},
        {"weekly sun 04:00", "\"sun\" is not a day of the week"},
        {"monthly 0 04:00", "1 to 28"},
        {"monthly 29 04:00", "1 to 28"},
        {"daily 00:00-20:00", "needs \"every N hours\""},
        {"daily 00:00-20:00 every 0 hours", "needs \"every N hours\""},
        {"daily 00:00-20:00 every 24 hours", "needs \"every N hours\""},
        {"daily 00:00-20:00 every 4 days", "needs \"every N hours\""},
        {"daily 00:00-20:30 every 4 hours", "the same minutes"},
        {"daily 20:00-04:00 every 4 hours", "later than the first"},
    };
    for (const auto &[written, reason] : rows) {
        SCOPED_TRACE(written);
        const ScheduleReading reading = ReadSchedule(written);
        EXPECT_FALSE(reading.numbers);
        EXPECT_THAT(reading.reason, HasSubstr(reason));
        EXPECT_THAT(reading.reason, HasSubstr("\"daily 04:00\""));
    }
}

struct RunRow {
    const char *schedule;
    const char *now;
    const char *next;
};

TEST(ScheduleWords, SayWhenTheNextRunIs) {
    const InZone zone("UTC");
    const RunRow rows[] = {
        {"daily 04:00", "2027-02-27 03:59:59", "2027-02-27 04:00:00"},
        {"daily 04:00", "2027-02-27 04:00:00", "2027-02-28 04:00:00"},
        {"daily 04:00", "2027-12-31 23:00:00", "2028-01-01 04:00:00"},
        {"daily 00:00-20:00 every 4 hours", "2027-02-27 19:59:59", "2027-02-27 20:00:00"},
        {"daily 00:00-20:00 every 4 hours", "2027-02-27 20:00:00", "2027-02-28 00:00:00"},
        {"daily 08:00-18:00 every 5 hours", "2027-02-27 13:30:00", "2027-02-27 18:00:00"},
        {"weekly sunday 04:00", "2027-02-27 12:00:00", "2027-02-28 04:00:00"},
        {"weekly saturday 04:00", "2027-02-27 12:00:00", "2027-03-06 04:00:00"},
        {"monthly 1 04:00", "2027-01-01 04:00:00", "2027-02-01 04:00:00"},
        {"monthly 28 04:00", "2027-02-28 03:00:00", "2027-02-28 04:00:00"},
    };
    for (const RunRow &row : rows) {
        SCOPED_TRACE(std::string(row.schedule) + " after " + row.now);
        EXPECT_EQ(NextRun(*ReadSchedule(row.schedule).numbers, Moment(row.now)), Moment(row.next));
    }
    EXPECT_EQ(NextRun({0, 4, 0, 4, 0, 0}, Moment("2027-02-27 03:00:00")), std::nullopt);
}

TEST(ScheduleWords, GoByTheLocalClockOnTheDaysItIsChanged) {
    const InZone zone("Europe/Berlin");
    const ScheduleNumbers daily = *ReadSchedule("daily 04:00").numbers;
    const std::time_t spring = Moment("2027-03-27 04:00:00");
    EXPECT_EQ(*NextRun(daily, spring) - spring, 23 * 3600);
    const std::time_t autumn = Moment("2027-10-30 04:00:00");
    EXPECT_EQ(*NextRun(daily, autumn) - autumn, 25 * 3600);
}

TEST(ScheduleWords, KnowTheLongestTimeBetweenTwoRuns) {
    const std::pair<const char *, int> rows[] = {{"daily 04:00", 24},
                                                 {"daily 00:00-20:00 every 4 hours", 4},
                                                 {"daily 08:00-18:00 every 2 hours", 14},
                                                 {"daily 08:00-18:00 every 20 hours", 24},
                                                 {"weekly sunday 04:00", 7 * 24},
                                                 {"monthly 1 04:00", 31 * 24}};
    for (const auto &[schedule, hours] : rows)
        EXPECT_EQ(LongestGap(*ReadSchedule(schedule).numbers), hours * 3600) << schedule;
    EXPECT_EQ(LongestGap({0, 0, 0, 0, 0, 0}), 0);
}

TEST(ScheduleWords, NameAMomentAsSeenFromNow) {
    const InZone zone("UTC");
    const std::time_t now = Moment("2027-12-31 23:30:00");
    EXPECT_EQ(MomentInWords(Moment("2027-12-31 23:45:00"), now), "today at 23:45");
    EXPECT_EQ(MomentInWords(Moment("2028-01-01 04:00:00"), now), "tomorrow at 04:00");
    EXPECT_EQ(MomentInWords(Moment("2028-01-02 04:00:00"), now), "on Sunday 2028-01-02 at 04:00");
}

}  // namespace
