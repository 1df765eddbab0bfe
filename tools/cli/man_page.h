// SPDX-License-Identifier: Apache-2.0
//
// Man pages in troff: one for the program and one for each noun.
#pragma once

#include <string>
#include <vector>

#include "tools/cli/command.h"

namespace zafo::cli {

struct ManPage {
    std::string name;  // "zafoldap-connection"
    std::string text;
};

std::vector<ManPage> ManPages(const Program &program);

// The main program that writes them; its only argument is the folder.
int WriteManPages(const Program &program, int argc, char **argv);

}  // namespace zafo::cli
