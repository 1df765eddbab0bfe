// SPDX-License-Identifier: Apache-2.0
#include "tests/meta/floors.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <optional>
#include <regex>
#include <set>

#include "tests/rig/source_tree.h"

namespace zafo::meta {

namespace {

namespace fs = std::filesystem;

using Folders = std::vector<std::string>;

// Each layer with what its files may include besides the layer itself.
const std::vector<std::pair<std::string, Folders>> kFloors = {
    {"tools/zafoldapserver", {"tools/backup", "tools/cli", "include", "platform", "base"}},
    {"tools/zafoldapbackup",
     {"tools/restore", "tools/backup", "tools/cli", "include", "platform", "base"}},
    {"tools/zafoldap", {"tools/cli", "include", "platform", "base"}},
    {"tools/restore", {"tools/backup", "tools/cli", "platform", "base"}},
    {"tools/backup", {"tools/cli", "platform", "base"}},
    {"tools/cli", {"include", "platform", "base"}},
    {"src/server", {"src/accounts", "src/core", "src/frame", "include", "platform", "base"}},
    {"src/accounts", {"src/core", "src/frame", "include", "platform", "base"}},
    {"src/core", {"src/frame", "include", "platform", "base"}},
    {"src/frame", {"include", "platform", "base"}},
    {"include", {"platform"}},
    {"host", {"platform", "base"}},
    {"platform", {}},
    {"base", {}},
};

bool IsBelow(const std::string &path, const std::string &folder) {
    return path.starts_with(folder + "/");
}

const std::pair<std::string, Folders> *FloorOf(const std::string &path) {
    const auto floor = std::find_if(kFloors.begin(), kFloors.end(),
                                    [&](const auto &row) { return IsBelow(path, row.first); });
    return floor == kFloors.end() ? nullptr : &*floor;
}

std::string FolderOf(const std::string &path) {
    return fs::path(path).parent_path();
}

// The file that an include refers to: beside the including file, or below a search folder.
std::optional<std::string> Target(const std::string &file, const std::string &name,
                                  const std::set<std::string> &files) {
    for (const std::string &folder :
         {FolderOf(file), std::string(), std::string("include"), std::string("src")}) {
        const std::string path = (fs::path(folder) / name).lexically_normal();
        if (files.contains(path)) return path;
    }
    return std::nullopt;
}

using Graph = std::map<std::string, std::set<std::string>>;

std::set<std::string> Reachable(const Graph &graph, const std::string &from) {
    std::set<std::string> seen;
    Folders open{from};
    while (!open.empty()) {
        const std::string folder = open.back();
        open.pop_back();
        const auto next = graph.find(folder);
        if (next == graph.end()) continue;
        for (const std::string &target : next->second) {
            if (seen.insert(target).second) open.push_back(target);
        }
    }
    return seen;
}

}  // namespace

std::vector<Include> IncludesOfTheTree() {
    static const std::regex kInclude(R"x(\s*#\s*include\s+["<]([^">]+)[">].*)x");
    std::set<std::string> files;
    for (const char *floor : {"base", "platform", "include", "host", "src", "tools"}) {
        for (const fs::path &file : FilesBelow(kSourceDir / floor)) {
            const std::string ending = file.extension();
            if (ending == ".h" || ending == ".cpp" || ending == ".c")
                files.insert(file.lexically_relative(kSourceDir));
        }
    }
    std::vector<Include> includes;
    for (const std::string &file : files) {
        for (const std::string &line : Lines(kSourceDir / file)) {
            std::smatch parts;
            if (line.find("include") == std::string::npos) continue;
            if (!std::regex_match(line, parts, kInclude)) continue;
            if (const auto target = Target(file, parts[1], files))
                includes.push_back({file, *target});
        }
    }
    return includes;
}

// The meaning of an automount value and of an NFS source: a second implementation in a program
// would eventually differ from the library that mounts by it.
std::vector<std::string> OfferedToPrograms() {
    return {"src/accounts/automount_value.h", "src/accounts/nfs_source.h"};
}

std::string WrongWith(const Include &include) {
    const auto *from = FloorOf(include.file);
    const auto *to = FloorOf(include.target);
    if (from == nullptr) return include.file + " stands on no floor";
    if (to == nullptr) return include.target + " stands on no floor";
    if (from == to || std::ranges::count(from->second, to->first) > 0) return {};
    const bool program = IsBelow(include.file, "tools");
    if (program && std::ranges::count(OfferedToPrograms(), include.target) > 0) return {};
    return from->first + " does not stand on " + to->first;
}

std::vector<std::string> FolderCircles(const std::vector<Include> &includes) {
    Graph graph;
    for (const Include &include : includes) {
        if (FolderOf(include.file) != FolderOf(include.target))
            graph[FolderOf(include.file)].insert(FolderOf(include.target));
    }
    std::set<std::string> circles;
    for (const auto &[folder, targets] : graph) {
        const std::set<std::string> below = Reachable(graph, folder);
        if (!below.contains(folder)) continue;
        std::string circle;
        for (const std::string &other : below) {
            if (Reachable(graph, other).contains(folder))
                circle += (circle.empty() ? "" : " ") + other;
        }
        circles.insert(circle);
    }
    return {circles.begin(), circles.end()};
}

}  // namespace zafo::meta
