#pragma once
// How the builders write numbers into the tree: decimal ("%d") and lower-case hexadecimal
// without prefix or leading zeros ("%x").

#include <cstdio>
#include <string>

namespace Module::PlatformConfig {

inline std::string DecimalText(long long value) {
  return std::to_string(value);
}

inline std::string HexText(unsigned value) {
  char text[16];
  std::snprintf(text, sizeof text, "%x", value);
  return text;
}

}  // namespace Module::PlatformConfig
