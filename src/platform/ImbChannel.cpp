#include "platform/ImbChannel.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <new>
#include <string>

#include "BmcBudget.h"
#include "imb.h"
#include "sys/DynamicLibrary.h"
#include "sys/Process.h"

namespace Platform {

namespace {

static_assert(kImbMaxResponseData == IMB_MAX_RESPONSE_DATA_LENGTH,
              "the response block must hold what the driver may write");

constexpr const char* kDriverName = "quarnapi";
constexpr int kSendTimeoutMs = 10000;
constexpr int kSendAttempts = 3;

// Bridging through Send Message (App 34h) to a device behind the controller.
constexpr uint8_t kBmcAddress = 0x20;
constexpr uint8_t kNetFnApp = 0x06;
constexpr uint8_t kCmdSendMessage = 0x34;
constexpr uint8_t kRequesterLun = 2;
constexpr size_t kBridgeOverheadBytes = 8;
constexpr size_t kBridgeChecksummedFrom = 4;  // the requester address inside the outer data
constexpr int kBridgeSendAttempts = 200;
constexpr uint8_t kCcOk = 0x00;
constexpr uint8_t kCcNodeBusy = 0x80;
constexpr uint8_t kCcTimeout = 0x83;
constexpr uint32_t kFirstSequence = 1;
constexpr uint32_t kSequenceLimit = 64;
constexpr uint32_t kAsyncBufferBytes = 65540;
constexpr int kAsyncTimeoutMs = 0;
constexpr unsigned kAsyncPollMs = 1;
constexpr auto kBridgeWait = std::chrono::seconds(5);

// The asynchronous message as the driver delivers it.
constexpr size_t kMsgNetFn = 0;
constexpr size_t kMsgSequence = 3;
constexpr size_t kMsgCommand = 4;
constexpr size_t kMsgCompletion = 5;
constexpr size_t kMsgData = 6;

struct ImbDriver {
  Sys::DynamicLibrary library;
  SendTimedImbpRequestFn send = nullptr;
  GetAsyncImbpMessageFn getAsync = nullptr;
  SelectInterfaceFn select = nullptr;
  GetImbpLastErrorFn lastError = nullptr;  // optional: not every driver says why
  uint32_t loaded = 0;
  uint32_t sequence = kFirstSequence;
  uint32_t asyncWord = 1;  // handed to the driver with every poll
};

ImbDriver& Driver() {
  static ImbDriver driver;
  return driver;
}

template <typename Fn>
Fn Resolve(const Sys::DynamicLibrary& library, const char* name) {
  return reinterpret_cast<Fn>(library.Symbol(name));
}

// A failed lookup leaves the library loaded; only the entry points decide success.
bool OpenDriver(ImbDriver& driver) {
  std::string error;
  // Pinned: UnloadImbLibrary may run while entry points are still held, and the worker code
  // calls it whenever it stops; the driver must stay mapped for those later calls.
  driver.library =
      Sys::DynamicLibrary::Open(Sys::SharedLibraryFileName(kDriverName), error, /*pinned=*/true);
  if (!driver.library.IsLoaded()) return false;
  driver.send = Resolve<SendTimedImbpRequestFn>(driver.library, "SendTimedImbpRequest");
  driver.getAsync = Resolve<GetAsyncImbpMessageFn>(driver.library, "GetAsyncImbpMessage");
  driver.select = Resolve<SelectInterfaceFn>(driver.library, "SelectInterface");
  driver.lastError = Resolve<GetImbpLastErrorFn>(driver.library, "GetImbpLastError");
  return driver.send != nullptr && driver.getAsync != nullptr && driver.select != nullptr;
}

constexpr uint32_t kMaxErrorText = 1024;

// The request as its text form reads ("20 06 00 01"), and why the driver says it failed.
std::string FailureDetail(const ImbDriver& driver, const IpmiRequestBuffer& request) {
  std::string text = "request";
  char byte[4];
  for (uint8_t b : {request.rsSa, request.netFn, request.rsLun, request.cmd}) {
    std::snprintf(byte, sizeof(byte), " %02x", static_cast<unsigned>(b));
    text += byte;
  }
  for (uint8_t b : request.data) {
    std::snprintf(byte, sizeof(byte), " %02x", static_cast<unsigned>(b));
    text += byte;
  }
  if (driver.lastError != nullptr) {
    std::array<char, kMaxErrorText> why{};
    if (driver.lastError(why.data(), kMaxErrorText) > 0) text += std::string(": ") + why.data();
  }
  return text;
}

// Copies a reply into the response block. The driver promises at most 65 bytes; a longer
// count from a faulty driver is cut to the block's room instead of overrunning it.
void StoreReply(const IpmiRequestBuffer& request, const uint8_t* data, int length,
                uint8_t completionCode, IpmiResponseBuffer& response) {
  if (length > 0) {
    const size_t count = std::min(static_cast<size_t>(length), kImbMaxResponseData);
    std::copy(data, data + count, response.data.begin());
    response.dataLength = static_cast<uint8_t>(count);
  }
  response.completionCode = completionCode;
  response.cmd = request.cmd;
  response.rsSa = request.rsSa;
  response.netFn = static_cast<uint8_t>(request.netFn + 1);
}

bool SendOuterRequest(const IpmiRequestBuffer& outer, IpmiResponseBuffer& reply) {
  for (int attempt = 0; attempt < kBridgeSendAttempts; ++attempt) {
    if (SendImbRequest(&outer, &reply) != kImbStatusSuccess) return false;
    if (reply.completionCode == kCcOk) return true;
    if (reply.completionCode != kCcNodeBusy && reply.completionCode != kCcTimeout) return false;
  }
  return false;
}

bool SameSequence(const std::vector<uint8_t>& message, uint32_t sequence) {
  return (message[kMsgSequence] >> 2) == sequence;
}

// A message shorter than its header cannot be the answer.
bool AcceptMessage(const std::vector<uint8_t>& message, uint32_t length, uint8_t command,
                   uint32_t sequence) {
  return length >= kMsgData && SameSequence(message, sequence) && message[kMsgCommand] == command;
}

// A length claiming more than the buffer holds is cut to the buffer, and the data to the
// response block's room.
void StoreMessage(const std::vector<uint8_t>& message, uint32_t length, IpmiResponseBuffer& out) {
  const size_t available = std::min<size_t>(length, message.size()) - kMsgData;
  const size_t count = std::min(available, kImbMaxResponseData);
  std::copy(message.begin() + kMsgData, message.begin() + kMsgData + count, out.data.begin());
  out.dataLength = static_cast<uint8_t>(count);
  out.completionCode = message[kMsgCompletion];
  out.cmd = message[kMsgCommand];
  out.netFn = static_cast<uint8_t>(message[kMsgNetFn] >> 2);
}

// Polls for the bridged answer until it comes, the driver reports an error, or time is up.
// Messages of other sequences are skipped at once, without refilling the length word; the
// clock bounds that too, so a driver that never stops delivering strangers cannot hang us.
void AwaitBridgedAnswer(ImbDriver& driver, uint8_t command, uint8_t channel,
                        IpmiResponseBuffer& out) {
  if (driver.getAsync == nullptr) return;
  std::vector<uint8_t> message(kAsyncBufferBytes);
  const auto start = std::chrono::steady_clock::now();
  const auto timedOut = [&] { return std::chrono::steady_clock::now() - start >= kBridgeWait; };
  for (;;) {
    uint32_t length = kAsyncBufferBytes;
    int status = IMB_STATUS_SUCCESS;
    do {
      status =
          driver.getAsync(message.data(), &length, kAsyncTimeoutMs, &driver.asyncWord, channel);
    } while (status == IMB_STATUS_SUCCESS && !SameSequence(message, driver.sequence) &&
             !timedOut());
    if (status == IMB_STATUS_SUCCESS && AcceptMessage(message, length, command, driver.sequence)) {
      StoreMessage(message, length, out);
      return;
    }
    Sys::SleepMilliseconds(kAsyncPollMs);
    if (timedOut()) return;
  }
}

}  // namespace

uint32_t LoadImbLibrary() {
  ImbDriver& driver = Driver();
  if (driver.loaded == 1) return kImbStatusSuccess;
  if (!OpenDriver(driver)) return kImbStatusLoadFailed;
  driver.loaded = 1;
  return kImbStatusSuccess;
}

uint32_t LoadImbEntryPoints() {
  ImbDriver& driver = Driver();
  if (driver.loaded == 1) return kImbStatusSuccess;
  return OpenDriver(driver) ? kImbStatusSuccess : kImbStatusLoadFailed;
}

uint32_t UnloadImbLibrary() {
  Driver().library.Close();
  return kImbStatusSuccess;
}

uint32_t SendImbRequest(const IpmiRequestBuffer* request, IpmiResponseBuffer* response) {
  // A null response block is refused like a null request rather than written through.
  if (request == nullptr || response == nullptr) return kImbStatusNullRequest;
  ImbDriver& driver = Driver();
  if (driver.loaded != 1) return kImbStatusNotLoaded;
  ImbRequest imb{};
  imb.cmdType = request->cmd;
  imb.rsSa = request->rsSa;
  imb.busType = 0;
  imb.netFn = request->netFn;
  imb.rsLun = request->rsLun;
  // The driver only reads the data; its C interface just lacks the const. A request without
  // data still points into a request block, as the module's own layout always did: a vendor
  // driver may refuse a null pointer whatever the length says.
  uint8_t noData = 0;
  imb.data = request->data.empty() ? &noData : const_cast<uint8_t*>(request->data.data());
  imb.dataLength = static_cast<uint32_t>(request->data.size());
  std::array<uint8_t, kImbMaxResponseData> received{};
  int length = 0;
  uint8_t completionCode = 0;
  int status = -1;
  // Within a query, the attempts share its time for the BMC: none is made once the BMC has
  // failed the query, and a failing one is tried again only while that time lasts.
  for (int attempt = 0; attempt < kSendAttempts && status != IMB_STATUS_SUCCESS; ++attempt) {
    const Module::BMCConfig::BmcBudget::Grant grant =
        Module::BMCConfig::BmcBudget::Admit(kSendTimeoutMs);
    if (grant.refused) break;
    length = 0;
    const auto start = std::chrono::steady_clock::now();
    status = driver.send(&imb, grant.timeoutMs, received.data(), &length, &completionCode);
    Module::BMCConfig::BmcBudget::Charge(std::chrono::steady_clock::now() - start,
                                         status != IMB_STATUS_SUCCESS);
  }
  if (status != IMB_STATUS_SUCCESS) {
    Module::BMCConfig::BmcBudget::Fail(FailureDetail(driver, *request));
    return kImbStatusSendFailed;
  }
  StoreReply(*request, received.data(), length, completionCode, *response);
  return kImbStatusSuccess;
}

IpmiRequestBuffer BuildBridgedRequest(const IpmiRequestBuffer& inner, uint8_t channel,
                                      uint8_t targetAddress, uint8_t sequence) {
  IpmiRequestBuffer outer;
  outer.rsSa = kBmcAddress;
  outer.cmd = kCmdSendMessage;
  outer.netFn = kNetFnApp;
  outer.rsLun = 0;
  std::vector<uint8_t>& d = outer.data;
  d.reserve(inner.data.size() + kBridgeOverheadBytes);
  const auto netFnLun = static_cast<uint8_t>((inner.netFn << 2) | (inner.rsLun & 3));
  d.insert(d.end(), {channel, targetAddress, netFnLun});
  d.push_back(static_cast<uint8_t>(-(targetAddress + netFnLun)));
  d.insert(d.end(),
           {kBmcAddress, static_cast<uint8_t>((sequence << 2) | kRequesterLun), inner.cmd});
  d.insert(d.end(), inner.data.begin(), inner.data.end());
  const auto checked = static_cast<int>(d.size() - kBridgeChecksummedFrom);
  d.push_back(IpmbChecksum(d.data() + kBridgeChecksummedFrom, checked));
  return outer;
}

uint32_t SendBridgedImbRequest(const IpmiRequestBuffer* inner, IpmiResponseBuffer* out,
                               uint8_t channel, uint8_t targetAddress) {
  if (inner == nullptr || out == nullptr) return kImbBridgeNoMemory;
  ImbDriver& driver = Driver();
  std::unique_ptr<IpmiResponseBuffer> reply(new (std::nothrow) IpmiResponseBuffer());
  if (!reply) return kImbBridgeNoMemory;
  try {
    const IpmiRequestBuffer outer =
        BuildBridgedRequest(*inner, channel, targetAddress, static_cast<uint8_t>(driver.sequence));
    if (SendOuterRequest(outer, *reply)) AwaitBridgedAnswer(driver, inner->cmd, channel, *out);
  } catch (const std::bad_alloc&) {
    return kImbBridgeNoMemory;
  }
  // Sequence numbers run 1..63: they fill the six upper bits of a byte and 0 is never used.
  driver.sequence = driver.sequence + 1 == kSequenceLimit ? kFirstSequence : driver.sequence + 1;
  return kImbStatusSuccess;
}

bool SelectInterface(const char* interfaceName, const char* host, const char* user,
                     const char* password) {
  const SelectInterfaceFn select = Driver().select;
  return select != nullptr && select(interfaceName, host, user, password) != 0;
}

uint8_t IpmbChecksum(const uint8_t* bytes, int count) {
  if (bytes == nullptr || count == 0) return 0;
  // Any count below 2 (a negative one too) covers the first byte alone.
  if (count < 2) return static_cast<uint8_t>(-bytes[0]);
  uint8_t sum = 0;
  for (int i = 0; i < count; ++i) sum = static_cast<uint8_t>(sum + bytes[i]);
  return static_cast<uint8_t>(-sum);
}

}  // namespace Platform
