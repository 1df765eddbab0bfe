// SPDX-License-Identifier: Apache-2.0
//
// The configuration that a restored database runs with. A machine that has one keeps it. One that has none gets it as
// enabling the server would make it, from its own template and with generated access rules; the backup
// gives three values, each of which must look like what it is: suffix, administrator's DN and password hash. Its
// texts are never put in place, for slapd.conf can load modules, include files and name folders.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/backup/archive_reader.h"

namespace zafo::backup {

class MissingConfiguration {
  public:
    // Throws JobError kSystem when neither has one, when the backup's values cannot be taken, or when a text cannot be
    // read or made.
    MissingConfiguration(const Contents &backup, std::string browser_conf);

    const std::string &SlapdConf() const { return slapd_conf_; }
    const std::string &Suffix() const { return suffix_; }
    // Empty: the configuration names none.
    const std::string &AdminDn() const { return admin_dn_; }

    // The access rules, where they have yet to be put in their place.
    const std::optional<std::string> &Rules() const { return rules_; }

    // What of the backup's configuration was not taken, a line each.
    const std::vector<std::string> &Notes() const { return notes_; }

    // Puts in place what is missing; on the disk when this returns. Throws JobError.
    void Install();
    // Takes that away again.
    void Uninstall() noexcept;

    // Saves the connection "root" where the machine was not set up and has none: to the server of this machine, with
    // the backup's password where that can be deciphered here. Gives a warning, or nothing.
    std::string InstallConnection();

  private:
    void MakeFrom(const Contents &backup);
    void InstallFile(const std::string &path, const std::string &text);

    std::string browser_conf_;
    std::string slapd_conf_;
    std::string suffix_;
    std::string admin_dn_;
    bool missing_ = false;
    std::optional<std::string> rules_;
    std::optional<std::string> connection_;  // of the backup
    std::vector<std::string> notes_;
    std::vector<std::string> installed_;
};

// Whether a text is a DN so plain that it means the same in every file: no quotes, escapes or control
// characters.
bool IsPlainDn(std::string_view dn);

// Whether a text is a password hash as slapd.conf may have it: {CRYPT}, {SSHA} and their like, with the characters that
// such a hash has.
bool IsPasswordHash(std::string_view text);

// The directives, slapd.conf(5), that one text has and the other has not; values that a backup gives (suffix, rootdn,
// rootpw), comments and order aside. Their keys, each once.
std::vector<std::string> DifferingDirectives(std::string_view text, std::string_view other);

}  // namespace zafo::backup
