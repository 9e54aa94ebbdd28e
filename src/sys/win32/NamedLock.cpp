#include "sys/NamedLock.h"

#include <windows.h>

#include <utility>

namespace Sys {

NamedLock::~NamedLock() {
  Close();
}

NamedLock::NamedLock(NamedLock&& other) noexcept : native_(std::exchange(other.native_, kNone)) {}

NamedLock& NamedLock::operator=(NamedLock&& other) noexcept {
  if (this != &other) {
    Close();
    native_ = std::exchange(other.native_, kNone);
  }
  return *this;
}

NamedLock NamedLock::Create(const std::string& name, Outcome& outcome) {
  NamedLock lock;
  outcome = Outcome::Failed;
  // Initial ownership requested; the lock is the object's existence, not its ownership.
  HANDLE handle = ::CreateMutexA(nullptr, TRUE, name.c_str());
  const DWORD error = ::GetLastError();
  if (handle == nullptr) return lock;
  if (error == ERROR_SUCCESS) {
    outcome = Outcome::Created;
  } else if (error == ERROR_ALREADY_EXISTS) {  // 183
    outcome = Outcome::AlreadyExists;
  } else {
    ::CloseHandle(handle);
    return lock;
  }
  lock.native_ = reinterpret_cast<std::intptr_t>(handle);
  return lock;
}

bool NamedLock::IsValid() const {
  return native_ != kNone;
}

void NamedLock::Close() {
  if (IsValid()) ::CloseHandle(reinterpret_cast<HANDLE>(std::exchange(native_, kNone)));
}

}  // namespace Sys
