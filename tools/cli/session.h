// SPDX-License-Identifier: Apache-2.0
//
// What every command gets: its program, the invocation, the streams, the JSON object.
#pragma once

#include <string>
#include <vector>

#include "tools/cli/json_document.h"
#include "tools/cli/parser.h"
#include "tools/cli/streams.h"

namespace zafo::cli {

struct Session {
    const Program &program;
    const Invocation &invocation;
    Streams &streams;
    JsonDocument &document;

    const Globals &Options() const { return invocation.globals; }
    const std::string &Argument(std::string_view name) const { return *invocation.Find(name); }
};

// Throws Failure ("usage") that points to the command's help.
[[noreturn]] void RefuseUsage(const Session &session, std::string reason);

// Asks before something is done ("adding 12 users"), after lines that say what that touches. Throws
// when nobody can be asked or the answer is no; with --yes it does not ask.
void Confirm(Session &session, const std::string &doing, const std::string &question,
             const std::vector<std::string> &details);

// The same before something ("the user anna") is deleted.
void ConfirmDeleting(Session &session, const std::string &what,
                     const std::vector<std::string> &details);

}  // namespace zafo::cli
