// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/progress.h"

#include "tools/cli/json_document.h"

#include <fmt/format.h>

#include <utility>

namespace zafo::cli {

namespace {

constexpr size_t kTenths = 10;
constexpr std::string_view kOverwrite = "\r\033[K";

size_t TenthOf(size_t done, size_t total) {
    return total == 0 ? kTenths : done * kTenths / total;
}

}  // namespace

Progress::Progress(const Session &session, std::string phase, size_t total)
    : streams_(session.streams),
      phase_(std::move(phase)),
      total_(total),
      manner_(MannerOf(session)) {}

Progress::~Progress() {
    if (begun_ && manner_ == Manner::kLine) streams_.Status(kOverwrite);
}

// Standard error is for one error object with --json, but for whoever asks for events.
Progress::Manner Progress::MannerOf(const Session &session) {
    const std::string *form = session.invocation.Find("progress");
    if (form != nullptr && *form == "json") return Manner::kEvents;
    const Globals &options = session.Options();
    if ((form != nullptr && *form == "off") || options.verbosity < 0 || options.form == Form::kJson)
        return Manner::kNone;
    return session.streams.ErrorIsTerminal() ? Manner::kLine : Manner::kTenths;
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
    switch (manner_) {
        case Manner::kNone:
            break;
        case Manner::kLine:
            streams_.Status(std::string(kOverwrite) + Line(done));
            break;
        case Manner::kTenths:
            if (!tenth) return;
            streams_.Status(Line(done) + "\n");
            break;
        case Manner::kEvents:
            streams_.Status(
                JsonText(
                    {{"event", "progress"}, {"phase", phase_}, {"done", done}, {"total", total_}}) +
                "\n");
            break;
    }
    begun_ = true;
    shown_ = done;
}

}  // namespace zafo::cli
