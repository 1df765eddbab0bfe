// SPDX-License-Identifier: Apache-2.0
//
// Man pages in troff: one for the program and one for each noun.
#pragma once

#include "tools/cli/command.h"

#include <string>
#include <vector>

namespace zafo::cli {

struct ManPage {
    std::string name;  // "zafoldap-connection"
    std::string text;
};

std::vector<ManPage> ManPages(const Program &program);

}  // namespace zafo::cli
