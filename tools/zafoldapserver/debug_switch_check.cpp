// SPDX-License-Identifier: Apache-2.0
//
// Whether programs log more than other users may know, or someone tried to make them.
#include <pwd.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include <fmt/format.h>

#include "base/appliance_paths.h"
#include "tools/zafoldapserver/server_checks.h"
#include "zafoldap/debug.h"

namespace zafo::cli {

namespace {

constexpr const char *kMarker = "/tmp/zafoldap_debug";

// Where syslog daemons put such lines, and their names for the rotated log.
constexpr const char *kLogs[] = {kSystemLog,           "/var/log/messages.0", "/var/log/messages.1",
                                 "/var/log/syslog",    "/var/log/syslog.1",   "/var/log/user.log",
                                 "/var/log/user.log.1"};

std::vector<std::string> LogsThatOthersRead() {
    std::vector<std::string> paths;
    for (const char *path : kLogs) {
        struct stat status {};
        if (stat(path, &status) == 0 && (status.st_mode & S_IROTH) != 0) paths.emplace_back(path);
    }
    return paths;
}

std::string OwnerName(uid_t uid) {
    const passwd *account = getpwuid(uid);
    return account != nullptr ? std::string(account->pw_name) : fmt::format("user {}", uid);
}

std::string WhatStandsThere(const struct stat &status) {
    const char *kind = S_ISREG(status.st_mode)    ? "a file"
                       : S_ISDIR(status.st_mode)  ? "a folder"
                       : S_ISLNK(status.st_mode)  ? "a link"
                       : S_ISFIFO(status.st_mode) ? "a FIFO"
                                                  : "something";
    std::string text = fmt::format("{} of {}", kind, OwnerName(status.st_uid));
    if (S_ISREG(status.st_mode) && status.st_nlink > 1)
        text += fmt::format(" with {} links", status.st_nlink);
    return text;
}

}  // namespace

CheckStep CheckDebugSwitch(CheckedServer & /*checked*/) {
    if (ZAFOLDAPDebugEnabled() != 0) {
        std::string cause =
            "it is on: new passwords go to the system log, and files with password hashes stay in "
            "/tmp";
        std::string fix = fmt::format("rm {}", kMarker);
        const std::vector<std::string> open_logs = LogsThatOthersRead();
        for (const std::string &log : open_logs)
            cause += fmt::format("; others can read {}", log);
        if (!open_logs.empty()) fix += fmt::format(" && chmod o-r {}", fmt::join(open_logs, " "));
        return Warned(cause, fix);
    }
    struct stat status {};
    if (lstat(kMarker, &status) != 0) {
        if (errno == ENOENT) return Good("it is off");
        return Warned(fmt::format("{} cannot be examined: {}", kMarker, std::strerror(errno)),
                      "ls -ld /tmp");
    }
    return Warned(
        fmt::format(
            "it is off, but somebody has tried to turn it on: {} is {}, which does not count",
            kMarker, WhatStandsThere(status)),
        fmt::format("rm {}{}", S_ISDIR(status.st_mode) ? "-r " : "", kMarker));
}

}  // namespace zafo::cli
