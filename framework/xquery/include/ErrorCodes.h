#pragma once
#include <cstdint>

// Codes raised by the framework's own libraries (2000-2099). The module's codes (1000-1099)
// are the ones its callers already know; they are not repeated here as names.
namespace ErrorCode {

// 2010-2019: OS information.
constexpr uint16_t kOSMemoryUnreadable = 2010;
constexpr uint16_t kOSMemoryMalformed = 2011;
constexpr uint16_t kOSIdentityUnreadable = 2012;
constexpr uint16_t kOSDisplayNameUnreadable = 2013;
constexpr uint16_t kOSNetworkUnreadable = 2014;
constexpr uint16_t kOSDrivesUnreadable = 2015;

// 2020-2039: SMBIOS tables.
constexpr uint16_t kSmbiosNotFound = 2020;
constexpr uint16_t kSmbiosUnreadable = 2021;
constexpr uint16_t kSmbiosEntryPointMalformed = 2022;
constexpr uint16_t kSmbiosTableMalformed = 2023;
constexpr uint16_t kSmbiosTableDamaged = 2025;

// 2040-2059: the BMC and the management-bus driver.
constexpr uint16_t kBmcUnreachable = 2040;
constexpr uint16_t kBmcDriverNotLoaded = 2041;
constexpr uint16_t kBmcCompletionCode = 2042;
constexpr uint16_t kBmcReplyMalformed = 2043;
constexpr uint16_t kBmcSelLoop = 2044;
constexpr uint16_t kBmcQueryMalformed = 2045;
constexpr uint16_t kBmcNotSent = 2046;

// 2060-2069: EFI variables.
constexpr uint16_t kEfiVariableNotFound = 2060;
constexpr uint16_t kEfiBufferTooSmall = 2061;
constexpr uint16_t kEfiVariableUnreadable = 2062;
constexpr uint16_t kEfiVariableMalformed = 2063;
constexpr uint16_t kEfiInvalidRequest = 2064;

}  // namespace ErrorCode
