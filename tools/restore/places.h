// SPDX-License-Identifier: Apache-2.0
//
// Where a restore works: the server's folder, and in it the database, the folder beside it that is
// exchanged with it, and the journal of the exchange.
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
    std::string data;     // what the server serves
    std::string spare;    // the new database before the exchange, the old one after it
    std::string journal;  // there while one of the two may be exchanged for the other
};

}  // namespace zafo::backup
