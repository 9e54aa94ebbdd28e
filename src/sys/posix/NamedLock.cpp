#include "sys/NamedLock.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <utility>

// The named object is an AF_UNIX socket bound in the abstract namespace: the kernel keeps the
// name exactly as long as a descriptor of the bound socket is open, so it vanishes when its
// holder closes it or dies, like a named kernel object on Windows. The namespace is per network
// namespace, which is the machine for processes that share one.

namespace Sys {

namespace {

// The abstract address is a leading NUL then the name's bytes in sun_path (108 bytes on
// Linux), so a name may have at most 107 bytes; a longer (or empty) one fails.
constexpr size_t kMaxNameLength = sizeof(sockaddr_un::sun_path) - 1;

}  // namespace

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
  if (name.empty() || name.size() > kMaxNameLength) return lock;

  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path + 1, name.data(), name.size());  // sun_path[0] stays NUL
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());

  const int fd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return lock;
  if (::bind(fd, reinterpret_cast<const sockaddr*>(&address), length) == 0) {
    outcome = Outcome::Created;
  } else if (errno == EADDRINUSE) {
    // Someone holds it. The unbound socket stands for the handle an open of an existing
    // Windows mutex gives; closing it releases nothing.
    outcome = Outcome::AlreadyExists;
  } else {
    ::close(fd);
    return lock;
  }
  lock.native_ = fd;
  return lock;
}

bool NamedLock::IsValid() const {
  return native_ != kNone;
}

void NamedLock::Close() {
  if (IsValid()) ::close(static_cast<int>(std::exchange(native_, kNone)));
}

}  // namespace Sys
