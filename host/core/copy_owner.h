// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace zafo {

// The words that run `words` as it is safe. When root has cp(1) write into a folder that belongs to somebody
// else, that user could put a link there just before, and root would write to what it names: such
// a copy is made with no more than the folder owner's rights. Everything else stays as it is.
std::vector<std::string> WithSafeRights(std::vector<std::string> words);

}  // namespace zafo
