#pragma once
// The scripted double's script: what a controller answers, written as text.
//
// One directive per line; '#' starts a comment; blank lines are ignored. Bytes are
// hexadecimal, one or two digits each ("5", "0a", "FF"); a reply may hold `cc=XX`, its
// completion code (00 when absent), anywhere among its bytes, at most once.
//
//   device-id BYTES...                 Get Device ID (App 06h, 01h): the reply data
//   reading SENSOR BYTES...            Get Sensor Reading (Sensor/Event 04h, 2Dh) of SENSOR
//   event-status SENSOR BYTES...       Get Sensor Event Status (04h, 2Bh) of SENSOR
//   sel BYTES(16)                      one SEL record; its record ID is its first two bytes
//                                      (little-endian); records follow one another in script
//                                      order for Get SEL Entry (Storage 0Ah, 43h)
//   raw NETFN CMD [DATA...] : BYTES... the reply to exactly this request (overrides the above)
//   fail N                             the first N sends after the script is loaded fail
//
// SENSOR, NETFN and CMD are hexadecimal bytes; N is decimal. A reply has at most 65 data
// bytes. The same request given twice, or a SEL record ID given twice, is an error.
//
// Example:
//   device-id 20 81 05 02 02 bf 57 01 00 11 22 00 00 00 00
//   reading 90 00 c0 80 00            # processor present
//   event-status 90 c0 80 00
//   reading 91 cc=cb                  # no such sensor
//   sel 01 00 02 00 00 00 00 20 00 04 0c 08 6f 40 ff ff
//   raw 0a 42 : 34 12                 # Reserve SEL
//   fail 2

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ipmi_numbers.h"

namespace Ordix::Imb::Sim {

struct Reply {
  uint8_t completionCode = Ipmi::kCcOk;
  std::vector<uint8_t> data;
  bool operator==(const Reply& other) const {
    return completionCode == other.completionCode && data == other.data;
  }
};

struct RawKey {
  uint8_t netFn = 0;
  uint8_t command = 0;
  std::vector<uint8_t> data;
  bool operator<(const RawKey& other) const {
    if (netFn != other.netFn) return netFn < other.netFn;
    if (command != other.command) return command < other.command;
    return data < other.data;
  }
};

using SelRecord = std::array<uint8_t, Ipmi::kSelRecordBytes>;

struct Script {
  std::optional<Reply> deviceId;
  std::map<uint8_t, Reply> readings;     // by sensor number
  std::map<uint8_t, Reply> eventStatus;  // by sensor number
  std::vector<SelRecord> sel;            // in script order
  std::map<RawKey, Reply> raw;
  unsigned failures = 0;
};

struct ParseResult {
  std::optional<Script> script;
  std::string error;  // "line N: what is wrong"
};

ParseResult ParseScript(std::string_view text);

// The record ID a SEL record carries in its first two bytes.
uint16_t SelRecordId(const SelRecord& record);

}  // namespace Ordix::Imb::Sim
