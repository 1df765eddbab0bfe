// SPDX-License-Identifier: Apache-2.0
//
// Numbers and SIDs from the pools of a real server, for one caller and for many at the same time.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <functional>
#include <numeric>
#include <set>

#include "tests/integration/pool_fixture.h"
#include "tests/rig/build.h"

namespace zafo::test {
namespace {

using testing::ElementsAre;

class IdPool : public testing::TestWithParam<NumberKind> {
  protected:
    // Sets the pool, its counter and the numbers in use.
    void Set(unsigned lowest, unsigned highest, unsigned counter,
             const std::vector<std::string> &used) {
        server_.SetPool(kind_, lowest, highest, counter);
        server_.Use(kind_, used);
        server_.Flush();
    }
    int Generate() { return kind_.generate(server_.Host()); }

    const NumberKind kind_ = GetParam();
    PoolServer server_;
};

TEST_P(IdPool, FreeCounterIsHandedOutAndMovesOn) {
    Set(1000, 2000, 1000, {});
    EXPECT_EQ(Generate(), 1000);
    EXPECT_EQ(Generate(), 1001);
    EXPECT_EQ(server_.Counter(kind_), "1002");
}

TEST_P(IdPool, NumbersInUseAreSteppedOver) {
    Set(1000, 2000, 1000, {"1003", "1000", "1001", "999"});
    EXPECT_EQ(Generate(), 1002);
    EXPECT_EQ(server_.Counter(kind_), "1003");
    EXPECT_EQ(Generate(), 1004);
}

TEST_P(IdPool, AfterTheHighestComesTheLowest) {
    Set(1000, 1002, 1002, {"1000"});
    EXPECT_EQ(Generate(), 1002);
    EXPECT_EQ(server_.Counter(kind_), "1000");
    EXPECT_EQ(Generate(), 1001);
}

TEST_P(IdPool, TakenHighestWrapsToAHoleBelowTheCounter) {
    Set(1000, 1003, 1002, {"1000", "1002", "1003"});
    EXPECT_EQ(Generate(), 1001);
    EXPECT_EQ(server_.Counter(kind_), "1002");
}

TEST_P(IdPool, FullPoolFailsAndLeavesTheCounter) {
    server_.Use(kind_, {"1000", "1001", "1002"});
    for (const unsigned counter : {1000u, 1001u, 1002u}) {
        Set(1000, 1002, counter, {});
        EXPECT_EQ(Generate(), -1) << counter;
        EXPECT_EQ(server_.Counter(kind_), std::to_string(counter));
    }
}

TEST_P(IdPool, CounterBelowTheLowestIsHandedOutAsItIs) {
    Set(1000, 2000, 5, {"6"});
    EXPECT_EQ(Generate(), 5);
    EXPECT_EQ(Generate(), 7);
    EXPECT_EQ(server_.Counter(kind_), "8");
}

TEST_P(IdPool, NumberCarriedTwiceIsOneNumber) {
    Set(1000, 2000, 1000, {"1000", "1000", "1001"});
    EXPECT_EQ(Generate(), 1002);
}

TEST_P(IdPool, MissingHighestEntryFails) {
    Set(1000, 2000, 1000, {});
    const std::string dn = "cn=MaxID,cn=zafoconf,dc=example,dc=com";
    const auto kept = server_.Server().Read(dn, "base");
    server_.Server().Change("dn: " + dn + "\nchangetype: delete\n");
    EXPECT_EQ(Generate(), -1);
    EXPECT_EQ(server_.Counter(kind_), "1000");
    server_.Server().Add(kept.at(0));
    EXPECT_EQ(Generate(), 1000);
}

TEST_P(IdPool, WriterWithoutRightsGetsNothing) {
    Set(1000, 2000, 1000, {});
    server_.Record()->szBindPasswd = "wrong";
    EXPECT_EQ(Generate(), -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), 49);
    EXPECT_EQ(server_.Counter(kind_), "1000");
}

TEST_P(IdPool, SuggestionOnTheAppliancesServerIsTakenFromThePool) {
    Set(1000, 2000, 1500, {"1501"});
    EXPECT_EQ(kind_.suggest(server_.Host()), 1500);
    EXPECT_EQ(kind_.suggest(server_.Host()), 1502);
    EXPECT_EQ(server_.Counter(kind_), "1503");
}

TEST_P(IdPool, SuggestionElsewhereIsAboveTheHighestAndReservesNothing) {
    server_.Record()->nServerType = ZAFOLDAP_SERVER_GENERIC;
    Set(1000, 2000, 1500, {"500", "-2"});
    EXPECT_EQ(kind_.suggest(server_.Host()), 1027);
    server_.Use(kind_, {"5000", "70"});
    server_.Flush();
    EXPECT_EQ(kind_.suggest(server_.Host()), 5001);
    EXPECT_EQ(kind_.suggest(server_.Host()), 5001);
    EXPECT_EQ(server_.Counter(kind_), "1500");
}

INSTANTIATE_TEST_SUITE_P(Twins, IdPool, testing::Values(kUids, kGids),
                         [](const auto &test) { return std::string(test.param.attribute); });

// --- many at once --------------------------------------------------------------

// One line for each number that a worker got, or its error message.
using Lines = std::multiset<std::string>;

// A call fails after losing the race for the counter ten times; callers then retry.
constexpr int kCallsForANumber = 20;
constexpr int kLostError = 16;  // the value to delete no longer exists

void Work(int count, const std::function<bool(std::string *)> &allocate, int out) {
    for (int i = 0; i < count; ++i) {
        std::string line;
        int calls = 1;
        while (!allocate(&line) && ZAFOLDAPErrGet() == kLostError && calls < kCallsForANumber) {
            dprintf(out, "lost\n");
            ++calls;
        }
        dprintf(out, "%s\n", line.empty() ? "failed" : line.c_str());
    }
}

// The results of `workers` processes that allocate concurrently.
Lines AllocateAtOnce(int workers, int count, const std::function<bool(std::string *)> &allocate) {
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    std::vector<pid_t> pids;
    for (int i = 0; i < workers; ++i) {
        pids.push_back(fork());
        if (pids.back() != 0) continue;
        Work(count, allocate, ends[1]);
        _exit(0);
    }
    close(ends[1]);
    FILE *reader = fdopen(ends[0], "r");
    Lines lines;
    for (char line[256]; fgets(line, sizeof line, reader) != nullptr;)
        lines.insert(std::string(line).substr(0, std::string(line).find('\n')));
    fclose(reader);
    for (const pid_t pid : pids) {
        int status = -1;
        EXPECT_EQ(waitpid(pid, &status, 0), pid);
        EXPECT_EQ(status, 0);
    }
    return lines;
}

constexpr int kWorkers = 8;
const int kPerWorker = rig::IsScaledDown() ? 5 : 25;
const int kTotal = kWorkers * kPerWorker;

// Counts and removes the "lost" lines: everything else must be an allocated number.
std::vector<std::string> Allocated(Lines lines) {
    testing::Test::RecordProperty("lost_calls", static_cast<int>(lines.count("lost")));
    lines.erase("lost");
    return {lines.begin(), lines.end()};
}

TEST(IdPoolAtOnce, EveryProcessGetsItsOwnNumbersAndNoneIsSkipped) {
    PoolServer server;
    std::vector<std::string> used, free;
    for (int n = 1000; n < 1000 + 2 * kTotal; ++n)
        (n % 20 < 3 ? used : free).push_back(std::to_string(n));
    free.resize(static_cast<size_t>(kTotal));
    server.SetPool(kUids, 1000, 9999, 1000);
    server.Use(kUids, used);
    server.Flush();
    const Lines lines = AllocateAtOnce(kWorkers, kPerWorker, [&](std::string *line) {
        const int number = ZAFOLDAPSambaUIDGen(server.Host());
        if (number >= 0) *line = std::to_string(number);
        return number >= 0;
    });
    EXPECT_THAT(Allocated(lines), testing::UnorderedElementsAreArray(free));
    EXPECT_EQ(server.Counter(kUids), std::to_string(std::stoi(free.back()) + 1));
}

TEST(SambaSIDAtOnce, EveryProcessGetsItsOwnSIDsAndNoneIsSkipped) {
    PoolServer server;
    const std::string domain = "sambaDomainName=example,dc=example,dc=com";
    const int first = std::stoi(server.Read(domain, "sambaNextUserRid"));
    std::vector<std::string> wanted;
    for (int rid = first; rid < first + kTotal; ++rid)
        wanted.push_back("S-1-5-21-1111111111-2222222222-3333333333-" + std::to_string(rid));
    const Lines lines = AllocateAtOnce(kWorkers, kPerWorker, [&](std::string *line) {
        char sid[256];
        const bool got = ZAFOLDAPSambaSIDGen(server.Host(), sid, sizeof sid) == 0;
        if (got) *line = sid;
        return got;
    });
    EXPECT_THAT(Allocated(lines), testing::UnorderedElementsAreArray(wanted));
    EXPECT_EQ(server.Read(domain, "sambaNextUserRid"), std::to_string(first + kTotal));
}

TEST(SambaSID, UsesTheCounterOfTheDomainAlone) {
    PoolServer server;
    const std::string domain = "sambaDomainName=example,dc=example,dc=com";
    const std::string rid = server.Read(domain, "sambaNextUserRid");
    char sid[256];
    EXPECT_EQ(ZAFOLDAPSambaSIDGen(server.Host(), sid, sizeof sid), 0);
    EXPECT_EQ(sid, "S-1-5-21-1111111111-2222222222-3333333333-" + rid);
    EXPECT_EQ(server.Counter(kUids), "1000001");
}

}  // namespace
}  // namespace zafo::test
