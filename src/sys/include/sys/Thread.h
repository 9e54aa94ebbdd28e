#pragma once
#include <cstdint>

namespace Sys {

// A thread of this process, ended by force from outside. Move-only; the owner must Terminate
// it before letting it go (the destructor terminates one still running, so none outlives it).
class Thread {
 public:
  // The thread's start routine; its return value is the thread's exit code.
  using Routine = uint32_t (*)(void* parameter);

  Thread() = default;
  ~Thread();
  Thread(Thread&& other) noexcept;
  Thread& operator=(Thread&& other) noexcept;
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;

  // Starts routine(parameter) on a new thread (default stack, running at once). On failure
  // the result is not valid.
  static Thread Create(Routine routine, void* parameter);

  bool IsValid() const;
  // The OS's identifier of the thread, 0 when not valid. (Linux: a thread publishes its own
  // once it runs, so the first call may wait for it to start.)
  uint32_t Id() const;

  // Pins the thread to the logical processors whose bits are set in mask.
  bool SetAffinity(uint64_t mask);
  // Lets a thread created suspended run: the previous suspend count, or -1 on failure.
  // Threads made by Create already run, so this returns 0 for them.
  long Resume();

  // Ends the thread and waits until it is gone, then releases the handle. A thread blocked in
  // Event::Wait is ended there; one running ordinary code is ended at its next wait (Linux:
  // its stack unwound from there, so its destructors run), so it never dies holding a lock of
  // the runtime. Harmless when not valid.
  void Terminate(uint32_t exitCode);
  // Starts ending the thread as Terminate does, without waiting for it to go; Terminate then
  // waits. Ending many threads, start ending them all first, so they go together.
  void BeginTerminate(uint32_t exitCode);

 private:
  struct Handle;
  Handle* handle_ = nullptr;  // owned; null when not valid
  uint32_t id_ = 0;           // Windows: known at creation
};

// Pins the calling thread to the logical processors of mask.
bool SetCurrentThreadAffinity(uint64_t mask);

// The processors the process may run on and those the system has, one bit per logical
// processor (bit b = processor b; processors above 63 are not represented).
bool GetProcessAffinityMask(uint64_t& processMask, uint64_t& systemMask);

}  // namespace Sys
