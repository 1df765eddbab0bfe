// SPDX-License-Identifier: Apache-2.0
//
// What the caller of the backup program settles, all of it in environment variables.
//
//   LDAP_BROWSER_CONF           file of saved connections
//   LDAP_BKP_PROGRESS_FILE      where to tell the progress
//   LDAP_BKP_PREFIX             first part of the backups' names
//   LDAP_BKP_TASK               name of the task                   (backup only, as all below)
//   LDAP_BKP_DEST_DIR           folder of the backups
//   LDAP_BKP_SCHEDULE_ENABLED   "yes" or "no"; the program does the same for both
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

// Variables that are missing or empty leave the default.
// Throws JobError kSystem for a prefix that is no good.
Environment ReadEnvironment();

// The number of backups to keep that a text asks for.
std::uint64_t KeepFrom(const char *text);

}  // namespace zafo::backup
