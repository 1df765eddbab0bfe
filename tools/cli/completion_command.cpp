// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/completion_command.h"

#include "tools/cli/completion.h"

#include <algorithm>

namespace zafo::cli {

namespace {

struct ShellRow {
    std::string_view name;
    std::string (*script)(const Program &);
};

constexpr ShellRow kShells[] = {
    {"bash", BashCompletion}, {"zsh", ZshCompletion}, {"fish", FishCompletion}};

}  // namespace

int PrintCompletion(Session &session) {
    const std::string &shell = session.Argument("SHELL");
    const ShellRow &row = *std::ranges::find(kShells, shell, &ShellRow::name);
    const std::string script = row.script(session.program);
    if (session.Options().form == Form::kJson) {
        session.document.Whole({{"shell", shell}, {"script", script}});
    } else {
        session.streams.Out(script);
    }
    return 0;
}

}  // namespace zafo::cli
