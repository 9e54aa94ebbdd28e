#include "bmc_budget.h"

#include <algorithm>

#include "session_timing.h"

namespace Module::BMCConfig {

BudgetState StartBudget(unsigned timeoutMs) {
  BudgetState state;
  state.budgetMs = timeoutMs;
  // The driver's retransmission timeout: a request that took it had no reply to its first send.
  state.stallMs = Ordix::Imb::RetransmissionMs(timeoutMs);
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

void Charge(BudgetState& state, unsigned elapsedMs, bool failed) {
  if (!failed && elapsedMs < state.stallMs) return;
  state.lostMs += elapsedMs;
  ++state.lostRequests;
}

}  // namespace Module::BMCConfig
