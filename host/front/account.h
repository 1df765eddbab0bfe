// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace zafo::front {

// Root becomes the directory server's user with that user's groups, so that files written by an
// offline tool belong to the server. Does nothing for other users and in a root without that user.
void BecomeServerUser();

// Gives a folder to that user alone, if the caller could become it; otherwise the folder is
// unchanged. False, with errno, when it cannot be given.
bool GiveToServerUser(const char *folder);

}  // namespace zafo::front
