// SPDX-License-Identifier: Apache-2.0
//
// Both sides of every comparison do the same work: the same bind over the same clear-text
// connection, the same base, scope, filter and attributes, and the tool started, read to its end
// and waited for.
#include "bench/scenarios.h"

#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/floor.h"
#include "bench/stand_in.h"
#include "host/root/directory/example_directory.h"
#include "platform/process.h"
#include "zafoldap/samba.h"

namespace zafo::bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr long kEnoughEntries = 100'000;
constexpr size_t kResident = size_t{1} << 30;

// The system's own ldapsearch, as a person would call it.
class PlainSearch {
  public:
    PlainSearch(const std::string &base, const char *scope, const char *filter)
        : words_{"ldapsearch",
                 "-LLL",
                 "-x",
                 "-o",
                 "ldif-wrap=no",
                 "-H",
                 std::string("ldap://") + kLarge.address,
                 "-D",
                 kBindDN,
                 "-w",
                 Password(),
                 "-b",
                 base,
                 "-s",
                 scope,
                 filter} {
        for (std::string &word : words_)
            argv_.push_back(word.data());
        argv_.push_back(nullptr);
    }

    bool Run(floor_count *count) { return floor_run(argv_.data(), count) == 0; }

  private:
    std::vector<std::string> words_;
    std::vector<char *> argv_;
};

// The answer comes from bench/source.cpp.
class PreparedAnswer {
  private:
    const StandIn search_{kTool, std::string(kPrograms) + "zafo-bench-source"};
};

// The tool does nothing, so that only its start is measured.
class IdleTool {
  private:
    const StandIn search_{kTool, "/bin/true"};
};

// The pool of numbers is simulated by bench/pool_source.cpp.
class PreparedPool {
  private:
    inline static const std::string kPool = std::string(kPrograms) + "zafo-bench-pool";
    const StandIn search_{kTool, kPool};
    const StandIn modify_{"/usr/zafo/bin/ldapmodify", kPool};
};

// Memory whose pages have all been touched.
class Resident {
  public:
    Resident()
        : memory_(mmap(nullptr, kResident, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1,
                       0)) {
        if (memory_ == MAP_FAILED) throw std::bad_alloc();
        const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        for (size_t at = 0; at < kResident; at += page)
            static_cast<char *>(memory_)[at] = 1;
    }
    Resident(const Resident &) = delete;
    Resident &operator=(const Resident &) = delete;
    ~Resident() { munmap(memory_, kResident); }

  private:
    void *memory_;
};

// A condition that holds during one repetition of a benchmark.
template <class Condition>
class During {
  public:
    static void Begin(const benchmark::State &) { condition().emplace(); }
    static void End(const benchmark::State &) { condition().reset(); }

  private:
    static std::optional<Condition> &condition() {
        static std::optional<Condition> held;
        return held;
    }
};

bool Expect(benchmark::State &state, bool as_expected, const char *complaint) {
    if (!as_expected) state.SkipWithError(complaint);
    return as_expected;
}

void ReadAllFloor(benchmark::State &state) {
    PlainSearch search(kUsersBase, "one", kUsersFilter);
    for ([[maybe_unused]] auto _ : state) {
        floor_count count{};
        const bool done = search.Run(&count);
        if (!Expect(state, done && count.entries >= kEnoughEntries, "not all users were returned"))
            break;
    }
}

void ReadAllOurs(benchmark::State &state, const Connection &connection) {
    for ([[maybe_unused]] auto _ : state) {
        Search search(connection, kUsersBase, "one", kUsersFilter);
        if (!Expect(state, search.ReadAll() >= kEnoughEntries, "not all users were returned"))
            break;
    }
}

void StopAfterFirst(benchmark::State &state, const Connection &connection) {
    for ([[maybe_unused]] auto _ : state) {
        Search search(connection, kUsersBase, "one", kUsersFilter);
        if (!Expect(state, search.Next() == 1, "the first user was not returned")) break;
        const auto begin = Clock::now();
        search.Free();
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - begin).count());
    }
}

std::string OneUser() {
    return "uid=" + rig::ExampleLogin(0) + "," + kUsersBase;
}

void BaseSearchFloor(benchmark::State &state) {
    PlainSearch search(OneUser(), "base", kUsersFilter);
    for ([[maybe_unused]] auto _ : state) {
        floor_count count{};
        const bool done = search.Run(&count);
        if (!Expect(state, done && count.entries == 1, "the user was not found")) break;
    }
}

void BaseSearchOurs(benchmark::State &state, const Connection &connection) {
    const std::string base = OneUser();
    for ([[maybe_unused]] auto _ : state) {
        Search search(connection, base.c_str(), "base", kUsersFilter);
        if (!Expect(state, search.ReadAll() == 1, "the user was not found")) break;
    }
}

void Spawn(benchmark::State &state) {
    for ([[maybe_unused]] auto _ : state) {
        FILE *stream = QLIBCPopen("/bin/true", "r", static_cast<char *>(nullptr));
        if (!Expect(state, stream != nullptr && QLIBCPclose(stream) == 0, "/bin/true failed"))
            break;
    }
}

// The same argument vector for both, except that the platform must hide a secret in one.
void StartTool(benchmark::State &state, const char *option) {
    for ([[maybe_unused]] auto _ : state) {
        FILE *stream = QLIBCPopen(kTool, "r", "-x", "-D", kBindDN, option, "a password", "-b",
                                  kUsersBase, static_cast<char *>(nullptr));
        if (!Expect(state, stream != nullptr && QLIBCPclose(stream) == 0, "the tool failed")) break;
    }
}

