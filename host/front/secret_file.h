// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/unique_fd.h"

namespace zafo::front {

// A file in memory, 0600 and sealed, that holds only a secret: for the tool that reads it. The
// kernel shows it under `name`. Its descriptor is close-on-exec and at least `least`, out of the way
// of numbers that the tool's other descriptors get. Not open, with errno set, on failure: the tool
// must not run then.
UniqueFd MakeSecretFile(const char *name, const char *secret, int least);

}  // namespace zafo::front
