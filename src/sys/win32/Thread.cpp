#include "sys/Thread.h"

#include <windows.h>

#include <utility>

namespace Sys {

namespace {

struct StartBlock {
  Thread::Routine routine = nullptr;
  void* parameter = nullptr;
};

DWORD WINAPI Start(LPVOID block) {
  const auto* start = static_cast<const StartBlock*>(block);
  return start->routine(start->parameter);
}

// The default exit code of a thread ended by the destructor.
constexpr uint32_t kTerminatedExitCode = 0xFFFFFFFFu;

}  // namespace

// Owned by the Thread object, which outlives the thread it starts (Terminate waits for it), so
// the thread can read its start block from here.
struct Thread::Handle {
  HANDLE thread = nullptr;
  StartBlock start;
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
  auto* handle = new Handle{nullptr, {routine, parameter}};
  DWORD id = 0;
  // Default security and stack size, running at once.
  handle->thread = ::CreateThread(nullptr, 0, &Start, &handle->start, 0, &id);
  if (handle->thread == nullptr) {
    delete handle;
    return result;
  }
  result.handle_ = handle;
  result.id_ = id;
  return result;
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

void Thread::Terminate(uint32_t exitCode) {
  if (handle_ == nullptr) return;
  Handle* handle = std::exchange(handle_, nullptr);
  id_ = 0;
  // A thread that already returned has nothing left to end; TerminateThread then fails
  // harmlessly. Either way the handle is signalled once the thread is gone.
  ::TerminateThread(handle->thread, exitCode);
  ::WaitForSingleObject(handle->thread, INFINITE);
  ::CloseHandle(handle->thread);
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
