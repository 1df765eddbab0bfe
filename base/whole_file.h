// SPDX-License-Identifier: Apache-2.0
//
// Files that are read whole.
#pragma once

#include <string>

namespace zafo {

enum class ReadResult { kDone, kAbsent, kNotReadable, kReadFailed };

// The text of a regular file.
ReadResult ReadWhole(const std::string &path, std::string *text);

// The start of a file's text, at most 512 bytes: enough for a number, a status line of "/proc" or
// a record of ours. Empty when it cannot be read.
std::string ReadHead(const std::string &path);

}  // namespace zafo
