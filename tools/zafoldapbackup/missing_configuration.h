// SPDX-License-Identifier: Apache-2.0
//
// The server's configuration for a restore: the machine's own where it has one, else the backup's, which is
// then put in its place with the restored entries.
#pragma once

#include "tools/backup/archive_reader.h"

#include <optional>
#include <string>
#include <vector>

namespace zafo::backup {

class MissingConfiguration {
  public:
    // Throws Problem kSystem when neither has one, or the machine's cannot be read.
    MissingConfiguration(const Contents &backup, std::string browser_conf);

    const std::string &SlapdConf() const { return slapd_conf_; }
    const std::string &Suffix() const { return suffix_; }

    // The access rules, where they have yet to be put in their place.
    const std::optional<std::string> &Rules() const { return rules_; }

    // Puts in place what is missing; on the disk when this returns. Throws Problem.
    void Install();
    // Takes that away again.
    void Uninstall() noexcept;

    // Saves the backup's connection "root" where the machine was not set up and has none. Gives a
    // warning, or nothing.
    std::string InstallConnection();

  private:
    void InstallFile(const std::string &path, const std::string &text);

    std::string browser_conf_;
    std::string slapd_conf_;
    std::string suffix_;
    bool missing_ = false;
    std::optional<std::string> rules_;
    std::optional<std::string> connection_;
    std::vector<std::string> installed_;
};

}  // namespace zafo::backup
