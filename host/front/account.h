// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace zafo::front {

// Root becomes the directory server's user with that user's groups, so that
// what an offline tool writes belongs to the server. Stays as it is for
// anybody else and in a root without that user.
void BecomeServerUser();

}  // namespace zafo::front
