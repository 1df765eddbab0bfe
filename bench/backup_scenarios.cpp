// SPDX-License-Identifier: Apache-2.0
//
// Backup and restore of a server with 100,000 entries: by the library with all its checks, and by
// the plain tools without any.
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>

#include <benchmark/benchmark.h>

#include "bench/own_server.h"
#include "bench/scenarios.h"
#include "platform/process.h"
#include "zafoldap/backup.h"

namespace zafo::bench {

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr const char *kBackups = "/var/lib/bench-backups";
constexpr const char *kPlainBackup = "/var/lib/bench-plain.ldif.zst";
constexpr const char *kPlainEntries = "/var/lib/bench-plain.ldif";
constexpr const char *kDatabase = "/usr/zafo/etc/openldap/data";
constexpr const char *kProgress = "/var/log/zafoldap.progress";

std::atomic<long> g_peak{0};

// The number that follows a key; 0 without the key.
long NumberOf(const std::string &file, const std::string &key) {
    std::ifstream stream(file);
    for (std::string line; std::getline(stream, line);) {
        if (line.starts_with(key)) return std::atol(line.c_str() + key.size());
    }
    return 0;
}

// Watches the memory of the backup program while it runs.
class MemoryWatch {
  public:
    MemoryWatch() : thread_([this] { Watch(); }) {}
    MemoryWatch(const MemoryWatch &) = delete;
    MemoryWatch &operator=(const MemoryWatch &) = delete;
    ~MemoryWatch() {
        over_ = true;
        thread_.join();
    }

  private:
    void Watch() {
        while (!over_) {
            const long pid = NumberOf(kProgress, "pid=");
            const long kib = NumberOf("/proc/" + std::to_string(pid) + "/status", "VmHWM:");
            if (kib > g_peak) g_peak = kib;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }

    std::atomic<bool> over_{false};
    std::thread thread_;
};

void Configure() {
    fs::create_directories(kBackups);
    ZAFOLDAP_BACKUP_CONFIG config{};
    config.szDestDir = kBackups;
    config.nMaxFile = 2;
    MustBe(ZAFOLDAPBackupConfigSet(&config) == 0, "cannot save the backup settings");
}

std::string NewestBackup() {
    fs::path newest;
    for (const auto &entry : fs::directory_iterator(kBackups))
        newest = std::max(newest, entry.path());
    return newest;
}

void MakeBackup() {
    FillOwnServer();
    Configure();
    MustBe(ZAFOLDAPServerBackup() == 0, "the backup failed");
}

// Runs a sh(1) command line.
void RunLine(const char *line) {
    MustBe(QLIBCExec("/bin/sh", "-c", line, nullptr, nullptr) == 0, line);
}

// Times `work` alone, not the preparation before it.
void Measure(benchmark::State &state, void (*prepare)(), void (*work)()) {
    for ([[maybe_unused]] auto _ : state) {
        prepare();
        const auto begin = Clock::now();
        work();
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - begin).count());
    }
}

void BackupFloor(benchmark::State &state) {
    Measure(state, FillOwnServer, [] {
        RunLine((std::string("/usr/zafo/bin/slapcat | zstd -q -f -o ") + kPlainBackup).c_str());
    });
}

void BackupOurs(benchmark::State &state) {
    Measure(
        state,
        [] {
            FillOwnServer();
            Configure();
        },
        [] {
            const MemoryWatch watch;
            MustBe(ZAFOLDAPServerBackup() == 0, "the backup failed");
        });
}

// By hand into an empty folder, without checks and without a running server.
void RestoreFloor(benchmark::State &state) {
    Measure(
        state,
        [] {
            FillOwnServer();
            RunLine((std::string("/usr/zafo/bin/slapcat >") + kPlainEntries).c_str());
            MustBe(ZAFOLDAPServerStop() == 0, "cannot stop the server");
            for (const char *name : {"data.mdb", "lock.mdb"})
                fs::remove(fs::path(kDatabase) / name);
        },
        [] {
            MustBe(QLIBCExec("/usr/zafo/bin/slapadd", "-q", "-l", kPlainEntries, nullptr) == 0,
                   "cannot load the entries");
        });
    MustBe(ZAFOLDAPServerStart() == 0, "cannot start the server");
}

// On a running server, which runs again afterwards.
void RestoreOurs(benchmark::State &state) {
    Measure(state, MakeBackup, [] {
        const MemoryWatch watch;
        MustBe(ZAFOLDAPServerRestore(NewestBackup().c_str()) == 0, "the restore failed");
    });
}

}  // namespace

long PeakOfBackups() {
    return g_peak;
}

void RegisterBackups(int rounds) {
    for (const auto &[name, body] : {std::pair{kBackupFloor, &BackupFloor},
                                     {kBackupOurs, &BackupOurs},
                                     {kRestoreFloor, &RestoreFloor},
                                     {kRestoreOurs, &RestoreOurs}}) {
        benchmark::RegisterBenchmark(name, body)
            ->Iterations(1)
            ->Repetitions(rounds)
            ->UseManualTime();
    }
}

}  // namespace zafo::bench
