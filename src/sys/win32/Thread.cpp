#include "sys/Thread.h"

#include <windows.h>

#include <atomic>
#include <utility>

namespace Sys {

namespace {

// TerminateThread is safe only where the thread holds no lock of the system's: not while the
// loader runs its attach and detach notifications (under the loader lock) before and after the
// routine. So Create returns only once the routine has begun, and a thread whose routine has
// returned is waited for, never terminated.
struct StartBlock {
  Thread::Routine routine = nullptr;
  void* parameter = nullptr;
  HANDLE started = nullptr;
  std::atomic<bool> returned{false};
};

// How long Create waits for a new thread to reach its routine; it only fails to if the system
// starves it, and then Create goes on rather than hang.
constexpr DWORD kStartWaitMs = 10000;

DWORD WINAPI Start(LPVOID block) {
  auto* start = static_cast<StartBlock*>(block);
  ::SetEvent(start->started);
  const uint32_t code = start->routine(start->parameter);
  start->returned = true;
  return code;
}

// The default exit code of a thread ended by the destructor.
constexpr uint32_t kTerminatedExitCode = 0xFFFFFFFFu;

}  // namespace

// Owned by the Thread object, which outlives the thread it starts (Terminate waits for it), so
// the thread can read its start block from here.
struct Thread::Handle {
  HANDLE thread = nullptr;
  StartBlock start;
  bool terminated = false;  // TerminateThread called
};

Thread::~Thread() {
  Terminate(kTerminatedExitCode);
}

Thread::Thread(Thread&& other) noexcept
    : handle_(std::exchange(other.handle_, nullptr)), id_(std::exchange(other.id_, 0)) {}

Thread& Thread::operator=(Thread&& other) noexcept {
  if (this != &other) {
    Terminate(kTerminatedExitCode);
    handle_ = std::exchange(other.handle_, nullptr);
    id_ = std::exchange(other.id_, 0);
  }
  return *this;
}

Thread Thread::Create(Routine routine, void* parameter) {
  Thread result;
  if (routine == nullptr) return result;
  auto* handle = new Handle;
  handle->start.routine = routine;
  handle->start.parameter = parameter;
  handle->start.started = ::CreateEventA(nullptr, TRUE, FALSE, nullptr);
  DWORD id = 0;
  // Default security and stack size, running at once.
  if (handle->start.started != nullptr) {
    handle->thread = ::CreateThread(nullptr, 0, &Start, &handle->start, 0, &id);
  }
  if (handle->thread == nullptr) {
    if (handle->start.started != nullptr) ::CloseHandle(handle->start.started);
    delete handle;
    return result;
  }
  ::WaitForSingleObject(handle->start.started, kStartWaitMs);
  result.handle_ = handle;
  result.id_ = id;
  return result;
}

uint32_t Thread::Id() const {
  return id_;
}

bool Thread::IsValid() const {
  return handle_ != nullptr;
}

bool Thread::SetAffinity(uint64_t mask) {
  if (handle_ == nullptr) return false;
  return ::SetThreadAffinityMask(handle_->thread, static_cast<DWORD_PTR>(mask)) != 0;
}

long Thread::Resume() {
  if (handle_ == nullptr) return -1;
  const DWORD previous = ::ResumeThread(handle_->thread);
  return previous == static_cast<DWORD>(-1) ? -1L : static_cast<long>(previous);
}

void Thread::BeginTerminate(uint32_t exitCode) {
  if (handle_ == nullptr || handle_->terminated) return;
  // A thread whose routine has returned ends by itself (it may be in its detach notifications);
  // the handle is signalled once the thread is gone.
  if (!handle_->start.returned) ::TerminateThread(handle_->thread, exitCode);
  handle_->terminated = true;
}

void Thread::Terminate(uint32_t exitCode) {
  if (handle_ == nullptr) return;
  BeginTerminate(exitCode);
  Handle* handle = std::exchange(handle_, nullptr);
  id_ = 0;
  ::WaitForSingleObject(handle->thread, INFINITE);
  ::CloseHandle(handle->thread);
  ::CloseHandle(handle->start.started);
  delete handle;
}

bool SetCurrentThreadAffinity(uint64_t mask) {
  return ::SetThreadAffinityMask(::GetCurrentThread(), static_cast<DWORD_PTR>(mask)) != 0;
}

bool GetProcessAffinityMask(uint64_t& processMask, uint64_t& systemMask) {
  DWORD_PTR process = 0;
  DWORD_PTR system = 0;
  if (!::GetProcessAffinityMask(::GetCurrentProcess(), &process, &system)) return false;
  processMask = static_cast<uint64_t>(process);
  systemMask = static_cast<uint64_t>(system);
  return true;
}

}  // namespace Sys
