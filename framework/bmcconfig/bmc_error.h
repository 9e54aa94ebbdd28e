#pragma once
// The one way this library reports a failure: a ResultStatus carrying the framework's sentence
// for the code and a detail that names the request or input at fault.

#include <cstdint>
#include <string>

#include "ipmi_messages.h"

namespace Module::BMCConfig {

[[noreturn]] void ThrowBmc(uint16_t code, const std::string& detail);

// A reply with a completion code other than 00h: "cc=c1 request 20 04 00 2d 05".
[[noreturn]] void ThrowCompletionCode(const IpmiRequest& request, uint8_t completionCode);

}  // namespace Module::BMCConfig
