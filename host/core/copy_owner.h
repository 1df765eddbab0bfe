// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace zafo {

// The words with which to run `words` safely. When root has cp(1) write into another user's folder,
// that user could place a link there just before, and root would write to its target; such a copy
// is run with only the rights of the folder's owner. Any other words stay as they are.
std::vector<std::string> WithSafeRights(std::vector<std::string> words);

}  // namespace zafo
