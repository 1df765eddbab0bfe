// SPDX-License-Identifier: Apache-2.0
#include <sys/resource.h>

#include <algorithm>

#include "tools/cli/program_main.h"
#include "tools/zafoldap/commands.h"

namespace {

// Some commands hold data from the server (numbers, names of members), which decides how much that
// is. The message "out_of_memory" names the bound. Address sanitizers reserve more than any bound.
void BoundMemory() {
#if !ZAFO_SANITIZED
    constexpr rlim_t kMost = rlim_t{1024} << 20;
    rlimit memory{};
    if (getrlimit(RLIMIT_DATA, &memory) != 0) return;
    memory.rlim_cur = std::min(memory.rlim_cur, kMost);
    setrlimit(RLIMIT_DATA, &memory);
#endif
}

}  // namespace

int main(int argc, char **argv) {
    BoundMemory();
    return zafo::cli::RunProgram(zafo::cli::Zafoldap(), argc, argv);
}
