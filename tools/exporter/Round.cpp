#include "Round.h"

#include <chrono>
#include <exception>
#include <vector>

#include "Answers.h"
#include "ErrorCodes.h"
#include "MemoryReadings.h"
#include "ProcessorReadings.h"
#include "QueryScope.h"

namespace Exporter {

namespace {

constexpr const char* kBmcProbeQuery = "/BMC/SEL/RECORD";
constexpr const char* kInventoryQuery = "/Platform";
constexpr const char* kBiosVersionQuery = "/BIOS/Version";

const Labels kBmcSource{{"source", "bmc"}};
const Labels kSmbiosSource{{"source", "smbios"}};
const Labels kEfiSource{{"source", "efi_variable"}};

bool BmcReachable(const Asked& probe) {
  return !probe.failed || (probe.code != 0 && probe.code != ErrorCode::kBmcUnreachable &&
                           probe.code != ErrorCode::kBmcDriverNotLoaded);
}

void AddAll(Samples& to, const Samples& from) {
  to.insert(to.end(), from.begin(), from.end());
}

void AddMemory(const ModuleAccess& access, FailureCounter& failures, const RoundHooks& hooks,
               const ResultMap& inventory, bool bmcUp, Samples& samples) {
  const std::vector<Slot> slots = SlotsOf(inventory);
  AddAll(samples, MemorySizeSamples(inventory, slots));
  for (size_t i = 0; i < slots.size(); ++i) {
    const bool read = bmcUp && i < kMaxSlotsRead && !(hooks.stopping && hooks.stopping());
    AddAll(samples,
           DimmStateSamples(slots[i], read ? Ask(access, failures, DimmStateQuery(slots[i])).answer
                                           : ResultMap()));
  }
  if (bmcUp) AddAll(samples, MemoryErrorSamples(Ask(access, failures, kMemoryErrorsQuery).answer));
}

void AddIdentity(const ModuleAccess& access, FailureCounter& failures, Samples& samples) {
  const Asked bios = Ask(access, failures, kBiosVersionQuery);
  samples.push_back({Metric::kUp, kSmbiosSource, bios.failed ? 0.0 : 1.0});
  std::optional<ModuleHost::PlatformIdentity> identity;
  try {
    identity = access.identity();
  } catch (const std::exception&) {
  }
  if (identity) samples.push_back({Metric::kUp, kEfiSource, identity->board.empty() ? 0.0 : 1.0});
  const ModuleHost::PlatformIdentity known = identity.value_or(ModuleHost::PlatformIdentity{});
  samples.push_back({Metric::kInfo,
                     {{"family", known.family},
                      {"board", known.board},
                      {"bios_version", LeafValue(bios.answer, kBiosVersionQuery).value_or("")}},
                     1.0});
}

double SecondsSinceEpoch() {
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

}  // namespace

RoundResult CollectRound(const ModuleAccess& access, FailureCounter& failures,
                         const RoundHooks& hooks) {
  const auto start = std::chrono::steady_clock::now();
  // The round is one query to the framework: once the BMC fails in it, the round's other BMC
  // reads fail at once instead of each waiting out [BMC] TimeoutMs, so a BMC that dies
  // mid-round is reported by the next round within about one TimeoutMs.
  const QueryScope round;
  RoundResult result;
  const bool bmcUp = BmcReachable(Ask(access, failures, kBmcProbeQuery));
  if (!bmcUp && hooks.onBmcDown) hooks.onBmcDown();

  const Asked inventory = Ask(access, failures, kInventoryQuery);
  AddAll(result.samples, ProcessorSamples(inventory.answer));
  result.logicalProcessors = LogicalProcessorCount(inventory.answer);
  AddMemory(access, failures, hooks, inventory.answer, bmcUp, result.samples);
  AddIdentity(access, failures, result.samples);
  result.samples.push_back({Metric::kUp, kBmcSource, bmcUp ? 1.0 : 0.0});
  // Readings that reached the module after the probe found the BMC gone are not trusted either.
  if (!bmcUp) result.samples = WithoutBmcReadings(std::move(result.samples));

  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
  result.samples.push_back({Metric::kCollectionDuration, {}, took.count()});
  result.samples.push_back({Metric::kLastCollection, {}, SecondsSinceEpoch()});
  return result;
}

Samples BmcDownSamples(const Samples& last) {
  Samples samples = WithoutBmcReadings(last);
  SetSample(samples, Metric::kUp, kBmcSource, 0.0);
  return samples;
}

}  // namespace Exporter
