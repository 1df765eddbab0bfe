// SPDX-License-Identifier: Apache-2.0
//
// The program with a server that accepts accounts, nearly empty at the start of each test.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/program.h"

namespace zafo::rig {

constexpr const char *kPassword = "Sesame-open-1";

// Splits a command line at blanks, except within single quotes.
std::vector<std::string> Words(std::string_view line);

// Runs a command line; its standard input is a valid password.
ProgramRun Line(std::string_view line, std::string_view input = kPassword);
Json LineJson(std::string_view line, int exit_code = 0, std::string_view input = kPassword);

// The arguments of the command that a message suggests to finish the work.
std::string FinishOf(const ProgramRun &run);

// Replaces a tool behind the tool front with a script for sh(1), in which $real is the tool itself.
class ReplacedTool {
  public:
    ReplacedTool(const std::string &name, const std::string &script)
        : path_("/usr/zafo/libexec/" + name) {
        mkdir("/usr/zafo/libexec", 0755);
        const std::string folder =
            access(("/usr/bin/" + name).c_str(), X_OK) == 0 ? "bin/" : "sbin/";
        WriteFile(path_, "#!/bin/sh\nreal=/usr/" + folder + name + "\n" + script + "\n", 0755);
    }
    ~ReplacedTool() { unlink(path_.c_str()); }
    ReplacedTool(const ReplacedTool &) = delete;
    ReplacedTool &operator=(const ReplacedTool &) = delete;

  private:
    std::string path_;
};

class AccountCommand : public testing::Test {
  protected:
    explicit AccountCommand(const char *variant = "appliance");
    ~AccountCommand() override;

    // The entry with this DN; without attributes if it does not exist.
    LdifEntry Entry(const std::string &dn) const;
    std::vector<std::string> Values(const std::string &dn, const std::string &attribute) const;
    std::string Value(const std::string &dn, const std::string &attribute) const;
    // Everything below the base, to verify that nothing changed.
    std::string Tree() const;

    static std::string UserDN(const std::string &name) {
        return "uid=" + name + ",cn=users,dc=example,dc=com";
    }
    static std::string GroupDN(const std::string &name) {
        return "cn=" + name + ",cn=groups,dc=example,dc=com";
    }

    ExampleDirectory &directory_;
};

}  // namespace zafo::rig
