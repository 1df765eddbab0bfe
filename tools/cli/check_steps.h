// SPDX-License-Identifier: Apache-2.0
//
// A series of checks and how they are printed: in a table each as soon as it is done, otherwise all
// together.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/cli/listing.h"
#include "tools/cli/session.h"

namespace zafo::cli {

enum class StepResult { kOk, kWarning, kFailed, kSkipped };

struct CheckStep {
    std::string step = {};  // "settings", "resolve" …
    StepResult result = StepResult::kOk;
    std::string detail = {};
    std::string hint = {};
    std::optional<Failure> failure = {};  // of a failed step
};

// Steps without a name.
CheckStep Good(std::string detail);
CheckStep Warned(std::string detail, std::string hint);
CheckStep Wrong(std::string detail, std::string hint);
CheckStep Skipped(std::string detail);

// The headings of the columns, and the word for a failed step.
struct StepWords {
    Field step = {"step", "STEP"};
    Field result = {"result", "RESULT"};
    Field detail = {"detail", "DETAIL"};
    Field hint = {"hint", "HINT"};
    std::string_view failed = "failed";
};

class StepPrinter {
  public:
    // `width` is that of the step names in a table.
    explicit StepPrinter(Session &session, int width = 10, StepWords words = {})
        : session_(session), width_(width), words_(words) {}

    void Print(const CheckStep &step);
    void Finish(bool ok);
    size_t Count(StepResult result) const;
    const std::vector<Json> &Steps() const { return steps_; }

  private:
    bool AsTheyCome() const;
    std::string_view Name(StepResult result) const;

    Session &session_;
    int width_;
    StepWords words_;
    std::vector<Json> steps_;
    std::vector<StepResult> results_;
};

}  // namespace zafo::cli
