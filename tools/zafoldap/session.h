// SPDX-License-Identifier: Apache-2.0
//
// What every command gets: the invocation, the streams, the JSON object; and the handlers by
// command.
#pragma once

#include "tools/cli/json_document.h"
#include "tools/cli/parser.h"
#include "tools/cli/streams.h"

#include <string>
#include <vector>

namespace zafo::cli {

struct Session {
    const Invocation &invocation;
    Streams &streams;
    JsonDocument &document;

    const Globals &Options() const { return invocation.globals; }
    const std::string &Argument(std::string_view name) const { return *invocation.Find(name); }
};

// Carries a command out; returns the exit code, throws Failure.
using Handler = int (*)(Session &);

int ListConnections(Session &session);
int ShowConnection(Session &session);
int AddConnection(Session &session);
int EditConnection(Session &session);
int DeleteConnection(Session &session);
int CheckConnection(Session &session);
int SearchDirectory(Session &session);
int ShowEntry(Session &session);
int PrintCompletion(Session &session);

// The handler of a command of the table; nullptr: none.
Handler HandlerOf(const Command &command);

// One line in the system log for a change: who, what, which keys, with which result.
void LogChange(std::string_view verb, const std::string &connection,
               const std::vector<std::string> &keys, std::string_view result);

}  // namespace zafo::cli
