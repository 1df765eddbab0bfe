// SPDX-License-Identifier: Apache-2.0
//
// The handlers by command.
#pragma once

#include "tools/cli/session.h"

namespace zafo::cli {

int EnableServer(Session &session);
int StartServer(Session &session);
int StopServer(Session &session);
int RestartServer(Session &session);
int ShowServerStatus(Session &session);
int ResetServer(Session &session);

int ShowAccessRules(Session &session);
int ShowConfiguration(Session &session);

int BackUpNow(Session &session);
int ListBackups(Session &session);
int VerifyBackup(Session &session);
int ShowBackupConfig(Session &session);
int SetBackupConfig(Session &session);
int RestoreBackup(Session &session);
int ShowProgress(Session &session);

int SetAutomount(Session &session);
int ShowAutomount(Session &session);

int CheckServer(Session &session);

// The handler of a command of the table; nullptr: none.
Handler ZafoldapserverHandler(const Command &command);

}  // namespace zafo::cli
