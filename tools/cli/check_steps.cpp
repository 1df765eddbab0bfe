// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/check_steps.h"

#include <algorithm>

#include <fmt/format.h>

#include "tools/cli/display_text.h"

namespace zafo::cli {

namespace {

constexpr std::string_view kColors[] = {"\033[32m", "\033[33m", "\033[31m", "\033[2m"};

}  // namespace

CheckStep Good(std::string detail) {
    return {.step = {}, .detail = std::move(detail)};
}

CheckStep Warned(std::string detail, std::string hint) {
    return {.step = {},
            .result = StepResult::kWarning,
            .detail = std::move(detail),
            .hint = std::move(hint)};
}

CheckStep Wrong(std::string detail, std::string hint) {
    return {.step = {},
            .result = StepResult::kFailed,
            .detail = std::move(detail),
            .hint = std::move(hint)};
}

CheckStep Skipped(std::string detail) {
    return {.step = {}, .result = StepResult::kSkipped, .detail = std::move(detail)};
}

std::string_view StepPrinter::Name(StepResult result) const {
    const std::string_view names[] = {"ok", "warning", words_.failed, "skipped"};
    return names[static_cast<int>(result)];
}

bool StepPrinter::AsTheyCome() const {
    return session_.Options().form == Form::kTable && session_.Options().fields.empty();
}

void StepPrinter::Print(const CheckStep &step) {
    steps_.push_back(
        {{words_.step.key, step.step},
         {words_.result.key, Name(step.result)},
         {words_.detail.key, TextOrNull(step.detail)},
         {words_.hint.key, TextOrNull(step.failure ? step.failure->hint : step.hint)}});
    results_.push_back(step.result);
    if (!AsTheyCome()) return;
    const bool colors = session_.streams.ColorsOut();
    session_.streams.Out(fmt::format("{}{:<8}{} {:<{}}{}\n",
                                     colors ? kColors[static_cast<int>(step.result)] : "",
                                     Name(step.result), colors ? "\033[0m" : "", step.step,
                                     step.detail.empty() ? 0 : width_, OneLine(step.detail)));
    if (!step.hint.empty())
        session_.streams.Out(fmt::format("{:<9}hint: {}\n", "", OneLine(step.hint)));
    session_.streams.Flush();
}

void StepPrinter::Finish(bool ok) {
    if (AsTheyCome()) return;
    if (session_.WantsJson() && !ok) {
        session_.document.Whole(steps_, /*ok=*/false, /*complete=*/true);
        return;
    }
    PrintList(session_.streams, session_.document,
              {words_.result, words_.step, words_.detail, words_.hint}, steps_);
}

size_t StepPrinter::Count(StepResult result) const {
    return static_cast<size_t>(std::ranges::count(results_, result));
}

}  // namespace zafo::cli
