// SPDX-License-Identifier: Apache-2.0
//
// The settings of the backup program, all taken from environment variables.
//
//   LDAP_BROWSER_CONF           file of saved connections
//   LDAP_BKP_PROGRESS_FILE      progress file to write
//   LDAP_BKP_PREFIX             prefix of the backups' names
//   LDAP_BKP_TASK               name of the task         (set for backups only, as all below)
//   LDAP_BKP_DEST_DIR           backup folder
//   LDAP_BKP_SCHEDULE_ENABLED   "yes" or "no"; makes no difference to the program
//   LDAP_BKP_MAX_BACKUP_FILE    how many backups to keep; not a number above 0: 10
#pragma once

#include <cstdint>
#include <string>

#include "base/appliance_paths.h"

namespace zafo::backup {

struct Environment {
    std::string browser_conf = kConnectionFile;
    std::string progress_file = kProgressFile;
    std::string prefix = "zafoldap";
    std::string task = "backup";
    std::string folder = {};  // empty: none is set
    std::uint64_t keep = 10;
};

// Missing or empty variables leave the default. Throws JobError kSystem for an invalid prefix.
Environment ReadEnvironment();

// Parses the number of backups to keep.
std::uint64_t KeepFrom(const char *text);

}  // namespace zafo::backup
