// SPDX-License-Identifier: Apache-2.0
//
// slapd(8), the service "ldap-server".
#include <chrono>
#include <thread>

#include "base/appliance_paths.h"
#include "platform/error.h"
#include "platform/process.h"
#include "platform/service.h"
#include "src/frame/log.h"
#include "zafoldap/server.h"

namespace {

// By then a server that finds a problem after starting has exited.
constexpr std::chrono::seconds kSettlingTime{2};

}  // namespace

int ZAFOLDAPServerIsStarted(int *pid) {
    if (QLIBServiceIsEnabled(zafo::kServerService) == 0) return 0;
    const int found = QLIBCReadPidFile(zafo::kSlapdPidFile);
    if (found < 1) return 0;
    if (pid != nullptr) *pid = found;
    return 1;
}

int ZAFOLDAPServerStart(void) {
    if (QLIBServiceStart(zafo::kServerService, 0) < 0) return -1;
    std::this_thread::sleep_for(kSettlingTime);  // in full, even if a signal arrives
    if (ZAFOLDAPServerIsStarted(nullptr) == 1) return 0;
    return ZAFO_FAILURE("Start slapd service failed");
}

int ZAFOLDAPServerStop(void) {
    if (QLIBServiceStop(zafo::kServerService, 0) < 0) return zafo::FailWith(QLIB_ERR_SERVICE_STOP);
    if (ZAFOLDAPServerIsStarted(nullptr) != 1) return 0;
    return ZAFO_FAILURE("Stop slapd service failed");
}
