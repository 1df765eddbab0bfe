// SPDX-License-Identifier: Apache-2.0
//
// The configuration that a restored database runs with. A machine that has one keeps it. Otherwise
// it is generated as if the server were being enabled, from the machine's own template and with
// generated access rules; the backup supplies three validated values: suffix, administrator's DN
// and password hash. Its files are never installed, because slapd.conf can load modules, include
// files and name folders.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/backup/archive_reader.h"

namespace zafo::backup {

class MissingConfiguration {
  public:
    // Throws JobError kSystem when neither has a configuration, when the backup's suffix or
    // administrator's DN is unusable, or when a file cannot be read or generated. An unusable hash
    // only adds a note.
    MissingConfiguration(const Contents &backup, std::string browser_conf);

    const std::string &SlapdConf() const { return slapd_conf_; }
    const std::string &Suffix() const { return suffix_; }
    // Empty: not configured.
    const std::string &AdminDn() const { return admin_dn_; }

    // The access rules, if they still have to be installed.
    const std::optional<std::string> &Rules() const { return rules_; }

    // What was not taken from the backup's configuration, one line each.
    const std::vector<std::string> &Notes() const { return notes_; }

    // Installs the missing files and syncs them. Throws JobError.
    void Install();
    // Removes what Install added.
    void Uninstall() noexcept;

    // Saves the connection "root" to the local server if this machine was not set up and has none,
    // with the backup's password if it can be decrypted here. Returns a warning or nothing.
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
    std::optional<std::string> connection_;  // from the backup
    std::vector<std::string> notes_;
    std::vector<std::string> installed_;
};

// Whether a text is a DN plain enough to mean the same in every file: no quotes, escapes or control
// characters.
bool IsPlainDn(std::string_view dn);

// Whether a text is a password hash that slapd.conf accepts: {CRYPT}, {SSHA} and the like, with
// only the characters that such a hash can contain.
bool IsPasswordHash(std::string_view text);

// The slapd.conf(5) directives that one text has and the other has not, ignoring order, comments
// and the values supplied by a backup (suffix, rootdn, rootpw). Returns each key once.
std::vector<std::string> DifferingDirectives(std::string_view text, std::string_view other);

}  // namespace zafo::backup
