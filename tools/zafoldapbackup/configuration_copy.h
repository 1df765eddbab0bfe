// SPDX-License-Identifier: Apache-2.0
//
// The configuration that goes into a backup.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tools/backup/archive_writer.h"

namespace zafo::backup {

// The text of a configuration file; nothing when there is no such file. Throws JobError kSystem when it cannot be read
// or is longer than any such file.
std::optional<std::string> ReadConfiguration(const std::string &path);

// The text of one section of a section file (platform/file.h), its heading included and comments left out; empty when
// there is none.
std::string SectionIn(std::string_view text, std::string_view section);

// Adds slapd.conf, the access rules, and of the saved connections the server's own: each where there is one.
// Throws JobError kSystem for a file that cannot be read.
void SaveConfiguration(ArchiveWriter *writer, const std::string &browser_conf);

// The suffix that slapd.conf names. Throws JobError kSystem when there is none.
std::string ConfiguredSuffix();

}  // namespace zafo::backup
