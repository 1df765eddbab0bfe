// SPDX-License-Identifier: Apache-2.0
//
// What a restore refuses before anything is touched.
#pragma once

#include <string>
#include <string_view>

#include "tools/backup/manifest.h"
#include "tools/restore/places.h"

namespace zafo::backup {

// Throws JobError: kNotOurs for a backup of another suffix than the machine's, kOtherSlapd for one that a
// newer slapd has made.
void CheckManifest(const Manifest &manifest, const std::string &suffix);

// Whether the first version, "2.6.1+dfsg-1", is newer than the second in its first two numbers: between
// those the format of entries and the schemas change. Versions that cannot be told are not newer.
bool IsNewerSlapd(std::string_view version, std::string_view than);

// Whether the server runs. Throws JobError: kServer when it does and could not be started again,
// kSystem when the folder of its database is one that cannot be exchanged.
bool CheckServer(const Places &places);

// Throws JobError kRootFull unless the loaded copy has room beside the database.
void CheckRoom(const Places &places, const Manifest &manifest);

}  // namespace zafo::backup
