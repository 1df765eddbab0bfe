// SPDX-License-Identifier: Apache-2.0
//
// One new user with a password on a server with Samba's schema: by the library, by a loop that
// starts the same tools with the same arguments, and by peers.
#include <array>
#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/floor.h"
#include "bench/recording.h"
#include "bench/scenarios.h"
#include "zafoldap/connection.h"
#include "zafoldap/search.h"
#include "zafoldap/user.h"

namespace zafo::bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char *kDomainDN = "sambaDomainName=example,dc=example,dc=com";
constexpr int kRecordedNumber = 19'999;

int NextNumber() {
    static int number = kRecordedNumber;
    return ++number;
}

void SetTime(benchmark::State &state, Clock::time_point begin) {
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - begin).count());
}

bool Create(const std::string &name, int number) {
    static const Connection connection(kSamba);
    static const ZAFOLDAP_HOST host = [] {
        ZAFOLDAP_HOST asked = *connection.get();
        if (ZAFOLDAPHostGetSupportedSchema(&asked) != 0)
            throw std::runtime_error("cannot read the schema");
        return asked;
    }();
    std::string login = name, password = "Geheimnis1", full_name = "Anna Smith";
    ZAFOUSER user{};
    user.szName = login.data();
    user.szPasswd = password.data();
    user.szFullname = full_name.data();
    user.pw_uid = static_cast<uint32_t>(number);
    user.pw_gid = 100;
    return ZAFOLDAPBrowserUserCreate(&host, &user, nullptr, nullptr) == 0;
}

void CreateOurs(benchmark::State &state) {
    for ([[maybe_unused]] auto _ : state) {
        const int number = NextNumber();
        const auto begin = Clock::now();
        const bool done = Create("ours" + std::to_string(number), number);
        SetTime(state, begin);
        if (!done) state.SkipWithError("the user was not created");
    }
}

// The floor -------------------------------------------------------------------------------

// The tools that the library runs to create one user.
std::vector<ToolRun> RecordCreation() {
    return Record({"ldapsearch", "ldapmodify", "ldappasswd", "slappasswd"}, [] {
        if (!Create("recorded", kRecordedNumber))
            throw std::runtime_error("the creation to record failed");
    });
}

void Replace(std::string *text, const std::string &what, const std::string &with) {
    for (size_t at = 0; (at = text->find(what, at)) != std::string::npos; at += with.size())
        text->replace(at, what.size(), with);
}

long NextRid() {
    static const Connection connection(kSamba);
    char value[32] = "";
    ZAFOLDAPSearchGetValueByDN(connection.get(), kDomainDN, nullptr, "sambaNextUserRid", value,
                               sizeof value);
    return std::atol(value);
}

// Replays the recorded runs for another user and the present value of the counter.
class Replay {
  public:
    explicit Replay(int number) : runs_(Recorded()) {
        static const long recorded_rid = RidOf(runs_);
        const long rid = NextRid();
        for (ToolRun &run : runs_) {
            for (std::string &word : run.words)
                Rename(&word, number);
            Rename(&run.change, number);
            for (const long step : {1L, 0L}) {
                const auto line = [step](const char *before, long value) {
                    return before + std::to_string(value + step) + "\n";
                };
                Replace(&run.change, line("Rid: ", recorded_rid), line("Rid: ", rid));
                Replace(&run.change, line("-", recorded_rid), line("-", rid));
            }
        }
    }

    // Returns whether all tools that change something succeeded.
    bool Run() {
        bool done = true;
        for (const ToolRun &run : runs_)
            done = (RunAgain(run) == 0 || run.words.front().ends_with("search")) && done;
        return done;
    }

    // Called outside the measured time.
    void Prepare() const {
        for (const ToolRun &run : runs_)
            WriteChange(run);
    }

  private:
    static const std::vector<ToolRun> &Recorded() {
        static const std::vector<ToolRun> runs = RecordCreation();
        return runs;
    }
    static long RidOf(const std::vector<ToolRun> &runs) {
        for (const ToolRun &run : runs) {
            const size_t at = run.change.find("sambaNextUserRid: ");
            if (at != std::string::npos) return std::atol(run.change.c_str() + at + 18);
        }
        throw std::runtime_error("no identifier was recorded");
    }
    static void Rename(std::string *text, int number) {
        Replace(text, "recorded", "floor" + std::to_string(number));
        Replace(text, std::to_string(kRecordedNumber), std::to_string(number));
    }
    std::vector<ToolRun> runs_;
};

void CreateFloor(benchmark::State &state) {
    for ([[maybe_unused]] auto _ : state) {
        Replay replay(NextNumber());
        replay.Prepare();
        const auto begin = Clock::now();
        const bool done = replay.Run();
        SetTime(state, begin);
        if (!done) state.SkipWithError("a tool failed");
    }
}

void CreatePeer(benchmark::State &state, const std::string &program) {
    for ([[maybe_unused]] auto _ : state) {
        const int number = NextNumber();
        std::string words[] = {program, "peer" + std::to_string(number), std::to_string(number)};
        char *argv[] = {words[0].data(), words[1].data(), words[2].data(), nullptr};
        floor_count count{};
        const auto begin = Clock::now();
        const bool done = floor_run(argv, &count) == 0;
        SetTime(state, begin);
        if (!done) state.SkipWithError("the peer failed");
    }
}

}  // namespace

void RegisterCreation(int rounds) {
    const auto add = [](const char *name, auto body, int repetitions) {
        benchmark::RegisterBenchmark(name, body)
            ->Iterations(1)
            ->Repetitions(repetitions)
            ->UseManualTime();
    };
    add(kCreateFloor, CreateFloor, 8 * rounds);
    add(kCreateOurs, CreateOurs, 8 * rounds);
    for (const auto &[name, program] : {std::pair{kCreateSmbldap, "create-smbldap"},
                                        {kCreateLdapscripts, "create-ldapscripts"}}) {
        const std::string path = std::string(kCreators) + program;
        if (!std::filesystem::exists(path)) continue;
        add(
            name, [path](benchmark::State &state) { CreatePeer(state, path); }, rounds);
    }
}

}  // namespace zafo::bench
