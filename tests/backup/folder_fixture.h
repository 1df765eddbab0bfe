// SPDX-License-Identifier: Apache-2.0
//
// A test's own folder, removed at its end.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace zafo::test {

class FolderTest : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_NE(mkdtemp(folder_.data()), nullptr); }
    void TearDown() override { std::filesystem::remove_all(folder_); }

    std::string Path(const std::string &name) const { return folder_ + "/" + name; }

    void Write(const std::string &name, std::string_view text) const {
        std::ofstream(Path(name)) << text;
    }

    std::string Read(const std::string &name) const {
        std::ifstream file(Path(name));
        std::stringstream text;
        text << file.rdbuf();
        return text.str();
    }

    std::set<std::string> Names() const {
        std::set<std::string> names;
        for (const auto &entry : std::filesystem::directory_iterator(folder_))
            names.insert(entry.path().filename());
        return names;
    }

    // The whole content of a descriptor's file.
    static std::string Bytes(int fd) {
        std::ifstream file("/proc/self/fd/" + std::to_string(fd));
        std::stringstream text;
        text << file.rdbuf();
        return text.str();
    }

    std::string folder_ = "/tmp/backups.XXXXXX";
};

}  // namespace zafo::test
