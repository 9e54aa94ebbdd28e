#pragma once
#include <functional>
#include <string>

#include "XNode.h"
#include "bmcconfig_export.h"

namespace Module::BMCConfig {

// Answers "/BMC/..." queries (sensor readings, sensor event status, the system event log).
// The answers come from the process's answer source: tests and simulators install one; the
// IPMI source over the management-bus driver is the one a server uses. Without a source every
// query throws ResultStatus 2040, so a missing BMC is always said, never answered with nothing.
class BMCCONFIG_EXPORT BMCConfigModule {
 public:
  using AnswerSource = std::function<void(const std::string& query, ResultMap& answer)>;

  BMCConfigModule() = default;

  void Process(std::string query, ResultMap& answer);

  // Replaces the process's answer source (an empty one removes it); returns the previous one.
  static AnswerSource InstallAnswerSource(AnswerSource source);
};

}  // namespace Module::BMCConfig
