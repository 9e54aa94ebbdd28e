#pragma once
// One collection of the module's readings, processor usage aside (see UsageSweep).

#include <cstddef>
#include <functional>
#include <optional>

#include "Asking.h"
#include "FailureCount.h"
#include "Metrics.h"

namespace Exporter {

struct RoundResult {
  Samples samples;
  std::optional<unsigned> logicalProcessors;  // for the usage sweep
};

// A slot's state costs a rebuild of the whole inventory, so a round asks for no more than this
// many, whatever the SMBIOS tables count; the others are published as not read.
constexpr size_t kMaxSlotsRead = 512;

// Asks, in this order: the BMC whether it can be reached (an event log read through the BMC
// module: a reply of any kind says it can, an unreachable controller or driver, or an error that
// is no ResultStatus, says it cannot);
// the whole "/Platform" inventory (processor and memory); each slot's state and the memory error
// counts, only while the BMC can be reached (each would wait for it in vain); the BIOS version;
// and the module's identification. A round whose BMC cannot be reached publishes no BMC reading
// and every "readable" flag at 0.
struct RoundHooks {
  // Runs as soon as the BMC is found unreachable, so that its readings can be withdrawn before
  // the rest of the round.
  std::function<void()> onBmcDown;
  // Asked before each slot's state: once it says so, the remaining slots are left unread, so
  // that a stop waits for one call into the module, not for a round.
  std::function<bool()> stopping;
};
RoundResult CollectRound(const ModuleAccess& access, FailureCounter& failures,
                         const RoundHooks& hooks);

// What is published the moment the BMC is found unreachable: the last round's samples without
// its readings, and platform_up{source="bmc"} 0.
Samples BmcDownSamples(const Samples& last);

}  // namespace Exporter
