// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldap/reserved_account.h"

#include <algorithm>
#include <fstream>
#include <limits>
#include <span>
#include <sstream>

#include <fmt/format.h>

namespace zafo::cli {

namespace {

struct Role {
    std::string_view what;
    std::initializer_list<std::string_view> names;
};

// The rights of members of a group with that name, on Debian or elsewhere, whether or not the
// package is installed.
const Role kGroupRoles[] = {
    {"its members may become root", {"root", "wheel", "sudo", "admin", "sugroup"}},
    {"its members become root through containers and virtual machines",
     {"docker", "podman", "lxd", "incus", "incus-admin", "libvirt", "libvirtd", "libvirt-qemu",
      "kvm", "vboxusers"}},
    {"its members can read and write memory, disks or devices",
     {"kmem", "disk", "tape", "floppy", "cdrom", "dialout", "tty", "input", "video", "render",
      "audio", "plugdev", "scanner", "lp", "fuse", "sgx"}},
    {"its members can read password hashes, keys or logs",
     {"shadow", "ssl-cert", "adm", "systemd-journal", "utmp", "wireshark"}},
    {"its members can change what all others run or use",
     {"staff", "src", "netdev", "bluetooth", "lpadmin", "operator", "backup", "crontab", "mail",
      "postdrop", "tcpdump"}},
    {"it belongs to the appliance", {"openldap", "zafo"}},
};

// Users of Debian itself or of one of its packages.
const Role kUserRoles[] = {
    {"it is the administrator of every machine", {"root", "toor"}},
    {"it is a system account",
     {"daemon", "bin",      "sys",        "sync",     "games",  "man",     "lp",       "mail",
      "news",   "uucp",     "proxy",      "www-data", "backup", "list",    "irc",      "gnats",
      "nobody", "nogroup",  "messagebus", "sshd",     "ssh",    "syslog",  "openldap", "postgres",
      "mysql",  "dnsmasq",  "avahi",      "colord",   "statd",  "ntp",     "chrony",   "bind",
      "named",  "postfix",  "dovecot",    "uuidd",    "tss",    "polkitd", "geoclue",  "rtkit",
      "halt",   "shutdown", "operator",   "sudo",     "sasl",   "ftp",     "dbus",     "users"}},
};

// Debian names packages' users this way; systemd and polkit have prefixes of their own.
constexpr std::string_view kPrefixes[] = {"_", "systemd-", "Debian-", "debian-"};

std::string RoleIn(std::span<const Role> roles, std::string_view name) {
    for (const Role &role : roles) {
        if (std::ranges::count(role.names, name) > 0) return std::string(role.what);
    }
    return {};
}

// The last value of a key of login.defs(5).
std::uint32_t LoginDef(std::string_view key, std::uint32_t least) {
    std::ifstream file("/etc/login.defs");
    std::uint32_t number = least;
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        std::string word;
        std::uint32_t value = 0;
        if (words >> word >> value && word == key) number = value;
    }
    return std::max(number, least);
}

constexpr std::uint32_t kLeast = 1000;
constexpr std::uint32_t kFirstOfServices = 61184, kLastOfServices = 65519;
constexpr std::uint32_t kHighest = std::numeric_limits<std::int32_t>::max();

// Trees that hold no home folders, and folders that are writable for everyone.
constexpr std::string_view kNoHomes[] = {"/bin",   "/boot",   "/dev",  "/etc",    "/lib", "/lib32",
                                         "/lib64", "/libx32", "/proc", "/root",   "/run", "/sbin",
                                         "/sys",   "/tmp",    "/usr",  "/var/tmp"};

// The path with single slashes, and one at the end.
std::string WithoutDoubleSlashes(std::string_view path) {
    std::string text;
    for (const char c : std::string(path) + "/") {
        if (c != '/' || !text.ends_with('/')) text += c;
    }
    return text;
}

bool IsBelow(std::string_view path, std::string_view tree) {
    return path.starts_with(tree) && (path.size() == tree.size() || path[tree.size()] == '/');
}

}  // namespace

std::string RoleOfName(const AccountKind &kind, std::string_view name) {
    std::string role = &kind == &kGroupKind ? RoleIn(kGroupRoles, name) : RoleIn(kUserRoles, name);
    // A user's own group has the user's name, and vice versa.
    if (role.empty() && &kind == &kGroupKind && name != "users") role = RoleIn(kUserRoles, name);
    if (role.empty() && std::ranges::any_of(kPrefixes, [&](std::string_view prefix) {
            return name.starts_with(prefix);
        }))
        role = "such names belong to packages and services";
    return role;
}

SystemBounds ReadSystemBounds() {
    SystemBounds bounds{.first_uid = LoginDef("UID_MIN", kLeast),
                        .first_gid = LoginDef("GID_MIN", kLeast)};
    std::ifstream file("/etc/shells");
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with('/')) bounds.shells.insert(line);
    }
    if (!bounds.shells.empty()) {
        for (const char *none :
             {"/usr/sbin/nologin", "/sbin/nologin", "/bin/false", "/usr/bin/false"})
            bounds.shells.insert(none);
    }
    return bounds;
}

std::string FaultOfNumber(const AccountKind &kind, std::uint32_t number,
                          const SystemBounds &bounds) {
    const std::uint32_t first = &kind == &kUserKind ? bounds.first_uid : bounds.first_gid;
    if (number < first) return fmt::format("numbers below {} belong to system accounts", first);
    if (number >= kFirstOfServices && number <= kLastOfServices)
        return "numbers from 61184 to 65519 belong to services that systemd starts";
    if (IsReservedNumber(number)) return fmt::format("{} stands for \"no account\"", number);
    if (number > kHighest) return "programs treat numbers above 2147483647 as negative";
    return {};
}

std::string FaultOfHome(std::string_view home) {
    if (home.empty()) return {};
    if (!home.starts_with('/')) return "its home folder does not begin with \"/\"";
    const std::string path = WithoutDoubleSlashes(home);
    if (path.find("/../") != std::string::npos || path.find("/./") != std::string::npos)
        return "its home folder contains \"..\" or \".\"";
    if (path == "/")
        return "its home folder is \"/\": deleting a home or changing its owner would affect "
               "everything";
    for (std::string_view tree : kNoHomes) {
        if (IsBelow(path, tree))
            return fmt::format("its home folder is in {}, which belongs to the system", tree);
    }
    return {};
}

std::string FaultOfShell(std::string_view shell, const SystemBounds &bounds) {
    if (shell.empty() || bounds.shells.empty() || bounds.shells.contains(shell)) return {};
    return fmt::format("its login shell {} is not in /etc/shells", shell);
}

}  // namespace zafo::cli
