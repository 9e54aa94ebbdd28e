#include "request_memo.h"

#include <utility>

namespace Module::BMCConfig {

bool Reusable(const IpmiRequest& request) {
  return request.netFn == kNetFnSensorEvent;
}

IpmiReply RequestMemo::Exchange(const IpmiRequest& request, const BMCConfig::Exchange& send) {
  if (!Reusable(request)) return send(request);
  Key key{request.netFn, request.command, request.data};
  if (const auto known = outcomes_.find(key); known != outcomes_.end()) {
    if (known->second.error) throw *known->second.error;
    return *known->second.reply;
  }
  // Kept only once known: a send that ends otherwise (out of memory) leaves nothing behind.
  try {
    IpmiReply reply = send(request);
    outcomes_.emplace(std::move(key), Outcome{reply, std::nullopt});
    return reply;
  } catch (const ResultStatus& status) {
    outcomes_.emplace(std::move(key), Outcome{std::nullopt, status});
    throw;
  }
}

}  // namespace Module::BMCConfig
