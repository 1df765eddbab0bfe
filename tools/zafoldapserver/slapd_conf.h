// SPDX-License-Identifier: Apache-2.0
//
// The server's configuration, slapd.conf(5), and its access rules, slapd.access(5): reading them,
// and making staged copies to compare with and to test.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/work_folder.h"
#include "tools/cli/streams.h"

namespace zafo::cli {

// A whole text file; nothing when it cannot be read.
std::optional<std::string> ReadTextFile(const std::string &path);

// Has slapd itself test a configuration file, without the database. Its words; nothing when it
// accepts the file. Throws Failure ("slapd_missing").
std::optional<std::string> FaultOfConfiguration(Streams &streams, const std::string &path);

// A private folder for files that are only looked at; goes with its owner.
class Staging {
  public:
    Staging();

    // What the server would be configured with: the whole text of slapd.conf but for the
    // administrator's password, and the access rules.
    std::string Configuration(const std::string &suffix, const std::string &admin_dn) const;
    std::string AccessRules(const std::string &suffix) const;

    // The same for a configuration and rules that are not in place.
    std::optional<std::string> Test(Streams &streams, const std::string &configuration,
                                    const std::string &rules) const;

  private:
    std::string Path(std::string_view name) const { return folder_.Path(name); }

    WorkFolder folder_;
};

// Whether two configurations say the same, the administrator's password aside.
bool SameConfiguration(std::string_view a, std::string_view b);

enum class RulesState { kAsWritten, kByHand, kMissing };
RulesState StateOfRules(const Staging &staging, const std::string &suffix);

}  // namespace zafo::cli
