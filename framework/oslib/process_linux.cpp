#include "oslib/Process.h"

#include <dlfcn.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <vector>

namespace Ordix::OS {

namespace {

std::string DirectoryOf(const std::string& path) {
  const auto slash = path.rfind('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

}  // namespace

std::string ExecutableDirectory() {
  std::vector<char> buffer(PATH_MAX + 1);
  const ssize_t n = ::readlink("/proc/self/exe", buffer.data(), buffer.size() - 1);
  if (n <= 0) return {};
  return DirectoryOf(std::string(buffer.data(), static_cast<size_t>(n)));
}

std::string LibraryDirectoryOf(const void* address) {
  Dl_info info{};
  if (::dladdr(address, &info) == 0 || info.dli_fname == nullptr) return {};
  return DirectoryOf(info.dli_fname);
}

bool SetEnvironmentVariable(const std::string& name, const std::string& value) {
  return ::setenv(name.c_str(), value.c_str(), 1) == 0;
}

std::string SharedLibraryFileName(const std::string& base) {
  return "lib" + base + ".so";
}

void SleepMilliseconds(unsigned milliseconds) {
  timespec wait{static_cast<time_t>(milliseconds / 1000),
                static_cast<long>(milliseconds % 1000) * 1000000L};
  while (::nanosleep(&wait, &wait) != 0 && errno == EINTR) {
  }
}

}  // namespace Ordix::OS
