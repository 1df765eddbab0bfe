// SPDX-License-Identifier: Apache-2.0
//
// Reading entire files.
#pragma once

#include <string>

namespace zafo {

enum class ReadResult { kDone, kAbsent, kNotReadable, kReadFailed };

// Reads the text of a regular file.
ReadResult ReadWhole(const std::string &path, std::string *text);

// The first 512 bytes of a file: enough for a number, a status line of "/proc" or one of our
// records. Empty if the file cannot be read.
std::string ReadHead(const std::string &path);

}  // namespace zafo
