// A complete but minimal driver: every request gets the same Get Device ID reply (product
// 003Eh). Unlike the scripted double, it defines no unique symbols (C++ inline statics), which
// would make the loader keep it mapped: its last close really unmaps it.

#include <cstdint>

#include "imb.h"

namespace {

constexpr uint8_t kDeviceId[] = {0x20, 0x81, 0x05, 0x02, 0x02, 0xBF, 0x57, 0x01, 0x00, 0x3E, 0x00};

}  // namespace

extern "C" int SendTimedImbpRequest(ImbRequest* /*request*/, int /*timeoutMs*/,
                                    uint8_t* responseData, int* responseLength,
                                    uint8_t* completionCode) {
  int length = 0;
  for (const uint8_t byte : kDeviceId) responseData[length++] = byte;
  *responseLength = length;
  *completionCode = 0;
  return IMB_STATUS_SUCCESS;
}

extern "C" int GetAsyncImbpMessage(uint8_t* /*message*/, uint32_t* messageLength, int /*timeoutMs*/,
                                   uint32_t* /*sequence*/, uint8_t /*channel*/) {
  *messageLength = 0;
  return IMB_STATUS_NO_MESSAGE;
}

extern "C" int SelectInterface(const char* interfaceName, const char* /*host*/,
                               const char* /*user*/, const char* /*password*/) {
  return interfaceName != nullptr ? 1 : 0;
}
