#include "driver_library.h"

#include <array>
#include <mutex>
#include <optional>
#include <utility>

#include "ErrorCodes.h"
#include "bmc_error.h"
#include "library_location.h"
#include "sys/Process.h"

namespace Module::BMCConfig {

namespace {

constexpr const char* kDriverBaseName = "quarnapi";
constexpr const char* kSendSymbol = "SendTimedImbpRequest";
// Only a bound for the driver's own waits; the real driver takes its bound from the settings.
constexpr int kRequestTimeoutMs = 5000;
constexpr uint8_t kPrimaryBus = 0;

const char* StatusName(int status) {
  switch (status) {
    case IMB_STATUS_INVALID_ARGUMENT:
      return "invalid argument";
    case IMB_STATUS_NOT_CONFIGURED:
      return "not configured";
    case IMB_STATUS_OPEN_FAILED:
      return "no session";
    case IMB_STATUS_SEND_FAILED:
      return "send failed";
    case IMB_STATUS_BAD_RESPONSE:
      return "bad response";
    case IMB_STATUS_RESPONSE_TOO_LONG:
      return "response too long";
    default:
      return "unknown status";
  }
}

std::vector<std::string> DriverCandidates() {
  const std::string name = Sys::SharedLibraryFileName(kDriverBaseName);
  std::vector<std::string> candidates{name};
  const std::string beside = ThisLibraryDirectory();
  if (!beside.empty()) candidates.push_back(beside + "/" + name);
  return candidates;
}

}  // namespace

DriverLibrary::DriverLibrary(Sys::DynamicLibrary library, SendTimedImbpRequestFn send)
    : library_(std::move(library)), send_(send) {}

DriverLibrary DriverLibrary::Load(const std::vector<std::string>& candidates) {
  std::string reasons;
  for (const std::string& candidate : candidates) {
    std::string reason;
    Sys::DynamicLibrary library = Sys::DynamicLibrary::Open(candidate, reason);
    if (!library.IsLoaded()) {
      // The loader's reason usually names the file already.
      if (reason.find(candidate) == std::string::npos) reason = candidate + ": " + reason;
      reasons += (reasons.empty() ? "" : "; ") + reason;
      continue;
    }
    void* send = library.Symbol(kSendSymbol);
    if (send == nullptr) {
      ThrowBmc(ErrorCode::kBmcDriverNotLoaded, candidate + ": no function " + kSendSymbol);
    }
    return DriverLibrary(std::move(library), reinterpret_cast<SendTimedImbpRequestFn>(send));
  }
  ThrowBmc(ErrorCode::kBmcDriverNotLoaded, reasons.empty() ? "no library named" : reasons);
}

IpmiReply DriverLibrary::Exchange(const IpmiRequest& request) const {
  // The C interface takes the data by non-const pointer.
  std::vector<uint8_t> data = request.data;
  ImbRequest imb{};
  imb.cmdType = request.command;
  imb.rsSa = kBmcSlaveAddress;
  imb.busType = kPrimaryBus;
  imb.netFn = request.netFn;
  imb.rsLun = kBmcLun;
  imb.data = data.empty() ? nullptr : data.data();
  imb.dataLength = static_cast<uint32_t>(data.size());

  std::array<uint8_t, IMB_MAX_RESPONSE_DATA_LENGTH> buffer{};
  int length = 0;
  uint8_t completionCode = kCcOk;
  const int status = send_(&imb, kRequestTimeoutMs, buffer.data(), &length, &completionCode);
  if (status != IMB_STATUS_SUCCESS) {
    ThrowBmc(ErrorCode::kBmcUnreachable, "driver status " + std::to_string(status) + " (" +
                                             StatusName(status) + ") request " +
                                             RequestText(request));
  }
  if (length < 0 || length > IMB_MAX_RESPONSE_DATA_LENGTH) {
    ThrowBmc(ErrorCode::kBmcReplyMalformed, "driver reported " + std::to_string(length) +
                                                " data bytes for request " + RequestText(request));
  }
  return {completionCode, std::vector<uint8_t>(buffer.begin(), buffer.begin() + length)};
}

const DriverLibrary& ProcessDriver() {
  static std::mutex mutex;
  static std::optional<DriverLibrary> driver;
  std::lock_guard<std::mutex> lock(mutex);
  if (!driver) driver.emplace(DriverLibrary::Load(DriverCandidates()));
  // Once loaded it is never replaced, so the reference stays good outside the lock.
  return *driver;
}

}  // namespace Module::BMCConfig
