#include "BMCConfigModule.h"

#include <mutex>
#include <utility>

#include "ErrorCodes.h"
#include "ErrorMgr.h"
#include "ResultStatus.h"

namespace Module::BMCConfig {

namespace {
std::mutex gSourceMutex;
BMCConfigModule::AnswerSource gSource;
}  // namespace

void BMCConfigModule::Process(std::string query, ResultMap& answer) {
  AnswerSource source;
  {
    std::lock_guard<std::mutex> lock(gSourceMutex);
    source = gSource;
  }
  if (!source) {
    throw ResultStatus(ErrorCode::kBmcUnreachable,
                       ErrorMgr::GetInstance()->Get(ErrorCode::kBmcUnreachable), query,
                       XCOMMAND_NONE);
  }
  source(query, answer);
}

BMCConfigModule::AnswerSource BMCConfigModule::InstallAnswerSource(AnswerSource source) {
  std::lock_guard<std::mutex> lock(gSourceMutex);
  return std::exchange(gSource, std::move(source));
}

}  // namespace Module::BMCConfig
