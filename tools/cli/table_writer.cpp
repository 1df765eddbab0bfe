// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/table_writer.h"

#include <algorithm>
#include <numeric>

#include "tools/cli/display_text.h"

namespace zafo::cli {

namespace {

constexpr size_t kRowsThatSettle = 200;
constexpr size_t kBytesThatSettle = 1 << 20;
// A wider cell shifts its own row, not all others.
constexpr int kWidest = 256;
constexpr int kGap = 2;
constexpr int kNarrowest = 6;

// Takes columns away from the widest until all fit.
void Narrow(std::vector<int> &widths, int columns) {
    const int gaps = kGap * (static_cast<int>(widths.size()) - 1);
    int excess = std::accumulate(widths.begin(), widths.end(), gaps) - columns;
    while (excess > 0) {
        const auto widest = std::ranges::max_element(widths);
        if (*widest <= kNarrowest) return;
        --*widest;
        --excess;
    }
}

}  // namespace

TableWriter::TableWriter(Streams &streams, std::vector<std::string> headings)
    : streams_(streams), headings_(std::move(headings)) {}

void TableWriter::Row(std::vector<std::string> cells) {
    if (settled_) {
        Print(cells, /*heading=*/false);
        return;
    }
    for (const std::string &cell : cells)
        waiting_bytes_ += cell.size();
    waiting_.push_back(std::move(cells));
    if (waiting_.size() == kRowsThatSettle || waiting_bytes_ > kBytesThatSettle) Settle();
}

void TableWriter::Finish() {
    if (!settled_ && !waiting_.empty()) Settle();
}

void TableWriter::Settle() {
    settled_ = true;
    for (const std::string &heading : headings_)
        widths_.push_back(DisplayWidth(heading));
    for (const auto &row : waiting_) {
        for (size_t i = 0; i < row.size(); ++i) {
            widths_[i] = std::max(widths_[i], std::min(DisplayWidth(row[i]), kWidest));
        }
    }
    if (const int columns = streams_.Columns(); columns > 0) {
        narrow_ = true;
        Narrow(widths_, columns);
    }
    Print(headings_, /*heading=*/true);
    for (const auto &row : waiting_)
        Print(row, /*heading=*/false);
    waiting_.clear();
}

void TableWriter::Print(const std::vector<std::string> &cells, bool heading) {
    std::string line;
    for (size_t i = 0; i < cells.size(); ++i) {
        const std::string cell = narrow_ ? Shortened(cells[i], widths_[i]) : cells[i];
        line += cell;
        if (i + 1 == cells.size()) break;
        const int missing = std::max(widths_[i] - DisplayWidth(cell), 0);
        line.append(static_cast<size_t>(missing) + kGap, ' ');
    }
    const size_t end = line.find_last_not_of(' ');
    line.resize(end == std::string::npos ? 0 : end + 1);
    streams_.Out((heading ? streams_.Bold(line) : line) + "\n");
}

}  // namespace zafo::cli
