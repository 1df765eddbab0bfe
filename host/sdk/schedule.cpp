// SPDX-License-Identifier: Apache-2.0
#include "platform/schedule.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <ctime>

#include "base/appliance_paths.h"
#include "base/atomic_file.h"
#include "base/blanks.h"
#include "base/whole_file.h"
#include "host/core/fail.h"
#include "host/sdk/cron_table.h"

namespace {

using zafo::Fail;

constexpr char kFolder[] = "/etc/cron.d";
// Cron rejects a table that anyone but root can write to.
constexpr mode_t kTableMode = 0644;
// Measured: cron 3.0 refuses the whole table when a command is longer.
constexpr size_t kLongestCommand = 998;

bool IsCommand(std::string_view command) {
    return command.find_first_of("\n\r") == std::string_view::npos && !command.starts_with(' ') &&
           !command.starts_with('\t') && zafo::EscapedCommand(command).size() <= kLongestCommand;
}

bool IsSchedule(const ZAFOSCHEDULE &schedule) {
    const size_t length = strnlen(schedule.szCommand, sizeof schedule.szCommand);
    return length < sizeof schedule.szCommand && IsCommand(schedule.szCommand) &&
           zafo::CronTime(schedule.rgField) &&
           (length > 0 || schedule.rgField[0] == ZAFO_SCHEDULE_NEVER);
}

std::time_t LastChange(const char *path) {
    struct stat status {};
    return stat(path, &status) == 0 ? status.st_mtime : 0;
}

// Cron compares the modification times of folder and table, in whole seconds, with those of its
// last look: if a table changed twice within the second of that look, cron would keep the old
// entries until the next change. So each change gets a second of its own, in the future if
// necessary.
void MakeNoticeable(std::time_t before) {
    const std::time_t own = std::max(before, std::time(nullptr)) + 1;
    const timespec times[] = {{.tv_sec = 0, .tv_nsec = UTIME_OMIT}, {.tv_sec = own, .tv_nsec = 0}};
    for (const char *path : {zafo::kScheduleTable, kFolder})
        utimensat(AT_FDCWD, path, times, 0);
}

template <typename Change>
int Update(Change change) {
    zafo::FileUpdate update(zafo::kScheduleTable);
    if (update.Error() != 0) return Fail(QLIB_ERR_OPEN_FAILED);
    const std::time_t before = std::max(LastChange(kFolder), LastChange(zafo::kScheduleTable));
    std::string text;
    if (!zafo::ReadIfPresent(update.Path(), &text)) return Fail(QLIB_ERR_OPEN_FAILED);
    update.TakeOver(kTableMode);
    if (update.Replace(change(text), kTableMode) != 0) return Fail(QLIB_ERR_WRITE_FAILED);
    MakeNoticeable(before);
    return 0;
}

}  // namespace

int ZAFOScheduleSet(const ZAFOSCHEDULE *schedule, int flags) {
    if (schedule == nullptr || flags != 0) return Fail(QLIB_ERR_BAD_ARGUMENT);
    return zafo::OutOfMemoryIs(-1, [=] {
        if (!IsSchedule(*schedule)) return Fail(QLIB_ERR_BAD_ARGUMENT);
        return Update([=](const std::string &text) { return zafo::WithSchedule(text, *schedule); });
    });
}

int ZAFOScheduleGet(const char *command, ZAFOSCHEDULE *schedule) {
    if (command == nullptr || schedule == nullptr ||
        strlen(command) >= sizeof schedule->szCommand) {
        return Fail(QLIB_ERR_BAD_ARGUMENT);
    }
    return zafo::OutOfMemoryIs(-1, [=] {
        std::string text;
        if (!zafo::ReadIfPresent(zafo::kScheduleTable, &text)) return Fail(QLIB_ERR_OPEN_FAILED);
        ZAFOSCHEDULE found{};
        switch (zafo::FindSchedule(text, command, found.rgField)) {
            case zafo::Found::kNo:
                return Fail(QLIB_ERR_SECTION_NOT_FOUND);
            case zafo::Found::kOtherwise:
                return Fail(QLIB_ERR_BAD_FORMAT);
            case zafo::Found::kYes:
                break;
        }
        memcpy(found.szCommand, command, strlen(command) + 1);
        *schedule = found;
        return 0;
    });
}

int ZAFOScheduleRemove(const char *command) {
    if (command == nullptr) return Fail(QLIB_ERR_BAD_ARGUMENT);
    return zafo::OutOfMemoryIs(-1, [=] {
        std::string text;
        if (!zafo::ReadIfPresent(zafo::kScheduleTable, &text)) return Fail(QLIB_ERR_OPEN_FAILED);
        int numbers[6];
        if (zafo::FindSchedule(text, command, numbers) == zafo::Found::kNo) return 0;
        return Update([=](const std::string &now) { return zafo::WithoutCommand(now, command); });
    });
}
