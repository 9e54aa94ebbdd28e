#pragma once
// A console reporter that also keeps each benchmark's real time per iteration, so a benchmark
// program can print its result as a ratio to the reference measured in the same run.

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

class CollectingReporter : public benchmark::ConsoleReporter {
 public:
  CollectingReporter() : ConsoleReporter(OO_None) {}

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.iterations > 0 && !run.error_occurred) {
        microseconds_[run.benchmark_name()] =
            run.GetAdjustedRealTime() / benchmark::GetTimeUnitMultiplier(run.time_unit) * 1e6;
      }
    }
    ConsoleReporter::ReportRuns(runs);
  }

  // Microseconds per iteration, or 0 when the benchmark did not run (or failed).
  double Microseconds(const std::string& name) const {
    auto it = microseconds_.find(name);
    return it == microseconds_.end() ? 0.0 : it->second;
  }

 private:
  std::map<std::string, double> microseconds_;
};
