// SPDX-License-Identifier: Apache-2.0
//
// One new user with a password on a server with Samba's schema: the library, a loop that starts
// the tools which it starts with the arguments that it gives them, and peers.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "bench/floor.h"
#include "bench/scenarios.h"
#include "bench/stand_in.h"
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
            throw std::runtime_error("the schema cannot be read");
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

struct ToolRun {
    std::vector<std::string> words;
    std::string change;  // content of the change file
};

std::string ContentOf(const std::filesystem::path &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// The runs of one creation by the library.
std::vector<ToolRun> Record() {
    std::filesystem::create_directory(kRecorded);
    {
        const std::string tools = "/usr/zafo/bin/";
        const StandIn search(tools + "ldapsearch", kRecorder);
        const StandIn modify(tools + "ldapmodify", kRecorder);
        const StandIn passwd(tools + "ldappasswd", kRecorder);
        const StandIn hash(tools + "slappasswd", kRecorder);
        if (!Create("recorded", kRecordedNumber))
            throw std::runtime_error("the creation to record failed");
    }
    std::vector<ToolRun> runs;
    for (int i = 0;; ++i) {
        const auto folder = std::filesystem::path(kRecorded) / std::to_string(i);
        if (!std::filesystem::exists(folder)) break;
        ToolRun run;
        const std::string words = ContentOf(folder / "words");
        for (size_t at = 0; at < words.size(); at += run.words.back().size() + 1)
            run.words.emplace_back(words.c_str() + at);
        run.change = ContentOf(folder / "change");
        runs.push_back(std::move(run));
    }
    return runs;
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

// The recorded runs for another user, and for the counter as it is now.
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
            WriteChange(&run);
        }
    }

    // Whether the tools that change something all succeeded.
    bool Run() {
        bool done = true;
        for (ToolRun &run : runs_) {
            std::vector<char *> argv;
            for (std::string &word : run.words)
                argv.push_back(word.data());
            argv.push_back(nullptr);
            floor_count count{};
            const bool succeeded = floor_run(argv.data(), &count) == 0;
            done = done && (succeeded || run.words.front().ends_with("search"));
        }
        return done;
    }

  private:
    static const std::vector<ToolRun> &Recorded() {
        static const std::vector<ToolRun> runs = Record();
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
    // Writes the change file anew, which the library has removed.
    static void WriteChange(ToolRun *run) {
        const auto option = std::find(run->words.begin(), run->words.end(), "-f");
        if (option == run->words.end()) return;
        std::ofstream(option[1]) << run->change;
    }

    std::vector<ToolRun> runs_;
};

void CreateFloor(benchmark::State &state) {
    for ([[maybe_unused]] auto _ : state) {
        Replay replay(NextNumber());
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
