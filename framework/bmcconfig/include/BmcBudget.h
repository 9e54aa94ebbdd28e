#pragma once
// The BMC's share of the current query (QueryScope): how long the query may still wait for the
// BMC, and whether the BMC has already failed it. Every path to the BMC asks before it sends and
// reports after, whichever library it is in: the BMC configuration module and the module's own
// IPMI channel reach the same BMC through the same driver.
//
// A query may lose [BMC] TimeoutMs to the BMC: the time of requests that failed, or that took
// half as long as the quickest resend does (a 160th of TimeoutMs or more) and several times what
// the link needs (its fastest answer). Once that is spent, or once a request has failed, the query's
// remaining requests are refused at once. Outside a query nothing is counted or refused.

#include <chrono>
#include <string>

#include "bmcconfig_export.h"

namespace Module::BMCConfig {

class BMCCONFIG_EXPORT BmcBudget {
 public:
  struct Grant {
    bool refused = false;
    std::string reason;  // why, when refused
    // The wait to hand the driver: what is left of the query's time, at most fallbackMs when
    // that is above 0; fallbackMs itself outside a query.
    int timeoutMs = 0;
  };

  static Grant Admit(int fallbackMs);

  // One call to the driver, done: its time is lost when it failed or stalled.
  static void Charge(std::chrono::steady_clock::duration elapsed, bool failed);

  // The BMC failed this query; detail says how (the first failure is the one kept).
  static void Fail(const std::string& detail);
};

}  // namespace Module::BMCConfig
