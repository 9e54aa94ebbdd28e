#include "ipmi_messages.h"

#include <cstdio>

namespace Module::BMCConfig {

namespace {

// Get SEL Entry request: reservation ID (2 bytes), record ID (2, little-endian), offset,
// number of bytes to read.
constexpr uint8_t kNoReservation = 0x00;
constexpr uint8_t kSelOffsetStart = 0x00;
constexpr uint8_t kSelReadWholeRecord = 0xFF;

constexpr char kHexDigits[] = "0123456789abcdef";
constexpr unsigned kNibbleBits = 4;
constexpr uint8_t kNibbleMask = 0x0F;

void AppendHex(uint8_t byte, std::string& text) {
  if (byte > kNibbleMask) text += kHexDigits[byte >> kNibbleBits];
  text += kHexDigits[byte & kNibbleMask];
}

uint8_t LowByte(uint16_t value) {
  return static_cast<uint8_t>(value & 0xFF);
}

uint8_t HighByte(uint16_t value) {
  return static_cast<uint8_t>(value >> 8);
}

}  // namespace

IpmiRequest SensorReadingRequest(uint8_t sensor) {
  return {kNetFnSensorEvent, kCmdGetSensorReading, {sensor}};
}

IpmiRequest SensorEventStatusRequest(uint8_t sensor) {
  return {kNetFnSensorEvent, kCmdGetSensorEventStatus, {sensor}};
}

IpmiRequest SelEntryRequest(uint16_t recordId) {
  return {kNetFnStorage,
          kCmdGetSelEntry,
          {kNoReservation, kNoReservation, LowByte(recordId), HighByte(recordId), kSelOffsetStart,
           kSelReadWholeRecord}};
}

std::string RequestText(const IpmiRequest& request) {
  std::vector<uint8_t> bytes = {kBmcSlaveAddress, request.netFn, kBmcLun, request.command};
  bytes.insert(bytes.end(), request.data.begin(), request.data.end());
  std::string text;
  for (const uint8_t byte : bytes) {
    char two[3];
    std::snprintf(two, sizeof(two), "%02x", static_cast<unsigned>(byte));
    if (!text.empty()) text += ' ';
    text += two;
  }
  return text;
}

std::string HexList(const std::vector<uint8_t>& bytes) {
  std::string text;
  for (const uint8_t byte : bytes) {
    if (!text.empty()) text += ' ';
    AppendHex(byte, text);
  }
  return text;
}

std::vector<std::string> SensorValues(const std::vector<uint8_t>& reply) {
  // Every value is a suffix of the whole list, so the list is written once and cut.
  std::string whole;
  std::vector<size_t> starts;
  for (const uint8_t byte : reply) {
    if (!whole.empty()) whole += ' ';
    starts.push_back(whole.size());
    AppendHex(byte, whole);
  }
  std::vector<std::string> values;
  values.reserve(starts.size());
  for (const size_t start : starts) values.push_back(whole.substr(start));
  return values;
}

}  // namespace Module::BMCConfig
