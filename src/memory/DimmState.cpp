#include "memory/DimmState.h"

#include <array>
#include <cstdlib>
#include <vector>

#include "platform/PlatformImpl.h"

namespace Module::PlatformConfig {

namespace {

// The reply store holds four bytes; further bytes of a long reply are not read.
constexpr size_t kReplyBytes = 4;
constexpr uint8_t kFlagIgnoreReading = 0x01;

}  // namespace

uint8_t DecodeDimmState(const std::string& reply) {
  if (reply.empty()) return 0;
  std::vector<std::string> tokens;
  Platform::PlatformImpl::SplitTokens(tokens, reply, " ");
  std::array<uint8_t, kReplyBytes> bytes{};
  for (size_t k = 0; k < tokens.size() && k < bytes.size(); ++k) {
    bytes[k] = static_cast<uint8_t>(std::strtol(tokens[k].c_str(), nullptr, 16));
  }
  if (bytes[1] & kFlagIgnoreReading) return 0;

  uint8_t state = 0;
  if (bytes[2] & 0x04) state |= kDimmStateByte2Bit2;
  if (bytes[3] & 0x02) state |= kDimmStateByte3Bit1;
  if (bytes[3] & 0x01) state |= kDimmStateByte3Bit0;
  if (bytes[2] & 0x01) state |= kDimmStateByte2Bit0;
  return state;
}

}  // namespace Module::PlatformConfig
