#include "bmc_error.h"

#include <cstdio>

#include "ErrorCodes.h"
#include "ErrorMgr.h"
#include "ResultStatus.h"

namespace Module::BMCConfig {

void ThrowBmc(uint16_t code, const std::string& detail) {
  throw ResultStatus(code, ErrorMgr::GetInstance()->Get(code), detail, XCOMMAND_NONE);
}

void ThrowCompletionCode(const IpmiRequest& request, uint8_t completionCode) {
  char code[3];
  std::snprintf(code, sizeof(code), "%02x", static_cast<unsigned>(completionCode));
  ThrowBmc(ErrorCode::kBmcCompletionCode,
           std::string("cc=") + code + " request " + RequestText(request));
}

}  // namespace Module::BMCConfig
