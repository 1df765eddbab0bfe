// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdexcept>
#include <string>

#include "tools/backup/exit_code.h"

namespace zafo::backup {

// Why a job cannot continue; what() names the file and the reason, on one line.
struct JobError : std::runtime_error {
    JobError(Exit exit, const std::string &words) : std::runtime_error(words), code(exit) {}

    Exit code;
};

// "DOING: REASON", with the reason from strerror(3).
JobError SystemError(Exit exit, const std::string &doing, int reason);

// Descriptors or memory have run out; says nothing about the file to be opened.
bool IsShortage(int reason);

// A failure to open or read a backup or its folder: kBadPlace, or kSystem for a shortage.
JobError ReadingError(const std::string &path, int reason);

// A failure to write to the backup folder, by errno: full, over quota, too large, or the folder is
// gone (an absent network share reports many different errors).
JobError WritingError(const std::string &path, int reason);

// The first line that is not blank, with control characters replaced by blanks and the rest escaped
// as in display_text.h: tool output goes into a log line and a progress file.
std::string OneLine(std::string_view words);

}  // namespace zafo::backup
