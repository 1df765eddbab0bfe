// SPDX-License-Identifier: Apache-2.0
//
// What every command is given: its program, the invocation, the streams, the JSON object.
#pragma once

#include <string>
#include <string_view>
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
    bool WantsJson() const { return Options().form == Form::kJson; }
    const std::string &Argument(std::string_view name) const { return *invocation.Find(name); }
};

// Throws Failure ("usage") that points to the command's help.
[[noreturn]] void RefuseUsage(const Session &session, std::string reason);

// Throws Failure ("not_root").
void RequireRoot(const Session &session);

// A command's result: `data` with --json, otherwise `text` on standard output.
void PrintResult(Session &session, const Json &data, std::string_view text);
// The same for a command that has no output of its own: otherwise `sentence` as a note.
void TellResult(Session &session, const Json &data, std::string_view sentence);

// Asks for confirmation of `doing` ("adding 12 users"), below lines that list what it affects.
// Throws if there is no terminal to ask on or the answer is no; does not ask with --yes.
void Confirm(Session &session, const std::string &doing, const std::string &question,
             const std::vector<std::string> &details);

// The same before something ("the user anna") is deleted.
void ConfirmDeleting(Session &session, const std::string &what,
                     const std::vector<std::string> &details);

// Asks for confirmation that must be typed, so that nobody changes the wrong machine out of habit:
// `word`, a DN or "yes". Otherwise the same; `lost` says what is at stake.
void ConfirmByTyping(Session &session, const std::string &word, const std::string &doing,
                     const std::string &question, const std::string &lost);

}  // namespace zafo::cli
