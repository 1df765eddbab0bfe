// SPDX-License-Identifier: Apache-2.0
//
// The configuration that is saved in a backup.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tools/backup/archive_writer.h"

namespace zafo::backup {

// The text of a configuration file; std::nullopt if it does not exist. Throws JobError kSystem when
// it cannot be read or is too long for one.
std::optional<std::string> ReadConfiguration(const std::string &path);

// The text of one section of a section file (platform/file.h), with its heading and without
// comments; empty if there is none.
std::string SectionIn(std::string_view text, std::string_view section);

// Adds slapd.conf, the access rules, and the server's own saved connection, each if it exists.
// Throws JobError kSystem for a file that cannot be read.
void SaveConfiguration(ArchiveWriter *writer, const std::string &browser_conf);

}  // namespace zafo::backup
