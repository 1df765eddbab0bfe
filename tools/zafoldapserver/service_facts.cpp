// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldapserver/service_facts.h"

#include <charconv>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <new>
#include <sstream>
#include <string_view>
#include <system_error>

#include <fmt/format.h>

#include "base/appliance_paths.h"
#include "base/ascii.h"
#include "base/proc_file.h"
#include "platform/file.h"
#include "platform/service.h"
#include "platform/szhash.h"
#include "tools/cli/tool_run.h"

namespace zafo::cli {

namespace {

constexpr const char *kUnit = "ldap-server.service";
constexpr const char *kRecord = "/run/zafo-service/ldap-server";
constexpr const char *kEnds = "/run/zafo-service/ldap-server.ends";

class PairFile {
  public:
    // The pairs of the last file read come first. An absent file has none.
    void Read(const char *path) { QLIBCFileGetPair(path, pairs_.get()); }

    std::string_view Text(const char *key) const {
        const char *value = QLIBCSzHashGetValue(pairs_.get(), key);
        return value == nullptr ? "" : value;
    }
    std::optional<long long> Number(const char *key) const {
        return WholeNumber<long long>(Text(key));
    }

  private:
    static QLIBSZHASH *New() {
        QLIBSZHASH *pairs = QLIBCSzHashAlloc(8);
        if (pairs == nullptr) throw std::bad_alloc();
        return pairs;
    }
    std::unique_ptr<QLIBSZHASH, void (*)(QLIBSZHASH *)> pairs_{New(), QLIBCSzHashFree};
};

std::string SignalInWords(long long signal) {
    const char *name = sigdescr_np(static_cast<int>(signal));
    return name == nullptr ? fmt::format("signal {}", signal)
                           : fmt::format("signal {} ({})", signal, name);
}

// The fourth number is the start time of the process identified by the third.
int LivingKeeper() {
    std::ifstream file(kRecord);
    int service = 0;
    ProcessId keeper;
    unsigned long long started = 0;
    if (!(file >> service >> started >> keeper.pid >> keeper.started)) return 0;
    return keeper.Lives() ? keeper.pid : 0;
}

ServiceFacts FactsOfRecords() {
    ServiceFacts facts;
    std::error_code error;
    facts.known = std::filesystem::is_directory(kServiceRecords, error);
    PairFile settings;
    settings.Read(kServiceDefaults);
    settings.Read(kServiceSettings);
    facts.wanted = settings.Text("restart") == "yes";
    facts.enabled = QLIBServiceIsEnabled(kServerService) == 1;
    facts.keeper = LivingKeeper();
    PairFile ends;
    ends.Read(kEnds);
    facts.ends = ends.Number("count").value_or(0);
    if (const auto first = ends.Number("first")) facts.first = static_cast<std::time_t>(*first);
    if (const auto last = ends.Number("last")) facts.last = static_cast<std::time_t>(*last);
    if (const auto signal = ends.Number("signal")) facts.how = SignalInWords(*signal);
    if (const auto code = ends.Number("exit_code")) facts.how = fmt::format("exit code {}", *code);
    return facts;
}

// Empty if systemd is not running or has no such unit.
std::string AskSystemd() {
    std::error_code error;
    if (!std::filesystem::is_directory(kSystemdRuns, error)) return {};
    const std::optional<ToolRun> run =
        RunTool({kSystemctl, "show", "--property=LoadState,Restart,NRestarts", kUnit});
    const bool loaded = run && run->output.find("LoadState=loaded") != std::string::npos;
    return loaded ? run->output : std::string();
}

}  // namespace

ServiceFacts FactsOfUnit(const std::string &answer) {
    ServiceFacts facts{.systemd = true, .known = true};
    std::istringstream lines(answer);
    for (std::string line; std::getline(lines, line);) {
        const size_t equals = line.find('=');
        if (equals == std::string::npos) continue;
        const std::string name = line.substr(0, equals);
        const std::string value = line.substr(equals + 1);
        if (name == "Restart") facts.wanted = value == "on-failure" || value == "always";
        if (name == "NRestarts")
            std::from_chars(value.data(), value.data() + value.size(), facts.ends);
    }
    return facts;
}

ServiceFacts LookAtService() {
    const std::string unit = AskSystemd();
    return unit.empty() ? FactsOfRecords() : FactsOfUnit(unit);
}

}  // namespace zafo::cli
