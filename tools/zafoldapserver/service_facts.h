// SPDX-License-Identifier: Apache-2.0
//
// What restarts the server when it dies, and how often that has happened: as recorded in
// "/run/zafo-service" by its service's keeper (platform/service.h), or by systemd if the service is
// one of its units.
#pragma once

#include <ctime>
#include <optional>
#include <string>

namespace zafo::cli {

struct ServiceFacts {
    bool systemd = false;
    bool known = false;   // this platform's services keep such records
    bool wanted = false;  // its settings ask for a restart
    bool enabled = true;
    int keeper = 0;      // the process that would restart it; 0: none
    long long ends = 0;  // how often it died since the machine, or the unit, was started
    std::optional<std::time_t> first = {};
    std::optional<std::time_t> last = {};
    std::string how = {};  // "signal 11 (Segmentation fault)" or "exit code 1"; the last time

    bool StartsAgain() const { return wanted && enabled && (systemd || keeper > 0); }
};

ServiceFacts LookAtService();

// Parses the output of systemctl show(1): "Name=value" lines.
ServiceFacts FactsOfUnit(const std::string &answer);

}  // namespace zafo::cli
