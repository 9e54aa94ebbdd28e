#pragma once
// Processor usage is sampled one logical processor at a time, 200 ms each, round-robin between
// collections, so that neither a collection nor a scrape waits for all of them. Each value stays
// published until its processor is sampled again, which happens once per sweep: the duration of
// the last full sweep bounds how old a usage value is.

#include <chrono>
#include <map>
#include <optional>

#include "Metrics.h"

namespace Exporter {

class UsageSweep {
 public:
  using Clock = std::chrono::steady_clock;

  // No more logical processors than this are sampled, whatever count the module gives.
  static constexpr unsigned kMaxProcessors = 1024;

  // Sets how many logical processors there are (the inventory's count, nothing when it could
  // not count them): values of processors past the count go, and a changed count starts a new
  // sweep.
  void Resize(std::optional<unsigned> count);

  // The processor to sample next, nothing when there is none; now is when its sample starts.
  std::optional<unsigned> Next(Clock::time_point now);

  // The sample of processor, ending at now; a failed sample (no ratio) takes its old value away.
  void Record(unsigned processor, std::optional<double> ratio, Clock::time_point now);

  // Every processor's latest usage and, once a sweep has been completed, how long it took.
  Samples Published() const;

 private:
  unsigned count_ = 0;
  unsigned next_ = 0;
  std::map<unsigned, double> ratios_;
  std::optional<Clock::time_point> sweepStart_;
  std::optional<double> lastSweepSeconds_;
};

}  // namespace Exporter
