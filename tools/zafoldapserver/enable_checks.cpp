// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldapserver/enable_checks.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <fmt/format.h>

#include "base/appliance_paths.h"
#include "base/dn.h"
#include "tools/cli/display_text.h"
#include "tools/zafoldapserver/database_census.h"
#include "zafoldap/server.h"

namespace zafo::cli {

namespace {

constexpr unsigned long long kMiB = 1024ULL * 1024;
constexpr unsigned long long kLeastSpace = 64 * kMiB;

constexpr const char *kWrittenFolders[] = {kServerFolder,  kDatabaseFolder, kPrivateFolder,
                                           kServiceFolder, kTrustFolder,    kRunFolder};

// Only creating a file proves it: root ignores modes, and a mount may be read-only.
void CheckFolder(const char *folder) {
    const std::string existing = ExistingFolder(folder);
    const auto refuse = [&](int code) {
        throw OwnFailure(
            Message::kFolderUnwritable,
            {.subject = folder,
             .reason = existing == folder ? std::strerror(code)
                                          : fmt::format("{}: {}", existing, std::strerror(code))});
    };
    struct stat status {};
    if (stat(existing.c_str(), &status) != 0) refuse(errno);
    if (!S_ISDIR(status.st_mode)) refuse(ENOTDIR);
    std::string probe = existing + "/.zafoldapserver.XXXXXX";
    const UniqueFd fd(mkostemp(probe.data(), O_CLOEXEC));
    if (!fd.IsOpen()) refuse(errno);
    unlink(probe.c_str());
}

unsigned long long CheckSpace() {
    struct statvfs space {};
    const std::string folder = ExistingFolder(kDatabaseFolder);
    if (statvfs(folder.c_str(), &space) != 0)
        throw OwnFailure(Message::kFolderUnwritable,
                         {.subject = folder, .reason = std::strerror(errno)});
    const unsigned long long left =
        space.f_bavail * static_cast<unsigned long long>(space.f_frsize);
    if (left < kLeastSpace)
        throw OwnFailure(Message::kSpaceLow, {.subject = folder, .reason = SizeInWords(left)});
    return left;
}

// Binding is enough to tell: it fails if another program is listening.
bool IsTaken(const addrinfo &address) {
    const UniqueFd fd(socket(address.ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!fd.IsOpen()) return false;  // no IPv6 here
    const int on = 1;
    setsockopt(fd.Get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (address.ai_family == AF_INET6)
        setsockopt(fd.Get(), IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on);
    return bind(fd.Get(), address.ai_addr, address.ai_addrlen) != 0 && errno == EADDRINUSE;
}

bool IsTaken(const ListenAddress &address) {
    addrinfo hints{};
    hints.ai_flags = AI_PASSIVE;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo *list = nullptr;
    const char *host = address.host.empty() ? nullptr : address.host.c_str();
    if (getaddrinfo(host, std::to_string(address.port).c_str(), &hints, &list) != 0) return false;
    const std::unique_ptr<addrinfo, void (*)(addrinfo *)> owner(list, freeaddrinfo);
    for (const addrinfo *at = list; at != nullptr; at = at->ai_next) {
        if (IsTaken(*at)) return true;
    }
    return false;
}

// The database's entries cannot be moved to another suffix.
void CheckDatabase(const LocalServer &before, const std::string &suffix) {
    if (ZAFOLDAPServerDBIsEmpty() == 1 || SameDn(before.suffix, suffix)) return;
    throw OwnFailure(
        Message::kOtherDatabase,
        {.subject = before.suffix.empty() ? "an unknown suffix" : before.suffix, .reason = suffix});
}

// Anyone who knows that entry's password would be the administrator.
void CheckAdministratorsDn(const std::string &admin_dn) {
    if (ZAFOLDAPServerDBIsEmpty() == 1) return;
    const std::optional<DatabaseCensus> census = TakeCensus({.administrator = admin_dn});
    if (census && census->administrators.count > 0)
        throw OwnFailure(Message::kAdministratorEntry,
                         {.subject = OneLine(census->administrators.first)});
}

std::string PortsInWords() {
    std::string text;
    for (const ListenAddress &address : ListenAddresses())
        text += fmt::format("{}{}", text.empty() ? "" : ", ", address.port);
    return text;
}

}  // namespace

std::string ExistingFolder(std::string path) {
    while (path.size() > 1 && access(path.c_str(), F_OK) != 0 && errno == ENOENT)
        path.resize(std::max<size_t>(path.rfind('/'), 1));
    return path;
}

void CheckPorts() {
    for (const ListenAddress &address : ListenAddresses()) {
        if (IsTaken(address))
            throw OwnFailure(Message::kPortTaken, {.subject = std::to_string(address.port)});
    }
}

std::vector<std::string> CheckBeforeEnabling(Streams &streams, const LocalServer &before,
                                             const WantedServer &wanted, const Staging &staging) {
    std::vector<std::string> good;
    CheckDatabase(before, wanted.suffix);
    good.push_back(before.SetUp() ? "the database has this suffix" : "there is no other database");
    CheckAdministratorsDn(wanted.admin_dn);
    good.emplace_back("no entry has the administrator's DN");
    for (const char *folder : kWrittenFolders)
        CheckFolder(folder);
    good.emplace_back("the folders are writable");
    good.push_back(fmt::format("{} free for the database", SizeInWords(CheckSpace())));
    if (!before.Running()) {
        CheckPorts();
        good.push_back(fmt::format("the ports are free: {}", PortsInWords()));
    }
    if (const auto words = staging.Test(streams, wanted.configuration, wanted.rules))
        throw OwnFailure(Message::kConfigurationRefused, {.subject = kSlapdTemplate}, *words);
    good.emplace_back("slapd accepts the configuration");
    return good;
}

}  // namespace zafo::cli
