// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/completion_command.h"

#include "tools/cli/completion.h"

namespace zafo::cli {

int PrintCompletion(Session &session) {
    const std::string &shell = session.Argument("SHELL");
    const std::string script = CompletionScript(session.program, shell);
    PrintResult(session, {{"shell", shell}, {"script", script}}, script);
    return 0;
}

}  // namespace zafo::cli
