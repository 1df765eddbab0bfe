// SPDX-License-Identifier: Apache-2.0
//
// The appliance's own server from nothing: the library, and a loop that runs the same tools with
// the same arguments and waits the same two seconds after the start.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/recording.h"
#include "bench/scenarios.h"
#include "platform/service.h"
#include "zafoldap/connection.h"
#include "zafoldap/server.h"

namespace zafo::bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char *kStart = "/usr/zafo/libexec/ldap-server-start";
constexpr unsigned kSettlingSeconds = 2;

ZAFOLDAP_SERVER_PARAM Settings() {
    ZAFOLDAP_SERVER_PARAM settings{};
    settings.szSuffix = "dc=bench,dc=example";
    settings.szRootDN = "cn=admin,dc=bench,dc=example";
    settings.szRootPW = "Geheimnis1";
    return settings;
}

void MustBe(bool done, const char *what) {
    if (!done) throw std::runtime_error(what);
}

void Enable() {
    const ZAFOLDAP_SERVER_PARAM settings = Settings();
    MustBe(ZAFOLDAPServerEnable(&settings) == 0, "the server was not enabled");
}

// An empty machine, but for the certificates: making keys takes a different time every time.
void Empty() {
    static const int enabled = QLIBServiceEnable("ldap-server");
    MustBe(enabled == 0, "the service cannot be enabled");
    if (access("/usr/zafo/etc/openldap/slapd.conf", F_OK) != 0) return;
    MustBe(ZAFOLDAPServerDBReset() == 0, "the server cannot be reset");
}

void EnableOurs(benchmark::State &state) {
    for ([[maybe_unused]] auto _ : state) {
        Empty();
        const auto begin = Clock::now();
        Enable();
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - begin).count());
    }
}

// The floor -------------------------------------------------------------------------------

std::vector<ToolRun> RecordEnabling() {
    Empty();
    Enable();
    Empty();
    return Record({"slappasswd", "slapcat", "slapadd", "slapindex", "openssl", "ldapsearch",
                   "ldapmodify", "ldappasswd", kStart},
                  Enable);
}

// What the library writes itself, before the time is taken.
void WriteFiles() {
    const ZAFOLDAP_SERVER_PARAM settings = Settings();
    MustBe(ZAFOLDAPServerConfSet(&settings) == 0, "slapd.conf cannot be written");
    MustBe(ZAFOLDAPBrowserConfSetByServerParam(&settings) == 0, "the connection cannot be saved");
    MustBe(ZAFOLDAPServerACLConfGen(&settings) == 0, "the rules cannot be written");
}

bool Changes(const ToolRun &run) {
    const std::string &tool = run.words.front();
    return !tool.ends_with("slapcat") && !tool.ends_with("ldapsearch") &&
           !tool.ends_with("slapindex");
}

void EnableFloor(benchmark::State &state) {
    static const std::vector<ToolRun> runs = RecordEnabling();
    for ([[maybe_unused]] auto _ : state) {
        Empty();
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
