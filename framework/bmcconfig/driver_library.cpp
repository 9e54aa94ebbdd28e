#include "driver_library.h"

#include <array>
#include <chrono>
#include <mutex>
#include <optional>
#include <utility>

#include "BmcBudget.h"
#include "ErrorCodes.h"
#include "bmc_error.h"
#include "library_location.h"
#include "sys/Process.h"

namespace Module::BMCConfig {

namespace {

constexpr const char* kDriverBaseName = "quarnapi";
constexpr const char* kSendSymbol = "SendTimedImbpRequest";
constexpr const char* kLastErrorSymbol = "GetImbpLastError";
// No bound of our own: the driver's ([BMC] TimeoutMs), or what is left of the query's.
constexpr int kDriverBound = 0;
constexpr uint32_t kMaxErrorText = 1024;
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

DriverLibrary::DriverLibrary(Sys::DynamicLibrary library, SendTimedImbpRequestFn send,
                             GetImbpLastErrorFn lastError)
    : library_(std::move(library)), send_(send), lastError_(lastError) {}

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
    return DriverLibrary(std::move(library), reinterpret_cast<SendTimedImbpRequestFn>(send),
                         reinterpret_cast<GetImbpLastErrorFn>(library.Symbol(kLastErrorSymbol)));
  }
  ThrowBmc(ErrorCode::kBmcDriverNotLoaded, reasons.empty() ? "no library named" : reasons);
}

std::string DriverLibrary::LastError() const {
  if (lastError_ == nullptr) return {};
  std::array<char, kMaxErrorText> text{};
  const int length = lastError_(text.data(), kMaxErrorText);
  return length > 0 ? std::string(text.data()) : std::string();
}

IpmiReply DriverLibrary::Exchange(const IpmiRequest& request) const {
  const BmcBudget::Grant grant = BmcBudget::Admit(kDriverBound);
  if (grant.refused) {
    ThrowBmc(ErrorCode::kBmcNotSent, "request " + RequestText(request) + ": " + grant.reason);
  }
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
  const auto start = std::chrono::steady_clock::now();
  const int status = send_(&imb, grant.timeoutMs, buffer.data(), &length, &completionCode);
  BmcBudget::Charge(std::chrono::steady_clock::now() - start, status != IMB_STATUS_SUCCESS);
  if (status != IMB_STATUS_SUCCESS) {
    const std::string why = LastError();
    const std::string detail = "driver status " + std::to_string(status) + " (" +
                               StatusName(status) + ") request " + RequestText(request) +
                               (why.empty() ? "" : ": " + why);
    BmcBudget::Fail(detail);
    ThrowBmc(ErrorCode::kBmcUnreachable, detail);
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
