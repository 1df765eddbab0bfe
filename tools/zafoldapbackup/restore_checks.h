// SPDX-License-Identifier: Apache-2.0
//
// What a restore checks before it changes anything.
#pragma once

#include <string>
#include <string_view>

#include "tools/backup/manifest.h"
#include "tools/restore/places.h"

namespace zafo::backup {

// Throws JobError: kNotOurs for a backup of a suffix other than the machine's, kOtherSlapd for one
// made with a newer slapd.
void CheckManifest(const Manifest &manifest, const std::string &suffix);

// Whether the first version, such as "2.6.1+dfsg-1", is newer than the second in its first two
// numbers: entry format and schemas change between those. Unparsable versions are not newer.
bool IsNewerSlapd(std::string_view version, std::string_view than);

// Returns whether the server runs. Throws JobError: kServer when it does but could not be started
// again, kSystem when its database folder cannot be swapped.
bool CheckServer(const Places &places);

// Throws JobError kRootFull unless the loaded copy fits beside the database.
void CheckRoom(const Places &places, const Manifest &manifest);

}  // namespace zafo::backup
