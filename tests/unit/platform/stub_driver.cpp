// A minimal driver answering every request with the same Get Device ID reply (product 003Eh).
// Unlike the scripted double it defines no unique symbols (C++ inline statics), which would
// make the loader keep it mapped: its last close really unmaps it.
#include <cstring>

#include "imb.h"

extern "C" int SendTimedImbpRequest(ImbRequest*, int, uint8_t* data, int* length, uint8_t* cc) {
  const uint8_t reply[] = {0x20, 0x81, 0x05, 0x02, 0x02, 0xBF, 0x57, 0x01, 0x00, 0x3E, 0x00};
  std::memcpy(data, reply, sizeof reply);
  *length = sizeof reply;
  *cc = 0;
  return IMB_STATUS_SUCCESS;
}

extern "C" int GetAsyncImbpMessage(uint8_t*, uint32_t* length, int, uint32_t*, uint8_t) {
  *length = 0;
  return IMB_STATUS_NO_MESSAGE;
}

extern "C" int SelectInterface(const char* name, const char*, const char*, const char*) {
  return name != nullptr ? 1 : 0;
}
