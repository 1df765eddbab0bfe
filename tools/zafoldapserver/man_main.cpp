// SPDX-License-Identifier: Apache-2.0
//
// Writes the man pages of zafoldapserver into a folder: zafoldapserver-man FOLDER
#include "tools/cli/man_page.h"
#include "tools/zafoldapserver/commands.h"

int main(int argc, char **argv) {
    return zafo::cli::WriteManPages(zafo::cli::Zafoldapserver(), argc, argv);
}
