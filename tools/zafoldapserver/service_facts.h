// SPDX-License-Identifier: Apache-2.0
//
// Who starts the server again when it ends by itself, and how often that has been: what its service's keeper
// leaves in "/run/zafo-service" (platform/service.h), or systemd where the service is one of its units.
#pragma once

#include <ctime>
#include <optional>
#include <string>

namespace zafo::cli {

struct ServiceFacts {
    bool systemd = false;
    bool known = false;   // this platform's services are of a kind that tells
    bool wanted = false;  // its settings say that it is to be started again
    bool enabled = true;
    int keeper = 0;      // the process that would do it; 0: there is none
    long long ends = 0;  // how often it ended by itself since the machine, or the unit, was started
    std::optional<std::time_t> first = {};
    std::optional<std::time_t> last = {};
    std::string how = {};  // "signal 11 (Segmentation fault)" or "exit code 1"; of the last time

    bool StartsAgain() const { return wanted && enabled && (systemd || keeper > 0); }
};

ServiceFacts LookAtService();

// The answer of systemctl show(1): "Name=value" lines.
ServiceFacts FactsOfUnit(const std::string &answer);

}  // namespace zafo::cli
