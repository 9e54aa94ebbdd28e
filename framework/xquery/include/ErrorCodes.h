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

}  // namespace ErrorCode
