// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/change_log.h"

#include <pwd.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "tools/cli/display_text.h"

namespace zafo::cli {

namespace {

// The acting user: the one who called sudo, otherwise the process's own. The name comes from the
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

void LogChange(std::string_view command, std::string_view where, std::string_view what,
               std::string_view result) {
    const std::string line = fmt::format("{}: {} by={} {}{}result={}", command, where, WhoAmI(),
                                         what, what.empty() ? "" : " ", result);
    syslog(LOG_NOTICE, "%s", OneLine(line).c_str());
}

std::string LoggedNames(const std::vector<std::string> &names) {
    return names.empty() ? "-" : fmt::format("{}", fmt::join(names, ","));
}

void LogEntryChange(const Session &session, const std::string &dn,
                    const std::vector<std::string> &attributes, std::string_view result) {
    LogChange(FullName(*session.invocation.command), "connection=" + session.Options().connection,
              fmt::format("dn=\"{}\" attributes={}", OneLine(dn), LoggedNames(attributes)), result);
}

}  // namespace zafo::cli
