// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/rig/fake_tool.h"
#include "tests/rig/running_tool.h"

namespace zafo {

inline std::string Front(const std::string &tool) {
    return "/usr/zafo/bin/" + tool;
}

using Texts = std::vector<std::string>;

inline Texts operator+(Texts left, const Texts &right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

inline void WriteFile(const std::string &path, const std::string &text, mode_t mode = 0600) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << text;
    std::filesystem::permissions(path, static_cast<std::filesystem::perms>(mode));
}

// The fake tool behind the front; a root without trust and limits of its own.
class FrontTest : public testing::Test {
  protected:
    void TearDown() override {
        std::filesystem::remove_all("/usr/zafo/etc/ssl");
        std::filesystem::remove("/usr/zafo/etc/tools.conf");
    }

    // Runs the front to its end and gives the one call that it made.
    rig::FakeCall Call(const std::string &tool, const Texts &arguments) {
        tools_.Reset();
        const rig::ToolOutcome outcome = rig::RunTool(Texts{Front(tool)} + arguments);
        EXPECT_EQ(outcome.status, 0) << outcome.output;
        const std::vector<rig::FakeCall> calls = tools_.Calls();
        EXPECT_EQ(calls.size(), 1U);
        return calls.empty() ? rig::FakeCall{} : calls[0];
    }

    rig::FakeTools tools_;
};

}  // namespace zafo
