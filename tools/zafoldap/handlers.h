// SPDX-License-Identifier: Apache-2.0
//
// The handlers by command.
#pragma once

#include "tools/cli/session.h"

namespace zafo::cli {

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
int MigrateAccounts(Session &session);
int CountAccounts(Session &session);

int SearchDirectory(Session &session);
int ShowEntry(Session &session);
int DeleteEntry(Session &session);

// The handler of a command of the table; nullptr: none.
Handler ZafoldapHandler(const Command &command);

}  // namespace zafo::cli
