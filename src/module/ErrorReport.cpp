#include "ErrorReport.h"

#include <utility>

#include "ErrorMgr.h"
#include "Logger.h"

namespace Module::PlatformConfig {

ResultStatus ReportError(uint16_t code, const ErrorSite& site, std::string detail,
                         _XCOMMAND command) {
  const std::string text = ErrorMgr::GetInstance()->Get(code);
  Logger* logger = Logger::CreateInstance();
  std::string message;
  logger->CreateMessage(message, text);
  logger->Log(2, site.source, site.function, site.line, "%d: %s", static_cast<int>(code),
              message.c_str());
  return ResultStatus(code, message, std::move(detail), command);
}

}  // namespace Module::PlatformConfig
