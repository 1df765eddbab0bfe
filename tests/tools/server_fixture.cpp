// SPDX-License-Identifier: Apache-2.0
#include "tests/tools/server_fixture.h"

#include <sys/mount.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <utility>

#include "tests/tools/account_fixture.h"

namespace zafo::rig {

namespace fs = std::filesystem;

ProgramRun ServerLine(std::string_view line, std::string_view input) {
    return Zafoldapserver(Words(line), input);
}

Json ServerLineJson(std::string_view line, int exit_code, std::string_view input) {
    return ZafoldapserverJson(Words(line), exit_code, input);
}

std::string TreeBelow(const std::vector<std::string> &folders) {
    std::vector<std::string> lines;
    for (const std::string &folder : folders) {
        const fs::path top = fs::canonical(folder);
        for (const auto &entry : fs::recursive_directory_iterator(top)) {
            if (entry.path().filename() == "lock.mdb") continue;  // changed even by readers
            struct stat status {};
            lstat(entry.path().c_str(), &status);
            std::string content;
            if (entry.path().string().starts_with("/usr/zafo/bin/")) {
                // The programs are large, so they are compared by change time.
                content = std::to_string(status.st_ino) + " " + std::to_string(status.st_size) +
                          " " + std::to_string(status.st_ctim.tv_sec) + "." +
                          std::to_string(status.st_ctim.tv_nsec);
            } else if (S_ISREG(status.st_mode)) {
                content = ReadFile(entry.path());
            }
            if (S_ISLNK(status.st_mode)) content = fs::read_symlink(entry.path());
            lines.push_back(entry.path().string() + " " + std::to_string(status.st_mode) + " " +
                            std::to_string(status.st_uid) + " " + std::to_string(status.st_gid) +
                            " " + std::to_string(std::hash<std::string>{}(content)));
        }
    }
    std::ranges::sort(lines);
    std::string text;
    for (const std::string &line : lines)
        text += line + "\n";
    return text;
}

Json Finding(const Json &document, std::string_view id) {
    for (const Json &row : document["data"]) {
        if (row["id"] == id) return row;
    }
    return Json::object();
}

ChangedFile::ChangedFile(std::string path, std::string_view text) : path_(std::move(path)) {
    if (fs::exists(path_)) {
        kept_ = path_ + ".kept";
        fs::rename(path_, kept_);
    }
    fs::create_directories(fs::path(path_).parent_path());
    WriteFile(path_, text, 0644);
}

ChangedFile::~ChangedFile() {
    fs::remove(path_);
    if (!kept_.empty()) fs::rename(kept_, path_);
}

MountedOver::MountedOver(std::string folder, const std::string &options)
    : folder_(std::move(folder)) {
    fs::create_directories(folder_);
    const bool read_only = options == "ro";
    mounted_ = mount("none", folder_.c_str(), "tmpfs", read_only ? MS_RDONLY : 0,
                     read_only ? "" : options.c_str()) == 0;
}

MountedOver::~MountedOver() {
    if (mounted_) umount(folder_.c_str());
}

}  // namespace zafo::rig
