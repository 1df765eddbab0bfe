// SPDX-License-Identifier: Apache-2.0
//
// automount set and show: where the users' home folders are (zafoldap/home.h).
#include <fmt/format.h>

#include "base/appliance_paths.h"
#include "base/dn.h"
#include "src/accounts/nfs_source.h"
#include "tools/cli/change_log.h"
#include "tools/cli/directory.h"
#include "tools/cli/display_text.h"
#include "tools/cli/listing.h"
#include "tools/cli/saved_connection.h"
#include "tools/cli/session.h"
#include "tools/zafoldapserver/commands.h"
#include "zafoldap/home.h"

namespace zafo::cli {

namespace {

const Fields kMapFields = {{"map", "MAP"}, {"key", "KEY"}, {"value", "VALUE"}};

// Refuse what the library would not mount.
void CheckExport(const std::string &host, const std::string &path) {
    const std::string source = host + ":" + path;
    const char *fault = IsText(source) ? FaultOfNfsSource(source) : "it is not UTF-8";
    if (fault != nullptr)
        throw OwnFailure(Message::kExportBad, {.subject = OneLine(source), .reason = fault});
}

// "auto_home" of "automountKey=*,automountMapName=auto_home,dc=example,dc=com".
std::string MapOf(const std::string &dn) {
    const std::optional<std::vector<Rdn>> rdns = ParseDn(dn);
    return rdns && rdns->size() > 1 ? std::string((*rdns)[1].pairs.front().written) : "";
}

std::vector<Json> ReadMaps(Session &session) {
    const OpenedConnection opened = OpenSaved(session.streams, kOwnConnection);
    Search search(session.streams, opened.host,
                  {.filter = "(objectClass=automount)",
                   .attributes = {"automountKey", "automountInformation"}},
                  opened.saved.AsFacts());
    std::vector<Json> rows;
    while (const Entry *entry = search.Next()) {
        rows.push_back({{"map", MapOf(std::string(entry->dn))},
                        {"key", FirstValue(*entry, "automountKey")},
                        {"value", FirstValue(*entry, "automountInformation")}});
    }
    return rows;
}

int SetAutomount(Session &session) {
    const std::string &host = session.Argument("HOST");
    const std::string &path = session.Argument("PATH");
    CheckExport(host, path);
    RequireRoot(session);
    const Connection connection = ReadConnection(kOwnConnection);
    const Json result = {{"host", host}, {"path", path}, {"base", connection.base}};
    if (session.Options().dry_run) {
        TellResult(
            session, {{"would_set", result}},
            fmt::format("dry run: would publish {}:{} as the location of the home folders in "
                        "auto_master and auto_home below {}, and create the folders of all "
                        "users there",
                        host, path, OneLine(connection.base)));
        return 0;
    }
    Logged(session, "automountMapName=auto_home," + connection.base, {"automountInformation"}, [&] {
        Ask(session.streams, connection.AsFacts(),
            [&] { return ZAFOLDAPServerAutomountCreate(host.c_str(), path.c_str()); });
    });
    TellResult(session, result,
               fmt::format("home folders are published at {}:{}; the system log names folders that "
                           "could not be created, and zafoldap user home create-all tries again",
                           host, path));
    return 0;
}

Command AutomountSetCommand() {
    return {.noun = "automount",
            .verb = "set",
            .run = SetAutomount,
            .summary = "Publish the location of the home folders",
            .description =
                "Publishes HOST:PATH as the location of all users' home folders, in the maps "
                "auto_master and auto_home that automounters read (autofs(5)), and creates any "
                "missing folders there. The system log names folders that cannot be created.",
            .arguments = {{.name = "HOST", .help = "the NFS server, by name or address"},
                          {.name = "PATH", .help = "the exported folder"}},
            .examples = {{"zafoldapserver automount set nas.example.com /volume1/homes",
                          "homes of all users on one export"}},
            .exits = {3, 4, 6}};
}

int ShowAutomount(Session &session) {
    const std::vector<Json> rows = ReadMaps(session);
    PrintList(session.streams, session.document, kMapFields, rows);
    if (rows.empty())
        session.streams.Note(
            "home folders are not published; zafoldapserver automount set HOST PATH does that");
    return 0;
}

Command AutomountShowCommand() {
    return {.noun = "automount",
            .verb = "show",
            .run = ShowAutomount,
            .summary = "Show the location of the home folders",
            .description = "Lists the keys of the automount maps. Fields: map, key, value.",
            .examples = {{"zafoldapserver automount show", "what clients read"}},
            .exits = {3, 4, 6}};
}

}  // namespace

std::vector<Command> AutomountCommands() {
    return {AutomountSetCommand(), AutomountShowCommand()};
}

}  // namespace zafo::cli
