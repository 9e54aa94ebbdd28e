#pragma once
// The metric families the exporter publishes and the samples it builds them from.

#include <prometheus/metric_family.h>

#include <string>
#include <utility>
#include <vector>

namespace Exporter {

enum class Metric {
  kUp,
  kCollectionDuration,
  kLastCollection,
  kInfo,
  kPhysicalProcessors,
  kLogicalProcessors,
  kProcessorState,
  kProcessorStatusReadable,
  kProcessorUsage,
  kUsageSweepDuration,
  kSlotSize,
  kInstalledMemory,
  kDimmState,
  kDimmStateReadable,
  kCorrectedErrors,
  kUncorrectedErrors,
};

// Where a metric's value comes from, which decides what a dead BMC takes away.
enum class Origin {
  kBmcValue,     // read from the BMC: dropped when it cannot be reached
  kBmcReadable,  // whether a BMC reading succeeded: 0 when it cannot be reached
  kOther,        // SMBIOS, the OS, the exporter itself
};

struct MetricInfo {
  const char* name;
  const char* help;
  Origin origin;
};

const MetricInfo& InfoOf(Metric metric);

// Every metric in the order the families are published.
const std::vector<Metric>& AllMetrics();

using Labels = std::vector<std::pair<std::string, std::string>>;

struct Sample {
  Metric metric;
  Labels labels;
  double value;
};
using Samples = std::vector<Sample>;

// The samples as metric families (all gauges), in catalogue order, each with its HELP and TYPE;
// metrics without samples are left out.
std::vector<prometheus::MetricFamily> ToFamilies(const Samples& samples);

// What can still be said while the BMC cannot be reached: its readings go, and every "readable"
// flag of a BMC reading becomes 0.
Samples WithoutBmcReadings(Samples samples);

// Adds or replaces the sample of metric with exactly these labels.
void SetSample(Samples& samples, Metric metric, const Labels& labels, double value);

}  // namespace Exporter
