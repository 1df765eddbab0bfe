// SPDX-License-Identifier: Apache-2.0
//
// The measurements, by benchmark name.
#pragma once

#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace zafo::bench {

struct Samples {
    std::vector<double> seconds;  // one per repetition, for one run
    double bytes_per_second = 0;  // of the fastest repetition, where bytes are counted

    // The least is the one to compare: other work on the machine only ever adds time.
    double Least() const;
    double Median() const;
    double Most() const;
};

class Figures : public benchmark::BenchmarkReporter {
  public:
    bool ReportContext(const Context &) override { return true; }
    void ReportRuns(const std::vector<Run> &runs) override;

    // Throws std::out_of_range for a benchmark that was not measured.
    const Samples &Of(const std::string &name) const { return samples_.at(name); }
    const std::map<std::string, Samples> &All() const { return samples_; }
    const std::map<std::string, std::string> &Failures() const { return failures_; }

  private:
    std::map<std::string, Samples> samples_;
    std::map<std::string, std::string> failures_;
};

}  // namespace zafo::bench
