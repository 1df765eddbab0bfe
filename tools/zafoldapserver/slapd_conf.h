// SPDX-License-Identifier: Apache-2.0
//
// The server's configuration, slapd.conf(5), and its access rules, slapd.access(5): reading them,
// and making staged copies for comparing and testing.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/work_folder.h"
#include "tools/cli/streams.h"

namespace zafo::cli {

// The contents of a text file; std::nullopt when it cannot be read.
std::optional<std::string> ReadTextFile(const std::string &path);

// Has slapd test a configuration file, without the database. Returns its messages; std::nullopt
// when it accepts the file. Throws Failure ("slapd_missing").
std::optional<std::string> FaultOfConfiguration(Streams &streams, const std::string &path);

// A private folder for files that are only examined, removed by the destructor.
class Staging {
  public:
    Staging();

    // What the server would be configured with: all of slapd.conf except the administrator's
    // password, and the access rules.
    std::string Configuration(const std::string &suffix, const std::string &admin_dn) const;
    std::string AccessRules(const std::string &suffix) const;

    // The same for a configuration and rules that are not installed.
    std::optional<std::string> Test(Streams &streams, const std::string &configuration,
                                    const std::string &rules) const;

  private:
    std::string Path(std::string_view name) const { return folder_.Path(name); }

    WorkFolder folder_;
};

// Whether two configurations are equivalent, ignoring the administrator's password.
bool SameConfiguration(std::string_view a, std::string_view b);

enum class RulesState { kAsWritten, kByHand, kMissing };
RulesState StateOfRules(const Staging &staging, const std::string &suffix);

}  // namespace zafo::cli
