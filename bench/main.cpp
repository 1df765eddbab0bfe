// SPDX-License-Identifier: Apache-2.0
//
// zafo-bench JSON [ROUNDS [PATTERN]]: measures in the example directory started by bench/run,
// prints the table of goals and writes it to the file JSON. PATTERN, a regular expression, selects
// benchmarks by name.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <string>

#include <benchmark/benchmark.h>

#include "bench/connection.h"
#include "bench/figures.h"
#include "bench/report.h"
#include "bench/scenarios.h"
#include "platform/process.h"

namespace {

using zafo::bench::Figures;
using zafo::bench::Peak;

constexpr int kUsualRounds = 7;

Peak MeasurePeak(const char *mode, const char *what, int least) {
    const std::string path = std::string(zafo::bench::kPrograms) + "zafo-bench-reader";
    FILE *stream = QLIBCPopen(path.c_str(), "r", mode, what, static_cast<char *>(nullptr));
    Peak peak{0, 0};
    const bool read =
        stream != nullptr && std::fscanf(stream, "%d %ld", &peak.entries, &peak.kib) == 2;
    if (stream == nullptr || QLIBCPclose(stream) != 0 || !read || peak.entries < least)
        throw std::runtime_error(path + " " + mode + " failed");
    return peak;
}

zafo::bench::Peaks MeasurePeaks() {
    const int few = zafo::bench::kSmall.users, many = zafo::bench::kLarge.users;
    const auto read = [](int users) {
        return MeasurePeak("read", std::to_string(users).c_str(), users);
    };
    return {read(few),
            read(many),
            MeasurePeak("count", "small", few),
            MeasurePeak("count", "large", many),
            MeasurePeak("list", "small", few),
            MeasurePeak("list", "large", many),
            {}};
}

// Runs all repetitions of all benchmarks in one random order: a temporary disturbance of the
// machine then affects both sides of every comparison.
void MeasureTimes(const std::string &pattern, Figures *figures) {
    std::string words[] = {"zafo-bench", "--benchmark_enable_random_interleaving=true",
                           "--benchmark_filter=" + pattern};
    char *argv[] = {words[0].data(), words[1].data(), words[2].data(), nullptr};
    int argc = 3;
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks(figures);
}

int Run(const char *json_file, int rounds, const char *pattern) {
    const zafo::bench::Connection connection;
    zafo::bench::Peaks peaks = MeasurePeaks();
    zafo::bench::Register(connection, rounds);
    Figures figures;
    MeasureTimes(pattern != nullptr ? pattern : ".", &figures);
    for (const auto &[name, reason] : figures.Failures())
        std::fprintf(stderr, "%s failed: %s\n", name.c_str(), reason.c_str());
    if (!figures.Failures().empty()) return 1;
    peaks.backup = {zafo::bench::kOwnEntryCount, zafo::bench::PeakOfBackups()};
    const auto rows = zafo::bench::Rows(figures, peaks, pattern != nullptr);
    std::fputs(zafo::bench::Table(rows).c_str(), stdout);
    std::ofstream json(json_file);
    json << zafo::bench::Json(rows, figures) << std::flush;
    if (json) return 0;
    std::fprintf(stderr, "zafo-bench: cannot write %s\n", json_file);
    return 1;
}

}  // namespace

int main(int argc, char **argv) {
    const int rounds = argc > 2 ? std::atoi(argv[2]) : kUsualRounds;
    if (argc < 2 || argc > 4 || rounds < 1) {
        std::fputs("usage: zafo-bench JSON [ROUNDS [PATTERN]]\n", stderr);
        return 2;
    }
    try {
        return Run(argv[1], rounds, argc > 3 ? argv[3] : nullptr);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "zafo-bench: %s\n", error.what());
        return 1;
    }
}
