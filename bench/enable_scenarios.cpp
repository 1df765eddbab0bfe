// SPDX-License-Identifier: Apache-2.0
//
// The appliance's own server from nothing: by the library, and by a loop that runs the same tools
// with the same arguments and waits the same two seconds after the start.
#include <unistd.h>

#include <chrono>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/own_server.h"
#include "bench/recording.h"
#include "bench/scenarios.h"
#include "zafoldap/connection.h"

namespace zafo::bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char *kStart = "/usr/zafo/libexec/ldap-server-start";
constexpr unsigned kSettlingSeconds = 2;

void EnableOurs(benchmark::State &state) {
    for ([[maybe_unused]] auto _ : state) {
        EmptyOwnServer();
        const auto begin = Clock::now();
        EnableOwnServer();
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - begin).count());
    }
}

// The floor -------------------------------------------------------------------------------

std::vector<ToolRun> RecordEnabling() {
    EmptyOwnServer();
    EnableOwnServer();
    EmptyOwnServer();
    return Record({"slappasswd", "slapcat", "slapadd", "slapindex", "openssl", "ldapsearch",
                   "ldapmodify", "ldappasswd", kStart},
                  EnableOwnServer);
}

// The files that the library writes itself, outside the measured time.
void WriteFiles() {
    const ZAFOLDAP_SERVER_PARAM settings = OwnSettings();
    MustBe(ZAFOLDAPServerConfSet(&settings) == 0, "cannot write slapd.conf");
    MustBe(ZAFOLDAPBrowserConfSetByServerParam(&settings) == 0, "cannot save the connection");
    MustBe(ZAFOLDAPServerACLConfGen(&settings) == 0, "cannot write the access rules");
}

bool Changes(const ToolRun &run) {
    const std::string &tool = run.words.front();
    return !tool.ends_with("slapcat") && !tool.ends_with("ldapsearch") &&
           !tool.ends_with("slapindex");
}

void EnableFloor(benchmark::State &state) {
    static const std::vector<ToolRun> runs = RecordEnabling();
    for ([[maybe_unused]] auto _ : state) {
        EmptyOwnServer();
        WriteFiles();
        for (const ToolRun &run : runs)
            WriteChange(run);
        const auto begin = Clock::now();
        for (const ToolRun &run : runs) {
            MustBe(RunAgain(run) == 0 || !Changes(run), run.words.front().c_str());
            if (run.words.front() == kStart) sleep(kSettlingSeconds);
        }
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - begin).count());
    }
}

}  // namespace

void RegisterEnabling(int rounds) {
    for (const auto &[name, body] :
         {std::pair{kEnableFloor, &EnableFloor}, {kEnableOurs, &EnableOurs}}) {
        benchmark::RegisterBenchmark(name, body)
            ->Iterations(1)
            ->Repetitions(rounds)
            ->UseManualTime();
    }
}

}  // namespace zafo::bench