void CountAnswer(benchmark::State &state) {
    state.SetBytesProcessed(state.iterations() *
                            static_cast<int64_t>(std::filesystem::file_size(kAnswer)));
}

void ParseFloor(benchmark::State &state) {
    std::string tool = kTool;
    char *argv[] = {tool.data(), nullptr};
    for ([[maybe_unused]] auto _ : state) {
        floor_count count{};
        const bool done = floor_run(argv, &count) == 0;
        if (!Expect(state, done && count.entries >= kEnoughEntries, "the answer was cut")) break;
    }
    CountAnswer(state);
}

void ParseOurs(benchmark::State &state, const Connection &connection) {
    for ([[maybe_unused]] auto _ : state) {
        Search search(connection, kUsersBase, "one", kUsersFilter);
        if (!Expect(state, search.ReadAll() >= kEnoughEntries, "the answer was cut")) break;
    }
    CountAnswer(state);
}

// Runs a program of bench/lists, which must print at least this much.
void RunProgram(benchmark::State &state, const std::string &path, size_t least) {
    std::string word = path;
    char *argv[] = {word.data(), nullptr};
    for ([[maybe_unused]] auto _ : state) {
        floor_count count{};
        const bool done = floor_run(argv, &count) == 0;
        if (!Expect(state, done && count.bytes >= least, "the program failed")) break;
    }
}

struct ListRow {
    const char *name;
    const char *program;
    size_t least;  // bytes of output
    int halves;    // of the rounds: long work runs less often
};

constexpr size_t kAllNames = 5 * kEnoughEntries;

constexpr ListRow kListRows[] = {
    {kUserListFloor, "list-floor", kAllNames, 4},
    {kUserListOurs, "list-zafoldap", kAllNames, 4},
    {kUserListSmbldap, "list-smbldap", kAllNames, 1},
    {kUserListPython, "list-python", kAllNames, 1},
    {kUserStatFloor, "count-floor", 1, 4},
    {kUserStatOurs, "count-zafoldap", 1, 4},
};

// The counter's number and the `used` numbers from there on are taken.
void FreeNumber(benchmark::State &state, const Connection &connection, int used) {
    ZAFOLDAP_HOST host = *connection.get();
    host.szBaseDN = kBaseDN;
    setenv("ZAFO_BENCH_USED", std::to_string(used).c_str(), 1);
    for ([[maybe_unused]] auto _ : state) {
        std::filesystem::remove(kWholeSearches);
        const int number = ZAFOLDAPSambaUIDGen(&host);
        if (!Expect(state, number == used + 1, "the number is not the first free one")) break;
        const auto searches = std::filesystem::file_size(kWholeSearches);
        if (!Expect(state, searches == 1, "all numbers were read more than once")) break;
    }
}

}  // namespace

void Register(const Connection &connection, int rounds) {
    const auto ours = [&connection](void (*body)(benchmark::State &, const Connection &)) {
        return [&connection, body](benchmark::State &state) { body(state, connection); };
    };
    const auto add = [](const char *name, auto body, int iterations, int repetitions) {
        return benchmark::RegisterBenchmark(name, body)
            ->Iterations(iterations)
            ->Repetitions(repetitions);
    };
    add(kReadFloor, ReadAllFloor, 1, rounds)->UseRealTime();
    add(kReadOurs, ours(ReadAllOurs), 1, rounds)->UseRealTime();
    add(kStopOurs, ours(StopAfterFirst), 1, 4 * rounds)->UseManualTime();
    add(kBaseFloor, BaseSearchFloor, 1, 40 * rounds)->UseRealTime();
    add(kBaseOurs, ours(BaseSearchOurs), 1, 40 * rounds)->UseRealTime();
    add(kSpawnSmall, Spawn, 20, 4 * rounds)->UseRealTime();
    add(kSpawnLarge, Spawn, 20, 4 * rounds)
        ->UseRealTime()
        ->Setup(During<Resident>::Begin)
        ->Teardown(During<Resident>::End);
    for (const auto &[name, option] : {std::pair{kSecretFloor, "-E"}, {kSecretOurs, "-w"}}) {
        const auto body = [option = option](benchmark::State &state) { StartTool(state, option); };
        add(name, body, 20, 4 * rounds)
            ->UseRealTime()
            ->Setup(During<IdleTool>::Begin)
            ->Teardown(During<IdleTool>::End);
    }
    for (const ListRow &row : kListRows) {
        const std::string path = std::string(kLists) + row.program;
        if (!std::filesystem::exists(path)) continue;
        const size_t least = row.least;
        add(
            row.name, [path, least](benchmark::State &state) { RunProgram(state, path, least); }, 1,
            std::max(rounds * row.halves / 2, 1))
            ->UseRealTime();
    }
    for (auto *parse : {add(kParseFloor, ParseFloor, 1, 2 * rounds),
                        add(kParseOurs, ours(ParseOurs), 1, 2 * rounds)}) {
        parse->UseRealTime()
            ->Setup(During<PreparedAnswer>::Begin)
            ->Teardown(During<PreparedAnswer>::End);
    }
    RegisterAccounts(rounds);
    RegisterCreation(rounds);
    RegisterEnabling(rounds);
    RegisterBackups(rounds);
    RegisterMigration(rounds);
    for (const auto &[name, used] : {std::pair{kNumberFew, kFewUsed}, {kNumberMany, kManyUsed}}) {
        const auto body = [&connection, used = used](benchmark::State &state) {
            FreeNumber(state, connection, used);
        };
        add(name, body, 1, 4 * rounds)
            ->UseRealTime()
            ->Setup(During<PreparedPool>::Begin)
            ->Teardown(During<PreparedPool>::End);
    }
}

}  // namespace zafo::bench
