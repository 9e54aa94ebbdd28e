#include "sys/Thread.h"

#include <linux/futex.h>
#include <pthread.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>
#include <utility>

#include "SmallFile.h"
#include "TextParsers.h"
#include "ThreadControl.h"

// Terminate ends a thread at its wait (ThreadControl): the wait it is in, or the next one it
// makes, unwinds its stack, so it never dies inside the allocator or holding a runtime lock, and
// it is gone when Terminate returns. Create does not wait for the thread to start: its kernel id
// is waited for only when asked.

namespace Sys {

namespace Posix {

void FutexWait(std::atomic<uint32_t>& word, uint32_t expected, const timespec* relative) {
  ::syscall(SYS_futex, reinterpret_cast<uint32_t*>(&word), FUTEX_WAIT_PRIVATE, expected, relative,
            nullptr, 0);
}

void FutexWakeAll(std::atomic<uint32_t>& word) {
  ::syscall(SYS_futex, reinterpret_cast<uint32_t*>(&word), FUTEX_WAKE_PRIVATE, INT_MAX, nullptr,
            nullptr, 0);
}

bool ThreadControl::BeginWait(std::atomic<uint32_t>* word) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (ending_) return false;
  waitingOn_ = word;
  return true;
}

bool ThreadControl::EndWait() {
  const std::lock_guard<std::mutex> lock(mutex_);
  waitingOn_ = nullptr;
  return !ending_;
}

void ThreadControl::End() {
  const std::lock_guard<std::mutex> lock(mutex_);
  ending_ = true;
  if (waitingOn_ != nullptr) {
    waitingOn_->fetch_add(kEndingWake);
    FutexWakeAll(*waitingOn_);
  }
}

namespace {
thread_local ThreadControl* tControl = nullptr;
}  // namespace

ThreadControl* CurrentThreadControl() {
  return tControl;
}

}  // namespace Posix

namespace {

// Handed to the new thread, which owns it from then on; it shares the control with the Thread
// object, so either may go first.
struct StartBlock {
  Thread::Routine routine = nullptr;
  void* parameter = nullptr;
  std::shared_ptr<Posix::ThreadControl> control;

  static void* Run(void* argument) {
    const std::unique_ptr<StartBlock> self(static_cast<StartBlock*>(argument));
    Posix::ThreadControl& control = *self->control;
    Posix::tControl = &control;
    control.tid = static_cast<uint32_t>(::gettid());
    Posix::FutexWakeAll(control.tid);
    try {
      self->routine(self->parameter);
    } catch (const Posix::ThreadEnding&) {
      // Ended by Terminate at one of its waits.
    }
    Posix::tControl = nullptr;
    return nullptr;
  }
};

}  // namespace

struct Thread::Handle {
  pthread_t thread{};
  std::shared_ptr<Posix::ThreadControl> control;
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
  auto handle = std::make_unique<Handle>();
  handle->control = std::make_shared<Posix::ThreadControl>();
  auto start = std::make_unique<StartBlock>(StartBlock{routine, parameter, handle->control});
  if (::pthread_create(&handle->thread, nullptr, &StartBlock::Run, start.get()) != 0) {
    return result;
  }
  start.release();  // the thread's now
  result.handle_ = handle.release();
  return result;
}

uint32_t Thread::Id() const {
  if (handle_ == nullptr) return 0;
  std::atomic<uint32_t>& tid = handle_->control->tid;
  for (uint32_t id = tid.load(); id == 0; id = tid.load()) Posix::FutexWait(tid, 0, nullptr);
  return tid.load();
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

void Thread::BeginTerminate(uint32_t /*exitCode: an ended thread has none of its own*/) {
  if (IsValid()) handle_->control->End();
}

void Thread::Terminate(uint32_t /*exitCode: an ended thread has none of its own*/) {
  if (!IsValid()) return;
  const std::unique_ptr<Handle> handle(std::exchange(handle_, nullptr));
  id_ = 0;
  handle->control->End();  // harmless on a thread that has already returned
  // A thread ending itself cannot wait for itself: it ends at its next wait and is reaped by
  // the system; its control stays with it.
  if (::pthread_equal(handle->thread, ::pthread_self()) != 0) {
    ::pthread_detach(handle->thread);
    return;
  }
  ::pthread_join(handle->thread, nullptr);
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
  std::string text;
  if (!Posix::ReadSmallFile("/sys/devices/system/cpu/online", text) ||
      !Posix::ParseCpuList(text, systemMask)) {
    systemMask = 0;
  }
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
