// SPDX-License-Identifier: Apache-2.0
//
// The paths of a restore: the server's folder, the database in it, the spare folder that is swapped
// with the database, and the journal of the swap.
#pragma once

#include <string>

#include "base/appliance_paths.h"

namespace zafo::backup {

struct Places {
    explicit Places(std::string server_folder = kServerFolder)
        : folder(std::move(server_folder)),
          data(folder + "/data"),
          spare(folder + "/data.new"),
          journal(folder + "/restore.journal") {}

    std::string folder;
    std::string data;     // the database in use
    std::string spare;    // the new database before the swap, the old one after it
    std::string journal;  // exists while the two may be swapped
};

}  // namespace zafo::backup
