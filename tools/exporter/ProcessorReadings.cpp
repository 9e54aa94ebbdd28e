#include "ProcessorReadings.h"

#include "Answers.h"

namespace Exporter {

namespace {

constexpr const char* kProcessorInfo = "/Platform/ProcessorInfo";
constexpr const char* kPhysicalCount = "/Platform/ProcessorInfo/NumberOfPhysicalProcessor";
constexpr const char* kLogicalCount = "/Platform/ProcessorInfo/NumberOfLogicalProcessor";
constexpr const char* kStatusPrefix = "/Platform/ProcessorInfo/PhysicalProcessorStatus[";
constexpr const char* kUsagePrefix = "/Platform/ProcessorInfo/LogicalProcessor[";
constexpr double kPercent = 100.0;

// The states of a package's status record; the module writes -1 for those its sensor does not
// report, 0 or 1 for the others.
constexpr const char* kStates[] = {"ThermalTrip",        "IERR",       "FRB1", "FRB2", "FRB3",
                                   "ProcessorThrottled", "ConfigError"};

std::optional<long long> Count(const ResultMap& inventory, const std::string& path) {
  const auto value = LeafValue(inventory, path);
  const auto count = value ? WholeNumber(*value) : std::nullopt;
  if (!count || *count < 0) return std::nullopt;
  return count;
}

void AddPackage(const ResultMap& inventory, const std::string& status, Samples& samples) {
  const std::string package = LastIndex(status);
  // A package whose status failed is an element holding the error key instead of children.
  const bool readable = !ChildPaths(inventory, status).empty();
  samples.push_back(
      {Metric::kProcessorStatusReadable, {{"package", package}}, readable ? 1.0 : 0.0});
  if (!readable) return;
  const std::string sensor = LeafValue(inventory, status + "/SensorNumber").value_or("");
  for (const char* state : kStates) {
    const auto value = LeafValue(inventory, status + "/" + state);
    const auto bit = value ? WholeNumber(*value) : std::nullopt;
    if (bit && (*bit == 0 || *bit == 1)) {
      samples.push_back({Metric::kProcessorState,
                         {{"package", package}, {"sensor", sensor}, {"state", state}},
                         static_cast<double>(*bit)});
    }
  }
}

}  // namespace

Samples ProcessorSamples(const ResultMap& inventory) {
  Samples samples;
  if (const auto physical = Count(inventory, kPhysicalCount)) {
    samples.push_back({Metric::kPhysicalProcessors, {}, static_cast<double>(*physical)});
  }
  if (const auto logical = Count(inventory, kLogicalCount)) {
    samples.push_back({Metric::kLogicalProcessors, {}, static_cast<double>(*logical)});
  }
  for (const std::string& child : ChildPaths(inventory, kProcessorInfo)) {
    if (child.rfind(kStatusPrefix, 0) == 0) AddPackage(inventory, child, samples);
  }
  return samples;
}

std::optional<unsigned> LogicalProcessorCount(const ResultMap& inventory) {
  const auto count = Count(inventory, kLogicalCount);
  if (!count) return std::nullopt;
  return static_cast<unsigned>(*count);
}

std::string UsageQuery(unsigned n) {
  return kUsagePrefix + std::to_string(n) + "]";
}

std::optional<double> UsageRatio(const ResultMap& answer, unsigned n) {
  const auto value = LeafValue(answer, UsageQuery(n));
  const auto percent = value ? DecimalNumber(*value) : std::nullopt;
  if (!percent) return std::nullopt;
  return *percent / kPercent;
}

}  // namespace Exporter
