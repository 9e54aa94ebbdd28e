#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "settings_file.h"

namespace Ordix::Settings {

namespace {

constexpr size_t kChunkBytes = 4096;

SettingsText Unreadable(std::string problem) {
  return {SettingsText::State::kUnreadable, {}, std::move(problem)};
}

// Closes the descriptor on every return.
class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return fd_; }

 private:
  int fd_;
};

}  // namespace

SettingsText ReadSettingsText(const std::string& path) {
  // Non-blocking, so that a FIFO opens at once (and is then refused as no regular file).
  const Descriptor fd(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
  if (fd.get() < 0) {
    if (errno == ENOENT) return {};
    return Unreadable(std::strerror(errno));
  }
  struct stat info {};
  if (::fstat(fd.get(), &info) != 0) return Unreadable(std::strerror(errno));
  if (!S_ISREG(info.st_mode)) return Unreadable("not a regular file");
  if (static_cast<unsigned long long>(info.st_size) > kMaxSettingsBytes) {
    return Unreadable("larger than " + std::to_string(kMaxSettingsBytes) + " bytes");
  }
  // To the end, which a file grown since fstat may put past the limit: that is refused too.
  std::string text;
  char chunk[kChunkBytes];
  for (;;) {
    const ssize_t n = ::read(fd.get(), chunk, sizeof chunk);
    if (n == 0) break;
    if (n < 0) {
      if (errno == EINTR) continue;
      return Unreadable(std::strerror(errno));
    }
    text.append(chunk, static_cast<size_t>(n));
    if (text.size() > kMaxSettingsBytes) {
      return Unreadable("larger than " + std::to_string(kMaxSettingsBytes) + " bytes");
    }
  }
  return {SettingsText::State::kRead, std::move(text), {}};
}

}  // namespace Ordix::Settings
