#pragma once
#include <cstdint>

namespace Sys {

// An unnamed manual-reset event, created non-signalled: once set it stays set, releasing every
// wait, until it is reset. Move-only; the handle is closed with the object.
class Event {
 public:
  enum class WaitResult { Signalled, TimedOut, Failed };
  static constexpr uint32_t kInfinite = 0xFFFFFFFFu;

  Event() = default;
  ~Event();
  Event(Event&& other) noexcept;
  Event& operator=(Event&& other) noexcept;
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;

  // On failure the result is not valid.
  static Event CreateManualReset();

  bool IsValid() const;
  bool Set();
  bool Reset();
  // Waits until the event is set or timeoutMs have passed (kInfinite: no limit). A thread
  // terminated by Thread::Terminate while waiting here ends cleanly.
  WaitResult Wait(uint32_t timeoutMs);
  // Closes the handle now; the object is then not valid.
  void Close();

 private:
  // The OS's event (on Linux the address of its futex word, on Windows a HANDLE); kNone when
  // not valid.
  static constexpr std::intptr_t kNone = -1;
  std::intptr_t native_ = kNone;
};

}  // namespace Sys
