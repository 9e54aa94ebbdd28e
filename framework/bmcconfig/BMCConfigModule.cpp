#include "BMCConfigModule.h"

#include <mutex>
#include <utility>

#include "QueryScope.h"
#include "driver_library.h"
#include "ipmi_answers.h"

namespace Module::BMCConfig {

namespace {
std::mutex gSourceMutex;
BMCConfigModule::AnswerSource gSource;
}  // namespace

void BMCConfigModule::Process(std::string query, ResultMap& answer) {
  // One query of its own when a host asks directly; part of the caller's otherwise.
  const QueryScope scope;
  AnswerSource source;
  {
    std::lock_guard<std::mutex> lock(gSourceMutex);
    source = gSource;
  }
  if (source) {
    source(query, answer);
    return;
  }
  // The driver is looked up per request, so a query this library does not answer never loads it.
  AnswerFromIpmi(query, answer,
                 [](const IpmiRequest& request) { return ProcessDriver().Exchange(request); });
}

BMCConfigModule::AnswerSource BMCConfigModule::InstallAnswerSource(AnswerSource source) {
  std::lock_guard<std::mutex> lock(gSourceMutex);
  return std::exchange(gSource, std::move(source));
}

}  // namespace Module::BMCConfig
