// SPDX-License-Identifier: Apache-2.0
//
// acl show and config show.
#include <cerrno>
#include <cstring>
#include <sstream>

#include <fmt/format.h>

#include "base/appliance_paths.h"
#include "base/directives.h"
#include "tools/cli/listing.h"
#include "tools/cli/session.h"
#include "tools/zafoldapserver/commands.h"
#include "tools/zafoldapserver/local_server.h"
#include "tools/zafoldapserver/slapd_conf.h"

namespace zafo::cli {

namespace {

const Fields kLineFields = {{"line", "LINE"}};
const Fields kDirectiveFields = {{"key", "DIRECTIVE"}, {"value", "VALUE"}};

std::string_view Name(RulesState state) {
    constexpr std::string_view kNames[] = {"as written", "changed by hand", "missing"};
    return kNames[static_cast<int>(state)];
}

// A directive without its secrets: the administrator's password, and the password with which the
// server binds to another ("credentials=…").
std::string Shown(const Directive &directive) {
    constexpr std::string_view kNotShown = "(not shown)", kMark = "credentials=";
    if (directive.Is("rootpw")) return std::string(kNotShown);
    std::string value = directive.Squeezed();
    for (size_t at = 0; (at = value.find(kMark, at)) != std::string::npos;) {
        at += kMark.size();
        const bool quoted = value.compare(at, 1, "\"") == 0;
        const size_t end = value.find(quoted ? '"' : ' ', at + 1);
        const size_t stop = end == std::string::npos ? value.size() : end + (quoted ? 1 : 0);
        value.replace(at, stop - at, kNotShown);
    }
    return value;
}

std::string ReadOrFail(const char *path) {
    std::optional<std::string> text = ReadTextFile(path);
    if (!text)
        throw OwnFailure(Message::kServerFileUnreadable,
                         {.subject = path, .reason = std::strerror(errno)});
    return *std::move(text);
}

std::vector<Json> LinesOf(const std::string &text) {
    std::vector<Json> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back({{"line", line}});
    return lines;
}

int ShowAccessRules(Session &session) {
    RequireRoot(session);
    const LocalServer server = RequireServer();
    const std::string text = ReadOrFail(kAccessRules);
    const RulesState state = StateOfRules(Staging(), server.suffix);
    if (session.WantsJson()) {
        session.document.Whole({{"path", kAccessRules}, {"state", Name(state)}, {"text", text}});
    } else if (session.Options().form == Form::kCsv) {
        PrintList(session.streams, session.document, kLineFields, LinesOf(text));
    } else {
        session.streams.Out(text);
    }
    session.streams.Note(
        state == RulesState::kByHand
            ? fmt::format("{} was changed by hand; zafoldapserver enable rewrites it", kAccessRules)
            : fmt::format("{} is unchanged", kAccessRules));
    return 0;
}

Command AclShowCommand() {
    return {.noun = "acl",
            .verb = "show",
            .run = ShowAccessRules,
            .summary = "Show the access rules",
            .description =
                "Prints the access rules (slapd.access(5)) and says whether they were "
                "changed by hand. JSON members: path, state (as written, changed by hand), "
                "text.",
            .examples = {{"zafoldapserver acl show", "who may read and write what"}},
            .exits = {4}};
}

int ShowConfiguration(Session &session) {
    RequireRoot(session);
    RequireServer();
    std::vector<Json> rows;
    const Directives configuration(ReadOrFail(kSlapdConf));
    for (const Directive &directive : configuration.Lines()) {
        if (!directive.key.empty())
            rows.push_back({{"key", directive.key}, {"value", Shown(directive)}});
    }
    PrintList(session.streams, session.document, kDirectiveFields, rows);
    return 0;
}

Command ConfigShowCommand() {
    return {.noun = "config",
            .verb = "show",
            .run = ShowConfiguration,
            .summary = "Show the configuration",
            .description =
                "Lists the directives of slapd.conf (slapd.conf(5)). The administrator's "
                "password is not shown, not even its hash. Fields: key, value.",
            .examples = {{"zafoldapserver config show", "all directives"},
                         {"zafoldapserver config show --json", "the same for a script"}},
            .exits = {4}};
}

}  // namespace

std::vector<Command> ConfigurationCommands() {
    return {AclShowCommand(), ConfigShowCommand()};
}

}  // namespace zafo::cli
