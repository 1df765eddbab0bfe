// SPDX-License-Identifier: Apache-2.0
//
// The tools that open the local server's database themselves.
#pragma once

#include "host/front/child.h"

namespace zafo::front {

// Makes the database's folder where it is missing, and gives it to the server's user.
void PrepareDatabaseFolder();

// Loads entries, then has the marker of a filled database updated. Each ends as the tool ends; a
// termination signal meanwhile is passed to the tool.
[[noreturn]] void RunLoader(const Command &command);

// Lets the tool write to this process's output, and ends it when that has no reader any more. Its
// message about a database that was never created is not passed on: its exit code is the answer.
[[noreturn]] void RunReader(const Command &command);

// The same with the tool's output passed on line by line, a DN in base64 as the text it stands for:
// otherwise a caller that looks for a line "dn: DN" would not find a DN with an umlaut.
[[noreturn]] void RunProbe(const Command &command);

}  // namespace zafo::front
