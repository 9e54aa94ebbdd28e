#include "BMCConfigModule.h"

#include <mutex>
#include <utility>

#include "QueryScope.h"
#include "driver_library.h"
#include "ipmi_answers.h"
#include "request_memo.h"

namespace Module::BMCConfig {

namespace {
std::mutex gSourceMutex;
BMCConfigModule::AnswerSource gSource;
thread_local PerQuery<RequestMemo> tReplies;

IpmiReply SendToController(const IpmiRequest& request) {
  return ProcessDriver().Exchange(request);
}
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
  // Within the query an identical request is answered once (RequestMemo).
  RequestMemo* replies = tReplies.Get();
  AnswerFromIpmi(query, answer, [replies](const IpmiRequest& request) {
    return replies->Exchange(request, SendToController);
  });
}

BMCConfigModule::AnswerSource BMCConfigModule::InstallAnswerSource(AnswerSource source) {
  std::lock_guard<std::mutex> lock(gSourceMutex);
  return std::exchange(gSource, std::move(source));
}

}  // namespace Module::BMCConfig
