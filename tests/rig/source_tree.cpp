// SPDX-License-Identifier: Apache-2.0
#include "tests/rig/source_tree.h"

#include <cctype>
#include <cstdio>
#include <fstream>
#include <memory>
#include <stdexcept>

namespace zafo::meta {

namespace fs = std::filesystem;

std::vector<std::string> Lines(const fs::path &file) {
    std::ifstream in(file);
    if (!in) throw std::runtime_error("cannot read " + file.string());
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

std::vector<fs::path> FilesBelow(const fs::path &folder) {
    std::vector<fs::path> files;
    for (auto it = fs::recursive_directory_iterator(folder); it != fs::end(it); ++it) {
        const std::string name = it->path().filename();
        if (it->is_directory() && (name == "build" || name.starts_with('.'))) {
            it.disable_recursion_pending();
        } else if (it->is_regular_file()) {
            files.push_back(it->path());
        }
    }
    return files;
}

namespace {

// A declaration is documented by a comment that ends on the line above it. A run
// of declarations without an empty line between them shares one comment.
bool HasComment(const std::vector<std::string> &lines, size_t declaration) {
    for (size_t i = declaration; i-- > 0;) {
        if (lines[i].ends_with("*/")) return true;
        if (lines[i].empty() || lines[i].starts_with('#')) return false;
    }
    return false;
}

std::string NameBeforeBracket(const std::string &declaration) {
    const size_t end = declaration.find('(');
    size_t begin = end;
    while (begin > 0 && (std::isalnum(declaration[begin - 1]) || declaration[begin - 1] == '_')) {
        --begin;
    }
    return declaration.substr(begin, end - begin);
}

}  // namespace

std::vector<Declaration> ExportedDeclarations() {
    std::vector<Declaration> found;
    for (const fs::path &file : FilesBelow(kSourceDir / "include")) {
        const std::vector<std::string> lines = Lines(file);
        for (size_t i = 0; i < lines.size(); ++i) {
            if (!lines[i].starts_with("ZAFOLDAP_API")) continue;
            // The name may be on the line after the linkage if the type is long.
            const std::string next = i + 1 < lines.size() ? lines[i + 1] : "";
            found.push_back({NameBeforeBracket(lines[i] + " " + next),
                             file.lexically_relative(kSourceDir), static_cast<int>(i) + 1,
                             HasComment(lines, i)});
        }
    }
    return found;
}

std::vector<std::string> OutputOf(const std::string &command) {
    const std::unique_ptr<FILE, int (*)(FILE *)> pipe(popen(command.c_str(), "r"), pclose);
    if (!pipe) throw std::runtime_error("cannot run " + command);
    std::vector<std::string> lines;
    char buffer[4096];
    while (std::fgets(buffer, sizeof buffer, pipe.get()) != nullptr) {
        std::string line = buffer;
        if (line.ends_with('\n')) line.pop_back();
        lines.push_back(line);
    }
    return lines;
}

}  // namespace zafo::meta
