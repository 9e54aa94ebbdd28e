// A driver that answers as its test scripts it (ScriptedDriver.h) and records what it was
// handed. Unscripted, it answers every request with the same Get Device ID reply (product
// 003Eh) and has no message waiting. Unlike the scripted double it defines no unique symbols
// (C++ inline statics), which would make the loader keep it mapped: its last close really
// unmaps it.
#include <algorithm>
#include <cstring>

#include "ScriptedDriver.h"

namespace {

using namespace DriverTest;

DriverScript script;

constexpr size_t kSequenceByte = 5;  // of a Send Message request's data
constexpr size_t kMessageSequenceByte = 3;
constexpr uint32_t kSequences = 64;

uint32_t LastSequence() {
  for (auto it = script.sent.rbegin(); it != script.sent.rend(); ++it) {
    if (it->data.size() > kSequenceByte) return it->data[kSequenceByte] >> 2;
  }
  return 0;
}

}  // namespace

extern "C" {

IMB_EXPORT DriverScript* ScriptedDriver() {
  return &script;
}

int SendTimedImbpRequest(ImbRequest* request, int, uint8_t* data, int* length, uint8_t* cc) {
  SentRequest seen{request->cmdType,
                   request->rsSa,
                   request->busType,
                   request->netFn,
                   request->rsLun,
                   request->data == nullptr,
                   {}};
  if (request->data != nullptr) {
    seen.data.assign(request->data, request->data + request->dataLength);
  }
  script.sent.push_back(std::move(seen));
  ScriptedReply reply{
      IMB_STATUS_SUCCESS, 0, {0x20, 0x81, 0x05, 0x02, 0x02, 0xBF, 0x57, 0x01, 0x00, 0x3E, 0x00}};
  if (!script.replies.empty()) {
    reply = script.replies.front();
    script.replies.pop_front();
  }
  std::copy(reply.data.begin(), reply.data.end(), data);
  *length = static_cast<int>(reply.data.size());
  *cc = reply.completionCode;
  return reply.status;
}

int GetAsyncImbpMessage(uint8_t* message, uint32_t* length, int, uint32_t*, uint8_t) {
  ++script.polls;
  if (script.messages.empty()) {
    *length = 0;
    return IMB_STATUS_NO_MESSAGE;
  }
  ScriptedMessage next = script.messages.front();
  script.messages.pop_front();
  std::vector<uint8_t>& bytes = next.bytes;
  if (bytes.size() > kMessageSequenceByte) {
    const uint32_t sequence =
        (LastSequence() + static_cast<uint32_t>(next.sequenceOffset)) % kSequences;
    bytes[kMessageSequenceByte] =
        static_cast<uint8_t>((sequence << 2) | (bytes[kMessageSequenceByte] & 3));
  }
  std::memcpy(message, bytes.data(), std::min<size_t>(bytes.size(), *length));
  *length = static_cast<uint32_t>(bytes.size());
  return IMB_STATUS_SUCCESS;
}

int SelectInterface(const char* name, const char*, const char*, const char*) {
  return name != nullptr ? 1 : 0;
}

}  // extern "C"
