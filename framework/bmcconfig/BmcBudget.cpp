#include "BmcBudget.h"

#include <algorithm>

#include "QueryScope.h"
#include "Settings.h"
#include "bmc_budget.h"

namespace Module::BMCConfig {

namespace {

// The same default and range as the driver gives [BMC] TimeoutMs.
constexpr long kDefaultTimeoutMs = 5000;
constexpr long kMinTimeoutMs = 50;
constexpr long kMaxTimeoutMs = 600000;

BudgetState* ThisQuery() {
  static thread_local PerQuery<BudgetState> state;
  return state.Get([] {
    long timeout = Ordix::Settings::GetInt("BMC", "TimeoutMs", kDefaultTimeoutMs);
    if (timeout < kMinTimeoutMs || timeout > kMaxTimeoutMs) timeout = kDefaultTimeoutMs;
    return StartBudget(static_cast<unsigned>(timeout));
  });
}

}  // namespace

BmcBudget::Grant BmcBudget::Admit(int fallbackMs) {
  const BudgetState* state = ThisQuery();
  if (state == nullptr) return {false, {}, fallbackMs};
  Admission admission = BMCConfig::Admit(*state, fallbackMs);
  return {admission.refused, std::move(admission.reason), admission.timeoutMs};
}

void BmcBudget::Charge(std::chrono::steady_clock::duration elapsed, bool failed) {
  BudgetState* state = ThisQuery();
  if (state == nullptr) return;
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count();
  BMCConfig::Charge(*state, static_cast<unsigned>(std::max<decltype(ms)>(ms, 0)), failed);
}

void BmcBudget::Fail(const std::string& detail) {
  BudgetState* state = ThisQuery();
  if (state != nullptr && !state->failure) state->failure = detail;
}

}  // namespace Module::BMCConfig
