// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/tool_run.h"

#include <cstdio>

#include "base/child.h"
#include "platform/process.h"

namespace zafo::cli {

std::optional<ToolRun> RunTool(const std::vector<std::string> &words) {
    constexpr size_t kMost = 1 << 20;
    const std::vector<char *> argv = ArgumentVector(words);
    FILE *stream = QLIBCPopenv(argv[0], "r", argv.data());
    if (stream == nullptr) return std::nullopt;
    ToolRun run;
    run.output.resize(kMost);
    run.output.resize(fread(run.output.data(), 1, kMost, stream));
    run.status = QLIBCPclose(stream);
    return run;
}

}  // namespace zafo::cli
