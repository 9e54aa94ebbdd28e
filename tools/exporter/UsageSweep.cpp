#include "UsageSweep.h"

#include <algorithm>
#include <string>

namespace Exporter {

void UsageSweep::Resize(std::optional<unsigned> count) {
  const unsigned bounded = std::min(count.value_or(0), kMaxProcessors);
  if (bounded == count_) return;
  count_ = bounded;
  ratios_.erase(ratios_.lower_bound(count_), ratios_.end());
  next_ = 0;
  sweepStart_.reset();
}

std::optional<unsigned> UsageSweep::Next(Clock::time_point now) {
  if (count_ == 0) return std::nullopt;
  if (next_ == 0) sweepStart_ = now;
  return next_;
}

void UsageSweep::Record(unsigned processor, std::optional<double> ratio, Clock::time_point now) {
  if (processor >= count_) return;
  if (ratio) {
    ratios_[processor] = *ratio;
  } else {
    ratios_.erase(processor);
  }
  next_ = (processor + 1) % count_;
  if (next_ == 0 && sweepStart_) {
    lastSweepSeconds_ = std::chrono::duration<double>(now - *sweepStart_).count();
  }
}

Samples UsageSweep::Published() const {
  Samples samples;
  for (const auto& [processor, ratio] : ratios_) {
    samples.push_back(
        {Metric::kProcessorUsage, {{"logical_processor", std::to_string(processor)}}, ratio});
  }
  if (lastSweepSeconds_) samples.push_back({Metric::kUsageSweepDuration, {}, *lastSweepSeconds_});
  return samples;
}

}  // namespace Exporter
