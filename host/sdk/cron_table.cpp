// SPDX-License-Identifier: Apache-2.0
#include "host/sdk/cron_table.h"

#include <algorithm>
#include <charconv>
#include <vector>

#include "base/blanks.h"
#include "base/lines.h"

namespace zafo {

namespace {

constexpr std::string_view kNumbers = "# schedule ";
constexpr std::string_view kNever = " never";
constexpr std::string_view kHead =
    "# Periodic commands of the appliance. The numbers above a line are its schedule.\n"
    "SHELL=/bin/sh\n"
    "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin\n";

struct Range {
    int least;
    int most;
};
// Limits of kind, hour, minute, last hour and hours between runs; of the day, by kind.
constexpr Range kRanges[] = {{0, 3}, {0, 23}, {0, 59}, {0, 23}, {0, 23}};
constexpr Range kDays[] = {{0, 28}, {0, 0}, {0, 6}, {1, 28}};

bool IsIn(int number, Range range) {
    return number >= range.least && number <= range.most;
}

std::vector<std::string_view> LinesOf(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty())
        lines.push_back(TakeLine(&text));
    return lines;
}

std::string NumbersText(const int (&field)[6]) {
    std::string text;
    for (const int number : field)
        text.append(text.empty() ? "" : ",").append(std::to_string(number));
    return text;
}

// Reads six numbers at the start of `*text` and removes them.
bool TakeNumbers(std::string_view *text, int (&field)[6]) {
    for (int &number : field) {
        if (&number != &field[0] && !text->starts_with(',')) return false;
        if (&number != &field[0]) text->remove_prefix(1);
        const auto [end, error] =
            std::from_chars(text->data(), text->data() + text->size(), number);
        if (error != std::errc()) return false;
        text->remove_prefix(static_cast<size_t>(end - text->data()));
    }
    return true;
}

// A comment line with a schedule.
struct Comment {
    int field[6];
    bool is_whole;  // no line follows: the command never runs
    std::string_view command;
};

std::optional<Comment> CommentOf(std::string_view line) {
    Comment comment{};
    if (!line.starts_with(kNumbers)) return std::nullopt;
    line.remove_prefix(kNumbers.size());
    if (!TakeNumbers(&line, comment.field)) return std::nullopt;
    comment.is_whole = line.starts_with(kNever);
    if (!comment.is_whole) return line.empty() ? std::optional(comment) : std::nullopt;
    line.remove_prefix(kNever.size());
    if (!line.empty() && line[0] != ' ') return std::nullopt;
    comment.command = line.substr(line.empty() ? 0 : 1);
    return comment;
}

struct Entry {
    std::string_view time;
    std::string_view user;
    std::string_view command;  // escaped
};

// Parses an entry: five time fields or one word like "@daily", a user, the command.
std::optional<Entry> EntryOf(std::string_view line) {
    const std::string_view words = Trim(line);
    if (words.empty() || std::string_view("0123456789*@").find(words[0]) == std::string_view::npos)
        return std::nullopt;
    size_t end = 0, user = 0, at = 0;
    for (int left = words[0] == '@' ? 2 : 6; left > 0; --left) {
        if (left > 1) end = words.find_first_of(kBlanks, at);
        user = at;
        at = words.find_first_not_of(kBlanks, words.find_first_of(kBlanks, at));
        if (at == std::string_view::npos) return std::nullopt;
    }
    // The command extends to the end of the line, including its blanks.
    return Entry{words.substr(0, end), Trim(words.substr(user, at - user)),
                 line.substr(line.find(words) + at)};
}

bool Runs(const Entry &entry, std::string_view command) {
    return PlainCommand(entry.command) == command;
}

}  // namespace

std::optional<std::string> CronTime(const int (&field)[6]) {
    for (size_t i = 0; i < std::size(kRanges); ++i)
        if (!IsIn(field[i], kRanges[i])) return std::nullopt;
    const auto [kind, hour, minute, last_hour, step, day] = field;
    if (!IsIn(day, kDays[kind]) || (step != 0 && last_hour < hour)) return std::nullopt;
    if (kind == ZAFO_SCHEDULE_NEVER) return "";
    std::string time = std::to_string(minute) + ' ' + std::to_string(hour);
    if (step != 0) time += '-' + std::to_string(last_hour) + '/' + std::to_string(step);
    time += kind == ZAFO_SCHEDULE_MONTHLY ? ' ' + std::to_string(day) : " *";
    time += " *";
    return time + (kind == ZAFO_SCHEDULE_WEEKLY ? ' ' + std::to_string(day) : " *");
}

// Cron removes a backslash before "%" and before another backslash, and nowhere else.
std::string EscapedCommand(std::string_view command) {
    std::string text;
    for (size_t i = 0; i < command.size(); ++i) {
        const char next = i + 1 < command.size() ? command[i + 1] : '\0';
        if (command[i] == '%' || (command[i] == '\\' && (next == '\\' || next == '%')))
            text += '\\';
        text += command[i];
    }
    return text;
}

std::optional<std::string> PlainCommand(std::string_view text) {
    std::string command;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%') return std::nullopt;
        const char next = i + 1 < text.size() ? text[i + 1] : '\0';
        if (text[i] == '\\' && (next == '\\' || next == '%')) ++i;
        command += text[i];
    }
    return command;
}

std::string WithoutCommand(std::string_view text, std::string_view command) {
    const std::vector<std::string_view> lines = LinesOf(text);
    std::string rest;
    for (size_t i = 0; i < lines.size(); ++i) {
        const std::optional<Comment> comment = CommentOf(lines[i]);
        if (comment && comment->is_whole && comment->command == command) continue;
        const bool is_above = comment && !comment->is_whole && i + 1 < lines.size();
        const std::optional<Entry> entry = EntryOf(lines[is_above ? i + 1 : i]);
        if (entry && Runs(*entry, command)) {
            i += is_above ? 1 : 0;
        } else {
            rest.append(lines[i]).push_back('\n');
        }
    }
    return rest;
}

std::string WithSchedule(std::string_view text, const ZAFOSCHEDULE &schedule) {
    const std::string_view command = schedule.szCommand;
    std::string table = WithoutCommand(text, command);
    if (table.empty()) table = kHead;
    table.append(kNumbers).append(NumbersText(schedule.rgField));
    const std::string time = CronTime(schedule.rgField).value_or("");
    if (time.empty())
        return table.append(kNever).append(command.empty() ? "" : " ").append(command) + '\n';
    return table.append("\n").append(time).append(" root ").append(EscapedCommand(command)) + '\n';
}

Found FindSchedule(std::string_view text, std::string_view command, int (&field)[6]) {
    Found found = Found::kNo;
    std::optional<Comment> above;
    for (const std::string_view line : LinesOf(text)) {
        const std::optional<Comment> comment = CommentOf(line);
        const std::optional<Entry> entry = EntryOf(line);
        const bool is_never = comment && comment->is_whole && comment->command == command;
        if (is_never || (entry && Runs(*entry, command))) {
            const std::optional<Comment> &numbers = is_never ? comment : above;
            const std::string time(is_never ? "" : entry->time);
            // A second entry makes the command run at other times too.
            if (found != Found::kNo || !numbers || CronTime(numbers->field) != time ||
                (!is_never && entry->user != "root")) {
                return Found::kOtherwise;
            }
            std::copy(std::begin(numbers->field), std::end(numbers->field), field);
            found = Found::kYes;
        }
        above = comment && !comment->is_whole ? comment : std::nullopt;
    }
    return found;
}

}  // namespace zafo
