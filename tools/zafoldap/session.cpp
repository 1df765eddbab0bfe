// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldap/session.h"

#include <pwd.h>
#include <syslog.h>
#include <unistd.h>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>

namespace zafo::cli {

namespace {

struct HandlerRow {
    std::string_view command;
    Handler handler;
};

constexpr HandlerRow kHandlers[] = {
    {"connection list", ListConnections},
    {"connection show", ShowConnection},
    {"connection add", AddConnection},
    {"connection edit", EditConnection},
    {"connection delete", DeleteConnection},
    {"connection check", CheckConnection},
    {"search", SearchDirectory},
    {"entry show", ShowEntry},
    {"completion", PrintCompletion},
};

// Who is at work: the one who called sudo, else the process's own user. The name comes from the
// environment and is logged, so anything but a plain name becomes a number.
std::string WhoAmI() {
    const char *sudo = std::getenv("SUDO_USER");
    const passwd *own = getpwuid(getuid());
    const std::string name = sudo != nullptr && getuid() == 0 ? sudo : own ? own->pw_name : "";
    const bool plain = !name.empty() && std::ranges::all_of(name, [](unsigned char c) {
        return std::isalnum(c) != 0 || c == '_' || c == '.' || c == '-';
    });
    return plain ? name : std::to_string(getuid());
}

}  // namespace

Handler HandlerOf(const Command &command) {
    const auto found = std::ranges::find(kHandlers, FullName(command), &HandlerRow::command);
    return found == std::end(kHandlers) ? nullptr : found->handler;
}

void LogChange(std::string_view verb, const std::string &connection,
               const std::vector<std::string> &keys, std::string_view result) {
    const std::string line =
        fmt::format("connection {}: connection={} by={} keys={} result={}", verb, connection,
                    WhoAmI(), keys.empty() ? "-" : fmt::format("{}", fmt::join(keys, ",")), result);
    syslog(LOG_NOTICE, "%s", line.c_str());
}

}  // namespace zafo::cli
