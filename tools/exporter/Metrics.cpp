#include "Metrics.h"

#include <algorithm>
#include <map>

namespace Exporter {

namespace {

// Names follow the Prometheus conventions: a platform_ prefix, base units (bytes, seconds, ratios
// of 0 to 1), and _total only on counters. The error counts read from the event log are gauges:
// they start again at each system boot record the log holds.
const std::map<Metric, MetricInfo>& Catalogue() {
  static const std::map<Metric, MetricInfo> catalogue = {
      {Metric::kUp,
       {"platform_up",
        "Whether the last collection could read the source: bmc (the management controller "
        "answered), smbios (the SMBIOS tables could be read), efi_variable (the module read the "
        "board identifier from the firmware variable FWVERSIONDATA when it identified the "
        "platform).",
        Origin::kOther}},
      {Metric::kCollectionDuration,
       {"platform_collection_duration_seconds",
        "Time the last collection of the module's readings took, processor usage sampling aside.",
        Origin::kOther}},
      {Metric::kLastCollection,
       {"platform_last_collection_timestamp_seconds",
        "When the last collection of the module's readings ended, in seconds since the epoch.",
        Origin::kOther}},
      {Metric::kInfo,
       {"platform_info",
        "The platform family and board identifier the module identified (empty where it could "
        "not) and the BIOS version; always 1.",
        Origin::kOther}},
      {Metric::kPhysicalProcessors,
       {"platform_physical_processors", "Populated processor sockets.", Origin::kOther}},
      {Metric::kLogicalProcessors,
       {"platform_logical_processors", "Logical processors the module can run on.",
        Origin::kOther}},
      {Metric::kProcessorState,
       {"platform_processor_state",
        "A processor package's sensor state as the BMC reports it: 1 asserted, 0 not. States the "
        "sensor does not report are absent.",
        Origin::kBmcValue}},
      {Metric::kProcessorStatusReadable,
       {"platform_processor_status_readable",
        "Whether the sensor status of a processor package could be read in the last collection.",
        Origin::kBmcReadable}},
      {Metric::kProcessorUsage,
       {"platform_processor_usage_ratio",
        "Share of a 200 ms window a logical processor was busy, from 0 to 1.", Origin::kOther}},
      {Metric::kUsageSweepDuration,
       {"platform_processor_usage_sweep_seconds",
        "Time the last pass sampling every logical processor's usage took: no usage value is "
        "older than that.",
        Origin::kOther}},
      {Metric::kSlotSize,
       {"platform_memory_slot_size_bytes",
        "Size of the memory module in a slot, 0 for an empty slot.", Origin::kOther}},
      {Metric::kInstalledMemory,
       {"platform_memory_installed_bytes", "Total size of the installed memory modules.",
        Origin::kOther}},
      {Metric::kDimmState,
       {"platform_dimm_state",
        "State bits of a memory slot from its BMC sensor: 1, 2, 4 and 8 for sensor states 2, 9, "
        "8 and 0 (correctable ECC); absent when they could not be read.",
        Origin::kBmcValue}},
      {Metric::kDimmStateReadable,
       {"platform_dimm_state_readable",
        "Whether the state of a memory slot could be read in the last collection.",
        Origin::kBmcReadable}},
      {Metric::kCorrectedErrors,
       {"platform_memory_corrected_errors",
        "Corrected memory errors the BMC's event log holds since its last system boot record.",
        Origin::kBmcValue}},
      {Metric::kUncorrectedErrors,
       {"platform_memory_uncorrected_errors",
        "Uncorrected memory errors the BMC's event log holds since its last system boot record.",
        Origin::kBmcValue}},
  };
  return catalogue;
}

prometheus::ClientMetric ToClientMetric(const Sample& sample) {
  prometheus::ClientMetric metric;
  for (const auto& [name, value] : sample.labels) metric.label.push_back({name, value});
  metric.gauge.value = sample.value;
  return metric;
}

}  // namespace

const MetricInfo& InfoOf(Metric metric) {
  return Catalogue().at(metric);
}

const std::vector<Metric>& AllMetrics() {
  static const std::vector<Metric> all = [] {
    std::vector<Metric> metrics;
    for (const auto& entry : Catalogue()) metrics.push_back(entry.first);
    return metrics;
  }();
  return all;
}

std::vector<prometheus::MetricFamily> ToFamilies(const Samples& samples) {
  std::vector<prometheus::MetricFamily> families;
  for (const Metric metric : AllMetrics()) {
    prometheus::MetricFamily family;
    for (const Sample& sample : samples) {
      if (sample.metric == metric) family.metric.push_back(ToClientMetric(sample));
    }
    if (family.metric.empty()) continue;
    const MetricInfo& info = InfoOf(metric);
    family.name = info.name;
    family.help = info.help;
    family.type = prometheus::MetricType::Gauge;
    families.push_back(std::move(family));
  }
  return families;
}

Samples WithoutBmcReadings(Samples samples) {
  samples.erase(
      std::remove_if(samples.begin(), samples.end(),
                     [](const Sample& s) { return InfoOf(s.metric).origin == Origin::kBmcValue; }),
      samples.end());
  for (Sample& sample : samples) {
    if (InfoOf(sample.metric).origin == Origin::kBmcReadable) sample.value = 0;
  }
  return samples;
}

void SetSample(Samples& samples, Metric metric, const Labels& labels, double value) {
  for (Sample& sample : samples) {
    if (sample.metric == metric && sample.labels == labels) {
      sample.value = value;
      return;
    }
  }
  samples.push_back({metric, labels, value});
}

}  // namespace Exporter
