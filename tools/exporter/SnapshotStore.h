#pragma once
// The latest complete set of metric families, published by the collector and read by every
// scrape: a scrape copies what is there and never waits for the module.

#include <prometheus/collectable.h>
#include <prometheus/metric_family.h>

#include <memory>
#include <mutex>
#include <vector>

namespace Exporter {

class SnapshotStore : public prometheus::Collectable {
 public:
  // Replaces what scrapes see, all at once.
  void Publish(std::vector<prometheus::MetricFamily> families);

  std::vector<prometheus::MetricFamily> Collect() const override;

 private:
  mutable std::mutex mutex_;
  std::shared_ptr<const std::vector<prometheus::MetricFamily>> latest_ =
      std::make_shared<const std::vector<prometheus::MetricFamily>>();
};

}  // namespace Exporter
