// SPDX-License-Identifier: Apache-2.0
//
// The checks of what happens when a server dies unexpectedly.
#include <fmt/format.h>

#include "base/appliance_paths.h"
#include "tools/zafoldapserver/server_checks.h"

namespace zafo::cli {

namespace {

// How long a crash is worth a warning.
constexpr std::time_t kWorrying = 7 * 24 * 3600;

std::string Times(long long count) {
    return count == 1 ? "once" : fmt::format("{} times", count);
}

std::string WhatToDo(const ServiceFacts &service) {
    return fmt::format(
        "apt-get install --only-upgrade slapd; {} shows each crash; anyone who can log in can "
        "crash a slapd with such a fault",
        service.systemd ? "journalctl -u ldap-server"
                        : fmt::format("grep zafo-service-keeper {}", kSystemLog));
}

}  // namespace

CheckStep CheckRestart(CheckedServer &checked) {
    const ServiceFacts &service = checked.service;
    if (!checked.server.Running()) return Skipped("the server is not running");
    if (!service.known)
        return Skipped("this platform does not say whether the server is restarted");
    if (!service.wanted)
        return Warned(
            "nothing restarts the server if it ends by itself: its settings do not ask for it",
            service.systemd ? "set Restart=on-failure: systemctl edit ldap-server.service"
                            : fmt::format("set restart = yes in {}, then zafoldapserver restart",
                                          kServiceSettings));
    if (!service.enabled)
        return Warned("nothing restarts the server if it ends by itself: it is not enabled",
                      fmt::format("zafoldapserver enable --suffix {}", checked.server.suffix));
    if (!service.StartsAgain())
        return Warned(
            "nothing restarts the server if it ends by itself: its keeper has ended, or it was "
            "started by hand",
            "zafoldapserver restart");
    return Good(service.systemd ? "systemd restarts the server if it ends by itself"
                                : fmt::format("process {} restarts the server if it ends by itself",
                                              service.keeper));
}

CheckStep JudgeCrashes(const ServiceFacts &service, std::time_t now) {
    if (!service.known) return Skipped("this platform does not count them");
    if (service.ends == 0) return Good("the server has not ended by itself");
    std::string cause =
        fmt::format("the server ended by itself {}{}", Times(service.ends),
                    service.systemd ? " since its unit was started" : " and was restarted");
    if (service.first && service.ends > 1) cause += " since " + TimeText(*service.first);
    if (service.last)
        cause += fmt::format("; the last time {}, by {}", TimeText(*service.last), service.how);
    if (service.last && now - *service.last > kWorrying) return Good(std::move(cause));
    return Warned(std::move(cause), WhatToDo(service));
}

CheckStep CheckCrashes(CheckedServer &checked) {
    return JudgeCrashes(checked.service, std::time(nullptr));
}

}  // namespace zafo::cli
