// SPDX-License-Identifier: Apache-2.0
//
// The commands of user.
#pragma once

#include "tools/zafoldap/account_options.h"
#include "tools/zafoldap/commands.h"

namespace zafo::cli {

Command UserListCommand();
Command UserShowCommand();
Command UserGroupsCommand();
Command UserAddCommand();
Command UserEditCommand();
Command UserRenameCommand();
Command UserPasswdCommand();
Command UserHomeCreateCommand();
Command UserHomeCreateAllCommand();

}  // namespace zafo::cli
