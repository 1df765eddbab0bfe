// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/rig/fake_tool.h"
#include "tests/rig/running_tool.h"

namespace zafo {

inline std::string Front(const std::string &tool) {
    return "/usr/zafo/bin/" + tool;
}

// Whether it is statically linked, as it is except with the sanitizers: programs that need a loader
// name it near their start.
inline bool FrontIsStatic() {
    std::string head(4096, '\0');
    std::ifstream(Front("zafo-tool-front"), std::ios::binary)
        .read(head.data(), static_cast<std::streamsize>(head.size()));
    return head.find("/ld-linux") == std::string::npos;
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

// The fake tool behind the front, in a root without trust settings and limits.
class FrontTest : public testing::Test {
  protected:
    void TearDown() override {
        std::filesystem::remove_all("/usr/zafo/etc/ssl");
        std::filesystem::remove("/usr/zafo/etc/tools.conf");
    }

    // Runs the front to its end and returns its only tool call.
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

#define SKIP_UNLESS_STATIC() \
    if (!zafo::FrontIsStatic()) GTEST_SKIP() << "the tool front of this build is not static"
