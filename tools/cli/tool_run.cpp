// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/tool_run.h"

#include <cstdio>

#include "platform/process.h"

namespace zafo::cli {

std::optional<ToolRun> RunTool(const std::vector<std::string> &words) {
    constexpr size_t kMost = 1 << 20;
    std::vector<char *> argv;
    for (const std::string &word : words)
        argv.push_back(const_cast<char *>(word.c_str()));
    argv.push_back(nullptr);
    FILE *stream = QLIBCPopenv(argv[0], "r", argv.data());
    if (stream == nullptr) return std::nullopt;
    ToolRun run;
    run.output.resize(kMost);
    run.output.resize(fread(run.output.data(), 1, kMost, stream));
    run.status = QLIBCPclose(stream);
    return run;
}

}  // namespace zafo::cli
