// SPDX-License-Identifier: Apache-2.0
#include "bench/figures.h"

#include <algorithm>

namespace zafo::bench {

double Samples::Least() const {
    return *std::min_element(seconds.begin(), seconds.end());
}

double Samples::Median() const {
    std::vector<double> sorted = seconds;
    const auto middle = sorted.begin() + static_cast<ptrdiff_t>(sorted.size() / 2);
    std::nth_element(sorted.begin(), middle, sorted.end());
    return *middle;
}

double Samples::Most() const {
    return *std::max_element(seconds.begin(), seconds.end());
}

void Figures::ReportRuns(const std::vector<Run> &runs) {
    for (const Run &run : runs) {
        const std::string &name = run.run_name.function_name;
        if (run.error_occurred) {
            failures_[name] = run.error_message;
        } else if (run.run_type == Run::RT_Iteration) {
            Samples &samples = samples_[name];
            samples.seconds.push_back(run.real_accumulated_time /
                                      static_cast<double>(run.iterations));
            const auto bytes = run.counters.find("bytes_per_second");
            if (bytes != run.counters.end()) {
                samples.bytes_per_second = std::max(samples.bytes_per_second, bytes->second.value);
            }
        }
    }
}

}  // namespace zafo::bench
