// SPDX-License-Identifier: Apache-2.0
//
// The appliance's own server, which the scenarios make, fill and reset in turn.
#pragma once

#include "zafoldap/server.h"

namespace zafo::bench {

// Throws std::runtime_error with these words.
void MustBe(bool done, const char *what);

ZAFOLDAP_SERVER_PARAM OwnSettings();

// Enables the server with these settings.
void EnableOwnServer();

// An empty machine, but for the certificates: making keys takes a different time every time.
void EmptyOwnServer();

// A running server with the entries of kOwnEntries, which is left alone when it is there already.
void FillOwnServer();

}  // namespace zafo::bench
