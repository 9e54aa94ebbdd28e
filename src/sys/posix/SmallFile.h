#pragma once
// Internal to src/sys/posix: reading the short text files of /sys and /proc with plain system
// calls (a stream costs more to set up than these files take to read).

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string>

namespace Sys::Posix {

// Far more than a sysfs number or CPU list holds; the rest of a longer file is not read.
constexpr size_t kSmallFileBytes = 4096;

// The file's text, at most kSmallFileBytes of it; false when it cannot be opened or read.
inline bool ReadSmallFile(const std::string& path, std::string& text) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  char buffer[kSmallFileBytes];
  ssize_t n = 0;
  do {
    n = ::read(fd, buffer, sizeof buffer);
  } while (n < 0 && errno == EINTR);
  ::close(fd);
  if (n < 0) return false;
  text.assign(buffer, static_cast<size_t>(n));
  return true;
}

}  // namespace Sys::Posix
