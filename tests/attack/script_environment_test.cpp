// SPDX-License-Identifier: Apache-2.0
//
// Root runs shell scripts with an environment prepared by someone else: a startup file to source,
// functions in place of commands.
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "tests/attack/stranger.h"

namespace zafo::test::script_environment {

constexpr const char *kOwned = "/tmp/script-environment-owned";
constexpr const char *kFile = "/tmp/script-environment";

class RootsScript : public testing::TestWithParam<const char *> {};

TEST_P(RootsScript, TakesNoCommandsFromItsEnvironment) {
    std::ofstream(kFile) << "echo file >" << kOwned << "\n";
    for (const std::string &variable :
         {std::string("BASH_ENV=") + kFile, std::string("ENV=") + kFile,
          std::string("BASH_FUNC_set%%=() { echo function >") + kOwned + "; }",
          std::string("BASH_FUNC_export%%=() { echo function >") + kOwned + "; }"}) {
        rig::RunProgram({"/usr/bin/env", variable, GetParam(), "--no-such-option"});
        EXPECT_FALSE(std::filesystem::remove(kOwned)) << variable;
    }
    std::filesystem::remove(kFile);
}

INSTANTIATE_TEST_SUITE_P(Appliance, RootsScript,
                         testing::Values("/usr/zafo/libexec/ldap-server-start",
                                         "/usr/zafo/libexec/ldap-server-mark"),
                         [](const auto &script) {
                             return std::string(script.index == 0 ? "Start" : "Mark");
                         });

}  // namespace zafo::test::script_environment
