#pragma once
// The arithmetic of the BMC's time within one query. Pure: the state is the caller's.

#include <cstdint>
#include <optional>
#include <string>

namespace Module::BMCConfig {

struct BudgetState {
  unsigned budgetMs = 0;  // what the query may lose to the BMC: [BMC] TimeoutMs
  // Half the least time a request that had to be sent again takes (FreeIPMI resends after an
  // eighth of the driver's retransmission timeout at the soonest, within a session). Requests
  // this slow count as lost, unless the link itself is that slow.
  unsigned stallMs = 0;
  unsigned lostMs = 0;
  unsigned lostRequests = 0;           // failed or stalled
  std::optional<std::string> failure;  // the first failure of the query
};

// The BMC's part of a query for the [BMC] TimeoutMs setting.
BudgetState StartBudget(unsigned timeoutMs);

struct Admission {
  bool refused = false;
  std::string reason;
  int timeoutMs = 0;
};

// Whether one more request may go out, and with what wait (fallbackMs caps it when above 0).
Admission Admit(const BudgetState& state, int fallbackMs);

// A request that took elapsedUs, on a link whose fastest answer so far took fastestUs (0: none
// yet): lost when it failed, or when it took as long as a resend may and much longer than the link
// needs (kStallRoundTrips of its fastest answers), so a slow but healthy link costs nothing.
constexpr uint64_t kStallRoundTrips = 4;
void Charge(BudgetState& state, uint64_t elapsedUs, bool failed, uint64_t fastestUs);

}  // namespace Module::BMCConfig
