// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdexcept>
#include <string>

#include "tools/backup/exit_code.h"

namespace zafo::backup {

// Why a job cannot go on; what() names the file and the reason, on one line.
struct JobError : std::runtime_error {
    JobError(Exit exit, const std::string &words) : std::runtime_error(words), code(exit) {}

    Exit code;
};

// "DOING: REASON", the reason as strerror(3) has it.
JobError SystemError(Exit exit, const std::string &doing, int reason);

// Descriptors or memory are used up: says nothing of what was to be opened.
bool IsShortage(int reason);

// A failure to open or read a backup or its folder: kBadPlace, for a shortage kSystem.
JobError ReadingError(const std::string &path, int reason);

// A failure to write into the backup folder, by its errno: full, over quota, too large, or
// the folder has gone (a network share that is away says so in many ways).
JobError WritingError(const std::string &path, int reason);

// The first line that says something, with blanks for control characters and the rest as display_text.h
// shows it: words of a tool go into a log line and a progress file.
std::string OneLine(std::string_view words);

}  // namespace zafo::backup
