// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace zafo::meta {

// The text of a file meant for people, at its original position: comments and string literals of a
// C or C++ source, everything but code of a page. The rest is blank.
std::vector<std::string> ProseOf(const std::filesystem::path &file);
std::vector<std::string> ProseOfSource(const std::vector<std::string> &lines);
std::vector<std::string> ProseOfPage(const std::vector<std::string> &lines);

// The lines (from 1) on which a phrase begins: whole words, ignoring case, also if it continues on
// the next line.
std::vector<int> LinesWith(const std::string &phrase, const std::vector<std::string> &prose);

}  // namespace zafo::meta
