// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace zafo::backup {

// The differences from the server's configuration.
struct LoadingChange {
    std::string directory;      // the database's folder
    std::string new_directory;  // replaces it
    std::string include = {};   // an "include" to replace; empty: none
    std::string new_include = {};
};

// Derives the slapd.conf(5) for loading into another folder: everything that decides what entries
// may hold and how they are stored (schema, indexes, "maxsize") is kept. The administrator's
// password is not needed and is left out. Throws JobError kSystem when the configuration has no
// database in that directory.
std::string LoadingConfiguration(std::string_view text, const LoadingChange &change);

}  // namespace zafo::backup
