#pragma once
// Decoding of the processor sockets' sensor answers, apart from asking the BMC for them: pure
// functions on the answer bytes, so every bit is tested on byte vectors. Bytes an answer lacks
// read as 0.

#include <cstdint>
#include <string>
#include <vector>

#include "processor/CPUInternalFunc.h"

namespace Module::PlatformConfig {

// Sensor flag byte: event messages and scanning enabled (bits 7 and 6).
constexpr uint8_t kEventsAndScanning = 0xC0;
// Processor sensor state byte: the processor is present (state 7).
constexpr uint8_t kProcessorPresence = 0x80;
// Processor sensor states 0-5 (IERR, thermal trip, FRB1, FRB2, FRB3, configuration error).
constexpr uint8_t kProcessorStateOffsets = 0x3F;
// Throttling sensor event states that call for its reading: 0, 2 and 7 of the first state byte,
// and state 9 (bit 1 of the second).
constexpr uint8_t kThrottleEventsLow = 0x85;
constexpr uint8_t kThrottleEventsHigh = 0x02;
// Throttling reading: which state the verdict is taken from.
constexpr uint8_t kThrottleReadsState0 = 0x01;
constexpr uint8_t kThrottleReadsState1 = 0x04;

// Answer bytes as the BMC module lists them: one per answer string, each the base-16 number at
// its start.
std::vector<uint8_t> AnswerBytes(const std::vector<std::string>& answer);
// The bytes of one blank-separated answer string ("c0 85 0").
std::vector<uint8_t> TokenBytes(const std::string& text);

// A socket the BMC reports as empty: at flagByte events and scanning are on, and the presence
// state in the byte after it is clear. Event status has its flags at byte 0, a reading at 1.
bool ReportsEmptySocket(const std::vector<uint8_t>& answer, size_t flagByte);

// Whether the processor sensor's event status makes its reading worth asking for.
bool ProcessorStatesReported(const std::vector<uint8_t>& events);
// The states the reading reports (its flag byte 1 says which), each into its field; fields the
// reading does not report are left alone.
void DecodeProcessorStates(const std::vector<uint8_t>& reading, PhysicalProcessorStatus& out);

// Whether the throttling sensor's event status gives a verdict: single-socket families need
// only its flags, others an asserted throttling state too.
bool ThrottlingReported(const std::vector<uint8_t>& events, bool singleSocket);
// The verdict from the throttling bytes: a family read by the first byte alone is throttled
// when that byte is 0; others by the state their flag byte names, when events and scanning are
// on (else ProcessorThrottled is left alone).
void DecodeThrottling(const std::vector<uint8_t>& bytes, bool byFirstByte,
                      PhysicalProcessorStatus& out);

}  // namespace Module::PlatformConfig
