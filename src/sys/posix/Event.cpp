#include "sys/Event.h"

#include <chrono>
#include <climits>
#include <exception>
#include <new>
#include <utility>

#include "ThreadControl.h"

// A futex word: bit 0 is set while the event is signalled; the bits above change only to
// release the waits of a thread being ended (ThreadControl). Set, Reset and a wait on a set
// event make no system call; a wait that blocks, and a Set that has a waiter to release, make
// one each. A wait of a thread being ended (Thread::Terminate) ends the thread there.

namespace Sys {

namespace {

constexpr uint32_t kSetBit = 1;

struct EventState {
  std::atomic<uint32_t> word{0};
  std::atomic<uint32_t> waiters{0};
};

EventState* StateOf(std::intptr_t native) {
  return reinterpret_cast<EventState*>(native);
}

// What is left until deadline, rounded up, for a relative futex wait; false once it has passed.
bool TimeLeft(std::chrono::steady_clock::time_point deadline, timespec& left) {
  const auto now = std::chrono::steady_clock::now();
  if (now >= deadline) return false;
  const auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(deadline - now).count();
  left.tv_sec = static_cast<time_t>(ns / 1000000000);
  left.tv_nsec = static_cast<long>(ns % 1000000000);
  return true;
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
  if (auto* state = new (std::nothrow) EventState) {
    event.native_ = reinterpret_cast<std::intptr_t>(state);
  }
  return event;
}

bool Event::IsValid() const {
  return native_ != kNone;
}

bool Event::Set() {
  if (!IsValid()) return false;
  EventState& state = *StateOf(native_);
  // Sequentially consistent with the waiter's count-then-look: one of the two sees the other.
  if ((state.word.fetch_or(kSetBit) & kSetBit) == 0 && state.waiters.load() != 0) {
    Posix::FutexWakeAll(state.word);
  }
  return true;
}

bool Event::Reset() {
  if (!IsValid()) return false;
  StateOf(native_)->word.fetch_and(~kSetBit);
  return true;
}

Event::WaitResult Event::Wait(uint32_t timeoutMs) {
  if (!IsValid()) return WaitResult::Failed;
  EventState& state = *StateOf(native_);
  Posix::ThreadControl* const self = Posix::CurrentThreadControl();
  // A wait in a destructor run by the unwinding must not throw again: it just fails.
  const bool mayEnd = self != nullptr && std::uncaught_exceptions() == 0;
  if (!mayEnd && self != nullptr && self->Ending()) return WaitResult::Failed;
  if (mayEnd && !self->BeginWait(&state.word)) throw Posix::ThreadEnding{};

  const bool infinite = timeoutMs == kInfinite;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  WaitResult result = WaitResult::TimedOut;
  state.waiters.fetch_add(1);
  for (;;) {
    const uint32_t word = state.word.load();
    if ((word & kSetBit) != 0) {
      result = WaitResult::Signalled;
      break;
    }
    if (mayEnd && self->Ending()) break;
    timespec left{};
    if (!infinite && !TimeLeft(deadline, left)) break;
    Posix::FutexWait(state.word, word, infinite ? nullptr : &left);
  }
  state.waiters.fetch_sub(1);
  if (mayEnd && !self->EndWait()) throw Posix::ThreadEnding{};
  return result;
}

void Event::Close() {
  if (IsValid()) delete StateOf(std::exchange(native_, kNone));
}

}  // namespace Sys
