// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace zafo::meta {

// The first line (from 1) that shows that a source reads or writes the escapes of DNs itself; 0 if
// none. Signs of that are a list of the characters that RFC 4514 escapes, a list of the separators
// of RDNs, or a search for a backslash and a comma within a few lines.
int DnGrammarIn(const std::vector<std::string> &source);

}  // namespace zafo::meta
