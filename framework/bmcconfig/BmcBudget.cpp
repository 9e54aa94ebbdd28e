#include "BmcBudget.h"

#include <algorithm>
#include <atomic>
#include <limits>

#include "QueryScope.h"
#include "Settings.h"
#include "bmc_budget.h"

namespace Module::BMCConfig {

namespace {

// The same default and range as the driver gives [BMC] TimeoutMs.
constexpr long kDefaultTimeoutMs = 5000;
constexpr long kMinTimeoutMs = 50;
constexpr long kMaxTimeoutMs = 600000;

// The fastest answer the BMC has given this process: what its link needs for a round trip.
std::atomic<uint64_t> gFastestUs{std::numeric_limits<uint64_t>::max()};

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
  const auto us = std::chrono::duration_cast<std::chrono::microseconds>(elapsed).count();
  const auto elapsedUs = static_cast<uint64_t>(std::max<decltype(us)>(us, 0));
  uint64_t fastest = gFastestUs.load(std::memory_order_relaxed);
  if (!failed) {
    while (elapsedUs < fastest &&
           !gFastestUs.compare_exchange_weak(fastest, elapsedUs, std::memory_order_relaxed)) {
    }
  }
  BudgetState* state = ThisQuery();
  if (state == nullptr) return;
  const uint64_t known = fastest == std::numeric_limits<uint64_t>::max() ? 0 : fastest;
  BMCConfig::Charge(*state, elapsedUs, failed, known);
}

void BmcBudget::Fail(const std::string& detail) {
  BudgetState* state = ThisQuery();
  if (state != nullptr && !state->failure) state->failure = detail;
}

}  // namespace Module::BMCConfig
