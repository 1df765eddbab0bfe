// SPDX-License-Identifier: Apache-2.0
//
// acl show and config show.
#include "tools/cli/listing.h"
#include "tools/zafoldapserver/handlers.h"
#include "tools/zafoldapserver/local_server.h"
#include "tools/zafoldapserver/server_lock.h"
#include "tools/zafoldapserver/server_paths.h"
#include "tools/zafoldapserver/slapd_conf.h"

#include <strings.h>

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <sstream>

namespace zafo::cli {

namespace {

const Fields kLineFields = {{"line", "LINE"}};
const Fields kDirectiveFields = {{"key", "DIRECTIVE"}, {"value", "VALUE"}};

std::string_view Name(RulesState state) {
    constexpr std::string_view kNames[] = {"as written", "changed by hand", "missing"};
    return kNames[static_cast<int>(state)];
}

// A directive without what is secret in it: the administrator's password, and the one with which
// the server binds to another ("credentials=…").
std::string Shown(const Directive &directive) {
    constexpr std::string_view kNotShown = "(not shown)", kMark = "credentials=";
    if (strcasecmp(directive.key.c_str(), "rootpw") == 0) return std::string(kNotShown);
    std::string value = directive.value;
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
        throw OwnFailure("server_file_unreadable",
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

}  // namespace

int ShowAccessRules(Session &session) {
    NeedRoot(session);
    const LocalServer server = NeedServer();
    const std::string text = ReadOrFail(kAccessRules);
    const RulesState state = StateOfRules(Staging(), server.suffix);
    if (session.Options().form == Form::kJson) {
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

int ShowConfiguration(Session &session) {
    NeedRoot(session);
    NeedServer();
    std::vector<Json> rows;
    for (const Directive &directive : ParseDirectives(ReadOrFail(kSlapdConf)))
        rows.push_back({{"key", directive.key}, {"value", Shown(directive)}});
    PrintList(session.streams, session.document, kDirectiveFields, rows);
    return 0;
}

}  // namespace zafo::cli
