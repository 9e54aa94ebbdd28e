#include "processor/ProcessorSensorDecode.h"

#include <cstdlib>

#include "platform/PlatformImpl.h"

namespace Module::PlatformConfig {

namespace {

uint8_t ByteAt(const std::vector<uint8_t>& bytes, size_t k) {
  return k < bytes.size() ? bytes[k] : 0;
}

bool BothSet(uint8_t byte, uint8_t bits) {
  return (byte & bits) == bits;
}

uint8_t HexByte(const std::string& text) {
  return static_cast<uint8_t>(std::strtol(text.c_str(), nullptr, 16));
}

constexpr int kStateCount = 6;

}  // namespace

std::vector<uint8_t> AnswerBytes(const std::vector<std::string>& answer) {
  std::vector<uint8_t> bytes;
  bytes.reserve(answer.size());
  for (const std::string& text : answer) bytes.push_back(HexByte(text));
  return bytes;
}

std::vector<uint8_t> TokenBytes(const std::string& text) {
  std::vector<std::string> tokens;
  Platform::PlatformImpl::SplitTokens(tokens, text, " ");
  return AnswerBytes(tokens);
}

bool ReportsEmptySocket(const std::vector<uint8_t>& answer, size_t flagByte) {
  return BothSet(ByteAt(answer, flagByte), kEventsAndScanning) &&
         !(ByteAt(answer, flagByte + 1) & kProcessorPresence);
}

bool ProcessorStatesReported(const std::vector<uint8_t>& events) {
  return BothSet(ByteAt(events, 0), kEventsAndScanning) &&
         (ByteAt(events, 1) & kProcessorStateOffsets) != 0;
}

void DecodeProcessorStates(const std::vector<uint8_t>& reading, PhysicalProcessorStatus& out) {
  const uint8_t flags = ByteAt(reading, 1);
  if (!BothSet(flags, kEventsAndScanning)) return;
  // State b is reported when flag bit b is set; its value is bit b of the state byte.
  uint32_t* const byState[kStateCount] = {&out.IERR, &out.ThermalTrip, &out.FRB1,
                                          &out.FRB2, &out.FRB3,        &out.ConfigError};
  const uint8_t states = ByteAt(reading, 2);
  for (int bit = 0; bit < kStateCount; ++bit) {
    if (flags & (1u << bit)) *byState[bit] = (states >> bit) & 1u;
  }
}

bool ThrottlingReported(const std::vector<uint8_t>& events, bool singleSocket) {
  if (!BothSet(ByteAt(events, 0), kEventsAndScanning)) return false;
  return singleSocket || (ByteAt(events, 1) & kThrottleEventsLow) != 0 ||
         (ByteAt(events, 2) & kThrottleEventsHigh) != 0;
}

void DecodeThrottling(const std::vector<uint8_t>& bytes, bool byFirstByte,
                      PhysicalProcessorStatus& out) {
  if (byFirstByte) {
    out.ProcessorThrottled = ByteAt(bytes, 0) == 0 ? 1 : 0;
    return;
  }
  const uint8_t flags = ByteAt(bytes, 1);
  if (!BothSet(flags, kEventsAndScanning)) return;
  // The verdict is state 0, state 1, or else state 3 of the state byte.
  const int state = (flags & kThrottleReadsState0) ? 0 : (flags & kThrottleReadsState1) ? 1 : 3;
  out.ProcessorThrottled = (ByteAt(bytes, 2) >> state) & 1u;
}

}  // namespace Module::PlatformConfig
