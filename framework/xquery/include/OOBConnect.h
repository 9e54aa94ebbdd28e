#pragma once
#include <cstdint>
#include <string>

namespace SDK {

// Where and as whom an out-of-band query reaches a managed server's controller.
struct OOBConnect {
  std::string host;
  uint16_t port = 623;
  std::string user;
  std::string password;
};

}  // namespace SDK
