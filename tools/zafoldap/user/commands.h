// SPDX-License-Identifier: Apache-2.0
//
// The commands of user, and the owner of a user that they read.
#pragma once

#include "platform/user.h"
#include "tools/zafoldap/account_options.h"
#include "tools/zafoldap/commands.h"

namespace zafo::cli {

struct UserFree {
    void operator()(ZAFOUSER *user) const { ZAFOUserFree(user); }
};

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
