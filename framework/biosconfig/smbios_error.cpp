#include "smbios_error.h"

#include <cstdio>

#include "ErrorMgr.h"
#include "ResultStatus.h"

namespace Module::BIOSConfig {

void ThrowSmbios(uint16_t code, const std::string& detail) {
  throw ResultStatus(code, ErrorMgr::GetInstance()->Get(code), detail, XCOMMAND_NONE);
}

std::string HexOffset(uint64_t offset) {
  char text[2 + 16 + 1];
  std::snprintf(text, sizeof(text), "0x%llx", static_cast<unsigned long long>(offset));
  return text;
}

std::string HandleText(uint16_t handle) {
  char text[2 + 4 + 1];
  std::snprintf(text, sizeof(text), "0x%04X", static_cast<unsigned>(handle));
  return text;
}

}  // namespace Module::BIOSConfig
