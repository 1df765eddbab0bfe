// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/saved_connection.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <memory>
#include <new>

#include <fmt/format.h>

#include "platform/crypt.h"
#include "platform/file.h"
#include "platform/ldap.h"
#include "platform/szhash.h"
#include "tools/cli/streams.h"

namespace zafo::cli {

namespace {

constexpr size_t kLongestName = 64;

using Map = std::unique_ptr<QLIBSZHASH, void (*)(QLIBSZHASH *)>;

Map NewMap() {
    Map map(QLIBCSzHashAlloc(16), QLIBCSzHashFree);
    if (!map) throw std::bad_alloc();
    return map;
}

// The first line that is not a heading, comment or "key=value" (platform/file.h), worded for a
// message; empty for damage of another kind.
std::string DamagedLine() {
    std::ifstream file(kConnectionFile);
    std::string line;
    for (int number = 1; std::getline(file, line); ++number) {
        const size_t begin = line.find_first_not_of(" \t\r");
        if (begin == std::string::npos || line[begin] == '#' || line[begin] == ';') continue;
        const bool heading = line[begin] == '[' && line.find(']') != std::string::npos;
        if (!heading && (line[begin] == '[' || line.find('=') == std::string::npos)) {
            return fmt::format(" at line {}", number);
        }
    }
    return {};
}

// The errno with which the file cannot be opened; EIO if it can, since reading it failed.
int WhyNotReadable() {
    const UniqueFd file(open(kConnectionFile, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    return file.IsOpen() ? EIO : errno;
}

[[noreturn]] void FailToRead() {
    const int code = QLIBCErrGet();
    if (code == QLIB_ERR_OUT_OF_MEMORY) throw std::bad_alloc();
    if (code == QLIB_ERR_BAD_FORMAT) {
        throw OwnFailure(Message::kConnectionsDamaged,
                         {.subject = kConnectionFile, .reason = DamagedLine()});
    }
    const int error = WhyNotReadable();
    if (const auto failure =
            WantOfDescriptors(error, {.subject = kConnectionFile, .reason = "read"}))
        throw Failure(*failure);
    throw OwnFailure(Message::kConnectionsUnreadable,
                     {.subject = kConnectionFile, .reason = std::strerror(error)});
}

[[noreturn]] void FailToWrite() {
    const int code = QLIBCErrGet();
    if (code == QLIB_ERR_BAD_FORMAT || code == QLIB_ERR_OUT_OF_MEMORY) FailToRead();
    throw OwnFailure(Message::kConnectionsUnwritable,
                     {.subject = kConnectionFile, .reason = std::strerror(errno)});
}

// Fills the map from a section; false if it does not exist or is empty.
bool ReadSection(const std::string &name, QLIBSZHASH *map) {
    const int pairs = QLIBCFileGetSection(kConnectionFile, name.c_str(), map);
    if (pairs < 0) FailToRead();
    return pairs > 0;
}

std::string Value(const QLIBSZHASH *map, const char *key) {
    const char *value = QLIBCSzHashGetValue(map, key);
    return value != nullptr ? value : "";
}

Connection FromSection(const std::string &name, const QLIBSZHASH *map) {
    return {.name = name,
            .servers = ParseRecordAddress(Value(map, "uri")),
            .base = Value(map, "basedn"),
            .bind_dn = Value(map, "binddn"),
            .ssl = ZAFOLDAPSSLToType(Value(map, "ssl").c_str()),
            .login_suffix = Value(map, "loginsuffix"),
            .password_stored = QLIBCSzHashGetValue(map, "bindpw") != nullptr};
}

// The longest password is 1023 bytes (platform/crypt.h).
std::string Decipher(const std::string &cipher, const Facts &facts) {
    std::array<char, 1024> clear{};
    if (QLIBCryptSzDecrypt(cipher.c_str(), clear.data(), clear.size()) != 0) {
        throw OwnFailure(Message::kPasswordUndecipherable, facts);
    }
    std::string password = clear.data();
    explicit_bzero(clear.data(), clear.size());
    return password;
}

}  // namespace

std::string Connection::Servers() const {
    std::string text;
    for (const ServerAddress &server : servers) {
        if (!text.empty()) text += ' ';
        text += server.Text();
    }
    return text;
}

std::string Connection::SslName() const {
    std::array<char, 16> text{};
    ZAFOLDAPSSLToString(ssl, text.data(), text.size());
    return text.data();
}

Json Connection::AsJson() const {
    Json addresses = Json::array();
    for (const ServerAddress &server : servers)
        addresses.push_back(server.Text());
    return {{"name", name},
            {"servers", addresses},
            {"base", TextOrNull(base)},
            {"bind_dn", TextOrNull(bind_dn)},
            {"ssl", SslName()},
            {"login_suffix", TextOrNull(login_suffix)},
            {"password_stored", password_stored}};
}

Facts Connection::AsFacts() const {
    return {.connection = name, .server = Servers(), .bind_dn = bind_dn, .subject = base};
}

void CheckConnectionName(const std::string &name) {
    const bool good =
        !name.empty() && name.size() <= kLongestName &&
        std::ranges::all_of(name, [](unsigned char c) {
            return (std::isalnum(c) != 0 && c < 0x80) || c == '_' || c == '.' || c == '-';
        });
    if (!good) throw OwnFailure(Message::kBadName, {.subject = name});
}

std::vector<Connection> ReadConnections() {
    NameList names;
    if (QLIBCFileEnumSection(kConnectionFile, names.Address()) < 0) FailToRead();
    std::vector<Connection> connections;
    for (const std::string &name : names.Names()) {
        const Map map = NewMap();
        ReadSection(name, map.get());
        connections.push_back(FromSection(name, map.get()));
    }
    return connections;
}

std::optional<Connection> FindConnection(const std::string &name) {
    const Map map = NewMap();
    if (!ReadSection(name, map.get())) return std::nullopt;
    return FromSection(name, map.get());
}

Connection ReadConnection(const std::string &name) {
    CheckConnectionName(name);
    std::optional<Connection> connection = FindConnection(name);
    if (!connection) throw OwnFailure(Message::kConnectionMissing, {.connection = name});
    if (connection->servers.empty()) {
        throw OwnFailure(Message::kConnectionIncomplete,
                         {.connection = name, .subject = "server (--uri)"});
    }
    return *connection;
}

Host MakeHost(const Connection &connection, const std::optional<std::string> &password) {
    Host host;
    host.Set(LDAP_HOST_ATTR_URI, RecordAddress(connection.servers, connection.ssl));
    if (!connection.base.empty()) host.Set(LDAP_HOST_ATTR_BASEDN, connection.base);
    if (!connection.bind_dn.empty()) host.Set(LDAP_HOST_ATTR_BINDDN, connection.bind_dn);
    if (password) host.Set(LDAP_HOST_ATTR_BINDPW, *password);
    if (!connection.login_suffix.empty()) {
        host.Set(LDAP_HOST_ATTR_LOGIN_SUFFIX, connection.login_suffix);
    }
    host.Record().nSSLType = connection.ssl;
    return host;
}

Host OpenConnection(const std::string &name, const Connection &connection) {
    const Map map = NewMap();
    ReadSection(name, map.get());
    std::optional<std::string> password;
    if (const std::string cipher = Value(map.get(), "bindpw"); !cipher.empty()) {
        password = Decipher(cipher, connection.AsFacts());
    }
    return MakeHost(connection, password);
}

OpenedConnection OpenSaved(Streams &streams, const std::string &name) {
    Connection saved = ReadConnection(name);
    Host host = OpenConnection(name, saved);
    streams.Verbose(
        1, fmt::format("connection \"{}\": {} as {}, encryption {}", saved.name, saved.Servers(),
                       saved.bind_dn.empty() ? "anonymous" : saved.bind_dn, saved.SslName()));
    return {std::move(saved), std::move(host)};
}

void SaveConnection(const Connection &connection, const std::optional<std::string> &password) {
    const Host host = MakeHost(connection, password);
    if (ZAFOLDAPBrowserConfSet(&host.Record(), connection.name.c_str()) != 0) FailToWrite();
}

void RemoveKeys(const std::string &name, const std::vector<const char *> &keys) {
    const Map map = NewMap();
    ReadSection(name, map.get());
    for (const char *key : keys)
        QLIBCSzHashRemoveKey(map.get(), key);
    if (QLIBCFileSetSection(kConnectionFile, name.c_str(), nullptr, map.get(), 0) != 0) {
        FailToWrite();
    }
}

void RemoveConnection(const std::string &name) {
    const int removed = QLIBCFileRemoveSection(kConnectionFile, name.c_str());
    if (removed < 0) FailToWrite();
    if (removed == 0) throw OwnFailure(Message::kConnectionMissing, {.connection = name});
}

}  // namespace zafo::cli
