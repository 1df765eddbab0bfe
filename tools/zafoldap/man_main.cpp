// SPDX-License-Identifier: Apache-2.0
//
// Writes the man pages of zafoldap into a folder: zafoldap-man FOLDER
#include "tools/cli/man_page.h"
#include "tools/zafoldap/program.h"

#include <cstdio>
#include <fstream>
#include <string>

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fputs("usage: zafoldap-man FOLDER\n", stderr);
        return 2;
    }
    for (const zafo::cli::ManPage &page : zafo::cli::ManPages(zafo::cli::Zafoldap())) {
        std::ofstream file(std::string(argv[1]) + "/" + page.name + ".1");
        file << page.text;
        file.close();
        if (!file) {
            std::fprintf(stderr, "zafoldap-man: cannot write %s.1 in %s\n", page.name.c_str(),
                         argv[1]);
            return 1;
        }
    }
    return 0;
}
