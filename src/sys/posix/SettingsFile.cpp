#include "sys/SettingsFile.h"

#include "Settings.h"

namespace Sys {

uint32_t GetSettingsInt(const std::string& section, const std::string& key, uint32_t fallback) {
  // The framework's reader gives the fallback for a missing file or key and for text that is
  // not a whole number. The conversion wraps modulo 2^32, so -1 reads as 0xFFFFFFFF, as
  // GetPrivateProfileIntA returns it.
  return static_cast<uint32_t>(Ordix::Settings::GetInt(section, key, static_cast<long>(fallback)));
}

}  // namespace Sys
