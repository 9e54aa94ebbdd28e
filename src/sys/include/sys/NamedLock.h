#pragma once
#include <cstdint>
#include <string>

namespace Sys {

// A machine-wide named object that exists while some process holds a handle to it and
// vanishes when the last holder closes it or dies. Creating it tells whether this process
// made it (and so holds the lock) or found it made by someone else. Move-only.
class NamedLock {
 public:
  enum class Outcome { Created, AlreadyExists, Failed };

  NamedLock() = default;
  ~NamedLock();
  NamedLock(NamedLock&& other) noexcept;
  NamedLock& operator=(NamedLock&& other) noexcept;
  NamedLock(const NamedLock&) = delete;
  NamedLock& operator=(const NamedLock&) = delete;

  // Creates (or opens) the object called name. Created and AlreadyExists come with a valid
  // handle (the caller closes the one it does not keep); Failed with none.
  static NamedLock Create(const std::string& name, Outcome& outcome);

  bool IsValid() const;
  // Closes the handle; the object vanishes when no process holds it any more.
  void Close();

 private:
  // The OS handle (a file descriptor on Linux, a HANDLE on Windows); kNone when not valid.
  static constexpr std::intptr_t kNone = -1;
  std::intptr_t native_ = kNone;
};

}  // namespace Sys
