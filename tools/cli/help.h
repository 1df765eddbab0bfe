// SPDX-License-Identifier: Apache-2.0
//
// What --help prints.
#pragma once

#include <string>

#include "tools/cli/command.h"

namespace zafo::cli {

// "zafoldap connection add NAME --uri HOST --base DN [options]"
std::string UsageLine(const Program &program, const Command &command);

// "-c, --connection NAME"
std::string OptionLabel(const Option &option);

std::string ProgramHelp(const Program &program);
std::string NounHelp(const Program &program, std::string_view noun);
std::string CommandHelp(const Program &program, const Command &command);

}  // namespace zafo::cli
