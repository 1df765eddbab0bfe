// SPDX-License-Identifier: Apache-2.0
//
// The project's own files as tests see them: sources under "/mnt/src", the build under
// "/mnt/build".
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace zafo::meta {

inline const std::filesystem::path kSourceDir = "/mnt/src";
inline const std::filesystem::path kBuildDir = "/mnt/build";

std::vector<std::string> Lines(const std::filesystem::path &file);

// The project's regular files below a folder, without build trees and hidden folders.
std::vector<std::filesystem::path> FilesBelow(const std::filesystem::path &folder);

// One exported function as a public header declares it.
struct Declaration {
    std::string function;
    std::string header;
    int line;
    bool has_comment;  // directly above it, or above its run of declarations
};

std::vector<Declaration> ExportedDeclarations();

// A command's standard output, line by line.
std::vector<std::string> OutputOf(const std::string &command);

}  // namespace zafo::meta
