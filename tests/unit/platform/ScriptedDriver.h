#pragma once
// The scripted stub driver (stub_driver.cpp): what it answers and what it was handed. Tests
// reach it through its extra entry point ScriptedDriver(), found in the loaded driver.
#include <cstdint>
#include <deque>
#include <vector>

#include "imb.h"

namespace DriverTest {

// One SendTimedImbpRequest, as the driver saw it.
struct SentRequest {
  uint8_t cmdType = 0, rsSa = 0, busType = 0, netFn = 0, rsLun = 0;
  bool nullData = false;
  std::vector<uint8_t> data;
};

struct ScriptedReply {
  int status = IMB_STATUS_SUCCESS;
  uint8_t completionCode = 0;
  std::vector<uint8_t> data;
};

// An asynchronous message. Its sequence field (byte 3, bits 7-2) is stamped with the sequence
// of the last bridged request sent plus sequenceOffset (mod 64).
struct ScriptedMessage {
  std::vector<uint8_t> bytes;
  int sequenceOffset = 0;
};

struct DriverScript {
  std::deque<ScriptedReply> replies;     // in order; none left: a Get Device ID reply (003Eh)
  std::deque<ScriptedMessage> messages;  // in order; none left: no message waiting
  std::vector<SentRequest> sent;
  int polls = 0;  // GetAsyncImbpMessage calls
};

using ScriptedDriverFn = DriverScript* (*)();

}  // namespace DriverTest
