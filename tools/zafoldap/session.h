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
int SuggestConnection(Session &session);

int ListUsers(Session &session);
int ShowUser(Session &session);
int AddUser(Session &session);
int EditUser(Session &session);
int RenameUser(Session &session);
int DeleteUsers(Session &session);
int SetUserPassword(Session &session);
int ListUserGroups(Session &session);
int CreateUserHome(Session &session);
int CreateAllUserHomes(Session &session);

int ListGroups(Session &session);
int ShowGroup(Session &session);
int AddGroup(Session &session);
int EditGroup(Session &session);
int RenameGroup(Session &session);
int DeleteGroups(Session &session);

int ListMembers(Session &session);
int AddMembers(Session &session);
int RemoveMembers(Session &session);

int NextId(Session &session);
int ShowIdPool(Session &session);
int CheckIds(Session &session);
int CountAccounts(Session &session);

int SearchDirectory(Session &session);
int ShowEntry(Session &session);
int DeleteEntry(Session &session);
int PrintCompletion(Session &session);

// The handler of a command of the table; nullptr: none.
Handler HandlerOf(const Command &command);

// Throws Failure ("usage") that points to the command's help.
[[noreturn]] void RefuseUsage(const Session &session, std::string reason);

// Asks before something ("the user anna") is deleted, after lines that say what that touches.
// Throws when nobody can be asked or the answer is no; with --yes it does not ask.
void ConfirmDeleting(Session &session, const std::string &what,
                     const std::vector<std::string> &details);

// One line in the system log for a change: who, what, which keys, with which result.
void LogChange(std::string_view verb, const std::string &connection,
               const std::vector<std::string> &keys, std::string_view result);

// The same for a change of an entry: its DN and the attributes' names, never a value.
void LogEntryChange(const Session &session, const std::string &dn,
                    const std::vector<std::string> &attributes, std::string_view result);

// Makes a change and logs what came of it.
template <typename Work>
void Logged(const Session &session, const std::string &dn,
            const std::vector<std::string> &attributes, Work work) {
    try {
        work();
    } catch (const Failure &failure) {
        const char *result = failure.key == "partly_done" ? "partly" : "failed";
        LogEntryChange(session, dn, attributes, result + (" (" + failure.key + ")"));
        throw;
    }
    LogEntryChange(session, dn, attributes, "done");
}

}  // namespace zafo::cli
