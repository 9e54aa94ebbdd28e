#include "sys/Thread.h"

#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <utility>

#include "Cancellation.h"
#include "TextParsers.h"

// Termination is a deferred pthread_cancel followed by pthread_join: the thread ends at its
// next cancellation point (Event::Wait polls, which is one), unwinding its stack, so it never
// dies inside the allocator or holding a runtime lock, and it is gone when Terminate returns.

namespace Sys {

struct Thread::Handle {
  pthread_t thread{};
  Routine routine = nullptr;
  void* parameter = nullptr;
  uint32_t tid = 0;
  sem_t started{};  // posted by the new thread once tid is set

  // Must not be noexcept: a cancellation unwinds through it.
  static void* Start(void* argument) {
    auto* self = static_cast<Handle*>(argument);
    self->tid = static_cast<uint32_t>(::gettid());
    const Routine routine = self->routine;
    void* const parameter = self->parameter;
    ::sem_post(&self->started);
    routine(parameter);
    return nullptr;
  }
};

Thread::~Thread() {
  Terminate(static_cast<uint32_t>(-1));
}

Thread::Thread(Thread&& other) noexcept
    : handle_(std::exchange(other.handle_, nullptr)), id_(std::exchange(other.id_, 0)) {}

Thread& Thread::operator=(Thread&& other) noexcept {
  if (this != &other) {
    Terminate(static_cast<uint32_t>(-1));
    handle_ = std::exchange(other.handle_, nullptr);
    id_ = std::exchange(other.id_, 0);
  }
  return *this;
}

Thread Thread::Create(Routine routine, void* parameter) {
  Thread result;
  if (routine == nullptr) return result;
  const Posix::NoCancellation untilStarted;  // the handle must outlive the start handshake
  auto handle = std::make_unique<Handle>();
  handle->routine = routine;
  handle->parameter = parameter;
  if (::sem_init(&handle->started, 0, 0) != 0) return result;
  if (::pthread_create(&handle->thread, nullptr, &Handle::Start, handle.get()) != 0) {
    ::sem_destroy(&handle->started);
    return result;
  }
  while (::sem_wait(&handle->started) != 0 && errno == EINTR) {
  }
  result.id_ = handle->tid;
  result.handle_ = handle.release();
  return result;
}

bool Thread::IsValid() const {
  return handle_ != nullptr;
}

namespace {

bool ToCpuSet(uint64_t mask, cpu_set_t& set) {
  CPU_ZERO(&set);
  for (unsigned bit = 0; bit < 64; ++bit) {
    if ((mask >> bit) & 1u) CPU_SET(bit, &set);
  }
  return mask != 0;
}

}  // namespace

bool Thread::SetAffinity(uint64_t mask) {
  cpu_set_t set;
  if (!IsValid() || !ToCpuSet(mask, set)) return false;
  return ::pthread_setaffinity_np(handle_->thread, sizeof set, &set) == 0;
}

long Thread::Resume() {
  return IsValid() ? 0 : -1;
}

void Thread::Terminate(uint32_t /*exitCode: a cancelled thread has none of its own*/) {
  if (!IsValid()) return;
  const Posix::NoCancellation fromDestructor;  // pthread_join is a cancellation point
  std::unique_ptr<Handle> handle(std::exchange(handle_, nullptr));
  id_ = 0;
  ::pthread_cancel(handle->thread);  // harmless on a thread that has already returned
  // Join fails only for the calling thread itself, which then ends at its next cancellation
  // point; detaching lets the system reclaim it. It no longer touches the handle.
  if (::pthread_join(handle->thread, nullptr) != 0) ::pthread_detach(handle->thread);
  ::sem_destroy(&handle->started);
}

bool SetCurrentThreadAffinity(uint64_t mask) {
  cpu_set_t set;
  if (!ToCpuSet(mask, set)) return false;
  return ::pthread_setaffinity_np(::pthread_self(), sizeof set, &set) == 0;
}

bool GetProcessAffinityMask(uint64_t& processMask, uint64_t& systemMask) {
  // The process's mask is the main thread's (tid = pid). A cpu_set_t holds 1024 CPUs; larger
  // machines fail here.
  cpu_set_t set;
  CPU_ZERO(&set);
  if (::sched_getaffinity(::getpid(), sizeof set, &set) != 0) return false;
  processMask = 0;
  for (unsigned bit = 0; bit < 64; ++bit) {
    if (CPU_ISSET(bit, &set)) processMask |= uint64_t{1} << bit;
  }
  // The system's processors: those online (live, like the process mask). Without that list
  // the process's own stand in; either way the system mask contains the process mask.
  systemMask = 0;
  std::ifstream online("/sys/devices/system/cpu/online");
  const std::string text((std::istreambuf_iterator<char>(online)),
                         std::istreambuf_iterator<char>());
  if (!Posix::ParseCpuList(text, systemMask)) systemMask = 0;
  systemMask |= processMask;
  return true;
}

namespace Posix {

bool ParseCpuList(const std::string& text, uint64_t& mask) {
  uint64_t result = 0;
  size_t pos = 0;
  const size_t end = text.find_last_not_of(" \t\r\n") + 1;  // npos + 1 = 0 for blank text
  if (end == 0) return false;
  auto number = [&](unsigned long& value) {
    if (pos >= end || text[pos] < '0' || text[pos] > '9') return false;
    char* stop = nullptr;
    errno = 0;
    value = std::strtoul(text.c_str() + pos, &stop, 10);
    pos = static_cast<size_t>(stop - text.c_str());
    return errno == 0 && pos <= end;
  };
  for (;;) {
    unsigned long first = 0;
    unsigned long last = 0;
    if (!number(first)) return false;
    last = first;
    if (pos < end && text[pos] == '-') {
      ++pos;
      if (!number(last) || last < first) return false;
    }
    for (unsigned long cpu = first; cpu <= last && cpu < 64; ++cpu) result |= uint64_t{1} << cpu;
    if (pos == end) break;
    if (text[pos++] != ',') return false;
  }
  mask = result;
  return true;
}

}  // namespace Posix

}  // namespace Sys
