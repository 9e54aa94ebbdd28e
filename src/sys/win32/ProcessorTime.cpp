#include "sys/ProcessorTime.h"

#include <windows.h>
// <windows.h> first: the PDH header builds on its types.
#include <pdh.h>

#include <utility>

namespace Sys {

namespace {

// The user data given with the query and the counter; PDH hands them back in callbacks only.
constexpr DWORD_PTR kQueryUserData = 0x1234;
constexpr DWORD_PTR kCounterUserData = 0x5678;
static_assert(PDH_FMT_DOUBLE == 0x200, "PDH_FMT_DOUBLE is 0x200");

}  // namespace

struct ProcessorTimeQuery::State {
  PDH_HQUERY query = nullptr;
  PDH_HCOUNTER counter = nullptr;
};

ProcessorTimeQuery::~ProcessorTimeQuery() {
  Close();
}

ProcessorTimeQuery::ProcessorTimeQuery(ProcessorTimeQuery&& other) noexcept
    : state_(std::exchange(other.state_, nullptr)) {}

ProcessorTimeQuery& ProcessorTimeQuery::operator=(ProcessorTimeQuery&& other) noexcept {
  if (this != &other) {
    Close();
    state_ = std::exchange(other.state_, nullptr);
  }
  return *this;
}

bool ProcessorTimeQuery::Open() {
  Close();
  PDH_HQUERY query = nullptr;
  // No data source: the live counters of this machine.
  if (::PdhOpenQueryA(nullptr, kQueryUserData, &query) != ERROR_SUCCESS) return false;
  state_ = new State{query, nullptr};
  return true;
}

bool ProcessorTimeQuery::AddCounter(const std::string& counterPath) {
  if (state_ == nullptr || state_->counter != nullptr) return false;
  PDH_HCOUNTER counter = nullptr;
  if (::PdhAddCounterA(state_->query, counterPath.c_str(), kCounterUserData, &counter) !=
      ERROR_SUCCESS) {
    return false;
  }
  state_->counter = counter;
  return true;
}

bool ProcessorTimeQuery::Collect() {
  return state_ != nullptr && ::PdhCollectQueryData(state_->query) == ERROR_SUCCESS;
}

bool ProcessorTimeQuery::GetFormattedValue(double& percent) {
  if (state_ == nullptr || state_->counter == nullptr) return false;
  PDH_FMT_COUNTERVALUE value{};
  if (::PdhGetFormattedCounterValue(state_->counter, PDH_FMT_DOUBLE, nullptr, &value) !=
      ERROR_SUCCESS) {
    return false;
  }
  percent = value.doubleValue;
  return true;
}

void ProcessorTimeQuery::RemoveCounter() {
  if (state_ != nullptr && state_->counter != nullptr) {
    ::PdhRemoveCounter(std::exchange(state_->counter, nullptr));
  }
}

void ProcessorTimeQuery::Close() {
  if (state_ == nullptr) return;
  RemoveCounter();
  ::PdhCloseQuery(state_->query);
  delete std::exchange(state_, nullptr);
}

}  // namespace Sys
