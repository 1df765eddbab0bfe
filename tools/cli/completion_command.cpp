// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/completion_command.h"

#include "tools/cli/completion.h"
#include "tools/cli/session.h"

namespace zafo::cli {

namespace {

int PrintCompletion(Session &session) {
    const std::string &shell = session.Argument("SHELL");
    const std::string script = CompletionScript(session.program, shell);
    PrintResult(session, {{"shell", shell}, {"script", script}}, script);
    return 0;
}

}  // namespace

Command CompletionCommand(std::string_view description, const std::vector<Example> &examples) {
    return {.noun = "completion",
            .run = PrintCompletion,
            .summary = "Print a completion script for a shell",
            .description = description,
            .arguments = {{.name = "SHELL",
                           .help = "bash, zsh or fish",
                           .choices = {"bash", "zsh", "fish"}}},
            .examples = examples};
}

}  // namespace zafo::cli
