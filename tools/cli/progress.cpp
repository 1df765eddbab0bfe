// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/progress.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "tools/cli/display_text.h"
#include "tools/cli/json_document.h"

namespace zafo::cli {

namespace {

constexpr size_t kTenths = 10;
size_t TenthOf(size_t done, size_t total) {
    return total == 0 ? kTenths : done * kTenths / total;
}

}  // namespace

// With --json, standard error is for a single error object unless events are requested.
ProgressManner MannerOf(const Session &session) {
    const std::string *how = session.invocation.Find("progress");
    if (how != nullptr && *how == "json") return ProgressManner::kEvents;
    const bool unwanted = (how != nullptr && *how == "none") || session.Options().verbosity < 0 ||
                          session.WantsJson();
    if (unwanted) return ProgressManner::kNone;
    return session.streams.ErrorIsTerminal() ? ProgressManner::kOneLine : ProgressManner::kLines;
}

Progress::Progress(const Session &session, std::string phase, size_t total)
    : streams_(session.streams),
      phase_(std::move(phase)),
      total_(total),
      manner_(MannerOf(session)) {}

Progress::~Progress() {
    if (begun_ && manner_ == ProgressManner::kOneLine) streams_.Passing("");
}

std::string Progress::Line(size_t done) const {
    std::string line = fmt::format("{}: {} of {}", phase_, done, total_);
    const double seconds = std::chrono::duration<double>(Clock::now() - start_).count();
    if (done == 0 || seconds < 1) return line;
    const double rate = static_cast<double>(done) / seconds;
    const auto left = static_cast<long>(static_cast<double>(total_ - done) / rate + 0.5);
    return line + fmt::format(", {:.0f} a second, {} s left", rate, left);
}

void Progress::Show(size_t done) {
    done = std::min(done, total_);
    if (begun_ && done == shown_) return;
    const bool tenth = !begun_ || TenthOf(done, total_) != TenthOf(shown_, total_);
    if (manner_ == ProgressManner::kOneLine) streams_.Passing(Shortened(Line(done), 79));
    if (manner_ == ProgressManner::kLines) {
        if (!tenth) return;
        streams_.Note(Line(done));
    }
    if (manner_ == ProgressManner::kEvents) {
        streams_.Event(JsonText(
            {{"event", "progress"}, {"phase", phase_}, {"done", done}, {"total", total_}}));
    }
    begun_ = true;
    shown_ = done;
}

}  // namespace zafo::cli
