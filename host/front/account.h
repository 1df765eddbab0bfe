// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace zafo::front {

// Root becomes the directory server's user with that user's groups, so that
// what an offline tool writes belongs to the server. Stays as it is for
// anybody else and in a root without that user.
void BecomeServerUser();

// Makes a folder that user's alone, where the caller could become it; else the folder stays as
// it is. False, with errno, when it cannot be given.
bool GiveToServerUser(const char *folder);

}  // namespace zafo::front
