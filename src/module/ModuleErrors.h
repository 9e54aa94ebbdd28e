#pragma once
// The module's error codes (1000-1099): what it logs and throws, as its callers know them.
// Their sentences are the framework's error table (framework/xquery, ERRORS.md).
#include <cstdint>

namespace ModuleError {

constexpr uint16_t kNoMemory = 1006;          // no buffer for an answer or a request
constexpr uint16_t kFirmwareVariable = 1018;  // the board's firmware variable unreadable
constexpr uint16_t kIpmiRequest = 1026;       // a request to the controller failed
constexpr uint16_t kComponentCreationFailed = 1027;
constexpr uint16_t kNoPlatform = 1029;  // the platform could not be identified
constexpr uint16_t kNoLogicalProcessors = 1030;
constexpr uint16_t kProcessorIdentity = 1031;
constexpr uint16_t kProcessorStatus = 1032;
constexpr uint16_t kProcessorUsage = 1033;
constexpr uint16_t kSiblingQueryFailed = 1034;
constexpr uint16_t kNoSocket = 1035;
constexpr uint16_t kDimmState = 1036;
constexpr uint16_t kMemoryErrorCounts = 1037;
constexpr uint16_t kMemoryArrayCount = 1038;
constexpr uint16_t kMemoryDeviceCount = 1039;
constexpr uint16_t kUnsupportedOverload = 1047;

}  // namespace ModuleError
