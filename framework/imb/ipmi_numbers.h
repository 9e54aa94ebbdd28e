#pragma once
// IPMI numbers both libraries need: the commands the scripted double knows by name and the
// completion codes it answers with.

#include <cstddef>
#include <cstdint>

namespace Ordix::Imb::Ipmi {

inline constexpr uint8_t kNetFnSensorEvent = 0x04;
inline constexpr uint8_t kNetFnApp = 0x06;
inline constexpr uint8_t kNetFnStorage = 0x0A;
// Network functions are six bits; the lowest marks a response.
inline constexpr uint8_t kMaxNetFn = 0x3F;
inline constexpr uint8_t kMaxLun = 3;

inline constexpr uint8_t kCmdGetDeviceId = 0x01;           // App
inline constexpr uint8_t kCmdGetSensorEventStatus = 0x2B;  // Sensor/Event
inline constexpr uint8_t kCmdGetSensorReading = 0x2D;      // Sensor/Event
inline constexpr uint8_t kCmdGetSelEntry = 0x43;           // Storage

// Session authentication types and privilege levels, as IPMI numbers them.
inline constexpr uint8_t kAuthNone = 0x00;
inline constexpr uint8_t kAuthMd2 = 0x01;
inline constexpr uint8_t kAuthMd5 = 0x02;
inline constexpr uint8_t kAuthStraightPassword = 0x04;
inline constexpr uint8_t kPrivilegeCallback = 0x01;
inline constexpr uint8_t kPrivilegeUser = 0x02;
inline constexpr uint8_t kPrivilegeOperator = 0x03;
inline constexpr uint8_t kPrivilegeAdmin = 0x04;
inline constexpr uint8_t kPrivilegeOem = 0x05;

inline constexpr uint8_t kCcOk = 0x00;
inline constexpr uint8_t kCcInvalidCommand = 0xC1;
inline constexpr uint8_t kCcRequestDataLengthInvalid = 0xC7;
inline constexpr uint8_t kCcParameterOutOfRange = 0xC9;
inline constexpr uint8_t kCcNotPresent = 0xCB;

inline constexpr size_t kSelRecordBytes = 16;
inline constexpr uint16_t kSelFirstRecord = 0x0000;
inline constexpr uint16_t kSelLastRecord = 0xFFFF;
// Get SEL Entry's "bytes to read" value asking for the rest of the record.
inline constexpr uint8_t kSelReadWholeRecord = 0xFF;

}  // namespace Ordix::Imb::Ipmi
