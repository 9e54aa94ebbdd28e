#include "bmc_budget.h"

#include <algorithm>

#include "session_timing.h"

namespace Module::BMCConfig {

namespace {
constexpr unsigned kStallShareOfRetransmission = 16;
constexpr uint64_t kMicrosPerMilli = 1000;
}  // namespace

BudgetState StartBudget(unsigned timeoutMs) {
  BudgetState state;
  state.budgetMs = timeoutMs;
  state.stallMs = Ordix::Imb::RetransmissionMs(timeoutMs) / kStallShareOfRetransmission;
  return state;
}

Admission Admit(const BudgetState& state, int fallbackMs) {
  Admission admission;
  if (state.failure) {
    admission.refused = true;
    admission.reason = "the BMC failed earlier in this query: " + *state.failure;
    return admission;
  }
  if (state.lostMs >= state.budgetMs) {
    admission.refused = true;
    admission.reason =
        "this query's time for the BMC ([BMC] TimeoutMs = " + std::to_string(state.budgetMs) +
        ") is spent on " + std::to_string(state.lostRequests) + " slow or failed requests";
    return admission;
  }
  const unsigned left = state.budgetMs - state.lostMs;
  admission.timeoutMs =
      fallbackMs > 0 ? std::min(fallbackMs, static_cast<int>(left)) : static_cast<int>(left);
  return admission;
}

void Charge(BudgetState& state, uint64_t elapsedUs, bool failed, uint64_t fastestUs) {
  const uint64_t stallUs =
      std::max<uint64_t>(state.stallMs * kMicrosPerMilli, kStallRoundTrips * fastestUs);
  if (!failed && elapsedUs < stallUs) return;
  state.lostMs +=
      static_cast<unsigned>(std::min<uint64_t>(elapsedUs / kMicrosPerMilli, state.budgetMs));
  ++state.lostRequests;
}

}  // namespace Module::BMCConfig
