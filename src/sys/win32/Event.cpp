#include "sys/Event.h"

#include <windows.h>

#include <utility>

namespace Sys {

namespace {

HANDLE AsHandle(std::intptr_t native) {
  return reinterpret_cast<HANDLE>(native);
}

}  // namespace

Event::~Event() {
  Close();
}

Event::Event(Event&& other) noexcept : native_(std::exchange(other.native_, kNone)) {}

Event& Event::operator=(Event&& other) noexcept {
  if (this != &other) {
    Close();
    native_ = std::exchange(other.native_, kNone);
  }
  return *this;
}

Event Event::CreateManualReset() {
  Event event;
  // Unnamed, manual-reset, initially non-signalled.
  HANDLE handle = ::CreateEventA(nullptr, TRUE, FALSE, nullptr);
  if (handle != nullptr) event.native_ = reinterpret_cast<std::intptr_t>(handle);
  return event;
}

bool Event::IsValid() const {
  return native_ != kNone;
}

bool Event::Set() {
  return IsValid() && ::SetEvent(AsHandle(native_)) != 0;
}

bool Event::Reset() {
  return IsValid() && ::ResetEvent(AsHandle(native_)) != 0;
}

Event::WaitResult Event::Wait(uint32_t timeoutMs) {
  if (!IsValid()) return WaitResult::Failed;
  static_assert(kInfinite == INFINITE, "the header's kInfinite is Windows' INFINITE");
  switch (::WaitForSingleObject(AsHandle(native_), timeoutMs)) {
    case WAIT_OBJECT_0:
      return WaitResult::Signalled;
    case WAIT_TIMEOUT:
      return WaitResult::TimedOut;
    default:
      return WaitResult::Failed;
  }
}

void Event::Close() {
  if (IsValid()) ::CloseHandle(AsHandle(std::exchange(native_, kNone)));
}

}  // namespace Sys
