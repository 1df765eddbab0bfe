// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/program_main.h"
#include "tools/zafoldapserver/handlers.h"
#include "tools/zafoldapserver/program.h"

int main(int argc, char **argv) {
    return zafo::cli::RunProgram(zafo::cli::Zafoldapserver(), zafo::cli::ZafoldapserverHandler,
                                 argc, argv);
}
