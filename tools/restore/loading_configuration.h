// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace zafo::backup {

// What differs from the configuration of the server.
struct LoadingChange {
    std::string directory;      // the database's folder
    std::string new_directory;  // stands in its place
    std::string include = {};   // a file that is not where it belongs; empty: none
    std::string new_include = {};
};

// A configuration, slapd.conf(5), for loading into another folder: everything that decides what
// entries may hold and how they are stored (schema, indexes, "maxsize") is kept. The administrator's password has
// no use there and is left out. Throws JobError kSystem when the configuration keeps no database in the
// directory.
std::string LoadingConfiguration(std::string_view text, const LoadingChange &change);

}  // namespace zafo::backup
