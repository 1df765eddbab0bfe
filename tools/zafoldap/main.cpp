// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/program_main.h"
#include "tools/zafoldap/handlers.h"
#include "tools/zafoldap/program.h"

int main(int argc, char **argv) {
    return zafo::cli::RunProgram(zafo::cli::Zafoldap(), zafo::cli::ZafoldapHandler, argc, argv);
}
