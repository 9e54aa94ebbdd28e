#include "SnapshotStore.h"

#include <utility>

namespace Exporter {

void SnapshotStore::Publish(std::vector<prometheus::MetricFamily> families) {
  auto next = std::make_shared<const std::vector<prometheus::MetricFamily>>(std::move(families));
  std::lock_guard<std::mutex> lock(mutex_);
  latest_ = std::move(next);
}

std::vector<prometheus::MetricFamily> SnapshotStore::Collect() const {
  std::shared_ptr<const std::vector<prometheus::MetricFamily>> latest;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    latest = latest_;
  }
  // Copied outside the lock, so a scrape holds the collector up only for a pointer copy.
  return *latest;
}

}  // namespace Exporter
