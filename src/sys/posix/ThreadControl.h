#pragma once
// Internal to src/sys/posix: how Thread::Terminate reaches a thread in Event::Wait.
//
// A thread made by Thread::Create ends at its waits: Terminate marks it as ending and wakes the
// wait it is in, and the wait (that one, or the next if it is running other code) unwinds the
// thread's stack with ThreadEnding, caught where the thread started. Only a futex word is
// touched on the way, so ending a waiting thread costs a wake and a return, not a signal.

#include <atomic>
#include <cstdint>
#include <ctime>
#include <mutex>

namespace Sys::Posix {

static_assert(sizeof(std::atomic<uint32_t>) == sizeof(uint32_t) &&
                  std::atomic<uint32_t>::is_always_lock_free,
              "a futex word is a plain 32-bit word");

// Blocks while *word holds expected, for at most relative (nullptr: no limit); returns early on
// a wake, a signal or a change of the word.
void FutexWait(std::atomic<uint32_t>& word, uint32_t expected, const timespec* relative);
void FutexWakeAll(std::atomic<uint32_t>& word);

// Added to the futex word of the event a thread waits in, when the thread is ended: a change
// of the word releases the wait whatever the word's owner keeps in its lowest bit.
constexpr uint32_t kEndingWake = 2;

// Thrown by a wait of a thread being ended.
struct ThreadEnding {};

class ThreadControl {
 public:
  // The thread's kernel id, once it has started (0 until then).
  std::atomic<uint32_t> tid{0};

  // Registers word as the one the thread now waits on; false when the thread is ending.
  bool BeginWait(std::atomic<uint32_t>* word);
  // Ends the registration; false when the thread is ending.
  bool EndWait();
  bool Ending() const { return ending_.load(); }
  // Marks the thread as ending and releases the wait it is in, if any. The mutex keeps the
  // event alive meanwhile: a waiter leaves its registration only under it.
  void End();

 private:
  std::mutex mutex_;
  std::atomic<bool> ending_{false};
  std::atomic<uint32_t>* waitingOn_ = nullptr;
};

// The control of the calling thread, or nullptr for a thread Thread::Create did not make.
ThreadControl* CurrentThreadControl();

}  // namespace Sys::Posix
