// SPDX-License-Identifier: Apache-2.0
//
// Reading entire files.
#pragma once

#include <string>

namespace zafo {

enum class ReadResult { kDone, kAbsent, kNotReadable, kReadFailed };

// Reads the text of a regular file.
ReadResult ReadWhole(const std::string &path, std::string *text);

// The same, where a file that does not exist counts as empty. False if it cannot be read.
bool ReadIfPresent(const std::string &path, std::string *text);

// Appends everything that can be read from a descriptor; false, with errno set, on failure.
bool ReadToEnd(int fd, std::string *text);

// The first 512 bytes of a file: enough for a number, a status line of "/proc" or one of our
// records. Empty if the file cannot be read.
std::string ReadHead(const std::string &path);

}  // namespace zafo
