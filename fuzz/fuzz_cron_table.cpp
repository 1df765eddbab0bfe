// SPDX-License-Identifier: Apache-2.0
//
// Arbitrary cron tables. The input's first six bytes are the numbers of a schedule, and the rest of
// its first line is the command; all else is the existing table.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "fuzz/check.h"
#include "host/sdk/cron_table.h"

namespace {

using zafo::Found;

// Whether the platform accepts a command.
bool IsCommand(std::string_view text) {
    return !text.empty() && text.size() < 500 && text.find_first_of(" \t\v\f\r") != 0 &&
           text.find_first_of(std::string_view("\0\r\n", 3)) == std::string_view::npos;
}

Found Look(std::string_view table, std::string_view command, int (&field)[6]) {
    std::fill(std::begin(field), std::end(field), -1);
    return zafo::FindSchedule(table, command, field);
}

void CheckEscapes(std::string_view command) {
    const auto plain = zafo::PlainCommand(zafo::EscapedCommand(command));
    CHECK(plain && *plain == command);
}

void CheckTable(const ZAFOSCHEDULE &schedule, std::string_view text) {
    const std::string_view command = schedule.szCommand;
    int field[6];
    const std::string without = zafo::WithoutCommand(text, command);
    CHECK(Look(without, command, field) == Found::kNo);
    CHECK(zafo::WithoutCommand(without, command) == without);

    const std::string with = zafo::WithSchedule(text, schedule);
    CHECK(Look(with, command, field) == Found::kYes);
    CHECK(std::equal(std::begin(field), std::end(field), std::begin(schedule.rgField)));
    CHECK(with.starts_with(without));
    CHECK(zafo::WithSchedule(with, schedule) == with);
    CHECK(without.empty() || zafo::WithoutCommand(with, command) == without);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 6) return 0;
    ZAFOSCHEDULE schedule{};
    std::copy(data, data + 6, std::begin(schedule.rgField));
    std::string_view input(reinterpret_cast<const char *>(data) + 6, size - 6);
    const size_t end = std::min(input.find('\n'), input.size());
    const std::string_view command = input.substr(0, end);
    input.remove_prefix(std::min(end + 1, input.size()));
    if (!IsCommand(command)) return 0;
    std::memcpy(schedule.szCommand, command.data(), command.size());
    CheckEscapes(command);
    if (zafo::CronTime(schedule.rgField)) CheckTable(schedule, input);
    return 0;
}
