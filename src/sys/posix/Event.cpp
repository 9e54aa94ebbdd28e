#include "sys/Event.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <optional>
#include <utility>

#include "Cancellation.h"

#if defined(__SANITIZE_ADDRESS__)
#define PC_SYS_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define PC_SYS_ASAN 1
#endif
#endif
#ifdef PC_SYS_ASAN
#include <sanitizer/asan_interface.h>
#endif

// An eventfd: Set adds to its counter, Reset drains it, Wait polls for readability without
// reading, so the event stays set for every waiter until it is reset. Wait's poll() is the
// only cancellation point here (Set, Reset and Close shut cancellation out) and no lock is held
// around it, so Thread::Terminate ends a waiting thread there; nothing on that path is
// noexcept, as the forced unwind of a cancellation passes through it.

namespace Sys {

namespace {

// Runs when a cancellation unwinds Wait. AddressSanitizer clears the stack's shadow when a C++
// exception is thrown, but not when a cancellation starts its forced unwind, so the redzones
// of the frames it leaves would stay and trip the checks of code that later runs there.
// Clearing from here, the innermost instrumented frame, does what a throw would.
struct CancellationGuard {
  bool armed = true;
  ~CancellationGuard() {
#ifdef PC_SYS_ASAN
    if (armed) __asan_handle_no_return();
#endif
  }
};

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
  const int fd = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (fd >= 0) event.native_ = fd;
  return event;
}

bool Event::IsValid() const {
  return native_ != kNone;
}

bool Event::Set() {
  if (!IsValid()) return false;
  const Posix::NoCancellation whole;
  const uint64_t one = 1;
  for (;;) {
    if (::write(static_cast<int>(native_), &one, sizeof one) == sizeof one) return true;
    // EAGAIN: the counter is at its maximum, so the event is set already.
    if (errno == EAGAIN) return true;
    if (errno != EINTR) return false;
  }
}

bool Event::Reset() {
  if (!IsValid()) return false;
  const Posix::NoCancellation whole;
  uint64_t count = 0;
  for (;;) {
    // One read takes the whole counter (not a semaphore eventfd).
    if (::read(static_cast<int>(native_), &count, sizeof count) == sizeof count) return true;
    if (errno == EAGAIN) return true;  // not set
    if (errno != EINTR) return false;
  }
}

Event::WaitResult Event::Wait(uint32_t timeoutMs) {
  if (!IsValid()) return WaitResult::Failed;
  using Clock = std::chrono::steady_clock;
  const bool infinite = timeoutMs == kInfinite;
  const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
  CancellationGuard guard;
  std::optional<WaitResult> result;
  while (!result) {
    int pollMs = -1;
    if (!infinite) {
      const auto left =
          std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
      // Long waits go in INT_MAX steps; a deadline passed still polls once, without waiting.
      pollMs = static_cast<int>(left <= 0 ? 0 : left < INT_MAX ? left : INT_MAX);
    }
    pollfd entry{static_cast<int>(native_), POLLIN, 0};
    const int ready = ::poll(&entry, 1, pollMs);  // the cancellation point
    if (ready > 0) {
      result = (entry.revents & POLLIN) != 0 ? WaitResult::Signalled : WaitResult::Failed;
    } else if (ready < 0 && errno != EINTR) {
      result = WaitResult::Failed;
    } else if (ready == 0 && !infinite && Clock::now() >= deadline) {
      result = WaitResult::TimedOut;
    }
  }
  guard.armed = false;
  return *result;
}

void Event::Close() {
  const Posix::NoCancellation fromDestructor;
  if (IsValid()) ::close(static_cast<int>(std::exchange(native_, kNone)));
}

}  // namespace Sys
