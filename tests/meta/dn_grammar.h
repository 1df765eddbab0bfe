// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace zafo::meta {

// The line (from 1) that shows that a source reads or writes the escapes of DNs itself; 0 when none
// does. It shows in a list of the characters that RFC 4514 escapes, in a list of the separators of
// RDNs, or in a backslash and a comma that are looked for within a few lines.
int DnGrammarIn(const std::vector<std::string> &source);

}  // namespace zafo::meta
