#pragma once
// The one way the module reports an error: the framework's sentence for the code, logged at
// level 2 from a fixed site, and a ResultStatus that the caller throws or drops.

#include <cstdint>
#include <string>

#include "ResultStatus.h"

namespace Module::PlatformConfig {

// A fixed place in the module's log: the same source, function and line in every build.
struct ErrorSite {
  const char* source;    // ".\PlatformConfigMgr"
  const char* function;  // "Module::PlatformConfig::PlatformConfigMgr::Initialize"
  int line;
};

ResultStatus ReportError(uint16_t code, const ErrorSite& site, std::string detail = "",
                         _XCOMMAND command = XCOMMAND_NONE);

}  // namespace Module::PlatformConfig
