// SPDX-License-Identifier: Apache-2.0
//
// The program before a server on which accounts can be made, nearly empty at each test's start.
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

// A command line, split at blanks; a word in single quotes may hold some.
std::vector<std::string> Words(std::string_view line);

// Runs a command line; its standard input is a password that is good.
ProgramRun Line(std::string_view line, std::string_view input = kPassword);
Json LineJson(std::string_view line, int exit_code = 0, std::string_view input = kPassword);

// The command that a message gives to finish the work, without its first word.
std::string FinishOf(const ProgramRun &run);

// Stands behind the tool front in a tool's place: a script for sh(1), in which $real is the tool
// itself.
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

    // The entry with this DN; without attributes when there is none.
    LdifEntry Entry(const std::string &dn) const;
    std::vector<std::string> Values(const std::string &dn, const std::string &attribute) const;
    std::string Value(const std::string &dn, const std::string &attribute) const;
    // Everything below the base, to see that nothing changed.
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
