// SPDX-License-Identifier: Apache-2.0
//
// automount set and show: where the users' home folders are (zafoldap/home.h).
#include "src/accounts/nfs_source.h"
#include "tools/cli/change_log.h"
#include "tools/cli/directory.h"
#include "tools/cli/display_text.h"
#include "tools/cli/listing.h"
#include "tools/cli/saved_connection.h"
#include "tools/zafoldapserver/handlers.h"
#include "tools/zafoldapserver/server_lock.h"
#include "tools/zafoldapserver/server_paths.h"

#include "platform/ldap.h"
#include "zafoldap/home.h"

#include <strings.h>

#include <fmt/format.h>

#include <array>

namespace zafo::cli {

namespace {

const Fields kMapFields = {{"map", "MAP"}, {"key", "KEY"}, {"value", "VALUE"}};

// What the library would not mount, nobody else should.
void CheckExport(const std::string &host, const std::string &path) {
    const std::string source = host + ":" + path;
    const char *fault = IsText(source) ? FaultOfNfsSource(source) : "it is not UTF-8";
    if (fault != nullptr)
        throw OwnFailure("export_bad", {.subject = OneLine(source), .reason = fault});
}

// "auto_home" of "automountKey=*,automountMapName=auto_home,dc=example,dc=com".
std::string MapOf(const std::string &dn) {
    std::array<char, 1024> rdn{}, attribute{}, value{};
    if (ZAFOLDAPRDNExtract(dn.c_str(), 2, rdn.data(), rdn.size()) != 0 ||
        ZAFOLDAPRDNPairExtract(rdn.data(), attribute.data(), attribute.size(), value.data(),
                               value.size()) != 0) {
        return {};
    }
    return value.data();
}

std::string ValueOf(const Entry &entry, std::string_view name) {
    for (const Attribute &attribute : entry.attributes) {
        if (attribute.name.size() == name.size() &&
            strncasecmp(attribute.name.data(), name.data(), name.size()) == 0) {
            return std::string(attribute.values.front());
        }
    }
    return {};
}

std::vector<Json> ReadMaps(Session &session) {
    const Connection connection = ReadConnection(kOwnConnection);
    const Host host = OpenConnection(kOwnConnection, connection);
    SayConnection(session.streams, connection);
    Search search(session.streams, host,
                  {.base = std::nullopt,
                   .filter = "(objectClass=automount)",
                   .attributes = {"automountKey", "automountInformation"}},
                  connection.Known());
    std::vector<Json> rows;
    while (const Entry *entry = search.Next()) {
        rows.push_back({{"map", MapOf(std::string(entry->dn))},
                        {"key", ValueOf(*entry, "automountKey")},
                        {"value", ValueOf(*entry, "automountInformation")}});
    }
    return rows;
}

}  // namespace

int SetAutomount(Session &session) {
    const std::string &host = session.Argument("HOST");
    const std::string &path = session.Argument("PATH");
    CheckExport(host, path);
    NeedRoot(session);
    const Connection connection = ReadConnection(kOwnConnection);
    const Json result = {{"host", host}, {"path", path}, {"base", connection.base}};
    const bool json = session.Options().form == Form::kJson;
    if (session.Options().dry_run) {
        if (json) session.document.Whole({{"would_set", result}});
        session.streams.Note(fmt::format(
            "dry run: would publish {}:{} as the location of the home folders in auto_master and "
            "auto_home below {}, and create the folders of all users there",
            host, path, OneLine(connection.base)));
        return 0;
    }
    Logged(session, "automountMapName=auto_home," + connection.base, {"automountInformation"}, [&] {
        Ask(session.streams, connection.Known(),
            [&] { return ZAFOLDAPServerAutomountCreate(host.c_str(), path.c_str()); });
    });
    if (json) session.document.Whole(result);
    session.streams.Note(
        fmt::format("home folders are published at {}:{}; the system log names folders that could "
                    "not be created, and zafoldap user home create-all tries again",
                    host, path));
    return 0;
}

int ShowAutomount(Session &session) {
    const std::vector<Json> rows = ReadMaps(session);
    PrintList(session.streams, session.document, kMapFields, rows);
    if (rows.empty())
        session.streams.Note(
            "home folders are not published; zafoldapserver automount set HOST PATH does that");
    return 0;
}

}  // namespace zafo::cli
