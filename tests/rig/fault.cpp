// SPDX-License-Identifier: Apache-2.0
#include "tests/rig/fault.h"

#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

namespace zafo::rig {

namespace {

constexpr const char *kReport = "/tmp/zafo-fault-report";

}  // namespace

bool FaultRun::Died() const {
    return WIFSIGNALED(status);
}

int FaultRun::ExitCode() const {
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

FaultRun RunWithFault(std::vector<std::string> argv, std::vector<std::string> environment,
                      const std::string &fault) {
    unlink(kReport);
    environment.push_back("LD_PRELOAD=/mnt/build/tests/rig/zafo-fault-shim.so");
    // A sanitizer's runtime insists on being loaded first, but also works after the shim.
    environment.push_back("ASAN_OPTIONS=verify_asan_link_order=0");
    environment.push_back("ZAFO_FAULT=" + fault);
    environment.push_back(std::string("ZAFO_FAULT_REPORT=") + kReport);
    const ToolOutcome outcome = RunTool(std::move(argv), std::move(environment));
    FaultRun run{outcome.status, outcome.output, {}};
    std::ifstream report(kReport);
    CountedCall call;
    while (report >> call.kind && std::getline(report >> std::ws, call.path))
        run.calls.push_back(call);
    return run;
}

}  // namespace zafo::rig
