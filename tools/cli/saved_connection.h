// SPDX-License-Identifier: Apache-2.0
//
// Saved connections: sections of "/usr/zafo/etc/private/ldapbrowser.conf"
// (zafoldap/connection.h, platform/file.h).
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/appliance_paths.h"
#include "tools/cli/directory.h"
#include "tools/cli/json_document.h"
#include "tools/cli/server_address.h"

namespace zafo::cli {

struct Connection {
    std::string name = {};
    std::vector<ServerAddress> servers = {};
    std::string base = {};
    std::string bind_dn = {};  // empty: anonymous
    int ssl = 0;               // platform/ldap.h
    std::string login_suffix = {};
    bool password_stored = false;

    std::string Servers() const;  // "a b:1389"
    std::string SslName() const;
    Json AsJson() const;
    Facts AsFacts() const;
};

// Throws Failure ("bad_name").
void CheckConnectionName(const std::string &name);

// All connections in file order. These and the following functions throw Failure if the file cannot
// be read, is damaged or cannot be written; it is then left unchanged.
std::vector<Connection> ReadConnections();
std::optional<Connection> FindConnection(const std::string &name);
Connection ReadConnection(const std::string &name);  // "connection_missing" if there is none

// The record of a saved connection, with its password.
Host OpenConnection(const std::string &name, const Connection &connection);

struct OpenedConnection {
    Connection saved;
    Host host;
};

// Opens a saved connection; with --verbose also says which server is asked, and as whom.
OpenedConnection OpenSaved(Streams &streams, const std::string &name);

// A record for settings that need not be saved.
Host MakeHost(const Connection &connection, const std::optional<std::string> &password);

// Saves settings; without a password, a stored one is kept.
void SaveConnection(const Connection &connection, const std::optional<std::string> &password);

// Removes keys ("binddn" …) from a saved connection.
void RemoveKeys(const std::string &name, const std::vector<const char *> &keys);

void RemoveConnection(const std::string &name);

}  // namespace zafo::cli
