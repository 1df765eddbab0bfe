// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace zafo {

// Whether the account files can hold a user or group of this name. Directories have names that
// useradd(8) warns of (capitals, dots, blanks, letters beyond ASCII); what is refused is what would
// be read back as something else: separators of passwd(5), group(5) and section files, control
// characters, blanks at the ends, a lookup ("+"), a comment ("#"), a number, and more than the 32
// bytes that utmp(5) and useradd(8) know.
bool IsAccountName(std::string_view name);

// Whether a field of an account's line can hold this text.
bool IsField(std::string_view text);

// The same for a home folder or login shell: an absolute path.
bool IsPathField(std::string_view path);

}  // namespace zafo
