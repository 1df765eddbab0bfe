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

// HOST:PATH in a value of the map "auto_home", "-fstype=nfs HOST:PATH/&" with backslashes before
// "$", blanks and "&" of the path; nothing for another form.
std::optional<Export> ParseAutomountValue(std::string_view value);

// Why the library does not mount what a value names (zafoldap/home.h); empty: it does.
std::string FaultOfAutomountValue(std::string_view value);

// The value that the directory publishes; empty: none.
std::string PublishedHomes(const AccountDirectory &directory);

}  // namespace zafo::cli
