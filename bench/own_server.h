// SPDX-License-Identifier: Apache-2.0
//
// The appliance's own server, which the scenarios create, fill and reset.
#pragma once

#include "zafoldap/server.h"

namespace zafo::bench {

// Throws std::runtime_error(what) unless `done`.
void MustBe(bool done, const char *what);

ZAFOLDAP_SERVER_PARAM OwnSettings();

// Enables the server with OwnSettings().
void EnableOwnServer();

// Resets the machine except for the certificates: generating keys takes a different time every
// time.
void EmptyOwnServer();

// A running server with the entries of kOwnEntries; left alone if it exists already.
void FillOwnServer();

}  // namespace zafo::bench
