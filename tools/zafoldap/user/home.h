// SPDX-License-Identifier: Apache-2.0
//
// Users' home folders in the export that the directory publishes.
#pragma once

#include <optional>
#include <string>

#include "tools/zafoldap/account_directory.h"

namespace zafo::cli {

struct Export {
    std::string host;
    std::string path;
};

// HOST:PATH from a value of the map "auto_home", "-fstype=nfs HOST:PATH/&" with backslashes before
// "$", blanks and "&" in the path; nothing for any other form.
std::optional<Export> ParseAutomountValue(std::string_view value);

// Why the library refuses to mount what a value names (zafoldap/home.h); empty: it does not.
std::string FaultOfAutomountValue(std::string_view value);

// The value published by the directory; empty: none.
std::string PublishedHomes(const AccountDirectory &directory);

}  // namespace zafo::cli
