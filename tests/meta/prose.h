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

// Prose in small letters, words separated by single blanks also across lines.
struct RunningText {
    explicit RunningText(const std::vector<std::string> &prose);

    std::string text;
    std::vector<int> line_of;  // of each character, from 1
};

// The lines on which a phrase begins: whole words, ignoring case.
std::vector<int> LinesWith(const std::string &phrase, const RunningText &prose);

}  // namespace zafo::meta
