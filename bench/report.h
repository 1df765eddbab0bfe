// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "bench/figures.h"

namespace zafo::bench {

// The peak memory of a process that read that many entries.
struct Peak {
    int entries;
    long kib;
};

// For reading entries, for counting accounts, and for listing them (without the lists themselves).
struct Peaks {
    Peak read_few, read_many;
    Peak count_few, count_many;
    Peak list_few, list_many;
    Peak backup{};
};

struct Row {
    std::string id;
    std::string work;
    std::string unit;
    double floor = 0;  // or the other side of a comparison; 0: none
    double ours = 0;
    double compared = 0;  // the ratio or value that the goal applies to
    std::string goal;
    bool reached = false;
    bool measured = true;  // false for a peer that is not installed
};

// With `some`, only those that were measured.
std::vector<Row> Rows(const Figures &figures, const Peaks &peaks, bool some);

// A table for people.
std::string Table(const std::vector<Row> &rows);

// The same and every sample, for programs.
std::string Json(const std::vector<Row> &rows, const Figures &figures);

}  // namespace zafo::bench
