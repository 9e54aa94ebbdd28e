#include "MemoryReadings.h"

#include <set>

#include "Answers.h"

namespace Exporter {

namespace {

constexpr const char* kMemoryInfo = "/Platform/MemoryTopology/MemoryInfo";
constexpr const char* kTotalSize = "/Platform/MemoryTopology/TotalMemorySize";
constexpr const char* kCorrected = "/Platform/MemoryTopology/Errors/CorErrorCount";
constexpr const char* kUncorrected = "/Platform/MemoryTopology/Errors/UnCorErrorCount";
constexpr double kBytesPerMegabyte = 1024.0 * 1024.0;  // the inventory's sizes are in MB

std::string LeafOr(const ResultMap& result, const std::string& path) {
  return LeafValue(result, path).value_or("");
}

Labels SlotLabels(const Slot& slot) {
  return {{"index", slot.index}, {"slot", slot.name}, {"bank", slot.bank}};
}

std::optional<long long> Count(const ResultMap& answer, const std::string& path) {
  const auto value = LeafValue(answer, path);
  const auto count = value ? WholeNumber(*value) : std::nullopt;
  if (!count || *count < 0) return std::nullopt;
  return count;
}

}  // namespace

const char* const kMemoryErrorsQuery = "/Platform/MemoryTopology/Errors";

std::vector<Slot> SlotsOf(const ResultMap& inventory) {
  std::vector<Slot> slots;
  std::set<std::string> seen;
  // A slot written twice (arrays whose device counts differ overlap) is listed twice.
  for (const std::string& path : ChildPaths(inventory, kMemoryInfo)) {
    if (!seen.insert(path).second) continue;
    slots.push_back({path, LastIndex(path), LeafOr(inventory, path + "/MemorySlotName"),
                     LeafOr(inventory, path + "/MemoryBankName"),
                     LeafOr(inventory, path + "/SlotSensorNumber")});
  }
  return slots;
}

Samples MemorySizeSamples(const ResultMap& inventory, const std::vector<Slot>& slots) {
  Samples samples;
  for (const Slot& slot : slots) {
    if (const auto size = Count(inventory, slot.path + "/MemorySize")) {
      samples.push_back(
          {Metric::kSlotSize, SlotLabels(slot), static_cast<double>(*size) * kBytesPerMegabyte});
    }
  }
  if (const auto total = Count(inventory, kTotalSize)) {
    samples.push_back(
        {Metric::kInstalledMemory, {}, static_cast<double>(*total) * kBytesPerMegabyte});
  }
  return samples;
}

std::string DimmStateQuery(const Slot& slot) {
  return slot.path + "/MemoryState";
}

Samples DimmStateSamples(const Slot& slot, const ResultMap& answer) {
  Labels labels = SlotLabels(slot);
  labels.emplace_back("sensor", slot.sensor);
  const auto value = LeafValue(answer, DimmStateQuery(slot));
  // The module publishes the bits in hexadecimal, or its error key when they could not be had.
  const auto state = value ? HexNumber(*value) : std::nullopt;
  Samples samples{{Metric::kDimmStateReadable, labels, state ? 1.0 : 0.0}};
  if (state) samples.push_back({Metric::kDimmState, labels, static_cast<double>(*state)});
  return samples;
}

Samples MemoryErrorSamples(const ResultMap& answer) {
  Samples samples;
  if (const auto corrected = Count(answer, kCorrected)) {
    samples.push_back({Metric::kCorrectedErrors, {}, static_cast<double>(*corrected)});
  }
  if (const auto uncorrected = Count(answer, kUncorrected)) {
    samples.push_back({Metric::kUncorrectedErrors, {}, static_cast<double>(*uncorrected)});
  }
  return samples;
}

}  // namespace Exporter
