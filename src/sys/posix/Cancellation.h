#pragma once
// Internal to src/sys/posix.
#include <pthread.h>

namespace Sys::Posix {

// Makes the calling thread immune to Thread::Terminate for the object's life. Used where a
// cancellation must not act: in the middle of setting an event (only Event::Wait ends a
// thread) and in calls made from destructors, which are noexcept, so the forced unwind of a
// cancellation leaving them would end the process.
class NoCancellation {
 public:
  NoCancellation() { ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &old_); }
  ~NoCancellation() { ::pthread_setcancelstate(old_, nullptr); }
  NoCancellation(const NoCancellation&) = delete;
  NoCancellation& operator=(const NoCancellation&) = delete;

 private:
  int old_ = PTHREAD_CANCEL_ENABLE;
};

}  // namespace Sys::Posix
