#pragma once
// The three requests this library sends to the controller, and the reply bytes written as the
// answers carry them. Pure: bytes in, text out.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Module::BMCConfig {

// Every request goes to the controller itself, never bridged.
inline constexpr uint8_t kBmcSlaveAddress = 0x20;
inline constexpr uint8_t kBmcLun = 0;

inline constexpr uint8_t kNetFnSensorEvent = 0x04;
inline constexpr uint8_t kNetFnStorage = 0x0A;
inline constexpr uint8_t kCmdGetSensorEventStatus = 0x2B;
inline constexpr uint8_t kCmdGetSensorReading = 0x2D;
inline constexpr uint8_t kCmdGetSelEntry = 0x43;

inline constexpr uint8_t kCcOk = 0x00;
inline constexpr uint8_t kCcNotPresent = 0xCB;

inline constexpr uint16_t kSelFirstRecord = 0x0000;
inline constexpr uint16_t kSelLastRecord = 0xFFFF;
inline constexpr size_t kSelRecordBytes = 16;
// Get SEL Entry reply: the next record's ID (little-endian), then the record.
inline constexpr size_t kSelNextIdBytes = 2;
inline constexpr size_t kSelEntryReplyBytes = kSelNextIdBytes + kSelRecordBytes;

struct IpmiRequest {
  uint8_t netFn = 0;
  uint8_t command = 0;
  std::vector<uint8_t> data;
};

struct IpmiReply {
  uint8_t completionCode = kCcOk;
  std::vector<uint8_t> data;  // without the completion code
};

// Sends a request to the controller and returns its reply, whatever its completion code;
// throws ResultStatus when no reply came.
using Exchange = std::function<IpmiReply(const IpmiRequest&)>;

IpmiRequest SensorReadingRequest(uint8_t sensor);
IpmiRequest SensorEventStatusRequest(uint8_t sensor);
// Reads the whole record, without a reservation (offset 0 needs none).
IpmiRequest SelEntryRequest(uint16_t recordId);

// "20 04 00 2d 05": address, network function, LUN, command, data, as error details show a
// request so that it can be replayed by hand.
std::string RequestText(const IpmiRequest& request);

// Bytes as the answers write them: lower-case hexadecimal without leading zeros, separated by
// single blanks ("0 c0 82 0").
std::string HexList(const std::vector<uint8_t>& bytes);

// A sensor leaf's values: value k is HexList of the bytes from k to the end, so a reader gets
// the whole reply from value 0 and byte k from the start of value k. No bytes, no values.
std::vector<std::string> SensorValues(const std::vector<uint8_t>& reply);

}  // namespace Module::BMCConfig
