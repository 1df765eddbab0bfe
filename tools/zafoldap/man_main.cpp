// SPDX-License-Identifier: Apache-2.0
//
// Writes the man pages of zafoldap into a folder: zafoldap-man FOLDER
#include "tools/cli/man_page.h"
#include "tools/zafoldap/commands.h"

int main(int argc, char **argv) {
    return zafo::cli::WriteManPages(zafo::cli::Zafoldap(), argc, argv);
}
