// SPDX-License-Identifier: Apache-2.0
#include <string_view>

#include "tools/cli/program_main.h"
#include "tools/zafoldapserver/commands.h"

namespace {

// The command's name as the appliance's schedules have it: "zafoldapserver --backup now".
char g_backup[] = "backup";

}  // namespace

int main(int argc, char **argv) {
    if (argc > 1 && std::string_view(argv[1]) == "--backup") argv[1] = g_backup;
    return zafo::cli::RunProgram(zafo::cli::Zafoldapserver(), argc, argv);
}
