// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldap/session.h"

#include "tools/cli/display_text.h"

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
    {"connection suggest", SuggestConnection},
    {"user list", ListUsers},
    {"user show", ShowUser},
    {"user add", AddUser},
    {"user edit", EditUser},
    {"user rename", RenameUser},
    {"user delete", DeleteUsers},
    {"user passwd", SetUserPassword},
    {"user groups", ListUserGroups},
    {"user home create", CreateUserHome},
    {"user home create-all", CreateAllUserHomes},
    {"group list", ListGroups},
    {"group show", ShowGroup},
    {"group add", AddGroup},
    {"group edit", EditGroup},
    {"group rename", RenameGroup},
    {"group delete", DeleteGroups},
    {"member list", ListMembers},
    {"member add", AddMembers},
    {"member remove", RemoveMembers},
    {"id next", NextId},
    {"id pool show", ShowIdPool},
    {"id check", CheckIds},
    {"stat", CountAccounts},
    {"search", SearchDirectory},
    {"entry show", ShowEntry},
    {"entry delete", DeleteEntry},
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

std::string Listed(const std::vector<std::string> &words) {
    return words.empty() ? "-" : fmt::format("{}", fmt::join(words, ","));
}

}  // namespace

Handler HandlerOf(const Command &command) {
    const auto found = std::ranges::find(kHandlers, FullName(command), &HandlerRow::command);
    return found == std::end(kHandlers) ? nullptr : found->handler;
}

void RefuseUsage(const Session &session, std::string reason) {
    throw OwnFailure("usage", {.subject = fmt::format("zafoldap {} --help",
                                                      FullName(*session.invocation.command)),
                               .reason = std::move(reason)});
}

void ConfirmDeleting(Session &session, const std::string &what,
                     const std::vector<std::string> &details) {
    Streams &streams = session.streams;
    if (session.Options().yes) return;
    const std::string deleting = "deleting " + OneLine(what);
    std::string lines;
    for (const std::string &detail : details)
        lines += (lines.empty() ? "" : "\n") + OneLine(detail);
    if (!streams.CanAsk()) throw OwnFailure("confirmation_needed", {.subject = deleting}, lines);
    const std::string answer = streams.Ask(
        fmt::format("{}{}Delete {}? [y/N] ", lines, lines.empty() ? "" : "\n", OneLine(what)),
        /*echo=*/true);
    if (answer != "y" && answer != "Y" && answer != "yes") {
        throw OwnFailure("refused", {.subject = deleting});
    }
}

void LogChange(std::string_view verb, const std::string &connection,
               const std::vector<std::string> &keys, std::string_view result) {
    const std::string line = fmt::format("connection {}: connection={} by={} keys={} result={}",
                                         verb, connection, WhoAmI(), Listed(keys), result);
    syslog(LOG_NOTICE, "%s", line.c_str());
}

void LogEntryChange(const Session &session, const std::string &dn,
                    const std::vector<std::string> &attributes, std::string_view result) {
    const std::string line =
        fmt::format("{}: connection={} by={} dn=\"{}\" attributes={} result={}",
                    FullName(*session.invocation.command), session.Options().connection, WhoAmI(),
                    OneLine(dn), Listed(attributes), result);
    syslog(LOG_NOTICE, "%s", line.c_str());
}

}  // namespace zafo::cli
