#include "driver_loader.h"

#include <array>
#include <utility>

#include "oslib/Process.h"

namespace Ordix::Imb {

namespace {

constexpr const char* kDriverBaseName = "quarnapi";
constexpr uint32_t kMaxErrorText = 1024;

template <typename Fn>
Fn Resolve(const Ordix::OS::DynamicLibrary& library, const char* name) {
  return reinterpret_cast<Fn>(library.Symbol(name));
}

}  // namespace

std::string DriverFileName() {
  return Ordix::OS::SharedLibraryFileName(kDriverBaseName);
}

std::vector<std::string> DriverCandidates(const void* besideAddress) {
  const std::string name = DriverFileName();
  std::vector<std::string> candidates{name};
  const std::string beside = Ordix::OS::LibraryDirectoryOf(besideAddress);
  if (!beside.empty()) candidates.push_back(beside + "/" + name);
  return candidates;
}

LoadedDriver LoadDriver(const std::vector<std::string>& candidates, bool pinned) {
  LoadedDriver driver;
  for (const std::string& candidate : candidates) {
    std::string reason;
    driver.library = Ordix::OS::DynamicLibrary::Open(candidate, reason, pinned);
    if (!driver.library.IsLoaded()) {
      // The loader's reason usually names the file already.
      if (reason.find(candidate) == std::string::npos) reason = candidate + ": " + reason;
      driver.failure += (driver.failure.empty() ? "" : "; ") + reason;
      continue;
    }
    driver.failure.clear();
    driver.path = candidate;
    driver.entry.send = Resolve<SendTimedImbpRequestFn>(driver.library, "SendTimedImbpRequest");
    driver.entry.getAsync = Resolve<GetAsyncImbpMessageFn>(driver.library, "GetAsyncImbpMessage");
    driver.entry.select = Resolve<SelectInterfaceFn>(driver.library, "SelectInterface");
    driver.entry.lastError = Resolve<GetImbpLastErrorFn>(driver.library, "GetImbpLastError");
    return driver;
  }
  if (driver.failure.empty()) driver.failure = "no library named";
  return driver;
}

std::string LastDriverError(GetImbpLastErrorFn lastError) {
  if (lastError == nullptr) return {};
  std::array<char, kMaxErrorText> text{};
  const int length = lastError(text.data(), kMaxErrorText);
  // The driver writes a terminated string of at most the room it is given; never trust more.
  text.back() = '\0';
  return length > 0 ? std::string(text.data()) : std::string();
}

}  // namespace Ordix::Imb
