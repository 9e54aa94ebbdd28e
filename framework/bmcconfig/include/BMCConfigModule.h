#pragma once
#include <functional>
#include <string>

#include "XNode.h"
#include "bmcconfig_export.h"

namespace Module::BMCConfig {

// Answers "/BMC/..." queries: sensor readings (/BMC/SENSOR[n]/VALUE), sensor event status
// (/BMC/SENSOR[n]/PROCEVENT) and the system event log (/BMC/SEL/RECORD), by IPMI requests to
// the controller through the management-bus driver library (libquarnapi.so, loaded by name on
// the first query that needs it and kept). Reply bytes are written in lower-case hexadecimal.
// A path it does not answer adds nothing; a driver that cannot be loaded, a request that gets
// no reply or a non-zero completion code, a malformed reply or sensor number, and an event log
// whose record IDs loop throw ResultStatus (codes 2040-2045). Each call is a query (QueryScope):
// once the controller has failed it, or the query's time for the controller is spent
// (BmcBudget), its remaining requests are refused at once (2046).
class BMCCONFIG_EXPORT BMCConfigModule {
 public:
  using AnswerSource = std::function<void(const std::string& query, ResultMap& answer)>;

  BMCConfigModule() = default;

  void Process(std::string query, ResultMap& answer);

  // Answers every query from source instead of the controller, for tests and simulators (an
  // empty source brings the controller back); returns the previous source.
  static AnswerSource InstallAnswerSource(AnswerSource source);
};

}  // namespace Module::BMCConfig
