#pragma once
// The controller's replies within one query, by request: a query that reads the same sensor
// twice sends the request once, and a request that failed fails the same way again. Readings
// are live: a memo lasts one query. The event log's requests are not kept (a query walks the
// log once, and keeping the records would hold up to 65,535 of them until the next query).

#include <cstdint>
#include <map>
#include <optional>
#include <tuple>
#include <vector>

#include "ResultStatus.h"
#include "ipmi_messages.h"

namespace Module::BMCConfig {

// Whether a reply to request may stand for a second identical request in the same query.
bool Reusable(const IpmiRequest& request);

class RequestMemo {
 public:
  // The reply to request: from send the first time this memo sees a reusable request, and then
  // from the memo, whether send returned a reply or threw a ResultStatus.
  IpmiReply Exchange(const IpmiRequest& request, const BMCConfig::Exchange& send);

 private:
  using Key = std::tuple<uint8_t, uint8_t, std::vector<uint8_t>>;
  struct Outcome {
    std::optional<IpmiReply> reply;
    std::optional<ResultStatus> error;
  };
  std::map<Key, Outcome> outcomes_;
};

}  // namespace Module::BMCConfig
